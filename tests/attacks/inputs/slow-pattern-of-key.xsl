<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:key name="k" match="b" use="1"/>
<xsl:template match="key('k', '1')" mode="m"/>
<xsl:template match="/"><xsl:apply-templates mode="m"/></xsl:template>
</xsl:stylesheet>
