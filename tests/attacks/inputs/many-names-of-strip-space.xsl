<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:strip-space @{990*xmlns:a@#="u@#" }@ xmlns:b="z" elements="@{1500000*b:a }@"/>
<xsl:template match="/">x</xsl:template>
</xsl:stylesheet>
