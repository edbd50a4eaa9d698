<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:f="java:java.io.FileWriter">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:value-of select="f:new('../written.txt')"/></xsl:template>
</xsl:stylesheet>
