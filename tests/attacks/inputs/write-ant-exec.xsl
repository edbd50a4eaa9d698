<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:x="xalan://java.lang.Runtime" extension-element-prefixes="x">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><x:exec file="../written.txt">x</x:exec></xsl:template>
</xsl:stylesheet>
