<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:attribute-set name="s" use-attribute-sets="u"/><xsl:attribute-set name="u" use-attribute-sets="s"/>
<xsl:template match="/"><e xsl:use-attribute-sets="s"/></xsl:template>
</xsl:stylesheet>
