#include "StartTags.h"

#include <string>

#include <gtest/gtest.h>

using zep::cli::StartTags;
using zep::cli::startTagsOf;

namespace {

struct Row {
  std::string text;
  std::string name;
  long lastLine;
  long firstLine;
  int line = __builtin_LINE();
};

} // namespace

TEST(StartTags, line_is_that_on_which_the_tag_begins) {
  const Row rows[] = {
      Row{"", "a", 3, 3},
      Row{"<a/>", "a", 1, 1},
      Row{"<a\nx='1'\n>", "a", 3, 1},
      Row{"<a\r\nx='1'\r\n/>", "a", 3, 1},
      Row{"\n<p:a\nx='1'/>", "a", 3, 2},
      Row{"\n<p:a\nx='1'/>", "b", 3, 3},
      Row{"\n<p:a\nx='1'/>", "a", 2, 2},
      Row{"<b>\n<a\n/><a/></b>", "a", 3, 2},
      Row{"<b\n><a\nx='>'\n/></b>", "a", 4, 2},
      Row{"<a x='\n'\ny=\">'\n\"/>", "a", 4, 1},
      Row{"<b\n/><a\n/>", "a", 3, 2},
      Row{"<b\n/><a\n/>", "b", 2, 1},
      Row{"<b/></b\n><a/>", "a", 2, 2},
      Row{"<!-- <a\n --><a/>", "a", 2, 2},
      Row{"<!-- -> > -- <a\n --><a\n/>", "a", 3, 2},
      Row{"<b><![CDATA[<a\n]]><a\n/></b>", "a", 3, 2},
      Row{"<?pi <a\n?><a\n/>", "a", 3, 2},
      Row{"<!DOCTYPE a [\n<!ENTITY e '<a\n>'>\n]>\n<a\n/>", "a", 6, 5},
      Row{"<!DOCTYPE a SYSTEM 'x>\n<a'>\n<a\n/>", "a", 4, 3},
      Row{"<a\n", "a", 2, 1},
      Row{"<a x='\n", "a", 2, 1},
      Row{"<!--\n<a\n", "a", 3, 3},
      Row{"<\n>", "", 2, 1},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_EQ(StartTags(row.text).firstLine(row.name, row.lastLine), row.firstLine);
    EXPECT_EQ(startTagsOf(row.text).firstLine(row.name, row.lastLine), row.firstLine);
  }
}

TEST(StartTags, documents_are_read_in_their_encoding) {
  std::string text = "\xFF\xFE";
  for (const char character : std::string("<a\n/>")) {
    text += {character, '\0'};
  }
  EXPECT_EQ(startTagsOf(text).firstLine("a", 2), 1);
  EXPECT_EQ(startTagsOf("<?xml version='1.0' encoding='ISO-8859-1'?><a x='\xE9'\n/>").firstLine("a", 2), 1);
}

TEST(StartTags, bytes_that_cannot_be_decoded_have_no_tags) {
  EXPECT_EQ(startTagsOf("<a x='\xE9'\n/>").firstLine("a", 2), 2);
}
