<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="xml" encoding="UTF-8"/>
<xsl:template match="/"><xsl:for-each select="//b"><xsl:for-each select="//b"><@{500*n}@/></xsl:for-each></xsl:for-each></xsl:template>
</xsl:stylesheet>
