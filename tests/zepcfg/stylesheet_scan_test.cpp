#include "StylesheetScan.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include <gmock/gmock.h>

using testing::AllOf;
using testing::ElementsAre;
using testing::Field;
using testing::HasSubstr;
using testing::IsEmpty;
using zep::cli::Decoding;
using zep::cli::Finding;
using zep::cli::scanStylesheet;

namespace {

const std::string opening = "<xsl:stylesheet version='1.0' xmlns:xsl='http://www.w3.org/1999/XSL/Transform' "
                            "xmlns:exsl='http://exslt.org/common' xmlns:saxon='http://icl.com/saxon'>";
const std::string utf8 = "<xsl:output method='text' encoding='UTF-8'/>";

std::string stylesheet(const std::string& body, const std::string& output = utf8) {
  return opening + "\n" + output + "\n" + body + "\n</xsl:stylesheet>\n";
}

std::string inTemplate(const std::string& body) {
  return stylesheet("<xsl:template match='/'>" + body + "</xsl:template>");
}

testing::Matcher<Finding> says(const std::string& words) {
  return Field(&Finding::text, HasSubstr(words));
}

struct Row {
  std::string text;
  Decoding decodedAs;
  std::string words; // of the only finding
  int line = __builtin_LINE();
};

// A folder of its own with a stylesheet "main.xsl".
class StylesheetFiles : public testing::Test {
protected:
  StylesheetFiles() {
    std::string pattern = (std::filesystem::temp_directory_path() / "zepcfg-scan-XXXXXX").string();
    m_folder = mkdtemp(pattern.data());
    std::filesystem::create_directories(m_folder / "own" / "below");
  }
  ~StylesheetFiles() override { std::filesystem::remove_all(m_folder); }

  void write(const std::string& name, const std::string& text) const {
    std::ofstream(m_folder / name) << text;
  }

  std::vector<Finding> scan(const std::string& text) const {
    return scanStylesheet(text, (m_folder / "own" / "main.xsl").string(), Decoding::UTF8);
  }

  std::filesystem::path m_folder;
};

} // namespace

TEST(StylesheetScan, nothing_is_found_in_an_honest_stylesheet) {
  const std::string body =
      "<xsl:variable name='document' select='&apos;document(1)&apos;'/><xsl:value-of select='$document'/>"
      "<a title='document(x) {concat(1, \"document(2)\")}'/>my-document (3)";
  EXPECT_THAT(scanStylesheet(inTemplate(body), "", Decoding::UTF8), IsEmpty());
  EXPECT_THAT(scanStylesheet(stylesheet("", "<xsl:output method='text'/>"), "", Decoding::UTF16), IsEmpty());
  EXPECT_THAT(scanStylesheet(stylesheet("", "<xsl:output encoding='utf-16'/>"), "", Decoding::UTF16),
              IsEmpty());
  EXPECT_THAT(scanStylesheet(stylesheet("", ""), "", Decoding::UTF16), IsEmpty());
}

TEST(StylesheetScan, one_thing_that_surprises_is_one_finding) {
  const Row rows[] = {
      Row{"<a", Decoding::UTF16, "not well-formed"},
      Row{"", Decoding::UTF16, "not well-formed"},
      Row{"<a/>", Decoding::UTF16, "not a stylesheet"},
      Row{inTemplate("<xsl:copy-of select='document(\"a.xml\")'/>"), Decoding::UTF8, "document()"},
      Row{inTemplate("<xsl:if test='count( document (\"a\"))'/>"), Decoding::UTF8, "document()"},
      Row{inTemplate("<a b='x{document(1)}'/>"), Decoding::UTF8, "document()"},
      Row{inTemplate("<exsl:document href='a'/>"), Decoding::UTF8, "'exsl:document' writes"},
      Row{inTemplate("<saxon:output href='a'/>"), Decoding::UTF8, "'saxon:output' writes"},
      Row{inTemplate("<xsl:document href='a'/>"), Decoding::UTF8, "'xsl:document' writes"},
      Row{stylesheet("<xsl:include href='a.xsl'/>"), Decoding::UTF8, "may include nothing"},
      Row{"<!DOCTYPE a [<!ENTITY b 'c'>]>" + stylesheet(""), Decoding::UTF8, "document type"},
      Row{stylesheet("", "<xsl:output encoding='no-such'/>"), Decoding::UTF16, "'no-such' is not known"},
      Row{stylesheet("", "<xsl:output method='text'\n encoding='UTF-8'/>"), Decoding::UTF16,
          "written as UTF-8 but decoded as UTF-16"},
      Row{stylesheet("", "<xsl:output encoding='ISO-8859-1'/>"), Decoding::UTF16, "written as ISO-8859-1"},
      Row{stylesheet("", "<xsl:output encoding='UTF-16LE'/>"), Decoding::UTF16, "written as UTF-16LE"},
      Row{stylesheet("", "<!-- xsl:output utf-8 --><xsl:output encoding='UTF-16'/>"), Decoding::UTF8,
          "written as UTF-16 but decoded as UTF-8"},
      Row{stylesheet("", utf8 + utf8), Decoding::UTF8, "further xsl:output"},
      Row{stylesheet("", "<xsl:output method='html' encoding='UTF-8'/>"), Decoding::UTF8, "not html"},
      Row{stylesheet("", "<xsl:output indent='yes' encoding='UTF-8'/>"), Decoding::UTF8,
          "indent has no effect"},
      Row{stylesheet("", "<xsl:output doctype-system='a' encoding='UTF-8'/>"), Decoding::UTF8,
          "doctype-system has no effect"},
      Row{inTemplate("<xsl:text disable-output-escaping='yes'>a</xsl:text>"), Decoding::UTF8,
          "disable-output-escaping has no effect"},
      Row{inTemplate("<xsl:for-each-group select='a'/>"), Decoding::UTF8,
          "'xsl:for-each-group' is not known"},
      Row{inTemplate("<xsl:value-of select='upper-case(.)'/>"), Decoding::UTF8,
          "'upper-case()' is not known"},
      Row{inTemplate("<a b='{exists(.)}'/>"), Decoding::UTF8, "'exists()' is not known"},
      Row{inTemplate("<xsl:value-of select='exsl:tokenize(.)'/>"), Decoding::UTF8, "node-set() alone"},
      Row{"<a xsl:version='2.0' xmlns:xsl='http://www.w3.org/1999/XSL/Transform'/>", Decoding::UTF16,
          "XSLT 1.0, not 2.0"},
      Row{stylesheet("<xsl:param name='CompactView'/>"), Decoding::UTF8, "CompactView is never used"},
      Row{stylesheet("<xsl:param name='compactView'/>"), Decoding::UTF8, "does not set 'compactView'"},
      Row{stylesheet("<xsl:variable name='CompactView'/>"), Decoding::UTF8, "sets no variable"},
      Row{inTemplate("<xsl:if test='$CompactView = &quot;true&quot;'/>"), Decoding::UTF8,
          "CompactView is never 'true'"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    EXPECT_THAT(scanStylesheet(row.text, "", row.decodedAs), ElementsAre(says(row.words)));
  }
}

TEST(StylesheetScan, what_is_known_in_xslt_1_0_is_no_finding) {
  const std::string bodies[] = {
      "<xsl:value-of select='exsl:node-set($a)'/>",
      "<xsl:if test='$CompactView = &quot;TRUE&quot; or $CompactView != &quot;&quot;'/>",
      "<xsl:value-of select='generate-id(.)' disable-output-escaping='no'/>",
      "<xsl:new-in-2.0><xsl:fallback/></xsl:new-in-2.0>",
      "<xsl:param name='compactView'/><xsl:variable name='CompactView'/>",
  };
  for (const std::string& body : bodies) {
    EXPECT_THAT(scanStylesheet(inTemplate(body), "", Decoding::UTF8), IsEmpty()) << body;
  }
  EXPECT_THAT(scanStylesheet(stylesheet("<xsl:param name='CompactView'/><xsl:template match='/'>"
                                        "<xsl:if test='$CompactView'/></xsl:template>"),
                             "", Decoding::UTF8),
              IsEmpty());
}

TEST(StylesheetScan, elements_of_an_extension_are_found) {
  std::string text = inTemplate("<exsl:other/>");
  text.replace(text.find(" version"), 0, " extension-element-prefixes='exsl'");
  EXPECT_THAT(scanStylesheet(text, "", Decoding::UTF8), ElementsAre(says("'exsl:other' is not known")));
}

TEST(StylesheetScan, output_that_no_line_spells_so_is_explained) {
  const std::string text = "<t:stylesheet version='1.0' xmlns:t='http://www.w3.org/1999/XSL/Transform'>\n"
                           "<t:output encoding='UTF-8'/></t:stylesheet>";
  EXPECT_THAT(scanStylesheet(text, "a.xsl", Decoding::UTF16),
              ElementsAre(AllOf(says("no line with \"xsl:output\""), Field(&Finding::line, 2))));
}

TEST_F(StylesheetFiles, output_of_an_included_file_is_found_where_it_differs) {
  write("own/same.xsl", stylesheet(""));
  write("own/other.xsl", stylesheet("", "<xsl:output encoding='UTF-16'/>"));
  EXPECT_THAT(scan(stylesheet("<xsl:include href='same.xsl'/>")), IsEmpty());
  EXPECT_THAT(scan(stylesheet("<xsl:include href='other.xsl'/>")),
              ElementsAre(says("other.xsl, line 2: this is a further"), says("written as UTF-16")));
}

TEST(StylesheetScan, findings_stand_in_the_order_of_their_lines) {
  const std::string text = stylesheet("<xsl:param name='CompactView'/>\n<xsl:bogus/>", utf8 + "\n" + utf8);
  EXPECT_THAT(scanStylesheet(text, "", Decoding::UTF8),
              ElementsAre(Field(&Finding::line, 3), Field(&Finding::line, 4), Field(&Finding::line, 5)));
}

TEST(StylesheetScan, finding_names_its_line) {
  const std::string text = stylesheet("<xsl:template match='/'>\n<exsl:document href='a'/>\n</xsl:template>");
  EXPECT_THAT(scanStylesheet(text, "", Decoding::UTF8), ElementsAre(Field(&Finding::line, 4)));
}

TEST_F(StylesheetFiles, finding_names_the_line_on_which_a_start_tag_begins) {
  const std::string body =
      "<xsl:template match='/'>\n<xsl:copy-of\n\n select='document(1)'/>\n</xsl:template>";
  write("own/part.xsl", stylesheet(body));
  EXPECT_THAT(scan(stylesheet("<xsl:include\nhref='part.xsl'/><xsl:bogus\n/>\n" + body)),
              ElementsAre(says("part.xsl, line 4: document()"),
                          AllOf(says("bogus"), Field(&Finding::line, 4)),
                          AllOf(says("document()"), Field(&Finding::line, 7))));
}

TEST_F(StylesheetFiles, included_files_are_looked_into) {
  write("own/below/part.xsl", inTemplate("<xsl:copy-of select='document(1)'/>"));
  const std::vector<Finding> findings = scan(stylesheet("<xsl:include href='below/part.xsl'/>"));
  EXPECT_THAT(findings, ElementsAre(says("part.xsl, line 3: document()")));
}

TEST_F(StylesheetFiles, files_that_include_each_other_are_looked_into_once) {
  write("own/main.xsl", stylesheet("<xsl:import href='other.xsl'/>"));
  write("own/other.xsl", stylesheet("<xsl:import href='main.xsl'/><xsl:import href='other.xsl'/>"));
  EXPECT_THAT(scan(stylesheet("<xsl:import href='other.xsl'/>")), IsEmpty());
}

TEST_F(StylesheetFiles, includes_outside_the_folder_are_found) {
  write("outside.xsl", stylesheet(""));
  std::filesystem::create_symlink(m_folder / "outside.xsl", m_folder / "own" / "link.xsl");
  for (const std::string& href :
       {std::string("../outside.xsl"), std::string("link.xsl"), (m_folder / "outside.xsl").string(),
        std::string("http://127.0.0.1/a.xsl"), "file://" + (m_folder / "own" / "main.xsl").string(),
        std::string("%2E%2E/outside.xsl")}) {
    SCOPED_TRACE(href);
    EXPECT_THAT(scan(stylesheet("<xsl:include href='" + href + "'/>")),
                ElementsAre(says("is not in the stylesheet's own folder")));
  }
}

TEST_F(StylesheetFiles, missing_include_is_found) {
  EXPECT_THAT(scan(stylesheet("<xsl:include href='missing.xsl'/>")),
              ElementsAre(AllOf(says("'missing.xsl' does not exist"),
                                Field(&Finding::remedy, HasSubstr("folder of the file that names it")))));
}

TEST_F(StylesheetFiles, plain_entities_are_no_finding_and_others_are) {
  EXPECT_THAT(scan("<!DOCTYPE x [<!ENTITY blank ' '>]>" + stylesheet("")), IsEmpty());
  EXPECT_THAT(scan("<!DOCTYPE x SYSTEM 'a.dtd'>" + stylesheet("")), ElementsAre(says("external file")));
  EXPECT_THAT(scan("<!DOCTYPE x [<!ENTITY e SYSTEM '/etc/hostname'>]>" + stylesheet("")),
              ElementsAre(says("'e' is not a plain")));
}
