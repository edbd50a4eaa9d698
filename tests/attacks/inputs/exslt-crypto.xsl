<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:m="http://exslt.org/crypto">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:value-of select="m:md5('x')"/></xsl:template>
</xsl:stylesheet>
