<xsl:stylesheet version="1.0" xmlns:xsl="http://www.w3.org/1999/XSL/Transform" xmlns:z="z">
<xsl:output method="text" encoding="UTF-8"/>
<xsl:template match="/"><z:out><mid><xsl:copy-of select="/r/h/namespace::*"/><xsl:copy-of select="/r/z:a"/></mid></z:out></xsl:template>
</xsl:stylesheet>
