<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/">@{100000*<xsl:variable name="p@#" select="1"/>}@</xsl:template>
</xsl:stylesheet>
