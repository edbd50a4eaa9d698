<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:r="http://exslt.org/regular-expressions">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:value-of select="r:test(/, '(a+)+$')"/></xsl:template>
</xsl:stylesheet>
