<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:s="http://exslt.org/strings">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:value-of select="s:padding(1000000000, 'x')"/></xsl:template>
</xsl:stylesheet>
