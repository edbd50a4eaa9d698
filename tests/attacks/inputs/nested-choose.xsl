<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/">@{240*<xsl:choose><xsl:when test="1">}@x@{240*</xsl:when></xsl:choose>}@</xsl:template>
</xsl:stylesheet>
