<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template name="t"><xsl:param name="n"/><xsl:call-template name="t"><xsl:with-param name="n"><a><xsl:copy-of select="$n"/></a></xsl:with-param></xsl:call-template></xsl:template>
<xsl:template match="/"><xsl:call-template name="t"></xsl:call-template></xsl:template>
</xsl:stylesheet>
