<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:key name="k" match="*" use="document('secret.xml')"/>
<xsl:template match="/"><xsl:value-of select="key('k', 'x')"/></xsl:template>
</xsl:stylesheet>
