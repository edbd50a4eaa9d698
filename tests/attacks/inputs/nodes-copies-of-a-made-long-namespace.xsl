<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:variable name="t"><xsl:element name="p:x" namespace="{/r/u}"><xsl:for-each select="/r/a"><xsl:element name="p:a" namespace="{/r/u}"/></xsl:for-each></xsl:element></xsl:variable><o><xsl:copy-of select="$t"/></o></xsl:template>
</xsl:stylesheet>
