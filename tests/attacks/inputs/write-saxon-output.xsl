<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:s="http://icl.com/saxon" extension-element-prefixes="s">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><s:output href="../written.txt">x</s:output></xsl:template>
</xsl:stylesheet>
