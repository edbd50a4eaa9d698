<?xml version="1.0" encoding="UTF-8"?>
<!--
  What the display stylesheets share. Each of them adds two templates for Context: mode "origin" writes
  lines, mode "compact-origin" a part of a line.
-->
<xsl:stylesheet version="1.0"
                xmlns:xsl="http://www.w3.org/1999/XSL/Transform"
                xmlns:zep="urn:zep:configuration-expression">

  <!-- 'TRUE': one line per context. -->
  <xsl:param name="CompactView"/>

  <xsl:variable name="step" select="'  '"/>
  <xsl:key name="label" match="zep:Label" use="@Id"/>
  <xsl:strip-space elements="*"/>

  <!-- Documents -->

  <xsl:template match="/">
    <xsl:choose>
      <xsl:when test="$CompactView = 'TRUE'">
        <xsl:apply-templates select="*" mode="compact"/>
      </xsl:when>
      <xsl:otherwise>
        <xsl:apply-templates select="*"/>
      </xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <xsl:template match="zep:EffectivityExpression">
    <xsl:apply-templates/>
  </xsl:template>

  <xsl:template match="zep:FilterExpression">
    <xsl:apply-templates/>
  </xsl:template>

  <xsl:template match="zep:FilterSelection">
    <xsl:value-of select="concat(@SelectionMode, ' filter&#10;')"/>
    <xsl:apply-templates>
      <xsl:with-param name="indent" select="$step"/>
    </xsl:apply-templates>
  </xsl:template>

  <xsl:template match="zep:Description">
    <xsl:if test="zep:Summary">
      <xsl:value-of select="concat(normalize-space(zep:Summary), '&#10;&#10;')"/>
    </xsl:if>
  </xsl:template>

  <xsl:template match="zep:Context">
    <xsl:param name="indent"/>
    <xsl:if test="preceding-sibling::zep:Context">
      <xsl:text>&#10;</xsl:text>
    </xsl:if>
    <xsl:value-of select="$indent"/>
    <xsl:call-template name="holder"/>
    <xsl:text>&#10;</xsl:text>
    <xsl:apply-templates select="." mode="origin">
      <xsl:with-param name="indent" select="concat($indent, $step)"/>
    </xsl:apply-templates>
    <xsl:apply-templates>
      <xsl:with-param name="indent" select="concat($indent, $step)"/>
    </xsl:apply-templates>
  </xsl:template>

  <!-- Written by the templates of mode "origin". -->
  <xsl:template match="zep:InheritedEff | zep:Change"/>

  <!-- Conditions, one line each; "not" stands in front of what it negates. -->

  <xsl:template match="zep:And | zep:Or">
    <xsl:param name="indent"/>
    <xsl:param name="negation"/>
    <xsl:value-of select="concat($indent, $negation)"/>
    <xsl:choose>
      <xsl:when test="self::zep:And">all of</xsl:when>
      <xsl:otherwise>any of</xsl:otherwise>
    </xsl:choose>
    <xsl:call-template name="label"/>
    <xsl:text>&#10;</xsl:text>
    <xsl:apply-templates>
      <xsl:with-param name="indent" select="concat($indent, $step)"/>
    </xsl:apply-templates>
  </xsl:template>

  <xsl:template match="zep:Not">
    <xsl:param name="indent"/>
    <xsl:param name="negation"/>
    <xsl:apply-templates>
      <xsl:with-param name="indent" select="$indent"/>
      <xsl:with-param name="negation" select="concat($negation, 'not ')"/>
    </xsl:apply-templates>
  </xsl:template>

  <xsl:template match="zep:Feature | zep:DateRange | zep:UnitRange | zep:Boolean">
    <xsl:param name="indent"/>
    <xsl:param name="negation"/>
    <xsl:value-of select="concat($indent, $negation)"/>
    <xsl:apply-templates select="." mode="phrase"/>
    <xsl:text>&#10;</xsl:text>
  </xsl:template>

  <!-- The compact view -->

  <xsl:template match="*" mode="compact">
    <xsl:apply-templates select="*" mode="compact"/>
  </xsl:template>

  <xsl:template match="zep:Description | zep:InheritedEff | zep:Change" mode="compact"/>

  <xsl:template match="zep:Context" mode="compact">
    <xsl:call-template name="selection-mode"/>
    <xsl:call-template name="holder"/>
    <xsl:apply-templates select="." mode="compact-origin"/>
    <xsl:text>: </xsl:text>
    <xsl:variable name="condition" select="*[not(self::zep:InheritedEff | self::zep:Change)]"/>
    <xsl:apply-templates select="$condition" mode="phrase"/>
    <xsl:if test="not($condition)">no condition of its own</xsl:if>
    <xsl:text>&#10;</xsl:text>
  </xsl:template>

  <xsl:template match="zep:And | zep:Or | zep:Not | zep:Feature | zep:DateRange | zep:UnitRange | zep:Boolean"
                mode="compact">
    <xsl:call-template name="selection-mode"/>
    <xsl:apply-templates select="." mode="phrase"/>
    <xsl:text>&#10;</xsl:text>
  </xsl:template>

  <xsl:template name="selection-mode">
    <xsl:if test="parent::zep:FilterSelection">
      <xsl:value-of select="concat(../@SelectionMode, ' filter: ')"/>
    </xsl:if>
  </xsl:template>

  <!-- Conditions as a part of a line -->

  <xsl:template match="zep:And" mode="phrase">
    <xsl:for-each select="*">
      <xsl:if test="position() &gt; 1"> and </xsl:if>
      <xsl:apply-templates select="." mode="operand"/>
    </xsl:for-each>
  </xsl:template>

  <xsl:template match="zep:Or" mode="phrase">
    <xsl:for-each select="*">
      <xsl:if test="position() &gt; 1"> or </xsl:if>
      <xsl:apply-templates select="." mode="operand"/>
    </xsl:for-each>
  </xsl:template>

  <xsl:template match="zep:Not" mode="phrase">
    <xsl:text>not </xsl:text>
    <xsl:apply-templates select="*" mode="operand"/>
  </xsl:template>

  <xsl:template match="zep:And | zep:Or" mode="operand">
    <xsl:text>(</xsl:text>
    <xsl:apply-templates select="." mode="phrase"/>
    <xsl:text>)</xsl:text>
  </xsl:template>

  <xsl:template match="*" mode="operand">
    <xsl:apply-templates select="." mode="phrase"/>
  </xsl:template>

  <xsl:template match="zep:Feature" mode="phrase">
    <xsl:apply-templates select="." mode="name"/>
    <xsl:text> = </xsl:text>
    <xsl:for-each select="zep:Value">
      <xsl:if test="position() &gt; 1"> | </xsl:if>
      <xsl:apply-templates select="." mode="name"/>
    </xsl:for-each>
  </xsl:template>

  <xsl:template match="zep:DateRange" mode="phrase">
    <xsl:call-template name="range">
      <xsl:with-param name="noun" select="'date'"/>
    </xsl:call-template>
  </xsl:template>

  <xsl:template match="zep:UnitRange" mode="phrase">
    <xsl:call-template name="range">
      <xsl:with-param name="noun" select="'unit'"/>
    </xsl:call-template>
  </xsl:template>

  <xsl:template match="zep:Boolean" mode="phrase">
    <xsl:choose>
      <xsl:when test="normalize-space() = 'true'">always</xsl:when>
      <xsl:otherwise>never</xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <!-- Names, labels, ranges -->

  <xsl:template name="holder">
    <xsl:value-of select="concat(@HolderType, ' ', @HolderName)"/>
    <xsl:call-template name="label"/>
  </xsl:template>

  <!-- The label instead of the name, where there is one. -->
  <xsl:template match="*" mode="name">
    <xsl:variable name="label" select="key('label', @DescId)"/>
    <xsl:choose>
      <xsl:when test="$label">
        <xsl:value-of select="normalize-space($label)"/>
      </xsl:when>
      <xsl:otherwise>
        <xsl:value-of select="@Name"/>
      </xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <!-- The label in parentheses, beside what it labels. -->
  <xsl:template name="label">
    <xsl:variable name="label" select="key('label', @DescId)"/>
    <xsl:if test="$label">
      <xsl:value-of select="concat(' (', normalize-space($label), ')')"/>
    </xsl:if>
  </xsl:template>

  <xsl:template name="range">
    <xsl:param name="noun"/>
    <xsl:choose>
      <xsl:when test="not(@From | @To)">
        <xsl:value-of select="concat('any ', $noun)"/>
      </xsl:when>
      <xsl:when test="@From = @To">
        <xsl:value-of select="concat($noun, ' ', @From)"/>
      </xsl:when>
      <xsl:when test="not(@To)">
        <xsl:value-of select="concat($noun, 's from ', @From)"/>
      </xsl:when>
      <xsl:when test="not(@From)">
        <xsl:value-of select="concat($noun, 's up to ', @To)"/>
      </xsl:when>
      <xsl:otherwise>
        <xsl:value-of select="concat($noun, 's ', @From, ' to ', @To)"/>
      </xsl:otherwise>
    </xsl:choose>
  </xsl:template>

  <!-- In front of every item of a list but the first. -->
  <xsl:template name="comma">
    <xsl:if test="position() &gt; 1">, </xsl:if>
  </xsl:template>

</xsl:stylesheet>
