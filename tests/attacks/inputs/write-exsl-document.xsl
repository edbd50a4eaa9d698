<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:e="http://exslt.org/common" extension-element-prefixes="e">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><e:document href="../written.txt">x</e:document></xsl:template>
</xsl:stylesheet>
