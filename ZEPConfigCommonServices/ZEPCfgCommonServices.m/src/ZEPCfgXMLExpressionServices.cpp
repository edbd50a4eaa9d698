#include "ZEPCfgXMLExpressionServices.h"

#include "ZEPCfgInfraServices.h"
#include "ZEPCfgServiceTrace.h"
#include "ZEPCfgWebServices.h"
#include "ZEPEnvironment.h"
#include "ZEPError.h"
#include "ZEPFile.h"
#include "ZEPHResult.h"
#include "ZEPIXMLPPFactory.h"
#include "ZEPIXMLSAX2Factory.h"
#include "ZEPIXMLXSLFactory.h"
#include "ZEPListValZEPUnicodeString.h"
#include "ZEPOmxAny.h"
#include "ZEPOmxJson.h"
#include "ZEPOmxKeyString.h"
#include "ZEPOmxKeyValueBlock.h"
#include "ZEPOmxUTF8String.h"
#include "ZEPSysSettingRepository.h"
#include "ZEPToken.h"
#include "ZEPUnicodeString.h"
#include "ZEPXMLPPMemoryBuffer.h"
#include "ZEPXMLXSLTransformerOptions.h"

#include <memory>
#include <optional>
#include <sys/stat.h>

namespace {

ZEPCfgServiceTrace trace("ZEPCfgXMLExpressionServices", "", __FILE__);
using TracedMethod = ZEPCfgTracedMethod<trace>;

// What the formatting sequence keeps between its calls; empty while none is open.
ZEPIXMLSAX2Factory_var m_sax2Factory;
ZEPISAXInputSource_var m_xslSource;
ZEPIXMLXSLFactory_var m_xslFactory;
ZEPIXMLXSLTransformer_var m_transformer;
ZEPIXMLPPFactory_var m_ppFactory;

// The server's stylesheet, empty until the server answered.
ZEPUnicodeString serverStylesheetCache;

// Gives a counted reference back at the end of its scope.
struct Releaser {
  template <class Object>
  void operator()(Object* object) const {
    object->Release();
  }
};
template <class Object>
using Released = std::unique_ptr<Object, Releaser>;

// ---- encoding of a stylesheet's output ---------------------------------------------------------

constexpr int lineBufferBytes = 1024;
constexpr int forward = 1;  // search mode
constexpr int bothEnds = 2; // strip mode
constexpr char lineFeed = 10;

// An open file, closed at the end of its scope unless it is left open.
class OpenFile {
public:
  explicit OpenFile(unsigned int descriptor) : m_descriptor(descriptor) {}
  ~OpenFile() {
    if (m_isOwned) {
      ZEPFClose(m_descriptor);
    }
  }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  bool IsAtEnd() const { return ZEPFEof(m_descriptor) == 0; }
  long ReadLine(char* buffer, int size) const { return ZEPFGets(buffer, size, m_descriptor); }
  void LeaveOpen() { m_isOwned = false; }

private:
  unsigned int m_descriptor;
  bool m_isOwned = true;
};

bool contains(const ZEPUnicodeString& text, const char* pattern) {
  return text.SearchSubString(pattern, 0, forward) >= 0;
}

// S_FALSE when the first line with "xsl:output" mentions UTF-8, else the code of the last read.
long findEncoding(OpenFile& file, long result) {
  while (!file.IsAtEnd()) {
    char buffer[lineBufferBytes];
    buffer[0] = '\0';
    result = file.ReadLine(buffer, lineBufferBytes);
    if (ZEPFailed(result)) {
      trace.Error("ERROR: ZEPFGets failed");
      file.LeaveOpen(); // after a failed read nothing more is asked of the file
      return result;
    }
    ZEPUnicodeString line(buffer);
    if (line.GetLengthInChar() == 0) {
      continue;
    }
    line.Strip(bothEnds, lineFeed);
    if (contains(line, "xsl:output")) {
      line.ToLower();
      return contains(line, "utf-8") ? S_FALSE : result;
    }
  }
  return result;
}

long checkEncoding(const ZEPUnicodeString& path) {
  trace.Dump("in_XSLFilePath", path);
  if (path.GetLengthInChar() == 0) {
    trace.Error("ERROR: in_XSLFilePath is empty");
    return E_INVALIDARG;
  }
  unsigned int descriptor = 0;
  const long result = ZEPFOpen(path, "r", &descriptor);
  if (ZEPFailed(result)) {
    trace.Error(ZEPUnicodeString("ZEPFOpen of : ") + path.CastToCharPtr() + " FAILED.");
    return result;
  }
  OpenFile file(descriptor);
  return findEncoding(file, result);
}

// ---- choice of the stylesheet ------------------------------------------------------------------

// The stylesheet to use: a file, or else a text in memory, or none.
struct Stylesheet {
  bool IsFile() const { return !XSLTFilePath.IsEmpty(); }
  bool IsNone() const { return XSLTFilePath.IsEmpty() && serverText.IsEmpty(); }

  ZEPUnicodeString XSLTFilePath;
  ZEPUnicodeString serverText;
};

// What a choice says to the operation that asked for it.
enum class Choice { made, refused };

bool fileExists(ZEPUnicodeString& path) {
  struct stat info;
  return ZEPSucceeded(ZEPFileStat(&path, &info, 0));
}

void takeCustomFile(const ZEPUnicodeString& customFile, Stylesheet& stylesheet) {
  struct stat info;
  if (customFile.GetLengthInChar() > 0 && ZEPGetFileInfo(customFile, &info) == 0) {
    stylesheet.XSLTFilePath = customFile;
  }
}

// The value of the user's setting, as it stands; none where there is no such setting.
std::optional<ZEPUnicodeString> readSetting() {
  const Released<ZEPSysSettingRepository> repository(
      ZEPSysSettingRepository::GetRepository("EffeCustoFilePathSetting", 0));
  ZEPUnicodeString value;
  if (!repository || repository->ReadAttr("EffCustoPath", &value) != 1) {
    return std::nullopt;
  }
  return value;
}

Choice takeSettingsFile(Stylesheet& stylesheet, long& result) {
  std::optional<ZEPUnicodeString> value = readSetting();
  if (!value) {
    return Choice::made;
  }
  ZEPExpandString(&*value);
  if (value->Compare("debug") != 0) {
    trace.Error("no format for debug");
    result = E_FAIL;
    return Choice::refused;
  }
  if (fileExists(*value)) {
    stylesheet.XSLTFilePath = *value;
  }
  return Choice::made;
}

// The first empty token ends the list of roots.
ZEPListValZEPUnicodeString splitRoots(const ZEPUnicodeString& installPath) {
  ZEPListValZEPUnicodeString roots;
  ZEPToken tokens(installPath, ";");
  for (ZEPUnicodeString root = tokens.GetNextToken(); !root.IsEmpty(); root = tokens.GetNextToken()) {
    roots.Append(root);
  }
  return roots;
}

void takeInstalledFile(Stylesheet& stylesheet) {
  const ZEPUnicodeString installPath(ZEPGetEnv("ZEPInstallPath"));
  if (installPath.IsEmpty()) {
    return;
  }
  const ZEPListValZEPUnicodeString roots = splitRoots(installPath);
  const char* const fileName = ZEPCfgInfraServices::GetBranchingVar() != 0
                                   ? "CfgEffectivityDisplay_Branching.xsl"
                                   : "CfgEffectivityDisplay.xsl";
  const ZEPUnicodeString suffix = ZEPUnicodeString("\\resources\\xsl\\") + fileName;
  for (int i = 1; i <= roots.Size(); ++i) {
    ZEPUnicodeString candidate = roots[i] + suffix;
    if (fileExists(candidate)) {
      stylesheet.XSLTFilePath = candidate;
      return;
    }
  }
}

// A failed fetch of the server's stylesheet is only remembered in `result`: another candidate may
// still be there.
Choice chooseStylesheet(const ZEPUnicodeString& customFile, Stylesheet& stylesheet, long& result) {
  takeCustomFile(customFile, stylesheet);
  trace.Dump("XSLTFilePath", stylesheet.XSLTFilePath);
  if (stylesheet.IsFile()) {
    return Choice::made;
  }
  result = ZEPCfgXMLExpressionServices::GetConfigExpressionXSLT(stylesheet.serverText);
  if (stylesheet.serverText.GetLengthInChar() > 0) {
    return Choice::made;
  }
  if (takeSettingsFile(stylesheet, result) == Choice::refused) {
    return Choice::refused;
  }
  if (!stylesheet.IsFile()) {
    takeInstalledFile(stylesheet);
  }
  return Choice::made;
}

// ---- the XSLT pipeline -------------------------------------------------------------------------

constexpr unsigned int memoryBufferBytes = 1024;
constexpr unsigned int byteOrderMarkBytes = 2;
constexpr unsigned int bytesPerUnit = 2;

// The objects of one formatting. They are released from the last to the first.
struct Pipeline {
  bool outputIsUTF16 = true;
  ZEPIXMLSAX2Factory_var sax2Factory;
  ZEPISAXInputSource_var xslSource;
  ZEPISAXInputSource_var inputSource;
  ZEPIXMLXSLFactory_var xslFactory;
  ZEPIXMLXSLTransformer_var transformer;
  ZEPIXMLPPFactory_var ppFactory;
  ZEPIXMLPPOutputSource_var outputSource;
  std::optional<ZEPXMLPPMemoryBuffer> memoryBuffer;
};

// How a step ended: the pipeline goes on, or its result stands.
enum class Step { done, ended };

Step checkCall(long result, const char* failure, int line = __builtin_LINE()) {
  if (ZEPFailed(result)) {
    trace.Error(failure, line);
    return Step::ended;
  }
  return Step::done;
}

// A success has to come with an object.
Step checkCreated(long& result, const ZEPBaseUnknown_var& handle, const char* failure, const char* empty,
                  int line = __builtin_LINE()) {
  if (checkCall(result, failure, line) == Step::ended) {
    return Step::ended;
  }
  if (!handle) {
    trace.Error(empty, line);
    result = E_FAIL;
    return Step::ended;
  }
  return Step::done;
}

Step createSAX2Factory(Pipeline& pipeline, long& result) {
  result = CreateZEPIXMLSAX2Factory(pipeline.sax2Factory, CLSID_XML4C_SAX);
  return checkCreated(result, pipeline.sax2Factory, "ERROR: CreateZEPIXMLSAX2Factory failed",
                      "ERRROR sax2Factory is null_var");
}

Step createStylesheetSource(const Stylesheet& stylesheet, Pipeline& pipeline, long& result) {
  const ZEPUnicodeString sourceId("xslSourceId1");
  const char* failure = nullptr;
  if (stylesheet.IsFile()) {
    trace.Dump("XSLTFilePath", stylesheet.XSLTFilePath);
    if (ZEPCfgXMLExpressionServices::IsEncodingUTF16(stylesheet.XSLTFilePath) == S_FALSE) {
      pipeline.outputIsUTF16 = false;
    }
    result = pipeline.sax2Factory->CreateInputSourceFromFile(stylesheet.XSLTFilePath, sourceId,
                                                             pipeline.xslSource);
    failure = "ERROR: CreateInputSourceFromFile failed";
  } else {
    result = pipeline.sax2Factory->CreateInputSourceFromMemoryBuffer(stylesheet.serverText, sourceId,
                                                                     pipeline.xslSource);
    failure = "ERROR: CreateInputSourceFromMemoryBuffer failed";
  }
  return checkCreated(result, pipeline.xslSource, failure, "ERROR: xslSource is NULL_var");
}

Step createExpressionSource(const ZEPUnicodeString& expression, Pipeline& pipeline, long& result) {
  result = pipeline.sax2Factory->CreateInputSourceFromMemoryBuffer(expression, "inputSourceId1",
                                                                   pipeline.inputSource);
  return checkCall(result, "ERROR: CreateInputSourceFromMemoryBuffer failed");
}

Step createXSLFactory(Pipeline& pipeline, long& result) {
  result = CreateZEPIXMLXSLFactory(pipeline.xslFactory, CLSID_XSLT_JAVA);
  return checkCreated(result, pipeline.xslFactory, "ERROR: CreateZEPIXMLXSLFactory failed",
                      "ERROR: xslFactory is NULL_var");
}

Step createTransformer(Pipeline& pipeline, long& result) {
  result = pipeline.xslFactory->CreateTransformer(pipeline.xslSource, pipeline.transformer);
  return checkCreated(result, pipeline.transformer, "ERROR: CreateTransformer failed",
                      "ERROR: transformer is NULL_var");
}

Step createPPFactory(Pipeline& pipeline, long& result) {
  result = CreateZEPIXMLPPFactory(pipeline.ppFactory, CLSID_XML4C5_PP);
  return checkCreated(result, pipeline.ppFactory, "ERROR: CreateZEPIXMLPPFactory failed",
                      "ERROR: ppFactory is NULL_var");
}

Step setInputSource(Pipeline& pipeline, long& result) {
  result = pipeline.transformer->SetInputSource(pipeline.inputSource);
  return checkCall(result, "ERROR: SetInputSource failed");
}

Step setTextOutput(Pipeline& pipeline, long& result) {
  result = pipeline.transformer->SetOption(ZEPXMLXSLTransformerOptions::OutputFormat, "text");
  return checkCall(result, "ERROR: SetOption failed");
}

// Without an output source the formatting ends quietly: the result stays that of the step before.
Step createOutputSource(Pipeline& pipeline) {
  pipeline.memoryBuffer.emplace(memoryBufferBytes);
  const long created = pipeline.ppFactory->CreateOutputSource(*pipeline.memoryBuffer, pipeline.outputSource);
  return ZEPFailed(created) || !pipeline.outputSource ? Step::ended : Step::done;
}

// From here on the transformer alone holds the output source.
Step setOutputSource(Pipeline& pipeline, long& result) {
  result = pipeline.transformer->SetOutputSource(pipeline.outputSource);
  pipeline.outputSource = NULL_var;
  return checkCall(result, "SetOutputSource failed");
}

void setCompactView(Pipeline& pipeline, unsigned char compactView) {
  if (compactView != 0) {
    pipeline.transformer->SetParameter("CompactView", ZEPUnicodeString(), "TRUE");
  }
}

Step transform(Pipeline& pipeline, long& result) {
  result = pipeline.transformer->Transform();
  pipeline.transformer->SetOutputSource(ZEPIXMLPPOutputSource_var());
  return checkCall(result, "Transform failed");
}

// The byte-order mark is skipped unseen; what is left of an odd byte is dropped.
void decodeUTF16(const unsigned char* bytes, unsigned int byteCount, ZEPUnicodeString& text) {
  if (byteCount >= byteOrderMarkBytes) {
    text.BuildFromUTF16(bytes + byteOrderMarkBytes, (byteCount - byteOrderMarkBytes) / bytesPerUnit);
  }
}

Step deliver(Pipeline& pipeline, ZEPUnicodeString& formatted, long& result) {
  unsigned char* byteArray = nullptr;
  unsigned int byteArraySize = 0;
  result = pipeline.memoryBuffer->GetBuffer(byteArray, byteArraySize);
  if (checkCall(result, "GetBuffer failed") == Step::ended) {
    return Step::ended;
  }
  if (byteArray == nullptr) {
    trace.Label("byteArray  is null");
    return Step::ended;
  }
  trace.Value("byteArraySize", byteArraySize);
  ZEPUnicodeString text;
  if (pipeline.outputIsUTF16) {
    decodeUTF16(byteArray, byteArraySize, text);
  } else if (byteArraySize != 0) {
    text.BuildFromUTF8(reinterpret_cast<const char*>(byteArray), byteArraySize);
  }
  trace.Dump("result", text);
  formatted = text;
  return Step::done;
}

// What the platform has to say about the failure goes to the trace, and is then forgotten.
void reportFailure(long result) {
  ZEPUnicodeString message("XSLTProcessor has failed:\n");
  if (const Released<ZEPError> error{ZEPError::ZEPGetLastError(result, nullptr)}) {
    message.Append(error->GetMessageText());
  }
  ZEPError::ZEPCleanLastError();
  trace.Dump("message", message);
}

long runPipeline(const ZEPUnicodeString& expression, const Stylesheet& stylesheet, unsigned char compactView,
                 ZEPUnicodeString& formatted) {
  Pipeline pipeline;
  long result = E_FAIL;
  const auto done = [](Step step) { return step == Step::done; };
  if (done(createSAX2Factory(pipeline, result)) &&
      done(createStylesheetSource(stylesheet, pipeline, result)) &&
      done(createExpressionSource(expression, pipeline, result)) &&
      done(createXSLFactory(pipeline, result)) && done(createTransformer(pipeline, result)) &&
      done(createPPFactory(pipeline, result)) && done(setInputSource(pipeline, result)) &&
      done(setTextOutput(pipeline, result)) && done(createOutputSource(pipeline)) &&
      done(setOutputSource(pipeline, result))) {
    setCompactView(pipeline, compactView);
    if (done(transform(pipeline, result))) {
      deliver(pipeline, formatted, result);
    }
  }
  return result;
}

long format(const ZEPUnicodeString& expression, ZEPUnicodeString& formatted,
            const ZEPUnicodeString& customFile, unsigned char compactView) {
  trace.Dump("in_xmlExpression", expression);
  trace.Dump("in_customXSLFile", customFile);
  if (expression.GetLengthInChar() == 0) {
    trace.Label("the XML expression is empty");
    return S_FALSE;
  }
  long result = E_FAIL;
  Stylesheet stylesheet;
  if (chooseStylesheet(customFile, stylesheet, result) == Choice::made && !stylesheet.IsNone()) {
    result = runPipeline(expression, stylesheet, compactView, formatted);
  }
  if (ZEPFailed(result)) {
    reportFailure(result);
  }
  return result;
}

// ---- the server's stylesheet -------------------------------------------------------------------

const char stylesheetServicePath[] =
    "/resources/modeler/configuration/navigationServices/getConfiguredExpressionXSLT/";

// Whatever came of the answer, the text as it then stands is what is kept.
long readAnswer(const ZEPUnicodeString& outJson, ZEPUnicodeString& stylesheet) {
  trace.Label("Read the Json and assert it's valid");
  ZEPOmxAny answer;
  long result = ZEPOmxJson::parse(ZEPOmxUTF8String(outJson), answer);
  if (ZEPSucceeded(result)) {
    result = ZEPCfgXMLExpressionServices::ParseQueryResponse(answer, stylesheet);
  }
  serverStylesheetCache = stylesheet;
  return result;
}

long fetchStylesheet(ZEPUnicodeString& stylesheet) {
  if (ZEPCfgInfraServices::IsATSTProvider()) {
    return S_FALSE;
  }
  if (!serverStylesheetCache.IsEmpty()) {
    stylesheet = serverStylesheetCache;
    return S_OK;
  }
  trace.Label("call the webservice ", stylesheetServicePath);
  ZEPUnicodeString outJson;
  const long result =
      ZEPCfgWebServices::CallWebService("GET", stylesheetServicePath, ZEPUnicodeString(), outJson);
  if (ZEPFailed(result)) {
    trace.Error("ERROR: CallWebService failed");
    return result;
  }
  trace.Label("If the outJson is empty, then return S_OK");
  if (outJson.GetLengthInChar() == 0) {
    trace.Label("outJson is empty");
    return S_OK;
  }
  return readAnswer(outJson, stylesheet);
}

long findStylesheet(const ZEPOmxAny& response, ZEPUnicodeString& stylesheet) {
  long result = S_OK;
  for (const ZEPOmxMapItem& item : response.MapItems()) {
    if (item.GetKey().ToUnicodeString().Compare("xslt") != 2) {
      continue;
    }
    ZEPOmxKeyValueBlock xslt;
    item.GetValue().Extract(xslt); // of what is not an object no member can be read
    ZEPOmxAny content;
    result = xslt.GetValue(ZEPOmxKeyString("content"), content);
    stylesheet = content.ToUnicodeString();
  }
  return result;
}

char isEncodingUTF16Signature[] =
    "long __cdecl ZEPCfgXMLExpressionServices::IsEncodingUTF16(class ZEPUnicodeString)";
char formatExpressionSignature[] =
    "long __cdecl ZEPCfgXMLExpressionServices::FormatExpression(const class ZEPUnicodeString &,class ZEPUnicodeString &,const class ZEPUnicodeString &,const unsigned char &)";
char getConfigExpressionXSLTSignature[] =
    "long __cdecl ZEPCfgXMLExpressionServices::GetConfigExpressionXSLT(class ZEPUnicodeString &)";
char parseQueryResponseSignature[] =
    "long __cdecl ZEPCfgXMLExpressionServices::ParseQueryResponse(const class ZEPOmxAny &,class ZEPUnicodeString &)";

} // namespace

// Only the trace shows why the check failed.
long ZEPCfgXMLExpressionServices::IsEncodingUTF16(ZEPUnicodeString in_XSLFilePath) {
  const TracedMethod method(isEncodingUTF16Signature);
  const long result = checkEncoding(in_XSLFilePath);
  trace.Result(result);
  return ZEPFailed(result) ? E_FAIL : result;
}

long ZEPCfgXMLExpressionServices::FormatExpression(const ZEPUnicodeString& in_xmlExpression,
                                                   ZEPUnicodeString& out_formattedExpression,
                                                   const ZEPUnicodeString& in_customXSLFile,
                                                   const unsigned char& in_compactView) {
  const TracedMethod method(formatExpressionSignature);
  const long result = format(in_xmlExpression, out_formattedExpression, in_customXSLFile, in_compactView);
  trace.Dump("out_formattedExpression", out_formattedExpression);
  trace.Result(result);
  return result;
}

long ZEPCfgXMLExpressionServices::GetConfigExpressionXSLT(ZEPUnicodeString& ioUstrXSLTFileContents) {
  const TracedMethod method(getConfigExpressionXSLTSignature);
  const long result = fetchStylesheet(ioUstrXSLTFileContents);
  trace.Dump("ioUstrXSLTFileContents", ioUstrXSLTFileContents);
  trace.Result(result);
  return result;
}

long ZEPCfgXMLExpressionServices::ParseQueryResponse(const ZEPOmxAny& iResponse, ZEPUnicodeString& oXSLT) {
  const TracedMethod method(parseQueryResponseSignature);
  const long result = findStylesheet(iResponse, oXSLT);
  trace.Result(result);
  return result;
}
