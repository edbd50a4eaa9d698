#include "ZEPEnvironment.h"
#include "ZEPHResult.h"
#include "ZEPUnicodeString.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

TEST(Environment, GetEnv_TellsUnset_FromEmpty) {
  setenv("ZEP_TEST_VALUE", "caf\xC3\xA9", 1);
  setenv("ZEP_TEST_EMPTY", "", 1);
  unsetenv("ZEP_TEST_UNSET");
  EXPECT_STREQ(ZEPGetEnv("ZEP_TEST_VALUE"), "caf\xC3\xA9");
  EXPECT_STREQ(ZEPGetEnv("ZEP_TEST_EMPTY"), "");
  EXPECT_EQ(ZEPGetEnv("ZEP_TEST_UNSET"), nullptr);
  EXPECT_EQ(ZEPGetEnv(""), nullptr);
  EXPECT_EQ(ZEPGetEnv(nullptr), nullptr);
}

TEST(Environment, ExpandString_ReplacesReferences_EachForm) {
  setenv("ZEP_A", "/root", 1);
  setenv("ZEP_A2", "two", 1);
  setenv("ZEP_EMPTY", "", 1);
  setenv("ZEP_NESTED", "$ZEP_A ${ZEP_A} %ZEP_A%", 1);
  setenv("_", "underscore", 1);
  setenv("ZEP_UTF8", "\xE2\x82\xAC", 1);
  setenv("ZEP_MALFORMED", "a\xFF", 1);
  unsetenv("ZEP_UNSET");
  struct Row {
    int line;
    const char* text;
    const char* expected;
  };
  const Row rows[] = {
      Row{__LINE__, "", ""},
      Row{__LINE__, "nothing to do", "nothing to do"},
      Row{__LINE__, "$ZEP_A", "/root"},
      Row{__LINE__, "${ZEP_A}", "/root"},
      Row{__LINE__, "%ZEP_A%", "/root"},
      Row{__LINE__, "$ZEP_A/x.xsl", "/root/x.xsl"},
      Row{__LINE__, "${ZEP_A}x.xsl", "/rootx.xsl"},
      Row{__LINE__, "%ZEP_A%\\x.xsl", "/root\\x.xsl"},
      Row{__LINE__, "a$ZEP_A b${ZEP_A}c%ZEP_A%d", "a/root b/rootc/rootd"},
      Row{__LINE__, "$ZEP_A$ZEP_A", "/root/root"},
      Row{__LINE__, "%ZEP_A%%ZEP_A%", "/root/root"},
      Row{__LINE__, "$ZEP_A2", "two"}, // the longest name counts
      Row{__LINE__, "${ZEP_A}2", "/root2"},
      Row{__LINE__, "[$ZEP_UNSET][${ZEP_UNSET}][%ZEP_UNSET%]", "[][][]"},
      Row{__LINE__, "[$ZEP_EMPTY][${ZEP_EMPTY}][%ZEP_EMPTY%]", "[][][]"},
      Row{__LINE__, "$ZEP_NESTED", "$ZEP_A ${ZEP_A} %ZEP_A%"}, // once only
      Row{__LINE__, "$_", "underscore"},
      Row{__LINE__, "$ZEP_UTF8", "\xE2\x82\xAC"},
      Row{__LINE__, "$ZEP_MALFORMED", "a\xEF\xBF\xBD"},
      Row{__LINE__, "\xC3\xA9$ZEP_A\xC3\xA9", "\xC3\xA9/root\xC3\xA9"},
      Row{__LINE__, "$", "$"},
      Row{__LINE__, "%", "%"},
      Row{__LINE__, "$$ZEP_A", "$/root"},
      Row{__LINE__, "cost $5 or 5%", "cost $5 or 5%"},
      Row{__LINE__, "50% of %ZEP_A%", "50% of /root"},
      Row{__LINE__, "%%", "%%"},
      Row{__LINE__, "%ZEP_A", "%ZEP_A"},
      Row{__LINE__, "%ZEP_A %ZEP_A%", "%ZEP_A /root"},
      Row{__LINE__, "${}", "${}"},
      Row{__LINE__, "${", "${"},
      Row{__LINE__, "${ZEP_A", "${ZEP_A"},
      Row{__LINE__, "${ZEP_A $ZEP_A}", "${ZEP_A /root}"},
      Row{__LINE__, "${1}", "${1}"},
      Row{__LINE__, "%1%", "%1%"},
      Row{__LINE__, "%$ZEP_A%", "%/root%"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ZEPUnicodeString text(row.text);
    EXPECT_EQ(ZEPExpandString(&text), S_OK);
    EXPECT_STREQ(text.CastToCharPtr(), row.expected);
  }
}

TEST(Environment, ExpandString_KeepsOtherCharacters_NulAndLoneSurrogate) {
  setenv("ZEP_A", "value", 1);
  const char16_t units[] = {u'\0', 0xD83D, u'$', u'Z', u'E', u'P', u'_', u'A', u'\0'};
  ZEPUnicodeString text(units, std::size(units));
  EXPECT_EQ(ZEPExpandString(&text), S_OK);
  const char16_t expected[] = {u'\0', 0xD83D, u'v', u'a', u'l', u'u', u'e', u'\0'};
  EXPECT_TRUE(text == ZEPUnicodeString(expected, std::size(expected)));
}

TEST(Environment, ExpandString_Fails_NullText) {
  EXPECT_EQ(ZEPExpandString(nullptr), E_POINTER);
}

} // namespace
