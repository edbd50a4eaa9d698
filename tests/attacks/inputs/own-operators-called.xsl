<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:if test="zep_operator_next() or zep_operator_path() or zep_operator_equal(1)">x</xsl:if></xsl:template>
</xsl:stylesheet>
