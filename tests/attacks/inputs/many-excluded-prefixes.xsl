<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" @{5000*xmlns:p@#="urn:@#" }@exclude-result-prefixes="@{5000*p@# }@">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/">x</xsl:template>
</xsl:stylesheet>
