<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:key name="k" match="b//c[count(//c/..) = 1]" use="."/>
<xsl:template match="/"><xsl:value-of select="count(key('k', ''))"/></xsl:template>
</xsl:stylesheet>
