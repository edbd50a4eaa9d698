<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:m="urn:schemas-microsoft-com:xslt" xmlns:u="urn:u" extension-element-prefixes="m">
<xsl:output method="text" encoding="UTF-8"/>
<m:script language="JScript" implements-prefix="u">function f() { return 1; }</m:script>
<xsl:template match="/"><xsl:value-of select="u:f()"/></xsl:template>
</xsl:stylesheet>
