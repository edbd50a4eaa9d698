<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:variable name="v"><xsl:for-each select="//b"><xsl:for-each select="//b"><xsl:for-each select="//b"><xsl:if test="0"/></xsl:for-each></xsl:for-each></xsl:for-each></xsl:variable>
<xsl:template match="/"><xsl:value-of select="$v"/></xsl:template>
</xsl:stylesheet>
