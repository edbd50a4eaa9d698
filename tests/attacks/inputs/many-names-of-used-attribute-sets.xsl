<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:attribute-set name="o" @{980*xmlns:a@#="u@#" }@ xmlns:b="z" use-attribute-sets="@{1500000*b:a }@"/>
<xsl:template match="/">x</xsl:template>
</xsl:stylesheet>
