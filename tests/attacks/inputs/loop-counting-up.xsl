<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template name="t"><xsl:param name="n"/><xsl:if test="$n &lt; 1000000000000"><xsl:call-template name="t"><xsl:with-param name="n" select="$n + 1"/></xsl:call-template></xsl:if></xsl:template>
<xsl:template match="/"><xsl:call-template name="t"><xsl:with-param name="n" select="0"/></xsl:call-template></xsl:template>
</xsl:stylesheet>
