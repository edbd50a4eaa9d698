<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template @{990*xmlns:a@#="1" }@ xmlns:b="2" match="@{1500000*b:a/}@a"/>
</xsl:stylesheet>
