<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:e="http://exslt.org/common">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template name="t"><xsl:param name="s"/><xsl:variable name="n"><xsl:copy-of select="e:node-set($s)"/><xsl:copy-of select="e:node-set($s)"/></xsl:variable><xsl:call-template name="t"><xsl:with-param name="s" select="$n"/></xsl:call-template></xsl:template>
<xsl:template match="/"><xsl:call-template name="t"><xsl:with-param name="s" select="/"/></xsl:call-template></xsl:template>
</xsl:stylesheet>
