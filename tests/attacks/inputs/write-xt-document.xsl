<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:t="http://www.jclark.com/xt" extension-element-prefixes="t">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><t:document href="../written.txt">x</t:document></xsl:template>
</xsl:stylesheet>
