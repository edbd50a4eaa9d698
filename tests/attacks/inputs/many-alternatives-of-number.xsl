<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:for-each select="*/a[last()]"><xsl:number count="@{100000*x@#|}@a"/></xsl:for-each></xsl:template>
</xsl:stylesheet>
