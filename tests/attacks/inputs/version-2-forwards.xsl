<xsl:stylesheet version="2.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:analyze-string select="/" regex="(a+)+$"><xsl:matching-substring>x</xsl:matching-substring></xsl:analyze-string></xsl:template>
</xsl:stylesheet>
