<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:s="http://saxon.sf.net/" extension-element-prefixes="s">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><s:result-document href="../written.txt">x</s:result-document></xsl:template>
</xsl:stylesheet>
