<a>
 <xsl:output
 encoding="UTF-8"/>
<xsl:output encoding="Utf-8"/>