<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template name="t"><e xsl:use-attribute-sets="s"/></xsl:template><xsl:attribute-set name="s"><xsl:attribute name="n"><xsl:call-template name="t"></xsl:call-template></xsl:attribute></xsl:attribute-set>
<xsl:template match="/"><xsl:call-template name="t"></xsl:call-template></xsl:template>
</xsl:stylesheet>
