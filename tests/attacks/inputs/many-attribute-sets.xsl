<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
@{3000*<xsl:attribute-set name="s@#"><xsl:attribute name="a@#">1</xsl:attribute></xsl:attribute-set>}@
<xsl:template match="/"><e xsl:use-attribute-sets="@{3000*s@# }@"/></xsl:template>
</xsl:stylesheet>
