<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:element name="xsl:document"><xsl:attribute name="href">../written.txt</xsl:attribute>x</xsl:element></xsl:template>
</xsl:stylesheet>
