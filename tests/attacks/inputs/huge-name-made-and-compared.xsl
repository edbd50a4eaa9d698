<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:exsl="http://exslt.org/common" exclude-result-prefixes="exsl">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:variable name="t"><xsl:element name="{/r/n}"/></xsl:variable><xsl:variable name="s" select="exsl:node-set($t)"/><xsl:value-of select="count(//*[count($s/@{49000*n}@x) > 0])"/></xsl:template>
</xsl:stylesheet>
