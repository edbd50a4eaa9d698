<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:number value="1e15" format="I"/><xsl:number value="1e300" format="a"/><xsl:number value="1e300" grouping-size="1" grouping-separator=","/></xsl:template>
</xsl:stylesheet>
