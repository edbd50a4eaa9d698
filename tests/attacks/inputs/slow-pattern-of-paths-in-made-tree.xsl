<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:exsl="http://exslt.org/common">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:variable name="t"><xsl:copy-of select="/"/></xsl:variable>
<xsl:template match="/"><xsl:apply-templates select="exsl:node-set($t)/*" mode="m"/></xsl:template>
<xsl:template match="x//b//b//b//b//b//b" mode="m">x</xsl:template>
</xsl:stylesheet>
