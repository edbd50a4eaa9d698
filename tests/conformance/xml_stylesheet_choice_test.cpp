#include "XMLFormatTest.h"

#include <algorithm>
#include <optional>

// Which stylesheet is used: the caller's file, the server's text, the file of the user's setting or
// that of the installation, and what is asked to find out.

using namespace scripted;

namespace {

const char callersFile[] = "C:\\own.xsl";
const char settingsFile[] = "C:\\setting.xsl";
const char installedFile[] = "C:\\a\\resources\\xsl\\CfgEffectivityDisplay.xsl";
const Outcome formatted{S_OK, "formatted"};

// How the log shows the candidates.
const std::string noCallersFile = "| XSLTFilePath = []\n";
const std::string noProvider = fetchEntry +
                               "IsATSTProvider()\n"
                               "| ioUstrXSLTFileContents = []\n" +
                               resultLines(S_FALSE);
const std::string getRepository = "GetRepository(EffeCustoFilePathSetting, 0)\n";
const std::string readSetting = getRepository + "ReadAttr(EffCustoPath)\nReleaseRepository()\n~repository\n";
const std::string getRoots = "ZEPGetEnv(ZEPInstallPath)\n";

std::string useSetting(const std::string& value, const std::string& expanded) {
  return readSetting + "ZEPExpandString(" + value + ")\nZEPFileStat(" + expanded + ", 0)\n";
}

std::string tryRoot(const std::string& root, const char* name = "CfgEffectivityDisplay.xsl") {
  return "ZEPFileStat(" + root + "\\resources\\xsl\\" + name + ", 0)\n";
}

class XMLStylesheetChoiceTest : public XMLFormatTest {
protected:
  void SetUp() override {
    XMLFormatTest::SetUp();
    Start();
  }

  // A session without a server, where the trace shows what is asked.
  static void Start() {
    script().reset();
    script().traceOn();
    script().atstProvider = true;
  }

  static void HaveSetting(const std::string& value) {
    script().settings["EffeCustoFilePathSetting"]["EffCustoPath"] = value;
  }
  static void HaveCallersFile() { script().files[callersFile] = "<xsl:output/>"; }
  static void HaveSettingsFile() {
    HaveSetting(settingsFile);
    script().files[settingsFile] = "<xsl:output/>";
  }
  static void HaveRoots(const char* roots) { script().environment["ZEPInstallPath"] = roots; }
  static void HaveInstalledFile() {
    HaveRoots("C:\\a");
    script().files[installedFile] = "<xsl:output/>";
  }

  // What was asked for the choice: the log behind the inputs, up to the first object or the end.
  static std::string Choice() {
    const std::string log = Log();
    const std::size_t inputs = log.find("| in_customXSLFile = [");
    EXPECT_NE(inputs, std::string::npos);
    const std::size_t start = log.find('\n', inputs) + 1;
    std::size_t end = log.size();
    for (const char* const next :
         {"CreateZEPIXMLSAX2Factory(", "ZEPGetLastError(", "| out_formattedExpression = ["}) {
      end = std::min(end, log.find(next, start));
    }
    return log.substr(start, end - start);
  }

  static std::string StylesheetSource() {
    const std::string sources = LinesOf(
        Log(), [](const std::string& line) { return line.find(", xslSourceId1)") != std::string::npos; });
    return sources.substr(0, sources.find(", xslSourceId1)"));
  }

  static std::string FromFile(const std::string& file) { return "CreateInputSourceFromFile(" + file; }
};

// ---- precedence ----

TEST_F(XMLStylesheetChoiceTest, firstCandidate_isUsed_ofThoseThatThereAre) {
  for (int there = 0; there < 16; ++there) {
    const bool callers = (there & 8) != 0;
    const bool servers = (there & 4) != 0;
    const bool settings = (there & 2) != 0;
    const bool installed = (there & 1) != 0;
    SCOPED_TRACE(::testing::Message() << "caller " << callers << ", server " << servers << ", setting "
                                      << settings << ", installation " << installed);
    Start();
    script().atstProvider = !servers;
    if (callers) {
      HaveCallersFile();
    }
    if (settings) {
      HaveSettingsFile();
    }
    if (installed) {
      HaveInstalledFile();
    }
    const std::string expected = callers     ? FromFile(callersFile)
                                 : servers   ? "CreateInputSourceFromMemoryBuffer(server stylesheet"
                                 : settings  ? FromFile(settingsFile)
                                 : installed ? FromFile(installedFile)
                                             : "";
    EXPECT_EQ(formatExpression("<x/>", callersFile),
              expected.empty() ? (Outcome{S_FALSE, "as it was"}) : formatted);
    EXPECT_EQ(StylesheetSource(), expected);
    // What comes behind the one that is used is not even asked for.
    EXPECT_EQ(script().count(Op::IsATSTProvider), callers ? 0 : 1);
    EXPECT_EQ(script().count(Op::GetRepository), callers || servers ? 0 : 1);
    EXPECT_EQ(script().count(Op::ZEPGetEnv), callers || servers || settings ? 0 : 1);
    endRow();
  }
}

// ---- the caller's file ----

TEST_F(XMLStylesheetChoiceTest, oneCharacter_isAPath) {
  script().files["x"] = "<xsl:output/>";
  HaveSettingsFile();
  EXPECT_EQ(formatExpression("<x/>", "x"), formatted);
  EXPECT_EQ(StylesheetSource(), FromFile("x"));
}

TEST_F(XMLStylesheetChoiceTest, oneCharacter_isAStylesheetOfTheServer) {
  script().atstProvider = false;
  script().json = jsonObject({{"xslt", jsonObject({{"content", jsonText("x")}})}});
  HaveSettingsFile();
  EXPECT_EQ(formatExpression("<x/>", ""), formatted);
  EXPECT_EQ(StylesheetSource(), "CreateInputSourceFromMemoryBuffer(x");
}

TEST_F(XMLStylesheetChoiceTest, callersFile_isUsed_whenItExists) {
  HaveCallersFile();
  HaveSetting("debug");
  HaveInstalledFile();
  script().atstProvider = false;
  EXPECT_EQ(formatExpression("<x/>", callersFile), formatted);
  EXPECT_EQ(Choice(), "ZEPGetFileInfo(C:\\own.xsl)\n| XSLTFilePath = [C:\\own.xsl]\n");
  EXPECT_EQ(StylesheetSource(), FromFile(callersFile));
}

TEST_F(XMLStylesheetChoiceTest, callersFile_isIgnoredSilently_whenItIsMissing) {
  struct Row {
    int line;
    const char* file;
    void (*prepare)();
    std::string asked;
  };
  const Row rows[] = {
      Row{__LINE__, "", [] {}, ""},
      Row{__LINE__, "C:\\none.xsl", [] {}, "ZEPGetFileInfo(C:\\none.xsl)\n"},
      // 0 alone says that it exists
      Row{__LINE__, callersFile, [] { script().returns(Op::ZEPGetFileInfo, 1); },
          "ZEPGetFileInfo(C:\\own.xsl)\n"},
      Row{__LINE__, callersFile, [] { script().returns(Op::ZEPGetFileInfo, -1); },
          "ZEPGetFileInfo(C:\\own.xsl)\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Start();
    HaveCallersFile();
    HaveInstalledFile();
    row.prepare();
    EXPECT_EQ(formatExpression("<x/>", row.file), formatted);
    EXPECT_EQ(Choice(), row.asked + noCallersFile + noProvider + getRepository + getRoots +
                            "GetBranchingVar()\n" + tryRoot("C:\\a"));
    EXPECT_EQ(StylesheetSource(), FromFile(installedFile));
    endRow();
  }
}

// ---- the server's text ----

TEST_F(XMLStylesheetChoiceTest, serversText_endsTheChoice_evenBeforeASettingThatSaysDebug) {
  script().atstProvider = false;
  HaveSetting("debug");
  HaveInstalledFile();
  EXPECT_EQ(formatExpression("<x/>", ""), formatted);
  EXPECT_EQ(StylesheetSource(), "CreateInputSourceFromMemoryBuffer(server stylesheet");
  EXPECT_EQ(script().count(Op::GetRepository), 0);
  EXPECT_EQ(script().count(Op::ZEPGetEnv), 0);
}

TEST_F(XMLStylesheetChoiceTest, serversText_isUsed_evenWhenItsReadingFailed) {
  script().atstProvider = false;
  script().returns(Op::GetValue, E_ABORT);
  HaveInstalledFile();
  EXPECT_EQ(formatExpression("<x/>", ""), formatted);
  EXPECT_EQ(StylesheetSource(), "CreateInputSourceFromMemoryBuffer(server stylesheet");
  EXPECT_EQ(script().count(Op::ZEPGetLastError), 0);
}

TEST_F(XMLStylesheetChoiceTest, serversText_isAskedForOnce_andThenKept) {
  script().atstProvider = false;
  EXPECT_EQ(formatExpression("<x/>", ""), formatted);
  EXPECT_EQ(formatExpression("<x/>", "C:\\none.xsl"), formatted);
  EXPECT_EQ(script().count(Op::Execute), 1);
  // While the session has no server, what is kept is not used.
  script().atstProvider = true;
  HaveInstalledFile();
  EXPECT_EQ(formatExpression("<x/>", ""), formatted);
  EXPECT_EQ(script().linesWith("xslSourceId1)"),
            "CreateInputSourceFromMemoryBuffer(server stylesheet, xslSourceId1)\n"
            "CreateTransformer(xslSourceId1)\n"
            "CreateInputSourceFromMemoryBuffer(server stylesheet, xslSourceId1)\n"
            "CreateTransformer(xslSourceId1)\n"
            "CreateInputSourceFromFile(" +
                std::string(installedFile) + ", xslSourceId1)\nCreateTransformer(xslSourceId1)\n");
  EXPECT_EQ(script().count(Op::Execute), 1);
}

// Ways in which the server has no stylesheet, and what then is the code of having asked for it.
struct ServerRow {
  int line;
  void (*prepare)();
  long code;
  std::string errors;
};

const ServerRow serverRows[] = {
    ServerRow{__LINE__, [] { script().atstProvider = true; }, S_FALSE, ""},
    ServerRow{__LINE__, [] { script().answer(200, ""); }, S_OK, ""},
    ServerRow{__LINE__,
              [] {
                script().json = jsonObject({{"other", jsonText("1")}});
              },
              S_OK, ""},
    ServerRow{__LINE__,
              [] {
                script().json = jsonObject({{"xslt", jsonObject({})}});
              },
              E_FAIL, ""},
    ServerRow{__LINE__, [] { script().fail(Op::GetValue, E_ABORT); }, E_ABORT, ""},
    ServerRow{__LINE__, [] { script().fail(Op::JsonParse, E_INVALIDARG); }, E_INVALIDARG, ""},
    ServerRow{__LINE__, [] { script().fail(Op::Execute, E_ABORT); }, E_ABORT,
              errorLines("ERROR: CallWebService failed")},
    ServerRow{__LINE__, [] { script().answer(404, ""); }, ZEP_E_HTTP_NOT_FOUND,
              errorLines("ERROR: CallWebService failed")},
};

TEST_F(XMLStylesheetChoiceTest, serversFailure_isForgotten_whenAnotherStylesheetIsFound) {
  struct Other {
    const char* file;
    void (*have)();
  };
  const Other others[] = {{settingsFile, [] { HaveSettingsFile(); }},
                          {installedFile, [] { HaveInstalledFile(); }}};
  for (const ServerRow& row : serverRows) {
    for (const Other& other : others) {
      SCOPED_TRACE("row at line " + std::to_string(row.line) + ", " + other.file);
      Start();
      script().traceOff();
      script().atstProvider = false;
      script().lastError = "of the server";
      row.prepare();
      other.have();
      EXPECT_EQ(formatExpression("<x/>", ""), formatted);
      EXPECT_EQ(StylesheetSource(), FromFile(other.file));
      EXPECT_EQ(Trace(), row.errors);
      EXPECT_EQ(script().linesWith("LastError"), "");
      EXPECT_EQ(script().lastError, "of the server");
      endRow();
    }
  }
}

TEST_F(XMLStylesheetChoiceTest, serversCode_isTheResult_whenThereIsNoStylesheet) {
  for (const ServerRow& row : serverRows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Start();
    script().atstProvider = false;
    script().lastError = "why";
    row.prepare();
    EXPECT_EQ(formatExpression("<x/>", ""), (Outcome{row.code, "as it was"}));
    const std::string report = row.code >= 0 ? ""
                                             : "ZEPGetLastError(" + codeName(row.code) +
                                                   ", null)\nGetMessageText()\nReleaseError()\n~error\n"
                                                   "ZEPCleanLastError()\n"
                                                   "| message = [XSLTProcessor has failed:\\nwhy]\n";
    const std::string end = getRepository + getRoots + report + Ending("as it was", row.code);
    EXPECT_TRUE(Log().ends_with("| ioUstrXSLTFileContents = []\n" + resultLines(row.code) + end)) << Log();
    EXPECT_EQ(script().linesWith("CreateZEP"), "");
    EXPECT_EQ(script().lastError, row.code >= 0 ? std::optional<std::string>("why") : std::nullopt);
    endRow();

    Start();
    script().traceOff();
    script().atstProvider = false;
    row.prepare();
    EXPECT_EQ(formatExpression("<x/>", ""), (Outcome{row.code, "as it was"}));
    EXPECT_EQ(Trace(), row.errors);
    endRow();
  }
}

TEST_F(XMLStylesheetChoiceTest, noStylesheet_isTracedWhole) {
  EXPECT_EQ(formatExpression("<x/>", ""), (Outcome{S_FALSE, "as it was"}));
  EXPECT_EQ(Log(), formatEntry +
                       "| in_xmlExpression = [<x/>]\n"
                       "| in_customXSLFile = []\n" +
                       noCallersFile + noProvider + getRepository + getRoots + Ending("as it was", S_FALSE));
}

// ---- the user's setting ----

TEST_F(XMLStylesheetChoiceTest, settingsFile_isUsed_whenItExists) {
  struct Row {
    int line;
    const char* value;
    void (*prepare)();
    const char* expanded;
  };
  const Row rows[] = {
      Row{__LINE__, settingsFile, [] {}, settingsFile},
      Row{__LINE__, "$HOME\\x.xsl", [] { script().expansions["$HOME\\x.xsl"] = settingsFile; }, settingsFile},
      // what counts is what the setting says once it is expanded
      Row{__LINE__, "debug", [] { script().expansions["debug"] = settingsFile; }, settingsFile},
      Row{__LINE__, settingsFile, [] { script().fail(Op::ZEPExpandString, E_ABORT); }, settingsFile},
      Row{__LINE__, settingsFile, [] { script().returns(Op::ZEPFileStat, S_FALSE); }, settingsFile},
      Row{__LINE__, "debugger", [] { script().files["debugger"] = ""; }, "debugger"},
      Row{__LINE__, "debu", [] { script().files["debu"] = ""; }, "debu"},
      Row{__LINE__, "\xC3\xA9.xsl", [] { script().files["\xC3\xA9.xsl"] = ""; }, "\xC3\xA9.xsl"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Start();
    script().files[settingsFile] = "<xsl:output/>";
    HaveInstalledFile();
    HaveSetting(row.value);
    row.prepare();
    EXPECT_EQ(formatExpression("<x/>", ""), formatted);
    EXPECT_EQ(Choice(), noCallersFile + noProvider + useSetting(row.value, row.expanded));
    EXPECT_EQ(StylesheetSource(), FromFile(row.expanded));
    endRow();
  }
}

TEST_F(XMLStylesheetChoiceTest, setting_isIgnoredSilently_whenItNamesNoFile) {
  struct Row {
    int line;
    void (*prepare)();
    std::string asked;
  };
  const Row rows[] = {
      Row{__LINE__, [] {}, getRepository},
      Row{__LINE__,
          [] {
            HaveSettingsFile();
            script().giveEmpty(Op::GetRepository);
          },
          getRepository},
      Row{__LINE__, [] { script().settings["EffeCustoFilePathSetting"]["Other"] = settingsFile; },
          readSetting},
      // a value that comes with another answer than 1 is not looked at, "debug" neither
      Row{__LINE__,
          [] {
            HaveSettingsFile();
            script().returns(Op::ReadAttr, 0);
          },
          readSetting},
      Row{__LINE__,
          [] {
            HaveSettingsFile();
            script().returns(Op::ReadAttr, 2);
          },
          readSetting},
      Row{__LINE__,
          [] {
            HaveSetting("debug");
            script().returns(Op::ReadAttr, -1);
          },
          readSetting},
      // the file is missing
      Row{__LINE__, [] { HaveSetting("C:\\none.xsl"); }, useSetting("C:\\none.xsl", "C:\\none.xsl")},
      Row{__LINE__,
          [] {
            HaveSettingsFile();
            script().fail(Op::ZEPFileStat, E_ACCESSDENIED).at(1);
          },
          useSetting(settingsFile, settingsFile)},
      Row{__LINE__,
          [] {
            HaveSettingsFile();
            script().expansions[settingsFile] = "C:\\none.xsl";
          },
          useSetting(settingsFile, "C:\\none.xsl")},
      // success, and nothing read: the text is a fresh one
      Row{__LINE__,
          [] {
            HaveSettingsFile();
            script().fail(Op::ReadAttr, 1);
          },
          useSetting("\"\"", "\"\"")},
      // an empty value is a value
      Row{__LINE__, [] { HaveSetting(""); }, useSetting("\"\"", "\"\"")},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Start();
    HaveInstalledFile();
    row.prepare();
    EXPECT_EQ(formatExpression("<x/>", ""), formatted);
    EXPECT_EQ(Choice(),
              noCallersFile + noProvider + row.asked + getRoots + "GetBranchingVar()\n" + tryRoot("C:\\a"));
    EXPECT_EQ(StylesheetSource(), FromFile(installedFile));
    EXPECT_EQ(script().linesWith("<ERROR>"), "");
    endRow();
  }
}

TEST_F(XMLStylesheetChoiceTest, settingDebug_makesEveryFormattingFail) {
  struct Row {
    int line;
    const char* value;
    void (*prepare)();
  };
  const Row rows[] = {
      Row{__LINE__, "debug", [] {}},
      Row{__LINE__, "DEBUG", [] {}},
      Row{__LINE__, "deBug", [] {}},
      Row{__LINE__, "$MODE", [] { script().expansions["$MODE"] = "debug"; }},
      Row{__LINE__, "debug", [] { script().files["debug"] = "<xsl:output/>"; }},
      Row{__LINE__, "debug", [] { script().fail(Op::ZEPExpandString, E_ABORT); }},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    const std::string calls = readSetting + "ZEPExpandString(" + row.value + ")\n";
    Start();
    HaveSetting(row.value);
    HaveInstalledFile();
    row.prepare();
    EXPECT_EQ(formatExpression("<x/>", ""), (Outcome{E_FAIL, "as it was"}));
    EXPECT_EQ(Log(), formatEntry +
                         "| in_xmlExpression = [<x/>]\n"
                         "| in_customXSLFile = []\n" +
                         noCallersFile + noProvider + calls + errorLines("no format for debug") +
                         reportLines(E_FAIL) + Ending("as it was", E_FAIL));
    endRow();

    Start();
    script().traceOff();
    HaveSetting(row.value);
    HaveInstalledFile();
    row.prepare();
    EXPECT_EQ(formatExpression("<x/>", ""), (Outcome{E_FAIL, "as it was"}));
    EXPECT_EQ(script().log(), "IsATSTProvider()\n" + calls + xmlClass + " | <ERROR>\n" + xmlClass +
                                  " | <INDENT> no format for debug\n"
                                  "ZEPGetLastError(E_FAIL, null)\n"
                                  "ZEPCleanLastError()\n");
    endRow();
  }
}

TEST_F(XMLStylesheetChoiceTest, settingDebug_isTheResult_whateverTheServersFailure) {
  script().atstProvider = false;
  script().traceOff();
  script().fail(Op::Execute, E_ABORT);
  HaveSetting("debug");
  EXPECT_EQ(formatExpression("<x/>", ""), (Outcome{E_FAIL, "as it was"}));
  EXPECT_EQ(Trace(), errorLines("ERROR: CallWebService failed") + errorLines("no format for debug"));
  EXPECT_EQ(script().linesWith("LastError"), "ZEPGetLastError(E_FAIL, null)\nZEPCleanLastError()\n");
}

TEST_F(XMLStylesheetChoiceTest, settingDebug_hasNoEffect_withACallersFile) {
  HaveCallersFile();
  HaveSetting("debug");
  EXPECT_EQ(formatExpression("<x/>", callersFile), formatted);
  EXPECT_EQ(script().count(Op::GetRepository), 0);
}

// ---- the installation ----

TEST_F(XMLStylesheetChoiceTest, installedFile_isThatOfTheFirstRootThatHasIt) {
  struct Row {
    int line;
    const char* roots;
    const char* file; // the only one there is
    std::string asked;
  };
  const std::string branching = "GetBranchingVar()\n";
  const Row rows[] = {
      Row{__LINE__, "C:\\a", "C:\\a\\resources\\xsl\\CfgEffectivityDisplay.xsl",
          branching + tryRoot("C:\\a")},
      Row{__LINE__, "C:\\a;C:\\b", "C:\\b\\resources\\xsl\\CfgEffectivityDisplay.xsl",
          branching + tryRoot("C:\\a") + tryRoot("C:\\b")},
      Row{__LINE__, "C:\\a;C:\\b", "C:\\a\\resources\\xsl\\CfgEffectivityDisplay.xsl",
          branching + tryRoot("C:\\a")},
      Row{__LINE__, "C:\\a;C:\\b;C:\\c", "C:\\c\\resources\\xsl\\CfgEffectivityDisplay.xsl",
          branching + tryRoot("C:\\a") + tryRoot("C:\\b") + tryRoot("C:\\c")},
      Row{__LINE__, "C:\\a;C:\\a", "C:\\a\\resources\\xsl\\CfgEffectivityDisplay.xsl",
          branching + tryRoot("C:\\a")},
      Row{__LINE__, "C:\\a\\", "C:\\a\\\\resources\\xsl\\CfgEffectivityDisplay.xsl",
          branching + tryRoot("C:\\a\\")},
      Row{__LINE__, "/opt/a", "/opt/a\\resources\\xsl\\CfgEffectivityDisplay.xsl",
          branching + tryRoot("/opt/a")},
      Row{__LINE__, "C:\\a;", "C:\\a\\resources\\xsl\\CfgEffectivityDisplay.xsl",
          branching + tryRoot("C:\\a")},
      Row{__LINE__, "a", "a\\resources\\xsl\\CfgEffectivityDisplay.xsl", branching + tryRoot("a")},
      Row{__LINE__, "C:\\\xC3\xA9", "C:\\\xC3\xA9\\resources\\xsl\\CfgEffectivityDisplay.xsl",
          branching + tryRoot("C:\\\xC3\xA9")},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Start();
    HaveRoots(row.roots);
    script().files[row.file] = "<xsl:output/>";
    EXPECT_EQ(formatExpression("<x/>", ""), formatted);
    EXPECT_EQ(Choice(), noCallersFile + noProvider + getRepository + getRoots + row.asked);
    EXPECT_EQ(StylesheetSource(), FromFile(row.file));
    endRow();
  }
}

TEST_F(XMLStylesheetChoiceTest, firstRoot_isUsed_whenSeveralHaveTheFile) {
  HaveInstalledFile();
  HaveRoots("C:\\a;C:\\b");
  script().files["C:\\b\\resources\\xsl\\CfgEffectivityDisplay.xsl"] = "<xsl:output/>";
  EXPECT_EQ(formatExpression("<x/>", ""), formatted);
  EXPECT_EQ(StylesheetSource(), FromFile(installedFile));
  EXPECT_EQ(script().count(Op::ZEPFileStat), 1);
}

TEST_F(XMLStylesheetChoiceTest, roots_areNotUsed_behindAnEmptyOne) {
  struct Row {
    int line;
    const char* roots;
    std::string asked;
  };
  const Row rows[] = {
      Row{__LINE__, "C:\\b;;C:\\a", "GetBranchingVar()\n" + tryRoot("C:\\b")},
      Row{__LINE__, ";C:\\a", "GetBranchingVar()\n"},
      Row{__LINE__, ";", "GetBranchingVar()\n"},
      Row{__LINE__, ";;", "GetBranchingVar()\n"},
      Row{__LINE__, "C:\\b", "GetBranchingVar()\n" + tryRoot("C:\\b")},
      Row{__LINE__, "C:\\b:C:\\a", "GetBranchingVar()\n" + tryRoot("C:\\b:C:\\a")},
      Row{__LINE__, "", ""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Start();
    HaveInstalledFile();
    HaveRoots(row.roots);
    EXPECT_EQ(formatExpression("<x/>", ""), (Outcome{S_FALSE, "as it was"}));
    EXPECT_EQ(Choice(), noCallersFile + noProvider + getRepository + getRoots + row.asked);
    endRow();
  }
}

TEST_F(XMLStylesheetChoiceTest, installedFile_isCalledOtherwise_whenBranchingIsOn) {
  struct Row {
    int line;
    long branching;
    const char* name;
  };
  const Row rows[] = {
      Row{__LINE__, 0, "CfgEffectivityDisplay.xsl"},
      Row{__LINE__, 1, "CfgEffectivityDisplay_Branching.xsl"},
      Row{__LINE__, 2, "CfgEffectivityDisplay_Branching.xsl"},
      Row{__LINE__, 255, "CfgEffectivityDisplay_Branching.xsl"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Start();
    HaveRoots("C:\\b;C:\\a");
    script().files["C:\\a\\resources\\xsl\\CfgEffectivityDisplay.xsl"] = "";
    script().files["C:\\a\\resources\\xsl\\CfgEffectivityDisplay_Branching.xsl"] = "";
    script().returns(Op::GetBranchingVar, row.branching);
    EXPECT_EQ(formatExpression("<x/>", ""), formatted);
    EXPECT_EQ(Choice(), noCallersFile + noProvider + getRepository + getRoots + "GetBranchingVar()\n" +
                            tryRoot("C:\\b", row.name) + tryRoot("C:\\a", row.name));
    EXPECT_EQ(StylesheetSource(), FromFile(std::string("C:\\a\\resources\\xsl\\") + row.name));
    endRow();
  }
}

TEST_F(XMLStylesheetChoiceTest, root_hasTheFile_whenTheQuestionIsNotAnsweredWithAFailure) {
  HaveInstalledFile();
  HaveRoots("C:\\b;C:\\a");
  script().returns(Op::ZEPFileStat, S_FALSE).at(2);
  EXPECT_EQ(formatExpression("<x/>", ""), formatted);
  EXPECT_EQ(StylesheetSource(), FromFile(installedFile));
  startRow();
  script().atstProvider = true;
  HaveInstalledFile();
  script().returns(Op::ZEPFileStat, E_ACCESSDENIED);
  EXPECT_EQ(formatExpression("<x/>", ""), (Outcome{S_FALSE, "as it was"}));
}

// ---- what follows the choice ----

TEST_F(XMLStylesheetChoiceTest, chosenFile_isTracedAgain_andTellsTheEncoding) {
  struct Row {
    int line;
    void (*have)();
    const char* file;
  };
  const Row rows[] = {
      Row{__LINE__, [] { HaveCallersFile(); }, callersFile},
      Row{__LINE__, [] { HaveSettingsFile(); }, settingsFile},
      Row{__LINE__, [] { HaveInstalledFile(); }, installedFile},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE("row at line " + std::to_string(row.line));
    Start();
    row.have();
    script().files[row.file] = "<xsl:output encoding=\"UTF-8\"/>";
    script().transformBytes = "utf8";
    EXPECT_EQ(formatExpression("<x/>", callersFile), (Outcome{S_OK, "utf8"}));
    const std::string log = Log();
    const std::size_t created = log.find("CreateZEPIXMLSAX2Factory(CLSID_XML4C_SAX)\n");
    ASSERT_NE(created, std::string::npos);
    EXPECT_EQ(
        Until(log.substr(created), "CreateInputSourceFromFile(" + std::string(row.file) + ", xslSourceId1)"),
        std::string("CreateZEPIXMLSAX2Factory(CLSID_XML4C_SAX)\n") + "| XSLTFilePath = [" + row.file + "]\n" +
            encodingEntry + "| in_XSLFilePath = [" + row.file + "]\nZEPFOpen(" + row.file +
            ", r)\nZEPFEof(11)\nZEPFGets(1024, 11)\nZEPFClose(11)\n" + resultLines(S_FALSE) +
            "CreateInputSourceFromFile(" + row.file + ", xslSourceId1)\n");
    endRow();
  }
}

} // namespace
