#include "RawServer.h"
#include "XMLTest.h"
#include "session_test_support.h"

#include <filesystem>
#include <string>
#include <sys/stat.h>
#include <vector>

namespace {

using namespace xml;

// A secret beside and above the stylesheet's folder, and a server: nobody ever gets there.
class XMLSandbox : public QuietTest {
protected:
  void SetUp() override {
    QuietTest::SetUp();
    m_files.Write("secret.xml", "<secret>SECRET</secret>");
    m_files.Write("secret.txt", "SECRET");
    m_files.Write("secret.ent", "<!ENTITY e 'SECRET'>");
    m_files.Write("secret.xsl", kSecretSheet);
    m_files.Write("in/secret.xml", "<secret>SECRET</secret>");
    m_files.Write("inside/secret.xsl", kSecretSheet); // its path begins as that of the folder does
  }
  void TearDown() override {
    EXPECT_EQ(m_server.ConnectionCount(), 0);
    QuietTest::TearDown();
  }

  std::string Url(const std::string& path) const { return m_server.Url(path); }
  ZEPISAXInputSource_var InFile(const std::string& text, const std::string& name = "in/main.xsl") {
    return FileSource(m_files.Write(name, text), "sheet");
  }
  // Each place that holds the secret, as a stylesheet may write it.
  std::vector<std::string> Places(const std::string& name) const {
    return {name,
            "../" + name,
            m_files.Path(name),
            "file://" + m_files.Path(name),
            "file:" + m_files.Path(name),
            "%2e%2e/" + name,
            Url("/" + name)};
  }
  static void ExpectNoSecret(const Outcome& outcome) {
    EXPECT_TRUE(ZEPFailed(outcome.code)) << outcome.output;
    EXPECT_NE(outcome.message, "");
    EXPECT_EQ(outcome.output, "(nothing)");
    EXPECT_EQ(outcome.message.find("SECRET"), std::string::npos) << outcome.message;
  }

  static const std::string kSecretSheet;
  session::TempDirectory m_files;
  RawServer m_server;
};

const std::string XMLSandbox::kSecretSheet =
    Sheet("<xsl:template name='secret'>SECRET</xsl:template><xsl:template match='*'>SECRET</xsl:template>");

TEST_F(XMLSandbox, xml_document_function_is_refused) {
  std::vector<std::string> arguments = {"\"\"", "/*", "\"#a\"", "\"http://\"", "\"ftp://127.0.0.1/\"",
                                        "//@*"};
  for (const std::string& place : Places("secret.xml")) {
    arguments.push_back("\"" + place + "\"");
    arguments.push_back("\"" + place + "\", /");
  }
  for (const std::string& argument : arguments) {
    SCOPED_TRACE(argument);
    const std::string sheet = TextSheet("<xsl:copy-of select='document(" + argument + ")'/>SECRET");
    const std::string expression = "<a b='secret.xml'>" + m_files.Path("secret.xml") + "</a>";
    ExpectNoSecret(Applied(sheet, expression));
    ExpectNoSecret(Applied(InFile(sheet), FileSource(m_files.Write("in/e.xml", expression), "e")));
  }
}

TEST_F(XMLSandbox, xml_external_entity_is_refused_everywhere) {
  for (const std::string& place : Places("secret.txt")) {
    for (const std::string& declaration :
         {"<!DOCTYPE %% [<!ENTITY e SYSTEM '" + place + "'>]>",
          "<!DOCTYPE %% [<!ENTITY e PUBLIC '-//x' '" + place + "'>]>",
          "<!DOCTYPE %% [<!ENTITY % p SYSTEM '" + place + "'> %p;]>",
          "<!DOCTYPE %% [<!ENTITY % p \"<!ENTITY e SYSTEM '" + place + "'>\"> %p;]>",
          "<!DOCTYPE %% [<!NOTATION n SYSTEM 'x'><!ENTITY e SYSTEM '" + place + "' NDATA n>]>",
          "<!DOCTYPE %% SYSTEM '" + place + "'>", "<!DOCTYPE %% PUBLIC '-//x' '" + place + "'>",
          "<!DOCTYPE %% SYSTEM '" + place + "' [<!ENTITY e 'x'>]>"}) {
      SCOPED_TRACE(declaration);
      const auto with = [&declaration](const std::string& root, const std::string& document) {
        std::string text = declaration;
        return text.replace(text.find("%%"), 2, root) + document;
      };
      const std::string sheet = with("xsl:stylesheet", TextSheet("&e;"));
      const std::string expression = with("a", "<a>&e;</a>");
      const std::string plain = TextSheet("<xsl:value-of select='/*'/>");
      ExpectNoSecret(Applied(plain, expression));
      ExpectNoSecret(Applied(Stylesheet(plain), FileSource(m_files.Write("in/e.xml", expression), "e")));
      ExpectNoSecret(Applied(sheet, "<a/>"));
      ExpectNoSecret(Applied(InFile(sheet), Expression("<a/>")));
    }
  }
}

TEST_F(XMLSandbox, xml_document_type_is_refused_but_in_a_stylesheet_file) {
  const std::string sheet = "<!DOCTYPE xsl:stylesheet [<!ENTITY nbsp '&#160;'><!ENTITY n \"two\">]>" +
                            TextSheet("a&nbsp;b&n;<xsl:value-of select='\"&n;\"'/>");
  ExpectText(Applied(InFile(sheet), Expression("<a/>")), "a\u00A0btwotwo");
  ExpectFailure(Applied(sheet, "<a/>"), "DOCTYPE");
  const std::string plain = TextSheet("x");
  for (const char* type : {"<!DOCTYPE a>", "<!DOCTYPE a []>", "<!DOCTYPE a [<!ENTITY e 'x'>]>"}) {
    ExpectFailure(Applied(plain, std::string(type) + "<a/>"), "DOCTYPE");
    ExpectFailure(Applied(type + plain, "<a/>"), "DOCTYPE");
    ExpectFailure(
        Applied(Stylesheet(plain), FileSource(m_files.Write("in/e.xml", std::string(type) + "<a/>"), "e")),
        "DOCTYPE");
  }
}

TEST_F(XMLSandbox, xml_entities_do_not_multiply) {
  std::string laughs = "<!ENTITY l0 'ha'>";
  for (int i = 1; i < 12; ++i) {
    const std::string reference = "&l" + std::to_string(i - 1) + ";";
    laughs += "<!ENTITY l" + std::to_string(i) + " '" + Repeated(reference, 10) + "'>";
  }
  const std::string large = "<!ENTITY l11 '" + Repeated("x", 100'000) + "'>";
  const std::string middle = "<!ENTITY l11 '" + Repeated("x", 250) + "'>";
  const std::string attributes = "<!ATTLIST xsl:template match CDATA 'x'><!ENTITY l11 'x'>";
  const std::string characters = "<!ENTITY a '&#38;a;'><!ENTITY l11 '&#38;a;'>";
  for (const std::string& subset : {laughs, large, middle, attributes, characters}) {
    SCOPED_TRACE(subset.substr(0, 60));
    for (const std::string& body :
         {Repeated("&l11;", 400'000), "<a b='" + Repeated("&l11;", 400'000) + "'/>"}) {
      const Outcome outcome =
          Applied(InFile("<!DOCTYPE xsl:stylesheet [" + subset + "]>" + TextSheet(body)), Expression("<a/>"));
      ExpectNoSecret(outcome);
    }
  }
}

// ---- include and import ------------------------------------------------------------------------

std::string Including(const std::string& href, const std::string& instruction,
                      const std::string& attributes = {}) {
  return Sheet("<xsl:" + instruction + " href='" + href + "' " + attributes + "/>" + kUTF8Output +
               "<xsl:template match='/'>main <xsl:call-template name='t'/></xsl:template>");
}

std::string Included(const std::string& text) {
  return Sheet("<xsl:template name='t'>" + text + "</xsl:template>");
}

const char* const kInstructions[] = {"include", "import"};

TEST_F(XMLSandbox, xml_include_from_memory_is_refused) {
  m_files.Write("in/part.xsl", Included("part"));
  for (const char* instruction : kInstructions) {
    for (const std::string& href : {std::string("part.xsl"), m_files.Path("in/part.xsl"),
                                    "file://" + m_files.Path("in/part.xsl"), Url("/part.xsl")}) {
      SCOPED_TRACE(href);
      ExpectFailure(Applied(Including(href, instruction), "<a/>"), "sheet");
    }
  }
}

TEST_F(XMLSandbox, xml_include_from_memory_named_like_a_file_is_refused) {
  m_files.Write("in/part.xsl", Included("part"));
  const ZEPISAXInputSource_var disguised =
      TextSource(Unicode(Including("part.xsl", "include")), m_files.Path("in/main.xsl").c_str());
  ExpectNoSecret(Applied(disguised, Expression("<a/>")));
}

TEST_F(XMLSandbox, xml_include_in_the_own_folder_or_below) {
  m_files.Write("in/part.xsl", Included("part"));
  m_files.Write("in/deep/er/part.xsl", Included("deep"));
  m_files.Write("in/deep/chain.xsl", Sheet("<xsl:include href='er/part.xsl'/>"));
  m_files.Write("in/deep/up.xsl", Sheet("<xsl:import href='../part.xsl'/>"));
  m_files.Write("in/with blank/a part.xsl", Included("blank"));
  m_files.Write("in/pro%63ent.xsl", Included("percent"));
  m_files.Write("in/ä中.xsl", Included("other letters"));
  struct Row {
    int line;
    std::string href;
    std::string text;
  };
  const Row rows[] = {Row{__LINE__, "part.xsl", "part"},
                      Row{__LINE__, "./part.xsl", "part"},
                      Row{__LINE__, "deep/../part.xsl", "part"},
                      Row{__LINE__, "deep/er/part.xsl", "deep"},
                      Row{__LINE__, "deep/chain.xsl", "deep"},
                      Row{__LINE__, "deep/up.xsl", "part"},
                      Row{__LINE__, m_files.Path("in/part.xsl"), "part"},
                      Row{__LINE__, "p%61rt.xsl", "part"},
                      Row{__LINE__, "with%20blank/a%20part.xsl", "blank"},
                      Row{__LINE__, "pro%2563ent.xsl", "percent"},
                      Row{__LINE__, "%C3%A4%E4%B8%AD.xsl", "other letters"}};
  for (const Row& row : rows) {
    for (const char* instruction : kInstructions) {
      SCOPED_TRACE(std::to_string(row.line) + instruction);
      ExpectText(Applied(InFile(Including(row.href, instruction)), Expression("<a/>")), "main " + row.text);
    }
  }
}

TEST_F(XMLSandbox, xml_include_in_a_folder_with_a_strange_name) {
  for (const std::string name : {"a folder", "a%20b", "a#b", "a?b", "a:b", "ä中", "a'b", "[a]"}) {
    SCOPED_TRACE(name);
    m_files.Write(name + "/part.xsl", Included("part"));
    m_files.Write(name + "/sub/part.xsl", Sheet("<xsl:include href='../part.xsl'/>"));
    for (const char* href : {"part.xsl", "sub/part.xsl"}) {
      ExpectText(Applied(InFile(Including(href, "include"), name + "/main.xsl"), Expression("<a/>")),
                 "main part");
    }
  }
}

TEST_F(XMLSandbox, xml_include_from_elsewhere_is_refused) {
  std::filesystem::create_symlink(m_files.Path("secret.xsl"), m_files.Path("in/link.xsl"));
  std::filesystem::create_directory_symlink(m_files.Path(), m_files.Path("in/folder"));
  m_files.Write("in/sub/chain.xsl", Sheet("<xsl:include href='../../secret.xsl'/>"));
  ASSERT_EQ(mkfifo(m_files.Path("in/pipe.xsl").c_str(), 0600), 0);
  std::vector<std::string> hrefs = Places("secret.xsl");
  hrefs.erase(hrefs.begin()); // the plain name is no place outside
  for (const char* href : {"link.xsl",
                           "folder/secret.xsl",
                           "sub/chain.xsl",
                           "sub/../../secret.xsl",
                           "..\\secret.xsl",
                           "%2E%2E%2Fsecret.xsl",
                           "..%5Csecret.xsl",
                           "../inside/secret.xsl",
                           "//127.0.0.1/secret.xsl",
                           "file:secret.xsl",
                           "file:///dev/zero",
                           "/dev/zero",
                           "pipe.xsl",
                           "absent.xsl",
                           "",
                           ".",
                           "..",
                           "%00",
                           "data:text/xml,x",
                           "ftp://127.0.0.1/secret.xsl",
                           "../secret.xsl%00.xsl",
                           "-",
                           "a b.xsl",
                           "HTTP://127.0.0.1/secret.xsl",
                           "jar:file:x",
                           "main.xsl/../../secret.xsl"}) {
    hrefs.emplace_back(href);
  }
  for (const std::string& href : hrefs) {
    for (const char* instruction : kInstructions) {
      SCOPED_TRACE(href + " " + instruction);
      ExpectNoSecret(Applied(InFile(Including(href, instruction)), Expression("<a/>")));
    }
  }
}

TEST_F(XMLSandbox, xml_base_of_another_place_does_not_help) {
  for (const std::string& base : {std::string("../"), m_files.Path() + "/", "file://" + m_files.Path() + "/",
                                  Url("/"), std::string("%2e%2e/")}) {
    for (const char* instruction : kInstructions) {
      SCOPED_TRACE(base);
      ExpectNoSecret(Applied(InFile(Including("secret.xsl", instruction, "xml:base='" + base + "'")),
                             Expression("<a/>")));
      ExpectNoSecret(Applied(InFile(Sheet("<xsl:" + std::string(instruction) + " href='secret.xsl'/>",
                                          "xml:base='" + base + "'")),
                             Expression("<a/>")));
      ExpectNoSecret(Applied(TextSheet("<xsl:copy-of select='document(\"secret.xml\", /)'/>"),
                             "<a xml:base='" + base + "'/>"));
    }
  }
}

TEST_F(XMLSandbox, xml_circular_include_ends) {
  m_files.Write("in/a.xsl", Sheet("<xsl:include href='b.xsl'/>"));
  m_files.Write("in/b.xsl", Sheet("<xsl:include href='a.xsl'/>"));
  m_files.Write("in/self.xsl", Sheet("<xsl:import href='self.xsl'/>"));
  for (int i = 0; i < 16; ++i) { // each doubles
    const std::string next = "<xsl:import href='n" + std::to_string(i + 1) + ".xsl'/>";
    m_files.Write("in/n" + std::to_string(i) + ".xsl", Sheet(next + next));
  }
  m_files.Write("in/n16.xsl", Included("x"));
  for (const char* href : {"a.xsl", "self.xsl", "main.xsl", "n0.xsl"}) {
    SCOPED_TRACE(href);
    ExpectNoSecret(Applied(InFile(Including(href, "include")), Expression("<a/>")));
  }
}

TEST_F(XMLSandbox, xml_included_file_with_a_document_type) {
  m_files.Write("in/part.xsl", "<!DOCTYPE a [<!ENTITY e 'plain'>]>" + Included("&e;"));
  ExpectText(Applied(InFile(Including("part.xsl", "include")), Expression("<a/>")), "main plain");
  m_files.Write("in/part.xsl", "<!DOCTYPE a [<!ENTITY e SYSTEM '../secret.txt'>]>" + Included("&e;"));
  ExpectNoSecret(Applied(InFile(Including("part.xsl", "include")), Expression("<a/>")));
}

TEST_F(XMLSandbox, xml_includes_and_instructions_of_an_expression_mean_nothing) {
  const std::string path = m_files.Path("secret.xml");
  const std::string expression = "<?xml-stylesheet type='text/xsl' href='" + path + "'?>" +
                                 "<?xml-stylesheet type='text/xsl' href='" + Url("/s.xsl") + "'?>" +
                                 "<a xmlns:xi='http://www.w3.org/2001/XInclude'>x<xi:include href='" + path +
                                 "'/><xi:include href='" + Url("/x") + "' parse='text'/></a>";
  const std::string sheet = TextSheet("<xsl:value-of select='/*'/>");
  ExpectText(Applied(sheet, expression), "x");
  ExpectText(Applied(Stylesheet(sheet), FileSource(m_files.Write("in/e.xml", expression), "e")), "x");
  ExpectText(Applied("<?xml-stylesheet type='text/xsl' href='" + path + "'?>" + sheet, "<a>x</a>"), "x");
}

TEST_F(XMLSandbox, xml_schema_location_is_not_fetched) {
  const std::string expression = "<a xmlns:x='http://www.w3.org/2001/XMLSchema-instance' "
                                 "x:noNamespaceSchemaLocation='" +
                                 Url("/a.xsd") + "'>y</a>";
  ExpectText(Applied(TextSheet("<xsl:value-of select='/*'/>"), expression), "y");
}

// ---- writing -----------------------------------------------------------------------------------

TEST_F(XMLSandbox, xml_writing_elements_are_refused) {
  struct Row {
    int line;
    const char* element;
    const char* uri;
    const char* attribute;
  };
  const Row rows[] = {Row{__LINE__, "xsl:document", "urn:unused", "href"},
                      Row{__LINE__, "xsl:result-document", "urn:unused", "href"},
                      Row{__LINE__, "e:document", "http://exslt.org/common", "href"},
                      Row{__LINE__, "e:output", "http://icl.com/saxon", "href"},
                      Row{__LINE__, "e:output", "http://icl.com/saxon", "file"},
                      Row{__LINE__, "e:document", "http://www.jclark.com/xt", "href"},
                      Row{__LINE__, "e:write", "org.apache.xalan.xslt.extensions.Redirect", "file"},
                      Row{__LINE__, "e:write", "org.apache.xalan.xslt.extensions.Redirect", "select"},
                      Row{__LINE__, "e:write", "http://xml.apache.org/xalan/redirect", "file"}};
  for (const Row& row : rows) {
    for (const std::string& target :
         {m_files.Path("in/new.txt"), m_files.Path("new/deep/new.txt"), "file://" + m_files.Path("new.txt"),
          std::string("new.txt"), Url("/new")}) {
      SCOPED_TRACE(std::to_string(row.line) + " " + target);
      const std::string select = row.attribute == std::string("select") ? "\"" + target + "\"" : target;
      const std::string element = std::string("<") + row.element + " " + row.attribute + "='" + select +
                                  "'>SECRET</" + row.element + ">";
      const std::string attributes = std::string("xmlns:e='") + row.uri + "' extension-element-prefixes='e'";
      ExpectNoSecret(Applied(TextSheet("a" + element, attributes), "<a/>"));
      ExpectNoSecret(
          Applied(InFile(TextSheet("<xsl:if test='1'><b>" + element + "</b></xsl:if>", attributes)),
                  Expression("<a/>")));
    }
  }
  EXPECT_FALSE(std::filesystem::exists(m_files.Path("in/new.txt")));
  EXPECT_FALSE(std::filesystem::exists(m_files.Path("new")));
  EXPECT_FALSE(std::filesystem::exists(m_files.Path("new.txt")));
  EXPECT_FALSE(std::filesystem::exists("new.txt"));
}

TEST_F(XMLSandbox, xml_writing_element_in_an_included_file_is_refused) {
  m_files.Write("in/part.xsl", Included("<e:document xmlns:e='http://exslt.org/common' href='" +
                                        m_files.Path("new.txt") + "'>x</e:document>"));
  ExpectNoSecret(Applied(InFile(Including("part.xsl", "include")), Expression("<a/>")));
  EXPECT_FALSE(std::filesystem::exists(m_files.Path("new.txt")));
}

TEST_F(XMLSandbox, xml_elements_that_only_look_like_writing) {
  ExpectText(
      Applied(TextSheet("<document href='x'>y</document><o:document xmlns:o='urn:o'>z</o:document>"), "<a/>"),
      "yz");
}

} // namespace
