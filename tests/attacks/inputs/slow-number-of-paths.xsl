<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:for-each select="//c"><xsl:number level="any" count="x//b//b//b//b//b//b"/></xsl:for-each></xsl:template>
</xsl:stylesheet>
