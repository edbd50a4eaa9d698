<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:r="http://xml.apache.org/xalan/redirect" extension-element-prefixes="r">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><r:write select="../written.txt">x</r:write></xsl:template>
</xsl:stylesheet>
