<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:variable name="b" select="//b"/><xsl:variable name="c" select="//c"/><xsl:value-of select="count($b | $c | $b)"/></xsl:template>
</xsl:stylesheet>
