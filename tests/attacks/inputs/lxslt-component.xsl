<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:x="http://xml.apache.org/xslt" xmlns:u="urn:u">
<xsl:output method="text" encoding="UTF-8"/>
<x:component prefix="u" functions="f"><x:script lang="javascript">x</x:script></x:component>
<xsl:template match="/"><xsl:value-of select="u:f()"/></xsl:template>
</xsl:stylesheet>
