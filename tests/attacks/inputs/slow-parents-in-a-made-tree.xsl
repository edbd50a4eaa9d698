<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:exsl="http://exslt.org/common" exclude-result-prefixes="exsl">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:variable name="v"><xsl:for-each select="a/b"><c><d/></c></xsl:for-each></xsl:variable><xsl:value-of select="count(exsl:node-set($v)//d/..)"/></xsl:template>
</xsl:stylesheet>
