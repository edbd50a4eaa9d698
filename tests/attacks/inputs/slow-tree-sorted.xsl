<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:e="http://exslt.org/common">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:variable name="v"><xsl:copy-of select="/"/></xsl:variable><xsl:value-of select="count(e:node-set($v)//b[. mod 2 = 0] | e:node-set($v)//b[. mod 3 = 0])"/></xsl:template>
</xsl:stylesheet>
