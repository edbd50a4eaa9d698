<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:attribute-set name="s">@{9990*<xsl:attribute name="a@#"/>}@</xsl:attribute-set><xsl:template match="/"><o xsl:use-attribute-sets="@{10000*s }@"/></xsl:template>
</xsl:stylesheet>
