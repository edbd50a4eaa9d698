<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><o><xsl:for-each select="/r/a"><xsl:attribute name="a{position()}">1</xsl:attribute></xsl:for-each></o></xsl:template>
</xsl:stylesheet>
