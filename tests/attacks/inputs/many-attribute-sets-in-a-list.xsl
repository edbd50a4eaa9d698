<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:attribute-set name="s"/><xsl:template match="/"><o xsl:use-attribute-sets="@{900000*a899:s }@" @{900*xmlns:a@#="1" }@>x</o></xsl:template>
</xsl:stylesheet>
