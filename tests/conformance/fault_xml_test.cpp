#include "FaultCourses.h"
#include "UTF8Texts.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPListValZEPUnicodeString.h"
#include "ZEPOmxAny.h"

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
    std::string formatted = before;
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
    course.Returns([&] { return courseOfEncoding(course, path); });
  };
  return scenario;
}

Scenario fetch(const char* path, std::function<void()> prepare) {
  Scenario scenario;
  scenario.name = std::string("GetConfigExpressionXSLT, ") + path;
  scenario.prepare = std::move(prepare);
  scenario.run = [](Run& run) {
    ZEPUnicodeString stylesheet = before;
    run.Returns([&] { return ZEPCfgXMLExpressionServices::GetConfigExpressionXSLT(stylesheet); });
    run.Output(utf8Of(stylesheet));
  };
  scenario.course = [](Course& course) {
    std::string stylesheet = before;
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
    std::string stylesheet = before;
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
  std::string formatted = before;
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
  scenario.course = [customFile](Course& course) { expectStart(course, customFile); };
  scenario.after = endSequence;
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
    std::string formatted = "<in front>";
    course.Returns([&] { return courseOfBatch(course, listed, file, formatted); });
    course.Output(formatted);
  };
  scenario.after = endSequence;
  return scenario;
}

// ---- areas ----

std::vector<Scenario> formattings() {
  return {formatting("caller's file", fromFile, prepareFile),
          formatting("caller's file in UTF-8", fromFile, prepareUTF8File),
          formatting("file of the setting", withoutFile, prepareSetting),
          formatting("file of the setting or the installation", withoutFile, prepareSettingAndInstallation),
          formatting("installation", withoutFile, prepareInstallation)};
}

std::vector<Scenario> formattingBehindAFailure() {
  const Scenario usual = formatting("file", fromFile, prepareFile);
  return {formatting("setting \"debug\"", withoutFile, prepareDebug),
          withoutMemory(formatting("no stylesheet", withoutFile, prepareServerless)),
          withFault(usual, Op::Transform, Kind::Fails),
          withFault(usual, Op::Transform, Kind::Empty),
          withFault(usual, Op::CreateOutputSource, Kind::Empty),
          withFault(usual, Op::CreateTransformer, Kind::Empty),
          withFault(usual, Op::ZEPFOpen, Kind::Fails),
          withFault(usual, Op::ZEPFGets, Kind::Fails),
          withFault(formatting("file", fromFile, prepareInstallation), Op::ZEPGetFileInfo, Kind::Fails)};
}

// What the server says is kept from the first success on.
std::vector<Scenario> formattingWithTheServersStylesheet() {
  return {inProcessesOfItsOwn(formatting("server's stylesheet", withoutFile, prepareServer))};
}

std::vector<Scenario> formattingWithTheServerInTrouble() {
  return {formatting("installation, server in trouble", withoutFile, prepareServerInTrouble),
          formatting("installation, server without a stylesheet", withoutFile, prepareEmptyAnswer)};
}

std::vector<Scenario> encodingCheck() {
  return {
      encoding("UTF-16", file, prepareFile), encoding("UTF-8", file, prepareUTF8File),
      withoutMemory(encoding("empty file", file, [] { script().files[file] = ""; })),
      withoutMemory(encoding("no output line", file, [] { script().files[file] = "<xsl:stylesheet/>\n\n"; })),
      encoding("long lines", file, [] {
        script().files[file] = "<xsl:stylesheet with a line that is too long to be kept in place/>\n"
                               "<xsl:output method=\"text\" encoding=\"UTF-8\" and much more behind it/>\n";
      })};
}

std::vector<Scenario> serversStylesheet() {
  return {inProcessesOfItsOwn(fetch("first call", prepareServer)),
          fetch("empty answer", prepareEmptyAnswer), // nothing is kept of it
          parse()};
}

std::vector<Scenario> sequenceStart() {
  return {start("caller's file", file, prepareFile),
          start("file of the setting", "", prepareSetting),
          start("file of the setting or the installation", "", prepareSettingAndInstallation),
          start("installation", "", prepareInstallation),
          withoutMemory(start("no stylesheet", "", prepareServerless)),
          start("setting \"debug\"", "", prepareDebug),
          start("server in trouble", "", prepareServerInTrouble),
          secondStart(),
          withFault(start("file", file, prepareFile), Op::SetOption, Kind::Fails)};
}

std::vector<Scenario> sequenceStartWithTheServersStylesheet() {
  return {inProcessesOfItsOwn(start("server's stylesheet", "", prepareServer))};
}

std::vector<Scenario> sequenceElement() {
  return {expression("compact", fromFile), expression("not compact", {fromFile.expression, "", false}),
          withoutMemory(expression("empty", emptyExpression)),
          withFault(expression("compact", fromFile), Op::Transform, Kind::Fails)};
}

std::vector<Scenario> sequence() {
  return {wholeSequence("UTF-16", prepareFile),
          wholeSequence("UTF-8, from the second run on", prepareUTF8File),
          inProcessesOfItsOwn(wholeSequence("UTF-8, first run", prepareUTF8File))};
}

std::vector<Scenario> batches() {
  return {batch(), withFault(batch(), Op::Transform, Kind::Fails),
          withFault(batch(), Op::SetOption, Kind::Fails)};
}

const Area areas[] = {
    {"formatting", formattings},
    {"formattingBehindAFailure", formattingBehindAFailure},
    {"formattingWithTheServersStylesheet", formattingWithTheServersStylesheet},
    {"formattingWithTheServerInTrouble", formattingWithTheServerInTrouble},
    {"encodingCheck", encodingCheck},
    {"serversStylesheet", serversStylesheet},
    {"sequenceStart", sequenceStart},
    {"sequenceStartWithTheServersStylesheet", sequenceStartWithTheServersStylesheet},
    {"sequenceElement", sequenceElement},
    {"sequence", sequence},
    {"batch", batches},
};

INSTANTIATE_TEST_SUITE_P(XML, FaultTest, testing::ValuesIn(areas), nameOfArea);

} // namespace
