<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:value-of select="count(//*[count(//@{49000*n}@x) > 0])"/></xsl:template>
</xsl:stylesheet>
