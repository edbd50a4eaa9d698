<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:d="http://exslt.org/dynamic">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:value-of select="function-available('d:evaluate')"/><xsl:value-of select="function-available('document')"/></xsl:template>
</xsl:stylesheet>
