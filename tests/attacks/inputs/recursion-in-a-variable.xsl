<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template name="t"><xsl:variable name="v"><xsl:call-template name="t"></xsl:call-template></xsl:variable></xsl:template>
<xsl:template match="/"><xsl:call-template name="t"></xsl:call-template></xsl:template>
</xsl:stylesheet>
