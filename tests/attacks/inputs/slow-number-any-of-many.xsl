<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="b"><xsl:number level="any" count="*[count(//*) = 1]"/></xsl:template>
<xsl:template match="/"><xsl:apply-templates select="//b[last()]"/></xsl:template>
</xsl:stylesheet>
