#include "FaultCourses.h"
#include "UTF8Texts.h"
#include "ZEPUnicodeString.h"

#include <algorithm>
#include <cctype>
#include <cstring>

namespace fault {

namespace {

const char xmlClass[] = "ZEPCfgXMLExpressionServices";
const char stylesheetUrl[] =
    "/resources/modeler/configuration/navigationServices/getConfiguredExpressionXSLT/";
const char serverStylesheet[] = "server stylesheet"; // in the script's usual JSON

using Early = std::optional<long>;

// ---- always-true filter ----

struct WriterStep {
  Op operation;
  std::string arguments;
  std::string failure;
};

std::vector<WriterStep> writerSteps(const std::string& holder) {
  const std::string element = "ERROR: Unable to write element ";
  const std::string end = "ERROR: Unable to write end element ";
  const bool hasHolder = !holder.empty();
  std::vector<WriterStep> steps = {
      {Op::WriteStartDocument, "", "ERROR : WriteStartDocument() FAILED"},
      {Op::WriteStartElement,
       "FilterExpression, [xmlns=urn:zep:configuration-expression "
       "xmlns:xsi=http://www.w3.org/2001/XMLSchema-instance "
       "xsi:schemaLocation=urn:zep:configuration-expression ConfigurationExpression.xsd]",
       element + "FilterExpression"},
      {Op::WriteStartElement, "FilterSelection, [SelectionMode=Strict]", element + "FilterSelection"},
  };
  if (hasHolder) {
    steps.push_back({Op::WriteStartElement, "Context, [HolderType=Model HolderName=" + holder + "]",
                     element + "Context"});
  }
  steps.push_back({Op::WriteStartElement, "Boolean, null", element + "Boolean"});
  steps.push_back({Op::WriteCharacters, "true", "ERROR: Unable to write characters true"});
  steps.push_back({Op::WriteEndElement, "", end + "Boolean"});
  if (hasHolder) {
    steps.push_back({Op::WriteEndElement, "", end + "Context"});
  }
  steps.push_back({Op::WriteEndElement, "", end + "FilterSelection"});
  steps.push_back({Op::WriteEndElement, "", end + "FilterExpression"});
  steps.push_back({Op::WriteEndDocument, "", "ERROR : WriteEndDocument() FAILED"});
  return steps;
}

// ---- encoding check ----

int openDescriptor(Course& course) {
  int descriptor = 11;
  while (course.openFiles.contains(descriptor)) {
    ++descriptor;
  }
  course.openFiles.insert(descriptor);
  return descriptor;
}

void closeFile(Course& course, int descriptor) {
  course.Call(Op::ZEPFClose, std::to_string(descriptor)); // its code says nothing more
  course.openFiles.erase(descriptor);
}

std::vector<std::string> linesOf(const std::string& content) {
  std::vector<std::string> lines;
  for (std::size_t start = 0; start < content.size();) {
    const std::size_t end = std::min(content.find('\n', start), content.size());
    lines.push_back(content.substr(start, end - start));
    start = end + 1;
  }
  return lines;
}

// The working code; `isLeftOpen` after a read that failed.
long readEncoding(Course& course, const std::vector<std::string>& lines, int descriptor, bool& isLeftOpen) {
  long result = S_OK;
  for (const std::string& line : lines) {
    if (course.Call(Op::ZEPFEof, std::to_string(descriptor), 1).code == 0) {
      return result;
    }
    const Answer read = course.Call(Op::ZEPFGets, "1024, " + std::to_string(descriptor));
    result = read.code;
    if (read.Fails()) {
      isLeftOpen = true;
      return course.Error("ERROR: ZEPFGets failed", read.code);
    }
    if (read.Gives() && line.find("xsl:output") != std::string::npos) {
      std::string lower = line;
      std::transform(lower.begin(), lower.end(), lower.begin(),
                     [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
      return lower.find("utf-8") != std::string::npos ? S_FALSE : result;
    }
  }
  course.Call(Op::ZEPFEof, std::to_string(descriptor), 0);
  return result;
}

long checkEncoding(Course& course, const std::string& path) {
  course.Dump("in_XSLFilePath", path);
  if (path.empty()) {
    return course.Error("ERROR: in_XSLFilePath is empty", E_INVALIDARG);
  }
  const Answer opened = course.Call(Op::ZEPFOpen, path + ", r");
  const int descriptor = opened.acted ? openDescriptor(course) : 0;
  if (opened.Fails()) {
    return course.Error("ZEPFOpen of : " + path + " FAILED.", opened.code);
  }
  long result = S_OK;
  bool isLeftOpen = false;
  course.Guarded(
      [&] { result = readEncoding(course, linesOf(course.world.files.at(path)), descriptor, isLeftOpen); },
      [&] { closeFile(course, descriptor); });
  if (!isLeftOpen) {
    closeFile(course, descriptor);
  }
  return result;
}

// ---- choice of the stylesheet ----

struct Stylesheet {
  std::string path;
  std::string text;
  bool IsNone() const { return path.empty() && text.empty(); }
};

bool exists(Course& course, const std::string& path) {
  const bool isThere = course.world.files.contains(path);
  return !course.Call(Op::ZEPFileStat, argument(path) + ", 0", isThere ? S_OK : E_FAIL).Fails();
}

// The value of the setting; none where there is no such setting.
std::optional<std::string> readSetting(Course& course) {
  const auto& settings = course.world.settings;
  const bool isGiven = course.Call(Op::GetRepository, "EffeCustoFilePathSetting, 0").Gives();
  if (!isGiven || !settings.contains("EffeCustoFilePathSetting")) {
    return {};
  }
  Answer read;
  course.Guarded([&] { read = course.Call(Op::ReadAttr, "EffCustoPath", 1); },
                 [&] { course.Call(Op::ReleaseRepository); });
  course.Call(Op::ReleaseRepository);
  if (read.code != 1) {
    return {};
  }
  return read.Gives() ? settings.at("EffeCustoFilePathSetting").at("EffCustoPath") : "";
}

// A value is the result that ends the operation.
Early takeSetting(Course& course, Stylesheet& stylesheet) {
  std::optional<std::string> value = readSetting(course);
  if (!value) {
    return {};
  }
  const Answer expanded = course.Call(Op::ZEPExpandString, argument(*value));
  if (expanded.empty) {
    value = "";
  } else if (expanded.acted && course.world.expansions.contains(*value)) {
    value = course.world.expansions.at(*value);
  }
  if (*value == "debug") {
    return course.Error("no format for debug", E_FAIL);
  }
  if (exists(course, *value)) {
    stylesheet.path = *value;
  }
  return {};
}

void takeInstalled(Course& course, Stylesheet& stylesheet) {
  const bool isGiven = course.Call(Op::ZEPGetEnv, "ZEPInstallPath").Gives();
  std::string roots = isGiven ? course.world.environment["ZEPInstallPath"] : "";
  if (roots.empty()) {
    return;
  }
  course.Call(Op::GetBranchingVar);
  for (std::size_t start = 0; start < roots.size();) {
    const std::size_t end = std::min(roots.find(';', start), roots.size());
    const std::string candidate =
        roots.substr(start, end - start) + "\\resources\\xsl\\CfgEffectivityDisplay.xsl";
    if (exists(course, candidate)) {
      stylesheet.path = candidate;
      return;
    }
    start = end + 1;
  }
}

// One-shot formatting goes on without the server's answer, a sequence does not.
Early choose(Course& course, const std::string& customFile, bool serverHasToAnswer, Stylesheet& stylesheet,
             long& result) {
  if (!customFile.empty() && course.Call(Op::ZEPGetFileInfo, customFile).code == 0 &&
      course.world.files.contains(customFile)) {
    stylesheet.path = customFile;
  }
  course.Dump("XSLTFilePath", stylesheet.path);
  if (!stylesheet.path.empty()) {
    return {};
  }
  result = courseOfFetch(course, stylesheet.text);
  if (result < 0 && serverHasToAnswer) {
    return course.Error("ERROR: GetConfigExpressionXSLT failed", result);
  }
  if (!stylesheet.text.empty()) {
    return {};
  }
  if (const Early early = takeSetting(course, stylesheet)) {
    return early;
  }
  if (stylesheet.path.empty()) {
    takeInstalled(course, stylesheet);
  }
  return {};
}

// ---- pipeline ----

// How a step of the pipeline fails; no message for what is not looked at.
struct Messages {
  const char* failure;
  const char* empty = nullptr;
};

// A value ends the pipeline.
Early check(Course& course, const Answer& answer, const Messages& messages) {
  if (answer.Fails()) {
    return course.Error(messages.failure, answer.code);
  }
  if (messages.empty != nullptr && !answer.Gives()) {
    return course.Error(messages.empty, E_FAIL);
  }
  return {};
}

void useHandle(bool isFilled) {
  if (!isFilled) {
    throw Exception{"ZEPErrorNullVar"};
  }
}

Answer createStylesheetSource(Course& course, const Stylesheet& stylesheet, bool& outputIsUTF16) {
  if (stylesheet.path.empty()) {
    return course.Call(Op::CreateInputSourceFromMemoryBuffer, stylesheet.text + ", xslSourceId1");
  }
  course.Dump("XSLTFilePath", stylesheet.path);
  if (courseOfEncoding(course, stylesheet.path) == S_FALSE) {
    outputIsUTF16 = false;
  }
  return course.Call(Op::CreateInputSourceFromFile, stylesheet.path + ", xslSourceId1");
}

Messages stylesheetSourceMessages(const Stylesheet& stylesheet, const char* empty) {
  return {stylesheet.path.empty() ? "ERROR: CreateInputSourceFromMemoryBuffer failed"
                                  : "ERROR: CreateInputSourceFromFile failed",
          empty};
}

const Messages setInputSourceFails = {"ERROR: SetInputSource failed"};
const Messages setOptionFails = {"ERROR: SetOption failed"};
const Messages setOutputSourceFails = {"SetOutputSource failed"};
const Messages transformFails = {"Transform failed"};
const Messages getBufferFails = {"GetBuffer failed"};
const Messages expressionSourceFails = {"ERROR: CreateInputSourceFromMemoryBuffer failed"};

std::string decoded(const std::string& bytes, bool isUTF16) {
  if (!isUTF16) {
    return bytes;
  }
  ZEPUnicodeString text;
  text.BuildFromUTF16(reinterpret_cast<const unsigned char*>(bytes.data()) + 2, (bytes.size() - 2) / 2);
  return utf8Of(text);
}

// From the parameter to the output.
long transformAndDeliver(Course& course, bool hasInput, bool isCompact, bool outputIsUTF16,
                         std::string& formatted) {
  if (isCompact) {
    course.Call(Op::SetParameter, R"(CompactView, "", TRUE)"); // its result is ignored
  }
  const Answer transformed = course.Call(Op::Transform, "", hasInput ? S_OK : E_UNEXPECTED);
  // Detached whatever came of it; a transformer that refuses keeps it.
  if (course.Call(Op::SetOutputSource, "null").acted) {
    course.kept.heldOutput = false;
  }
  if (const Early early = check(course, transformed, transformFails)) {
    return *early;
  }
  const Answer buffer = course.Call(Op::GetBuffer);
  if (const Early early = check(course, buffer, getBufferFails)) {
    return *early;
  }
  if (!buffer.Gives() || !transformed.Gives() || !course.world.transformBytes) {
    course.Label("byteArray  is null");
    return buffer.code;
  }
  const std::string& bytes = *course.world.transformBytes;
  course.Value("byteArraySize", std::to_string(bytes.size()));
  const std::string text = decoded(bytes, outputIsUTF16);
  course.Dump("result", text);
  course.Gives(formatted, text);
  return buffer.code;
}

void reportFailure(Course& course, long result) {
  if (result >= 0) {
    return;
  }
  std::string message = "XSLTProcessor has failed:\\n";
  const bool hasError = course.Call(Op::ZEPGetLastError, scripted::codeName(result) + ", null").Gives() &&
                        course.world.lastError;
  if (hasError) {
    course.Guarded([&] { message += course.Call(Op::GetMessageText).Gives() ? *course.world.lastError : ""; },
                   [&] { course.Call(Op::ReleaseError); });
    course.Call(Op::ReleaseError);
  }
  course.Call(Op::ZEPCleanLastError);
  course.world.lastError.reset();
  course.Dump("message", message);
}

// ---- one-shot formatting ----

long runOnce(Course& course, const Formatting& formatting, const Stylesheet& stylesheet,
             std::string& formatted) {
  bool outputIsUTF16 = true;
  const auto create = [&](Op operation, const char* arguments, const Messages& messages) {
    return check(course, course.Call(operation, arguments), messages);
  };
  if (const Early early =
          create(Op::CreateZEPIXMLSAX2Factory, "CLSID_XML4C_SAX",
                 {"ERROR: CreateZEPIXMLSAX2Factory failed", "ERRROR sax2Factory is null_var"})) {
    return *early;
  }
  const Answer source = createStylesheetSource(course, stylesheet, outputIsUTF16);
  if (const Early early =
          check(course, source, stylesheetSourceMessages(stylesheet, "ERROR: xslSource is NULL_var"))) {
    return *early;
  }
  const Answer input =
      course.Call(Op::CreateInputSourceFromMemoryBuffer, formatting.expression + ", inputSourceId1");
  if (const Early early = check(course, input, expressionSourceFails)) {
    return *early;
  }
  if (const Early early =
          create(Op::CreateZEPIXMLXSLFactory, "CLSID_XSLT_JAVA",
                 {"ERROR: CreateZEPIXMLXSLFactory failed", "ERROR: xslFactory is NULL_var"})) {
    return *early;
  }
  if (const Early early = create(Op::CreateTransformer, "xslSourceId1",
                                 {"ERROR: CreateTransformer failed", "ERROR: transformer is NULL_var"})) {
    return *early;
  }
  if (const Early early = create(Op::CreateZEPIXMLPPFactory, "CLSID_XML4C5_PP",
                                 {"ERROR: CreateZEPIXMLPPFactory failed", "ERROR: ppFactory is NULL_var"})) {
    return *early;
  }
  // A source that is empty is not looked at before the transformer gets it.
  if (const Early early =
          create(Op::SetInputSource, input.Gives() ? "inputSourceId1" : "null", setInputSourceFails)) {
    return *early;
  }
  const Answer option = course.Call(Op::SetOption, "OutputFormat, text");
  if (const Early early = check(course, option, setOptionFails)) {
    return *early;
  }
  course.Call(Op::ZEPXMLPPMemoryBuffer, "1024");
  const Answer output = course.Call(Op::CreateOutputSource);
  if (output.Fails() || !output.Gives()) {
    return option.code; // quietly
  }
  if (const Early early = create(Op::SetOutputSource, "outputSource", setOutputSourceFails)) {
    return *early;
  }
  return transformAndDeliver(course, input.Gives(), formatting.isCompact, outputIsUTF16, formatted);
}

long format(Course& course, const Formatting& formatting, std::string& formatted) {
  course.Dump("in_xmlExpression", formatting.expression);
  course.Dump("in_customXSLFile", formatting.customFile);
  if (formatting.expression.empty()) {
    course.Label("the XML expression is empty");
    return S_FALSE;
  }
  long result = E_FAIL;
  Stylesheet stylesheet;
  if (const Early early = choose(course, formatting.customFile, false, stylesheet, result)) {
    result = *early;
  } else if (!stylesheet.IsNone()) {
    result = runOnce(course, formatting, stylesheet, formatted);
  }
  reportFailure(course, result);
  return result;
}

// ---- sequence ----

// A creation writes its handle whatever comes of it, but not when it raises.
Answer createInto(bool& handle, const Answer& answer) {
  handle = answer.Gives();
  return answer;
}

long prepareSequence(Course& course, const Stylesheet& stylesheet) {
  Course::Kept& kept = course.kept;
  if (const Early early = check(
          course, createInto(kept.sax2Factory, course.Call(Op::CreateZEPIXMLSAX2Factory, "CLSID_XML4C_SAX")),
          {"ERROR: CreateZEPIXMLSAX2Factory failed", "ERRROR m_sax2Factory is null_var"})) {
    return *early;
  }
  const Answer source = createStylesheetSource(course, stylesheet, course.keptOutputIsUTF16);
  if (const Early early = check(course, createInto(kept.xslSource, source),
                                stylesheetSourceMessages(stylesheet, "ERROR: m_xslSource is NULL_var"))) {
    return *early;
  }
  if (const Early early = check(
          course, createInto(kept.xslFactory, course.Call(Op::CreateZEPIXMLXSLFactory, "CLSID_XSLT_JAVA")),
          {"ERROR: CreateZEPIXMLXSLFactory failed", "ERROR: m_xslFactory is NULL_var"})) {
    return *early;
  }
  const Answer transformer = course.Call(Op::CreateTransformer, "xslSourceId1");
  kept.heldInput = false; // the one before is released, and what it held
  kept.heldOutput = false;
  if (const Early early = check(course, createInto(kept.transformer, transformer),
                                {"ERROR: CreateTransformer failed", "ERROR: m_transformer is NULL_var"})) {
    return *early;
  }
  if (const Early early = check(
          course, createInto(kept.ppFactory, course.Call(Op::CreateZEPIXMLPPFactory, "CLSID_XML4C5_PP")),
          {"ERROR: CreateZEPIXMLPPFactory failed", "ERROR: m_ppFactory is NULL_var"})) {
    return *early;
  }
  const Answer option = course.Call(Op::SetOption, "OutputFormat, text");
  const Early early = check(course, option, setOptionFails);
  return early ? *early : option.code;
}

long runInSequence(Course& course, const Formatting& formatting, std::string& formatted) {
  Course::Kept& kept = course.kept;
  useHandle(kept.sax2Factory);
  const Answer input =
      course.Call(Op::CreateInputSourceFromMemoryBuffer, formatting.expression + ", inputSourceId1");
  if (const Early early =
          check(course, input, {expressionSourceFails.failure, "ERROR: inputSource is null_var"})) {
    return *early;
  }
  useHandle(kept.transformer);
  const Answer set = course.Call(Op::SetInputSource, "inputSourceId1");
  kept.heldInput = kept.heldInput || set.acted;
  if (const Early early = check(course, set, setInputSourceFails)) {
    return *early;
  }
  useHandle(kept.ppFactory);
  if (!course.Call(Op::CreateOutputSource).Gives()) { // its code is ignored
    return course.Error("ERROR: outputSource is null_var", E_FAIL);
  }
  const Answer output = course.Call(Op::SetOutputSource, "outputSource");
  kept.heldOutput = kept.heldOutput || output.acted;
  if (const Early early = check(course, output, setOutputSourceFails)) {
    return *early;
  }
  return transformAndDeliver(course, true, formatting.isCompact, course.keptOutputIsUTF16, formatted);
}

long formatElements(Course& course, std::initializer_list<const char*> expressions, std::string& formatted) {
  for (const char* const expression : expressions) {
    std::string text;
    const long result = courseOfExpression(course, {expression, "", false}, text);
    if (result < 0) {
      return course.Error("ERROR: ExpressionFormatting failed", result);
    }
    course.Gives(formatted, formatted + "<" + text + ">");
  }
  return courseOfEnd(course);
}

} // namespace

long courseOfAlwaysTrue(Course& course, const std::string& holder, std::string& expression) {
  course.classes.emplace_back(xmlClass); // no frame
  const auto run = [&] {
    course.Call(Op::ZEPCfgXMLWriter);
    for (const WriterStep& step : writerSteps(holder)) {
      if (const Answer written = course.Call(step.operation, step.arguments); written.Fails()) {
        return course.Error(step.failure, written.code);
      }
    }
    const Answer generated = course.Call(Op::GetGeneratedXML);
    if (generated.acted) {
      course.Gives(expression, generated.Gives() ? course.world.generatedXML : "");
    }
    return generated.Fails() ? course.Error("ERROR : GetGeneratedXML() FAILED", generated.code)
                             : generated.code;
  };
  long result = S_OK;
  course.Guarded([&] { result = run(); }, [&] { course.classes.pop_back(); });
  course.classes.pop_back();
  return result;
}

long courseOfEncoding(Course& course, const std::string& path) {
  Frame frame(course, xmlClass, "IsEncodingUTF16(class ZEPUnicodeString)");
  const long result = frame.Result(checkEncoding(course, path));
  return result < 0 ? E_FAIL : result;
}

long courseOfParse(Course& course, bool hasMembers, std::string& stylesheet) {
  Frame frame(course, xmlClass, "ParseQueryResponse(const class ZEPOmxAny &,class ZEPUnicodeString &)");
  if (!hasMembers) {
    return frame.Result(S_OK);
  }
  const bool isObject = course.Call(Op::Extract).Gives(); // its code is ignored
  const Answer value = course.Call(Op::GetValue, "content", isObject ? S_OK : E_FAIL);
  course.Gives(stylesheet, isObject && value.Gives() ? serverStylesheet : "");
  return frame.Result(value.code);
}

long courseOfFetch(Course& course, std::string& stylesheet) {
  Frame frame(course, xmlClass, "GetConfigExpressionXSLT(class ZEPUnicodeString &)");
  const auto run = [&]() -> long {
    course.Call(Op::IsATSTProvider);
    if (course.world.atstProvider) {
      return S_FALSE;
    }
    if (!course.stylesheetCache.empty()) {
      course.Gives(stylesheet, course.stylesheetCache);
      return S_OK;
    }
    course.Label(std::string("call the webservice ") + stylesheetUrl);
    std::string answer;
    const long called = courseOfCall(course, {"GET", stylesheetUrl, ""}, answer);
    if (called < 0) {
      return course.Error("ERROR: CallWebService failed", called);
    }
    course.Label("If the outJson is empty, then return S_OK");
    if (answer.empty()) {
      course.Label("outJson is empty");
      return S_OK;
    }
    course.Label("Read the Json and assert it's valid");
    const Answer parsed = course.Call(Op::JsonParse, answer);
    const long result = parsed.Fails() ? parsed.code : courseOfParse(course, parsed.Gives(), stylesheet);
    course.stylesheetCache = stylesheet;
    return result;
  };
  const long result = run();
  course.Dump("ioUstrXSLTFileContents", stylesheet);
  return frame.Result(result);
}

long courseOfFormat(Course& course, const Formatting& formatting, std::string& formatted) {
  Frame frame(course, xmlClass,
              "FormatExpression(const class ZEPUnicodeString &,class ZEPUnicodeString &,"
              "const class ZEPUnicodeString &,const unsigned char &)");
  const Course::Kept kept = course.kept; // no part of this
  long result = S_OK;
  course.Guarded([&] { result = format(course, formatting, formatted); }, [&] { course.kept = kept; });
  course.kept = kept;
  course.Dump("out_formattedExpression", formatted);
  return frame.Result(result);
}

long courseOfStart(Course& course, const std::string& customFile) {
  Frame frame(course, xmlClass, "StartExpressionFormatting(const class ZEPUnicodeString &)");
  course.Dump("in_customXSLFile", customFile);
  long result = S_OK;
  Stylesheet stylesheet;
  if (const Early early = choose(course, customFile, true, stylesheet, result)) {
    result = *early;
  } else if (!stylesheet.IsNone()) {
    result = prepareSequence(course, stylesheet);
  }
  reportFailure(course, result);
  return frame.Result(result);
}

long courseOfExpression(Course& course, const Formatting& formatting, std::string& formatted) {
  Frame frame(course, xmlClass,
              "ExpressionFormatting(const class ZEPUnicodeString &,class ZEPUnicodeString &,"
              "const unsigned char &)");
  course.Call(Op::ZEPXMLPPMemoryBuffer, "1024");
  course.Dump("in_xmlExpression", formatting.expression);
  long result = S_FALSE;
  if (formatting.expression.empty()) {
    course.Label("the XML expression is empty");
  } else {
    result = runInSequence(course, formatting, formatted);
  }
  reportFailure(course, result);
  course.Dump("out_formattedExpression", formatted);
  return frame.Result(result);
}

long courseOfEnd(Course& course) {
  Frame frame(course, xmlClass, "EndExpressionFormatting(void)");
  course.kept = {};
  return frame.Result(S_OK);
}

long courseOfBatch(Course& course, std::initializer_list<const char*> expressions,
                   const std::string& customFile, std::string& formatted) {
  Frame frame(course, xmlClass,
              "FormatExpressions(const class ZEPListValZEPUnicodeString &,class ZEPListValZEPUnicodeString &,"
              "const class ZEPUnicodeString &,const unsigned char &)");
  course.Value("nbExp", std::to_string(expressions.size()));
  if (expressions.size() == 0) {
    course.Label("no expressions");
    return frame.Result(S_FALSE);
  }
  const long started = courseOfStart(course, customFile);
  if (started < 0) {
    return frame.Result(course.Error("ERROR: StartExpressionFormatting failed", started));
  }
  return frame.Result(formatElements(course, expressions, formatted));
}

} // namespace fault
