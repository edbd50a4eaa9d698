#include "XMLTest.h"
#include "session_test_support.h"

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

#include <libxml/parser.h>
#include <libxslt/xslt.h>

// A transformer formats one expression after the other with what the last one left, and a stylesheet
// that was used before is not compiled again. Neither may show.

namespace {

using namespace xml;

#if defined(__SANITIZE_ADDRESS__)
constexpr bool isSanitized = true; // slow, and its memory is not the program's
#else
constexpr bool isSanitized = false;
#endif

class XMLReuse : public QuietTest {
protected:
  void TearDown() override {
    for (const char* const name : {"ZEP_XSLT_MAX_STYLESHEET_BYTES", "ZEP_XSLT_MAX_NODES",
                                   "ZEP_XSLT_MAX_OUTPUT_BYTES", "ZEP_XSLT_TIMEOUT_MS"}) {
      unsetenv(name);
    }
    QuietTest::TearDown();
  }

  session::TempDirectory m_files;
};

std::size_t ResidentBytes() {
  std::FILE* const file = std::fopen("/proc/self/statm", "r");
  unsigned long all = 0;
  unsigned long resident = 0;
  EXPECT_NE(file, nullptr);
  EXPECT_EQ(std::fscanf(file, "%lu %lu", &all, &resident), 2);
  EXPECT_EQ(std::fclose(file), 0);
  return resident * static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
}

Outcome Next(const ZEPIXMLXSLTransformer_var& transformer, const std::string& expression) {
  return Transformed(transformer, Expression(expression));
}

// ---- one transformer, many expressions ---------------------------------------------------------

// Each row's stylesheet is applied to its expressions in turn, some rounds long.
TEST_F(XMLReuse, xml_nothing_of_a_document_is_left_for_the_next) {
  struct Step {
    std::string expression;
    std::string text;
  };
  struct Row {
    int line;
    std::string declarations;
    std::vector<Step> steps;
  };
  const std::string byKey = "<xsl:key name='k' match='i' use='@id'/>"
                            "<xsl:template match='/'><xsl:value-of select=\"key('k', 'x')\"/></xsl:template>";
  const std::string keyPattern = "<xsl:key name='k' match='i' use='@id'/>"
                                 "<xsl:template match=\"key('k', 'x')\">[<xsl:value-of select='.'/>]"
                                 "</xsl:template>";
  const std::string globals =
      "<xsl:variable name='n' select='count(//i)'/>"
      "<xsl:variable name='t'><c><xsl:value-of select='/a/@v'/></c></xsl:variable>"
      "<xsl:template match='/'><xsl:value-of select=\"concat($n, ':', $t)\"/>"
      "<xsl:value-of select='count(e:node-set($t)/c)' xmlns:e='http://exslt.org/common'/></xsl:template>";
  const std::string position = "<xsl:template match='i[2]'>second:<xsl:value-of select='.'/>;</xsl:template>"
                               "<xsl:template match='i'>;</xsl:template>";
  const std::string distinct =
      "<xsl:key name='k' match='i' use='.'/>"
      "<xsl:template match='/'><xsl:value-of "
      "select=\"count(//i[generate-id() = generate-id(key('k', .)[1])])\"/></xsl:template>";
  const std::string localTree = "<xsl:template match='/'><xsl:variable name='v'><xsl:for-each select='//i'>"
                                "<c><xsl:value-of select='.'/></c></xsl:for-each></xsl:variable>"
                                "<xsl:for-each select='e:node-set($v)/c' xmlns:e='http://exslt.org/common'>"
                                "<xsl:sort order='descending'/><xsl:value-of select='.'/></xsl:for-each>"
                                "</xsl:template>";
  const std::string message = "<xsl:template match='/'><xsl:message><xsl:value-of select='.'/></xsl:message>"
                              "<xsl:value-of select='.'/></xsl:template>";
  const std::string numbered = "<xsl:template match='i'><xsl:number level='any'/>,</xsl:template>";
  const std::string computed = "<xsl:template match='/'><xsl:element name='{/a/@v}'>"
                               "<xsl:value-of select='name(/*/*)'/>x</xsl:element></xsl:template>";
  const Row rows[] = {
      Row{__LINE__,
          byKey,
          {{"<a><i id='x'>1</i></a>", "1"},
           {"<a><i id='y'>2</i></a>", ""},
           {"<a><b/><i id='x'>3</i></a>", "3"}}},
      Row{__LINE__,
          keyPattern,
          {{"<a><i id='x'>1</i><i id='y'>2</i></a>", "[1]2"},
           {"<a><i id='y'>1</i><i id='x'>2</i></a>", "1[2]"},
           {"<a>-</a>", "-"}}},
      Row{__LINE__,
          globals,
          {{"<a v='1'><i/></a>", "1:11"}, {"<a v='2'/>", "0:21"}, {"<a v='3'><i/><i/></a>", "2:31"}}},
      Row{__LINE__,
          position,
          {{"<a><i>1</i><i>2</i><i>3</i></a>", ";second:2;;"},
           {"<a><i>4</i></a>", ";"},
           {"<a><i>5</i><i>6</i></a>", ";second:6;"}}},
      Row{__LINE__,
          distinct,
          {{"<a><i>1</i><i>1</i><i>2</i></a>", "2"}, {"<a><i>1</i></a>", "1"}, {"<a/>", "0"}}},
      Row{__LINE__, localTree, {{"<a><i>1</i><i>2</i></a>", "21"}, {"<a><i>3</i></a>", "3"}, {"<a/>", ""}}},
      Row{__LINE__, message, {{"<a>said</a>", "said"}, {"<a>again</a>", "again"}}},
      Row{__LINE__, numbered, {{"<a><i/><i/></a>", "1,2,"}, {"<a><i/></a>", "1,"}}},
      Row{__LINE__, computed, {{"<a v='p'><q/></a>", "qx"}, {"<a v='r'><s/></a>", "sx"}}},
  };
  for (const Row& row : rows) {
    const ZEPIXMLXSLTransformer_var transformer = Compiled(Sheet(kUTF8Output + row.declarations));
    for (int round = 0; round < 5; ++round) {
      for (const Step& step : row.steps) {
        SCOPED_TRACE(std::to_string(row.line) + " " + step.expression);
        ExpectText(Next(transformer, step.expression), step.text);
      }
    }
  }
}

// What fails in one document, and how, is no matter of the next.
TEST_F(XMLReuse, xml_document_after_a_failed_one) {
  struct Row {
    int line;
    std::string expression;
    std::string message;
  };
  const Row rows[] = {
      Row{__LINE__, "<a", "expression"},
      Row{__LINE__, "<a><b></a></b>", "expression"},
      Row{__LINE__, "<!DOCTYPE a><a/>", "DOCTYPE"},
      Row{__LINE__, "<a do='unknown'/>", "nosuch"},
      Row{__LINE__, "<a do='stop'>why not</a>", "why not"},
      Row{__LINE__, "<a do='recurse'/>", "recursion"},
      Row{__LINE__, "<a do='large'>" + Repeated("x", 3000) + "</a>", "ZEP_XSLT_MAX_OUTPUT_BYTES"},
      Row{__LINE__, Repeated("<a>", 1001) + Repeated("</a>", 1001), "deep"},
  };
  const auto when = [](const std::string& name, const std::string& body) {
    return "<xsl:when test=\"/a/@do = '" + name + "'\">" + body + "</xsl:when>";
  };
  const ZEPIXMLXSLTransformer_var transformer = Compiled(Sheet(
      kUTF8Output +
      ("<xsl:key name='k' match='i' use='@id'/><xsl:variable name='g' select='count(//i)'/>"
       "<xsl:template name='t'><xsl:variable name='v' select='1'/><xsl:call-template name='t'/>"
       "</xsl:template>"
       "<xsl:template match='/'>before<xsl:choose>" +
       when("unknown", "<xsl:variable name='v'><c/></xsl:variable><xsl:value-of select='nosuch($v)'/>") +
       when("stop", "<xsl:message terminate='yes'><xsl:value-of select='.'/></xsl:message>") +
       when("recurse", "<xsl:call-template name='t'/>") +
       when("large", "<xsl:for-each select='//node()'><xsl:value-of select='.'/></xsl:for-each>") +
       "<xsl:otherwise><xsl:value-of select=\"concat($g, key('k', 'x'))\"/></xsl:otherwise>"
       "</xsl:choose></xsl:template>")));
  setenv("ZEP_XSLT_MAX_OUTPUT_BYTES", "4000", 1);
  for (int round = 0; round < 3; ++round) {
    for (const Row& row : rows) {
      SCOPED_TRACE(row.line);
      const Outcome failed = Next(transformer, row.expression);
      ExpectFailure(failed, row.message);
      ExpectText(Next(transformer, "<a><i id='x'>right</i></a>"), "before1right");
      EXPECT_EQ(Next(transformer, row.expression).message, failed.message);
      ExpectText(Next(transformer, "<a><i id='x'>right</i><i/></a>"), "before2right");
    }
  }
}

TEST_F(XMLReuse, xml_message_of_one_document_is_not_told_of_the_next) {
  const ZEPIXMLXSLTransformer_var transformer =
      Compiled(TextSheet("<xsl:message><xsl:value-of select='.'/></xsl:message>"
                         "<xsl:if test='/a/@fail'><xsl:value-of select='nosuch()'/></xsl:if>ok"));
  ExpectText(Next(transformer, "<a>first</a>"), "ok");
  const Outcome failed = Next(transformer, "<a fail='1'>second</a>");
  ExpectFailure(failed, "nosuch");
  EXPECT_EQ(failed.message.find("first"), std::string::npos) << failed.message;
  ExpectText(Next(transformer, "<a>third</a>"), "ok");
}

TEST_F(XMLReuse, xml_parameter_sticks_to_its_transformer_alone) {
  const std::string sheet =
      Sheet(kUTF8Output + std::string("<xsl:param name='p' select=\"'none'\"/><xsl:template match='/'>"
                                      "<xsl:value-of select='$p'/></xsl:template>"));
  for (int round = 0; round < 3; ++round) {
    const ZEPIXMLXSLTransformer_var transformer = Compiled(sheet);
    ExpectText(Next(transformer, "<a/>"), "none");
    ASSERT_EQ(transformer->SetParameter("p", "", "one"), S_OK);
    ExpectText(Next(transformer, "<a/>"), "one");
    ExpectText(Next(transformer, "<a/>"), "one");
    ASSERT_EQ(transformer->SetParameter("p", "", "two"), S_OK);
    ExpectText(Next(transformer, "<a/>"), "two");
  }
}

TEST_F(XMLReuse, xml_option_of_a_transformer_is_its_own) {
  const std::string sheet = Sheet("<xsl:output encoding='UTF-8' omit-xml-declaration='yes'/>"
                                  "<xsl:template match='/'><r><xsl:value-of select='.'/></r></xsl:template>");
  for (int round = 0; round < 2; ++round) {
    ExpectText(Applied(sheet, "<a>x</a>", Format::Text), "x");
    ExpectText(Applied(sheet, "<a>x</a>", Format::AsWritten), "<r>x</r>\n");
  }
}

// An expression from a file says what its encoding is; one in memory has none.
TEST_F(XMLReuse, xml_encoding_of_a_file_counts_after_a_text_in_memory) {
  m_files.Write("a.xml", "<?xml version='1.0' encoding='ISO-8859-1'?><a>\xE4</a>");
  const ZEPIXMLXSLTransformer_var transformer = Compiled(TextSheet("<xsl:value-of select='.'/>"));
  for (int round = 0; round < 3; ++round) {
    ExpectText(Next(transformer, "<?xml version='1.0' encoding='ISO-8859-1'?><a>ö</a>"), "ö");
    ExpectText(Transformed(transformer, FileSource(m_files.Path("a.xml"), "a")), "ä");
  }
}

TEST_F(XMLReuse, xml_blank_texts_are_stripped_as_the_stylesheet_says) {
  struct Row {
    int line;
    std::string declarations;
    std::string stripped; // of the elements a, b and c, those without their blank texts
  };
  m_files.Write("strip.xsl", Sheet("<xsl:strip-space elements='*'/>"));
  m_files.Write("keep.xsl", Sheet("<xsl:preserve-space elements='*'/>"));
  const Row rows[] = {
      Row{__LINE__, "", ""},
      Row{__LINE__, "<xsl:strip-space elements='*'/>", "abc"},
      Row{__LINE__, "<xsl:strip-space elements='a c'/>", "ac"},
      Row{__LINE__, "<xsl:strip-space elements='*'/><xsl:preserve-space elements='b'/>", "ac"},
      Row{__LINE__, "<xsl:preserve-space elements='*'/><xsl:strip-space elements='b'/>", "b"},
      Row{__LINE__, "<xsl:include href='strip.xsl'/>", "abc"},
      Row{__LINE__, "<xsl:import href='strip.xsl'/>", "abc"},
      Row{__LINE__, "<xsl:import href='strip.xsl'/><xsl:preserve-space elements='c'/>", "ab"},
      Row{__LINE__, "<xsl:import href='keep.xsl'/><xsl:strip-space elements='*'/>", "abc"},
  };
  const std::string expression = "<a> <b>\n</b>\t<c> <b> x </b> </c> </a>";
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    const auto kept = [&row](char element) { return row.stripped.find(element) == std::string::npos; };
    const std::string text = std::to_string(kept('a') ? 3 : 0) + "," + std::to_string(kept('b') ? 1 : 0) +
                             "," + std::to_string(kept('c') ? 2 : 0) + ", x ";
    m_files.Write("main.xsl",
                  Sheet(row.declarations + kUTF8Output +
                        "<xsl:template match='/'><xsl:value-of select=\"concat(count(/a/text()), ',', "
                        "count(/a/b/text()), ',', count(/a/c/text()), ',', /a/c/b)\"/></xsl:template>"));
    ZEPIXMLXSLTransformer_var transformer;
    ASSERT_EQ(Compile(FileSource(m_files.Path("main.xsl"), "s"), transformer), S_OK);
    for (int round = 0; round < 2; ++round) {
      ExpectText(Next(transformer, expression), text);
    }
  }
}

TEST_F(XMLReuse, xml_node_limit_is_that_of_each_document) {
  const ZEPIXMLXSLTransformer_var transformer =
      Compiled(Sheet(kUTF8Output + std::string("<xsl:strip-space elements='*'/>"
                                               "<xsl:template match='/'>x</xsl:template>")));
  const std::string allowed = "<a>" + Repeated(" <b c='d'>e</b>", 200) + "</a>"; // four nodes each
  const std::string tooMany = "<a>" + Repeated(" <b c='d'>e</b>", 260) + "</a>";
  setenv("ZEP_XSLT_MAX_NODES", "1000", 1);
  for (int round = 0; round < 3; ++round) {
    ExpectText(Next(transformer, allowed), "x");
    ExpectFailure(Next(transformer, tooMany), "ZEP_XSLT_MAX_NODES");
  }
}

// Documents of all kinds of nodes, and of more than are kept for the next one.
TEST_F(XMLReuse, xml_each_kind_of_node_is_of_its_own_document) {
  const ZEPIXMLXSLTransformer_var transformer = Compiled(TextSheet(
      "<xsl:value-of select=\"concat(count(//node()), ',', count(//@*), ',', count(//comment()), ',', "
      "count(//processing-instruction()), ',', string-length(.))\"/>"));
  const std::string longText = Repeated("long ", 40);
  const std::string some = "<?p one?><a xml:id='i' b='" + longText +
                           "' xmlns:n='urn:n' n:c=''><!--c--><n:d/>" + longText + "<?q two?><![CDATA[<" +
                           longText + "]]>&amp;<e xml:lang='en'>x</e></a><!--d-->";
  const std::string many = "<a>" + Repeated("<b c='d'>text</b>", 20'000) + "</a>";
  for (int round = 0; round < 4; ++round) {
    ExpectText(Next(transformer, some), "10,4,2,2,403");
    ExpectText(Next(transformer, "<a/>"), "1,0,0,0,0");
    ExpectText(Next(transformer, many), "40001,20000,0,0,80000");
  }
}

TEST_F(XMLReuse, xml_large_expression_leaves_no_memory_in_use) {
  const ZEPIXMLXSLTransformer_var transformer = Compiled(TextSheet("<xsl:value-of select='count(//b)'/>"));
  const std::string large = "<a>" + Repeated("x", 48 << 20) + "<b/></a>";
  ExpectText(Next(transformer, "<a/>"), "0");
  const std::size_t before = ResidentBytes();
  ExpectText(Next(transformer, large), "1");
  ASSERT_EQ(transformer->SetInputSource(NULL_var), S_OK); // it holds the text
  if (!isSanitized) {
    EXPECT_LT(ResidentBytes(), before + (std::size_t{16} << 20));
  }
  ExpectText(Next(transformer, "<a/>"), "0");
}

// Every name is new: those of the expression, and one that the stylesheet makes.
TEST_F(XMLReuse, xml_memory_does_not_grow_with_the_number_of_expressions) {
  const int count = isSanitized ? 3'000 : 100'000;
  const ZEPIXMLXSLTransformer_var transformer = Compiled(
      Sheet(kUTF8Output +
            std::string("<xsl:key name='k' match='i' use='@id'/><xsl:variable name='g'><c/></xsl:variable>"
                        "<xsl:template match='/'><xsl:element name='e{/a/@v}'><xsl:copy-of select='$g'/>"
                        "<xsl:value-of select=\"key('k', /a/@v)\"/></xsl:element></xsl:template>")));
  const auto run = [&transformer](int from, int to) {
    for (int i = from; i < to; ++i) {
      const std::string number = std::to_string(i);
      ExpectText(Next(transformer, "<a v='" + number + "'><n" + number + "/><i id='" + number +
                                       "'>text number " + number + "</i></a>"),
                 "text number " + number);
    }
  };
  run(0, count / 5);
  const std::size_t before = ResidentBytes();
  run(count / 5, count);
  if (!isSanitized) {
    EXPECT_LT(ResidentBytes(), before + (std::size_t{4} << 20));
  }
}

TEST_F(XMLReuse, xml_each_thread_has_its_own_run) {
  const std::string sheet = Sheet(
      kUTF8Output + std::string("<xsl:key name='k' match='i' use='@id'/><xsl:variable name='g' "
                                "select='sum(//i)'/><xsl:template match='/'>"
                                "<xsl:value-of select=\"concat($g, ',', key('k', 'x'))\"/></xsl:template>"));
  const int runs = isSanitized ? 20 : 100;
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int thread = 0; thread < 4; ++thread) {
    threads.emplace_back([&, thread] {
      for (int run = 0; run < runs; ++run) {
        const ZEPIXMLXSLTransformer_var transformer = Compiled(sheet);
        for (int i = 0; i < 20; ++i) {
          const std::string value = std::to_string(thread * 1000 + i);
          const Outcome outcome = Next(transformer, "<a><i id='x'>" + value + "</i><i>1</i></a>");
          wrong += outcome.output == std::to_string(thread * 1000 + i + 1) + "," + value ? 0 : 1;
        }
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0);
}

// ---- stylesheets used before -------------------------------------------------------------------

std::string Saying(const std::string& text) {
  return TextSheet(text);
}

TEST_F(XMLReuse, xml_changed_stylesheet_is_a_new_one) {
  const std::string path = m_files.Path("main.xsl");
  for (int round = 0; round < 3; ++round) {
    for (const char* const text : {"one", "two"}) { // of one length
      m_files.Write("main.xsl", Saying(text));
      ExpectText(Applied(FileSource(path, "s"), Expression("<a/>")), text);
      ExpectText(Applied(FileSource(path, "s"), Expression("<a/>")), text);
      ExpectText(Applied(Stylesheet(Saying(text)), Expression("<a/>")), text);
    }
  }
  std::filesystem::remove(path);
  ExpectFailure(Applied(FileSource(path, "s"), Expression("<a/>")), "exist");
}

TEST_F(XMLReuse, xml_changed_included_file_makes_a_new_stylesheet) {
  const std::string call = kUTF8Output + std::string("<xsl:template match='/'><xsl:call-template name='t'/>"
                                                     "</xsl:template>");
  const auto part = [](const std::string& text) {
    return Sheet("<xsl:template name='t'>" + text + "</xsl:template>");
  };
  for (const char* const how : {"include", "import"}) {
    SCOPED_TRACE(how);
    const auto with = [how](const std::string& file) {
      return std::string("<xsl:") + how + " href='" + file + "'/>";
    };
    m_files.Write("main.xsl", Sheet(with("middle.xsl") + call));
    m_files.Write("middle.xsl", Sheet(with("sub/part.xsl")));
    const auto applied = [this] {
      return Applied(FileSource(m_files.Path("main.xsl"), "s"), Expression("<a/>"));
    };
    for (const char* const text : {"one", "two", "one"}) {
      m_files.Write("sub/part.xsl", part(text));
      ExpectText(applied(), text);
      ExpectText(applied(), text);
    }
    m_files.Write("middle.xsl", part("mid"));
    ExpectText(applied(), "mid");
    m_files.Write("middle.xsl", Sheet(with("sub/part.xsl")));
    ExpectText(applied(), "one");
    std::filesystem::remove(m_files.Path("sub/part.xsl"));
    ExpectFailure(applied(), "exist");
    // The same bytes, from where nothing may be included.
    const session::TempDirectory elsewhere;
    elsewhere.Write("part.xsl", part("one"));
    std::filesystem::create_symlink(elsewhere.Path("part.xsl"), m_files.Path("sub/part.xsl"));
    ExpectFailure(applied(), "own folder");
    std::filesystem::remove(m_files.Path("sub/part.xsl"));
    m_files.Write("sub/part.xsl", part("one"));
    ExpectText(applied(), "one");
  }
}

TEST_F(XMLReuse, xml_stylesheet_used_before_obeys_the_limits_of_now) {
  m_files.Write("part.xsl", Sheet("<!--" + Repeated("x", 1000) + "-->"));
  m_files.Write("main.xsl", Sheet("<xsl:include href='part.xsl'/>" + std::string(kUTF8Output) +
                                  "<xsl:template match='/'>x</xsl:template>"));
  const auto applied = [this] {
    return Applied(FileSource(m_files.Path("main.xsl"), "s"), Expression("<a/>"));
  };
  for (int round = 0; round < 2; ++round) {
    ExpectText(applied(), "x");
    setenv("ZEP_XSLT_MAX_STYLESHEET_BYTES", "1000", 1);
    ExpectFailure(applied(), "large");
    unsetenv("ZEP_XSLT_MAX_STYLESHEET_BYTES");
    ExpectText(applied(), "x");
    setenv("ZEP_XSLT_MAX_NODES", "10", 1);
    ExpectFailure(applied(), "ZEP_XSLT_MAX_NODES");
    unsetenv("ZEP_XSLT_MAX_NODES");
  }
}

TEST_F(XMLReuse, xml_texts_in_memory_are_told_apart_by_their_id) {
  const ZEPUnicodeString sheet = Unicode(TextSheet("<xsl:value-of select='nosuch()'/>"));
  for (int round = 0; round < 2; ++round) {
    for (const char* const id : {"first", "second"}) {
      ExpectFailure(Applied(TextSource(sheet, id), Expression("<a/>")), id);
    }
  }
}

// A process that was forked off formats on with what its parent had prepared.
TEST_F(XMLReuse, xml_prepared_stylesheet_is_used_by_parent_and_children) {
  const std::string sheet = TextSheet("<xsl:value-of select='.'/>");
  ExpectText(Applied(sheet, "<a>kept</a>"), "kept");
  const ZEPIXMLXSLTransformer_var transformer = Compiled(TextSheet("[<xsl:value-of select='.'/>]"));
  ExpectText(Next(transformer, "<a>parent</a>"), "[parent]");
  std::vector<pid_t> children;
  for (int child = 0; child < 3; ++child) {
    children.push_back(fork());
    ASSERT_GE(children.back(), 0);
    if (children.back() == 0) {
      const std::string text = "child " + std::to_string(child);
      const bool isRight = Next(transformer, "<a>" + text + "</a>").output == "[" + text + "]" &&
                           Applied(sheet, "<a>" + text + "</a>").output == text;
      _exit(isRight ? 0 : 1);
    }
  }
  ExpectText(Next(transformer, "<a>parent</a>"), "[parent]");
  for (const pid_t child : children) {
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
}

// The host may be done with the libraries before the platform is.
TEST(XMLReuseDeathTest, xml_process_ends_while_stylesheets_are_kept) {
  const auto use = [] {
    ExpectText(Applied(TextSheet("<xsl:value-of select='.'/>"), "<a>x</a>"), "x");
    static ZEPIXMLXSLTransformer_var outlivesAll;
    outlivesAll = Compiled(TextSheet("x"));
    ExpectText(Next(outlivesAll, "<a/>"), "x");
  };
  EXPECT_EXIT(
      {
        use();
        std::exit(testing::Test::HasFailure() ? 1 : 0);
      },
      testing::ExitedWithCode(0), "^$");
  EXPECT_EXIT(
      {
        use();
        xsltCleanupGlobals();
        xmlCleanupParser();
        std::exit(testing::Test::HasFailure() ? 1 : 0);
      },
      testing::ExitedWithCode(0), "^$");
}

TEST_F(XMLReuse, xml_stylesheets_that_are_kept_are_few) {
  const int count = isSanitized ? 40 : 300;
  const std::string comment =
      "<!--" + Repeated("x", 20'000) + "-->" + Repeated("<xsl:template match='b'/>", 300);
  const auto run = [&comment](int from, int to) {
    for (int i = from; i < to; ++i) {
      const std::string text = "number " + std::to_string(i);
      ExpectText(
          Applied(Sheet(kUTF8Output + ("<xsl:template match='/'>" + text + "</xsl:template>") + comment),
                  "<a/>"),
          text);
    }
  };
  run(0, 60);
  const std::size_t before = ResidentBytes();
  run(60, 60 + count);
  if (!isSanitized) {
    EXPECT_LT(ResidentBytes(), before + (std::size_t{8} << 20));
  }
}

} // namespace
