<?xml version="1.0" encoding="UTF-8"?>
<!-- Display text of a configuration expression. -->
<xsl:stylesheet version="1.0"
                xmlns:xsl="http://www.w3.org/1999/XSL/Transform"
                xmlns:zep="urn:zep:configuration-expression">

  <xsl:output method="text" encoding="UTF-8"/>
  <xsl:include href="common/EffectivityDisplay.xsl"/>

  <!-- Where a context comes from: names are enough here. -->
  <xsl:template match="zep:Context" mode="origin">
    <xsl:param name="indent"/>
    <xsl:if test="zep:InheritedEff">
      <xsl:value-of select="concat($indent, 'inherited from ')"/>
      <xsl:for-each select="zep:InheritedEff">
        <xsl:call-template name="comma"/>
        <xsl:value-of select="@HolderName"/>
      </xsl:for-each>
      <xsl:text>&#10;</xsl:text>
    </xsl:if>
    <xsl:if test="zep:Change">
      <xsl:value-of select="concat($indent, 'changed by ')"/>
      <xsl:for-each select="zep:Change">
        <xsl:call-template name="comma"/>
        <xsl:apply-templates select="." mode="name"/>
      </xsl:for-each>
      <xsl:text>&#10;</xsl:text>
    </xsl:if>
  </xsl:template>

  <!-- The compact view leaves the origin out. -->
  <xsl:template match="zep:Context" mode="compact-origin"/>

</xsl:stylesheet>
