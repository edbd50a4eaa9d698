<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><e><xsl:for-each select="//b"><xsl:for-each select="//b"><xsl:attribute name="a{position()}{generate-id(..)}{generate-id()}">1</xsl:attribute></xsl:for-each></xsl:for-each></e></xsl:template>
</xsl:stylesheet>
