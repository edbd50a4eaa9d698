#include "FaultCourses.h"
#include "UTF8Texts.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPListValZEPUnicodeString.h"
#include "ZEPOmxAny.h"

#include <gtest/gtest.h>

// Every call and every allocation of the formatting of expressions fails once, and from there on.
// What the operations are to do then is in FaultCourses_xml.cpp.

using namespace scripted;
using namespace fault;

namespace {

const char before[] = "what the caller's text held before the call";

const std::string file = "C:\\a folder of stylesheets\\a stylesheet with a long name.xsl";
const Formatting fromFile = {"<an-expression-that-is-too-long-to-be-kept-in-place/>", file, true};
const Formatting withoutFile = {fromFile.expression, "", true};
const Formatting emptyExpression = {"", file, true};

// ---- what the platform holds ----

void prepareResult() {
  script().transformBytes = utf16WithMark("a formatted expression that is too long to be kept in place");
  script().lastError = "what the platform has to say";
  script().argUrl = "http://a.server.with.a.long.name:4711";
  script().context = "VPLMProjectLeader.A long company.A long project";
  script().defaultBody = "what the server answers in its JSON text";
}

void prepareFile() {
  prepareResult();
  script().files[file] = "<xsl:stylesheet>\n\n<xsl:output/>\n</xsl:stylesheet>\n";
}

void prepareUTF8File() {
  prepareFile();
  script().files[file] = "<xsl:stylesheet>\n<xsl:output encoding=\"UTF-8\"/>";
  script().transformBytes = "formatted in UTF-8";
}

void prepareServerless() {
  prepareResult();
  script().atstProvider = true; // no server
}

void prepareSetting() {
  prepareServerless();
  script().settings["EffeCustoFilePathSetting"]["EffCustoPath"] = "$HOME\\the stylesheet of the setting.xsl";
  script().expansions["$HOME\\the stylesheet of the setting.xsl"] = file;
  script().files[file] = "<xsl:output/>";
}

// The stylesheet stands under the second root, and is found there too when the setting is of no use.
void addInstallation() {
  script().environment["ZEPInstallPath"] = "C:\\a root without it;C:\\a root with the stylesheet;C:\\never";
  script().files["C:\\a root with the stylesheet\\resources\\xsl\\CfgEffectivityDisplay.xsl"] =
      "<xsl:output/>";
}

void prepareInstallation() {
  prepareServerless();
  addInstallation();
}

void prepareSettingAndInstallation() {
  prepareSetting();
  addInstallation();
}

void prepareDebug() {
  prepareSetting();
  script().expansions["$HOME\\the stylesheet of the setting.xsl"] = "debug";
}

void prepareServer() {
  prepareResult();
  addInstallation();
}

void prepareServerInTrouble() {
  prepareServer();
  script().defaultStatus = 503;
  script().legacy.status = "503";
}

void prepareEmptyAnswer() {
  prepareServer();
  script().defaultBody = "";
}

// ---- operations ----

Scenario formatting(const char* path, const Formatting& given, std::function<void()> prepare) {
  Scenario scenario;
  scenario.name = std::string("FormatExpression, ") + path;
  scenario.prepare = std::move(prepare);
  scenario.run = [given](Run& run) {
    const ZEPUnicodeString expression = textOf(given.expression);
    const ZEPUnicodeString custom = textOf(given.customFile);
    const unsigned char isCompact = given.isCompact ? 1 : 0;
    ZEPUnicodeString formatted = before;
    run.Returns([&] {
      return ZEPCfgXMLExpressionServices::FormatExpression(expression, formatted, custom, isCompact);
    });
    run.Output(utf8Of(formatted));
  };
  scenario.course = [given](Course& course) {
    std::string formatted;
    course.Starts(formatted, before);
    course.Returns([&] { return courseOfFormat(course, given, formatted); });
    course.Output(formatted);
  };
  return scenario;
}

Scenario encoding(const char* what, const std::string& path, std::function<void()> prepare) {
  Scenario scenario;
  scenario.name = std::string("IsEncodingUTF16, ") + what;
  scenario.prepare = std::move(prepare);
  scenario.run = [path](Run& run) {
    const ZEPUnicodeString given = textOf(path);
    run.Returns([&] { return ZEPCfgXMLExpressionServices::IsEncodingUTF16(given); });
  };
  scenario.course = [path](Course& course) {
    course.passed.insert("");
    course.Returns([&] { return courseOfEncoding(course, path); });
  };
  return scenario;
}

// What the server once said is kept: each run needs a process of its own.
Scenario fetch(const char* path, std::function<void()> prepare) {
  Scenario scenario;
  scenario.name = std::string("GetConfigExpressionXSLT, ") + path;
  scenario.prepare = std::move(prepare);
  scenario.isFresh = true;
  scenario.run = [](Run& run) {
    ZEPUnicodeString stylesheet = before;
    run.Returns([&] { return ZEPCfgXMLExpressionServices::GetConfigExpressionXSLT(stylesheet); });
    run.Output(utf8Of(stylesheet));
  };
  scenario.course = [](Course& course) {
    std::string stylesheet;
    course.Starts(stylesheet, before);
    course.Returns([&] { return courseOfFetch(course, stylesheet); });
    course.Output(stylesheet);
  };
  return scenario;
}

Scenario parse() {
  Scenario scenario;
  scenario.name = "ParseQueryResponse";
  scenario.prepare = prepareResult;
  scenario.run = [](Run& run) {
    const ZEPOmxAny response = script().json;
    ZEPUnicodeString stylesheet = before;
    run.Returns([&] { return ZEPCfgXMLExpressionServices::ParseQueryResponse(response, stylesheet); });
    run.Output(utf8Of(stylesheet));
  };
  scenario.course = [](Course& course) {
    std::string stylesheet;
    course.Starts(stylesheet, before);
    course.Returns([&] { return courseOfParse(course, true, stylesheet); });
    course.Output(stylesheet);
  };
  return scenario;
}

// ---- sequence ----

void runStart(Run& run, const std::string& customFile) {
  const ZEPUnicodeString custom = textOf(customFile);
  run.Returns([&] { return ZEPCfgXMLExpressionServices::StartExpressionFormatting(custom); });
}

void runExpression(Run& run, const Formatting& given) {
  const ZEPUnicodeString expression = textOf(given.expression);
  const unsigned char isCompact = given.isCompact ? 1 : 0;
  ZEPUnicodeString formatted = before;
  run.Returns(
      [&] { return ZEPCfgXMLExpressionServices::ExpressionFormatting(expression, formatted, isCompact); });
  run.Output(utf8Of(formatted));
}

void runEnd(Run& run) {
  run.Returns([] { return ZEPCfgXMLExpressionServices::EndExpressionFormatting(); });
}

void expectStart(Course& course, const std::string& customFile) {
  course.Returns([&] { return courseOfStart(course, customFile); });
}

void expectExpression(Course& course, const Formatting& given) {
  std::string formatted;
  course.Starts(formatted, before);
  course.Returns([&] { return courseOfExpression(course, given, formatted); });
  course.Output(formatted);
}

void expectEnd(Course& course) {
  course.Returns([&] { return courseOfEnd(course); });
}

void endSequence() {
  ZEPCfgXMLExpressionServices::EndExpressionFormatting();
}

Scenario start(const char* path, const std::string& customFile, std::function<void()> prepare) {
  Scenario scenario;
  scenario.name = std::string("StartExpressionFormatting, ") + path;
  scenario.prepare = std::move(prepare);
  scenario.run = [customFile](Run& run) { runStart(run, customFile); };
  scenario.course = [customFile](Course& course) {
    course.passed.insert("");
    expectStart(course, customFile);
  };
  scenario.after = endSequence;
  return scenario;
}

Scenario freshStart(const char* path, std::function<void()> prepare) {
  Scenario scenario = start(path, "", std::move(prepare));
  scenario.isFresh = true;
  return scenario;
}

// The sequence was open before: every object is made anew.
Scenario secondStart() {
  Scenario scenario = start("on an open sequence", file, prepareFile);
  scenario.before = [] {
    Run run;
    runStart(run, file);
    runExpression(run, fromFile);
  };
  scenario.courseBefore = [](Course& course) {
    expectStart(course, file);
    expectExpression(course, fromFile);
  };
  return scenario;
}

Scenario inOpenSequence(std::string name, std::function<void(Run&)> run,
                        std::function<void(Course&)> course) {
  Scenario scenario;
  scenario.name = std::move(name);
  scenario.prepare = prepareFile;
  scenario.run = std::move(run);
  scenario.course = std::move(course);
  scenario.before = [] {
    Run open;
    runStart(open, file);
  };
  scenario.courseBefore = [](Course& c) { expectStart(c, file); };
  scenario.after = endSequence;
  return scenario;
}

Scenario expression(const char* path, const Formatting& given) {
  return inOpenSequence(
      std::string("ExpressionFormatting, ") + path, [given](Run& run) { runExpression(run, given); },
      [given](Course& course) { expectExpression(course, given); });
}

// Whatever becomes of a part of it, the others are called.
Scenario wholeSequence(const char* path, std::function<void()> prepare) {
  Scenario scenario;
  scenario.name = std::string("a whole sequence, ") + path;
  scenario.prepare = std::move(prepare);
  scenario.run = [](Run& run) {
    runStart(run, file);
    runExpression(run, fromFile);
    runExpression(run, {"<a second expression/>", "", false});
    runEnd(run);
  };
  scenario.course = [](Course& course) {
    expectStart(course, file);
    expectExpression(course, fromFile);
    expectExpression(course, {"<a second expression/>", "", false});
    expectEnd(course);
  };
  return scenario;
}

const std::initializer_list<const char*> listed = {
    "<the first expression is long enough to be kept elsewhere/>", "",
    "<the third expression is long enough too/>"};

Scenario batch() {
  Scenario scenario;
  scenario.name = "FormatExpressions";
  scenario.prepare = prepareFile;
  scenario.run = [](Run& run) {
    ZEPListValZEPUnicodeString expressions;
    for (const char* const text : listed) {
      expressions.Append(text);
    }
    const ZEPUnicodeString custom = textOf(file);
    const unsigned char isCompact = 1; // not looked at
    ZEPListValZEPUnicodeString formatted;
    formatted.Append("in front");
    run.Returns([&] {
      return ZEPCfgXMLExpressionServices::FormatExpressions(expressions, formatted, custom, isCompact);
    });
    std::string shown;
    for (int i = 1; i <= formatted.Size(); ++i) {
      shown += "<" + utf8Of(formatted[i]) + ">";
    }
    run.Output(shown);
  };
  scenario.course = [](Course& course) {
    std::string formatted;
    course.Starts(formatted, "<in front>");
    course.Returns([&] { return courseOfBatch(course, listed, file, formatted); });
    course.Output(formatted);
  };
  scenario.after = endSequence;
  return scenario;
}

Scenario withFault(Scenario scenario, Op operation, Kind kind) {
  scenario.given = {{operation, kind}};
  scenario.name += std::string(", where ") + scripted::nameOf(operation) + " " + fault::nameOf(kind);
  return scenario;
}

// ---- calls ----

TEST(FaultXMLTest, formatting_doesWhatItShould_whicheverCallFails) {
  failEveryCall(formatting("caller's file", fromFile, prepareFile));
  failEveryCall(formatting("caller's file in UTF-8", fromFile, prepareUTF8File));
  failEveryCall(formatting("file of the setting", withoutFile, prepareSetting));
  failEveryCall(
      formatting("file of the setting or the installation", withoutFile, prepareSettingAndInstallation));
  failEveryCall(formatting("installation", withoutFile, prepareInstallation));
}

TEST(FaultXMLTest, formatting_doesWhatItShould_whicheverCallFailsBehindAFailure) {
  failEveryCall(formatting("setting \"debug\"", withoutFile, prepareDebug));
  failEveryCall(formatting("no stylesheet", withoutFile, prepareServerless));
  failEveryCall(withFault(formatting("file", fromFile, prepareFile), Op::Transform, Kind::Fails));
  failEveryCall(withFault(formatting("file", fromFile, prepareFile), Op::Transform, Kind::Empty));
  failEveryCall(withFault(formatting("file", fromFile, prepareFile), Op::CreateOutputSource, Kind::Empty));
  failEveryCall(withFault(formatting("file", fromFile, prepareFile), Op::CreateTransformer, Kind::Empty));
  failEveryCall(withFault(formatting("file", fromFile, prepareFile), Op::ZEPFGets, Kind::Fails));
  failEveryCall(
      withFault(formatting("file", fromFile, prepareInstallation), Op::ZEPGetFileInfo, Kind::Fails));
}

// What the server says is kept from the first success on.
TEST(FaultXMLTest, formatting_doesWhatItShould_whicheverCallFailsOnTheWayToTheServersStylesheet) {
  failEveryCall([] {
    Scenario scenario = formatting("server's stylesheet", withoutFile, prepareServer);
    scenario.isFresh = true;
    return scenario;
  }());
}

TEST(FaultXMLTest, formatting_doesWhatItShould_whicheverCallFailsAndTheServerIsInTrouble) {
  failEveryCall(formatting("installation, server in trouble", withoutFile, prepareServerInTrouble));
  failEveryCall(formatting("installation, server without a stylesheet", withoutFile, prepareEmptyAnswer));
}

TEST(FaultXMLTest, encodingCheck_doesWhatItShould_whicheverCallFails) {
  failEveryCall(encoding("UTF-16", file, prepareFile));
  failEveryCall(encoding("UTF-8", file, prepareUTF8File));
  failEveryCall(encoding("empty file", file, [] { script().files[file] = ""; }));
  failEveryCall(encoding("no output line", file, [] { script().files[file] = "<xsl:stylesheet/>\n\n"; }));
}

TEST(FaultXMLTest, serversStylesheet_doesWhatItShould_whicheverCallFails) {
  failEveryCall(fetch("first call", prepareServer));
  Scenario emptyAnswer = fetch("empty answer", prepareEmptyAnswer);
  emptyAnswer.isFresh = false; // nothing is kept of it
  failEveryCall(emptyAnswer);
  failEveryCall(parse());
}

TEST(FaultXMLTest, sequenceStart_doesWhatItShould_whicheverCallFails) {
  failEveryCall(start("caller's file", file, prepareFile));
  failEveryCall(start("file of the setting or the installation", "", prepareSettingAndInstallation));
  failEveryCall(start("installation", "", prepareInstallation));
  failEveryCall(start("no stylesheet", "", prepareServerless));
  failEveryCall(start("setting \"debug\"", "", prepareDebug));
  failEveryCall(start("server in trouble", "", prepareServerInTrouble));
  failEveryCall(secondStart());
  failEveryCall(withFault(start("file", file, prepareFile), Op::SetOption, Kind::Fails));
}

TEST(FaultXMLTest, sequenceStart_doesWhatItShould_whicheverCallFailsOnTheWayToTheServersStylesheet) {
  failEveryCall(freshStart("server's stylesheet", prepareServer));
}

TEST(FaultXMLTest, sequenceElement_doesWhatItShould_whicheverCallFails) {
  failEveryCall(expression("compact", fromFile));
  failEveryCall(expression("not compact", {fromFile.expression, "", false}));
  failEveryCall(expression("empty", emptyExpression));
  failEveryCall(withFault(expression("compact", fromFile), Op::Transform, Kind::Fails));
}

TEST(FaultXMLTest, sequence_doesWhatItShould_whicheverCallFails) {
  failEveryCall(wholeSequence("UTF-16", prepareFile));
  failEveryCall(wholeSequence("UTF-8, from the second run on", prepareUTF8File));
  Scenario firstUTF8 = wholeSequence("UTF-8, first run", prepareUTF8File);
  firstUTF8.isFresh = true;
  failEveryCall(firstUTF8);
}

TEST(FaultXMLTest, batch_doesWhatItShould_whicheverCallFails) {
  failEveryCall(batch());
}

// ---- allocations ----

TEST(FaultXMLTest, formatting_losesNothing_whicheverAllocationFails) {
  failEveryAllocation(formatting("caller's file", fromFile, prepareFile));
  failEveryAllocation(formatting("file of the setting", withoutFile, prepareSetting));
  failEveryAllocation(formatting("installation", withoutFile, prepareInstallation));
  failEveryAllocation(formatting("server in trouble", withoutFile, prepareServerInTrouble));
  failEveryAllocation(withFault(formatting("file", fromFile, prepareFile), Op::Transform, Kind::Fails));
  failEveryAllocation(withFault(formatting("file", fromFile, prepareFile), Op::ZEPFOpen, Kind::Fails));
}

TEST(FaultXMLTest, firstFormatting_losesNothing_whicheverAllocationFails) {
  Scenario first = formatting("first call, server's stylesheet", withoutFile, prepareServer);
  first.isFresh = true;
  failEveryAllocation(first);
}

TEST(FaultXMLTest, encodingCheck_losesNothing_whicheverAllocationFails) {
  failEveryAllocation(encoding("long lines", file, [] {
    script().files[file] = "<xsl:stylesheet with a line that is too long to be kept in place/>\n"
                           "<xsl:output method=\"text\" encoding=\"UTF-8\" and much more behind it/>\n";
  }));
}

TEST(FaultXMLTest, serversStylesheet_losesNothing_whicheverAllocationFails) {
  failEveryAllocation(fetch("first call", prepareServer));
  failEveryAllocation(parse());
}

TEST(FaultXMLTest, sequence_losesNothing_whicheverAllocationFails) {
  failEveryAllocation(start("caller's file", file, prepareFile));
  failEveryAllocation(start("installation", "", prepareInstallation));
  failEveryAllocation(freshStart("first call, server's stylesheet", prepareServer));
  failEveryAllocation(expression("compact", fromFile));
  failEveryAllocation(batch());
}

} // namespace
