<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:variable name="@{1000000*v}@" select="1"/>
<xsl:template match="/"><xsl:value-of select="$@{1000000*v}@"/></xsl:template>
</xsl:stylesheet>
