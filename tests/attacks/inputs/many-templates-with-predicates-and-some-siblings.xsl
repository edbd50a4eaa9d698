<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
@{5000*<xsl:template match="b[@c = 'n@#']"/>}@
<xsl:template match="/"><xsl:apply-templates select="a/b[1]"/></xsl:template>
</xsl:stylesheet>
