<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:out="urn:out">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:namespace-alias stylesheet-prefix="out" result-prefix="xsl"/>
<xsl:template match="/"><out:document href="../written.txt">x</out:document></xsl:template>
</xsl:stylesheet>
