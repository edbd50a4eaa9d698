<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:r="org.apache.xalan.xslt.extensions.Redirect" extension-element-prefixes="r">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><r:write file="../written.txt">x</r:write></xsl:template>
</xsl:stylesheet>
