<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" @{900*xmlns:p@#="urn:@#" }@>
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/">@{50000*<xsl:if test='0'/>}@x</xsl:template>
</xsl:stylesheet>
