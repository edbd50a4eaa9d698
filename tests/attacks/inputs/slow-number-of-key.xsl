<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:key name="k" match="b" use="1"/>
<xsl:template match="/"><xsl:for-each select="*/a[last()]"><xsl:number level="any" count="key('k', '1')"/></xsl:for-each></xsl:template>
</xsl:stylesheet>
