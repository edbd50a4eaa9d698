<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:q="http://xml.apache.org/xalan/sql">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:value-of select="q:new('org.x.Driver', 'jdbc:x')"/></xsl:template>
</xsl:stylesheet>
