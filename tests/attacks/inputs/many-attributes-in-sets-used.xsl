<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:attribute-set name="s">@{5000*<xsl:attribute name="a@#"/>}@</xsl:attribute-set>
@{5000*<xsl:attribute-set name="s@#" use-attribute-sets="s"/>}@
<xsl:template match="/">x</xsl:template>
</xsl:stylesheet>
