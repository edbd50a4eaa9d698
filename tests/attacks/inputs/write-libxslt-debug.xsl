<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:l="http://xmlsoft.org/XSLT/namespace" extension-element-prefixes="l">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><l:debug href="../written.txt">x</l:debug></xsl:template>
</xsl:stylesheet>
