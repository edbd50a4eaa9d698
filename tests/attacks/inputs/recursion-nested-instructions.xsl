<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template name="t">@{60*<e><xsl:if test="1"><xsl:for-each select=".">}@<xsl:call-template name="t"></xsl:call-template>@{60*</xsl:for-each></xsl:if></e>}@</xsl:template>
<xsl:template match="/"><xsl:call-template name="t"></xsl:call-template></xsl:template>
</xsl:stylesheet>
