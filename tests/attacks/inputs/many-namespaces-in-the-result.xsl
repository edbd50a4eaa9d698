<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template name="a" match="/"><xsl:param name="n" select="700"/><m @{300*xmlns:a@#="1" }@><xsl:call-template name="b"><xsl:with-param name="n" select="$n - 1"/></xsl:call-template></m></xsl:template><xsl:template name="b"><xsl:param name="n"/><m @{300*xmlns:a@#="2" }@><xsl:choose><xsl:when test="$n > 0"><xsl:call-template name="a"><xsl:with-param name="n" select="$n - 1"/></xsl:call-template></xsl:when><xsl:otherwise><xsl:for-each select="/r/a"><m @{300*xmlns:b@#="2" }@/></xsl:for-each></xsl:otherwise></xsl:choose></m></xsl:template>
</xsl:stylesheet>
