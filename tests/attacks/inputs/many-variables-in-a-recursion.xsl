<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><xsl:call-template name="t"/></xsl:template>
<xsl:template name="t">@{300*<xsl:param name="p@#"/>}@<xsl:call-template name="t"/></xsl:template>
</xsl:stylesheet>
