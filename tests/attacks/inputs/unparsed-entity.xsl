<!DOCTYPE xsl:stylesheet [<!NOTATION n SYSTEM "x"><!ENTITY e SYSTEM "secret.txt" NDATA n>]>
<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:value-of select="unparsed-entity-uri('e')"/></xsl:template>
</xsl:stylesheet>
