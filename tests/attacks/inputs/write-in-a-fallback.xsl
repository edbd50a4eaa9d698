<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:z="urn:z" extension-element-prefixes="z">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><z:z><xsl:fallback><xsl:document href="../written.txt">x</xsl:document></xsl:fallback></z:z></xsl:template>
</xsl:stylesheet>
