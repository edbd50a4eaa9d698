<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="ISO-2022-JP"/>
<xsl:template match="/">&#x4e2d;</xsl:template>
</xsl:stylesheet>
