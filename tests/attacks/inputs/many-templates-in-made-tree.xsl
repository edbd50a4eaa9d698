<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:exsl="http://exslt.org/common">
<xsl:output method="text" encoding="UTF-8"/>
@{9000*<xsl:template match="x/a" mode="m"/>}@
<xsl:variable name="t"><xsl:copy-of select="/"/></xsl:variable>
<xsl:template match="/"><xsl:apply-templates select="exsl:node-set($t)/*" mode="m"/></xsl:template>
</xsl:stylesheet>
