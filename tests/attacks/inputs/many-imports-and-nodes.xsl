<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
@{199*<xsl:import href="part.xsl"/>}@
<xsl:output method="text"/>
<xsl:template match="/"><xsl:apply-templates mode="m"/></xsl:template>
</xsl:stylesheet>
