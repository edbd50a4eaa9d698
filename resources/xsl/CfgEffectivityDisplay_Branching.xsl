<?xml version="1.0" encoding="UTF-8"?>
<!-- Display text of a configuration expression where branches matter: the origin in full. -->
<xsl:stylesheet version="1.0"
                xmlns:xsl="http://www.w3.org/1999/XSL/Transform"
                xmlns:zep="urn:zep:configuration-expression">

  <xsl:output method="text" encoding="UTF-8"/>
  <xsl:include href="common/EffectivityDisplay.xsl"/>

  <!-- Where a context comes from: a branch is told by its domain and number, not by its name alone. -->
  <xsl:template match="zep:Context" mode="origin">
    <xsl:param name="indent"/>
    <xsl:if test="zep:InheritedEff">
      <xsl:value-of select="concat($indent, 'branched from&#10;')"/>
      <xsl:for-each select="zep:InheritedEff">
        <xsl:value-of select="concat($indent, $step, @HolderName, ' (', @Domain, ' ', @FilterableId, ')&#10;')"/>
      </xsl:for-each>
    </xsl:if>
    <xsl:if test="zep:Change">
      <xsl:value-of select="concat($indent, 'changed by&#10;')"/>
      <xsl:for-each select="zep:Change">
        <xsl:value-of select="concat($indent, $step)"/>
        <xsl:apply-templates select="." mode="name"/>
        <xsl:value-of select="concat(' (operation handler ', @OperationHandlerId, ')&#10;')"/>
      </xsl:for-each>
    </xsl:if>
  </xsl:template>

  <xsl:template match="zep:Context" mode="compact-origin">
    <xsl:if test="zep:InheritedEff">
      <xsl:text> (branched from </xsl:text>
      <xsl:for-each select="zep:InheritedEff">
        <xsl:call-template name="comma"/>
        <xsl:value-of select="@HolderName"/>
      </xsl:for-each>
      <xsl:text>)</xsl:text>
    </xsl:if>
  </xsl:template>

</xsl:stylesheet>
