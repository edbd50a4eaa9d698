<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:m="urn:schemas-microsoft-com:xslt" extension-element-prefixes="m">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><m:script language="../written.txt">x</m:script></xsl:template>
</xsl:stylesheet>
