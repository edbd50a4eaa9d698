#include "XMLTest.h"
#include "session_test_support.h"

#include <atomic>
#include <clocale>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include <libxml/globals.h>
#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/xmlerror.h>
#include <libxslt/documents.h>
#include <libxslt/transform.h>
#include <libxslt/xsltInternals.h>
#include <libxslt/xsltutils.h>

namespace {

using namespace xml;

// A host that uses both libraries itself, with functions of its own.
std::atomic<int> hostErrors{0};
std::atomic<int> hostLoads{0};
std::atomic<int> hostXMLErrors{0};
std::atomic<int> hostNodes{0};
xsltDocLoaderFunc loaderBefore = nullptr;

void OnHostError(void*, const char*, ...) {
  ++hostErrors;
}
void OnHostXMLError(void*, xmlErrorPtr) {
  ++hostXMLErrors;
}
void OnHostNode(xmlNodePtr) {
  ++hostNodes;
}
xmlDocPtr HostLoad(const xmlChar* uri, xmlDictPtr dictionary, int options, void* context, xsltLoadType type) {
  ++hostLoads;
  return loaderBefore(uri, dictionary, options, context, type);
}

const std::string kSheet = TextSheet("<xsl:value-of select='/*'/>");
const std::string kFailing = TextSheet("<xsl:value-of select='nosuch()'/>");

xsltStylesheetPtr HostCompiled(const std::string& sheet, const std::string& url) {
  xmlDocPtr document = xmlReadMemory(sheet.data(), static_cast<int>(sheet.size()), url.c_str(), nullptr, 0);
  xsltStylesheetPtr stylesheet = document == nullptr ? nullptr : xsltParseStylesheetDoc(document);
  if (stylesheet == nullptr && document != nullptr) {
    xmlFreeDoc(document);
  }
  return stylesheet;
}

std::string HostApplied(const std::string& sheet, const std::string& url = "host.xsl") {
  xsltStylesheetPtr stylesheet = HostCompiled(sheet, url);
  if (stylesheet == nullptr) {
    return "(not compiled)";
  }
  xmlDocPtr document = xmlReadMemory("<a>host</a>", 11, "host.xml", nullptr, 0);
  xmlDocPtr result = xsltApplyStylesheet(stylesheet, document, nullptr);
  xmlChar* bytes = nullptr;
  int count = 0;
  if (result != nullptr) {
    xsltSaveResultToString(&bytes, &count, result, stylesheet);
  }
  const std::string text = bytes == nullptr ? "" : std::string(reinterpret_cast<char*>(bytes));
  xmlFree(bytes);
  xmlFreeDoc(result);
  xmlFreeDoc(document);
  xsltFreeStylesheet(stylesheet);
  return text;
}

class XMLHost : public QuietTest {
protected:
  void TearDown() override {
    xsltSetGenericErrorFunc(nullptr, nullptr);
    xsltSetLoaderFunc(nullptr);
    xmlSetStructuredErrorFunc(nullptr, nullptr);
    xmlRegisterNodeDefault(nullptr);
    QuietTest::TearDown();
  }

  static void UseOurs() {
    ExpectText(Applied(kSheet, "<a>ours</a>"), "ours");
    ExpectFailure(Applied(kFailing, "<a/>"), "nosuch");
    ExpectFailure(Applied("<broken", "<a/>"), "sheet");
  }

  session::TempDirectory m_files;
};

TEST_F(XMLHost, xml_host_functions_are_its_own_after_our_calls) {
  loaderBefore = xsltDocDefaultLoader;
  int token = 0;
  xsltSetGenericErrorFunc(nullptr, OnHostError);
  xsltSetLoaderFunc(HostLoad);
  xmlSetStructuredErrorFunc(&token, OnHostXMLError);
  xmlRegisterNodeDefault(OnHostNode);
  const std::string url = m_files.Write("main.xsl", "");
  m_files.Write("part.xsl", Sheet("<xsl:template name='t'>part</xsl:template>"));
  const std::string including = Sheet(std::string("<xsl:include href='part.xsl'/>") + kUTF8Output +
                                      "<xsl:template match='/'><xsl:call-template name='t'/></xsl:template>");
  for (int round = 0; round < 3; ++round) {
    SCOPED_TRACE(round);
    hostErrors = hostLoads = hostXMLErrors = hostNodes = 0;
    UseOurs();
    EXPECT_EQ(hostErrors + hostLoads + hostXMLErrors + hostNodes, 0) << "ours are no matter of the host";
    EXPECT_TRUE(xmlStructuredError == OnHostXMLError);
    EXPECT_EQ(xmlStructuredErrorContext, &token);
    EXPECT_EQ(HostApplied(including, url), "part");
    EXPECT_EQ(hostLoads, 1);
    EXPECT_GT(hostNodes, 0);
    EXPECT_EQ(HostApplied(Sheet("<xsl:template match='[['/>")), "(not compiled)");
    EXPECT_GT(hostErrors + hostXMLErrors, 0);
  }
}

TEST_F(XMLHost, xml_host_reads_documents_and_prints_its_own_errors) {
  UseOurs();
  const std::string path = m_files.Write("d.xml", "<d>document</d>");
  EXPECT_EQ(HostApplied(TextSheet("<xsl:value-of select='document(\"" + path + "\")'/>")), "document");
  xsltSetGenericErrorFunc(nullptr, OnHostError);
  hostErrors = 0;
  EXPECT_EQ(HostApplied(TextSheet("<xsl:message>hello</xsl:message>x")), "x");
  const int errorsOfOneMessage = hostErrors;
  EXPECT_GT(errorsOfOneMessage, 0);
  UseOurs();
  EXPECT_EQ(hostErrors, errorsOfOneMessage);
  EXPECT_EQ(HostApplied(TextSheet("<xsl:message>hello</xsl:message>x")), "x");
  EXPECT_EQ(hostErrors, 2 * errorsOfOneMessage);
}

// The host's loader calls the one that it found, which is ours by then.
TEST_F(XMLHost, xml_host_that_chains_to_our_function) {
  UseOurs();
  loaderBefore = xsltDocDefaultLoader;
  xsltSetLoaderFunc(HostLoad);
  UseOurs();
  hostLoads = 0;
  const std::string path = m_files.Write("d.xml", "<d>document</d>");
  EXPECT_EQ(HostApplied(TextSheet("<xsl:value-of select='document(\"" + path + "\")'/>")), "document");
  EXPECT_EQ(hostLoads, 1);
}

TEST_F(XMLHost, xml_host_without_limits_of_ours) {
  setenv("ZEP_XSLT_MAX_NODES", "10", 1);
  ExpectFailure(Applied(kSheet, "<a>" + Repeated("<b/>", 20) + "</a>"), "ZEP_XSLT_MAX_NODES");
  EXPECT_EQ(HostApplied(TextSheet(Repeated("<b/>x", 20))), Repeated("x", 20));
  unsetenv("ZEP_XSLT_MAX_NODES");
}

// The decimal comma is the host's, before and after.
TEST_F(XMLHost, xml_numbers_have_a_point_in_every_locale) {
  const session::TempDirectory directory;
  const std::string command =
      "localedef -i de_DE -f UTF-8 --no-archive " + directory.Path("de_DE.UTF-8") + " 2>/dev/null";
  ASSERT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(session::InChild({{"LOCPATH", directory.Path()}},
                             [] {
                               if (setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) {
                                 return 1;
                               }
                               const Outcome outcome = Applied(
                                   TextSheet("<xsl:value-of select='concat(1.5, \"|\", 1 div 4, \"|\", "
                                             "number(string(2.5)) = 2.5, \"|\", sum(//b), \"|\", "
                                             "format-number(1234.5, \"#,##0.00\"))'/>"),
                                   "<a><b>0.5</b><b>1.25</b></a>");
                               if (outcome.output != "1.5|0.25|true|1.75|1,234.50") {
                                 return 2;
                               }
                               return *localeconv()->decimal_point == ',' ? 0 : 3;
                             }),
            0);
}

TEST_F(XMLHost, xml_limits_hold_on_every_thread) {
  UseOurs();
  setenv("ZEP_XSLT_MAX_NODES", "10", 1);
  const std::string expression = "<a>" + Repeated("<b/>", 20) + "</a>";
  ExpectFailure(Applied(kSheet, expression), "ZEP_XSLT_MAX_NODES");
  Outcome elsewhere;
  std::thread([&] { elsewhere = Applied(kSheet, expression); }).join();
  ExpectFailure(elsewhere, "ZEP_XSLT_MAX_NODES");
  unsetenv("ZEP_XSLT_MAX_NODES");
}

// What a host sets on one thread is not seen on another.
TEST_F(XMLHost, xml_host_functions_of_a_thread_are_left_to_it) {
  UseOurs();
  hostNodes = 0;
  xmlRegisterNodeDefault(OnHostNode);
  std::thread([] { UseOurs(); }).join();
  EXPECT_EQ(hostNodes, 0);
  EXPECT_TRUE(xmlRegisterNodeDefaultValue == OnHostNode);
  EXPECT_EQ(HostApplied(kSheet), "host");
  EXPECT_GT(hostNodes, 0);
}

TEST_F(XMLHost, xml_several_threads_and_a_host_at_once) {
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([number, &wrong] {
      const std::string text = "thread " + std::to_string(number);
      for (int round = 0; round < 50; ++round) {
        const Outcome good = Applied(kSheet, "<a>" + text + "</a>");
        const Outcome bad =
            Applied(TextSheet("<xsl:value-of select='nosuch" + std::to_string(number) + "()'/>"), "<a/>");
        wrong += good.output == text ? 0 : 1;
        wrong += bad.message.find("nosuch" + std::to_string(number)) != std::string::npos ? 0 : 1;
      }
    });
  }
  threads.emplace_back([&wrong] {
    for (int round = 0; round < 100; ++round) {
      wrong += HostApplied(kSheet) == "host" ? 0 : 1;
    }
  });
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0);
}

} // namespace
