<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:include href="part.xsl"/>
<xsl:template match="/"><xsl:call-template name="part"></xsl:call-template></xsl:template>
</xsl:stylesheet>
