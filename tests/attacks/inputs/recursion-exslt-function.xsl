<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:f="http://exslt.org/functions" extension-element-prefixes="f">
<xsl:output method="text" encoding="UTF-8"/>
<f:function name="f:f"><f:result select="f:f()"/></f:function>
<xsl:template match="/"><xsl:value-of select="f:f()"/></xsl:template>
</xsl:stylesheet>
