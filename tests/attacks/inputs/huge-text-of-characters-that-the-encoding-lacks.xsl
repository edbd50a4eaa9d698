<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="ISO-8859-5"/>
<xsl:template match="/"><xsl:value-of select="/r"/></xsl:template>
</xsl:stylesheet>
