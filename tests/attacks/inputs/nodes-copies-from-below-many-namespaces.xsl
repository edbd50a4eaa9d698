<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><o><xsl:copy-of select="/r/namespace::*"/><xsl:copy-of select="/r/a"/></o></xsl:template>
</xsl:stylesheet>
