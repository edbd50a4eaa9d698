<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:p="@{3000000*u}@x">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="p:*">x</xsl:template>
</xsl:stylesheet>
