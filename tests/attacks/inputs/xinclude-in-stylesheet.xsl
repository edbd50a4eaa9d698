<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:xi="http://www.w3.org/2001/XInclude">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/">x<xi:include href="../secret.txt" parse="text"/></xsl:template>
</xsl:stylesheet>
