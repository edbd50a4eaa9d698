#include "ZEPCfgXMLExpressionServices.h"

#include "PLMCfgInListVal.h"
#include "PLMCfgInString.h"
#include "PLMCfgXMLVocabulary.h"
#include "ZEPCfgContextExpression.h"
#include "ZEPCfgInfraServices.h"
#include "ZEPCfgServiceTrace.h"
#include "ZEPCfgTextSearch.h"
#include "ZEPCfgWebServices.h"
#include "ZEPCfgXMLWriter.h"
#include "ZEPEnvironment.h"
#include "ZEPError.h"
#include "ZEPFile.h"
#include "ZEPHResult.h"
#include "ZEPIXMLPPFactory.h"
#include "ZEPIXMLSAX2Factory.h"
#include "ZEPIXMLXSLFactory.h"
#include "ZEPListValZEPCfgContextExpression.h"
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

#include <algorithm>
#include <memory>
#include <optional>
#include <sys/stat.h>
#include <utility>
#include <vector>

namespace {

ZEPCfgServiceTrace trace("ZEPCfgXMLExpressionServices", "", __FILE__);
using TracedMethod = ZEPCfgTracedMethod<trace>;

using zep::AttributeValues;
using zep::CutText;
using zep::forward;
using zep::ForwardSearch;
using zep::TextPart;
using zep::TextWithoutSpan;
using zep::Walk;

// What the formatting sequence keeps between its calls; empty while none is open.
ZEPIXMLSAX2Factory_var m_sax2Factory;
ZEPISAXInputSource_var m_xslSource;
ZEPIXMLXSLFactory_var m_xslFactory;
ZEPIXMLXSLTransformer_var m_transformer;
ZEPIXMLPPFactory_var m_ppFactory;
// Stays false once a sequence has used a stylesheet file with UTF-8 output.
bool m_outputIsUTF16 = true;

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

// ---- searching a text --------------------------------------------------------------------------

const char doubleQuote[] = "\"";
const char apostrophe[] = "'";

bool contains(const ZEPUnicodeString& text, const char* pattern) {
  return text.SearchSubString(pattern, 0, forward) >= 0;
}

// ---- split by context --------------------------------------------------------------------------

constexpr int openingLength = 8;       // of "<Context"
constexpr int closingLength = 10;      // of "</Context>"
constexpr int inheritedEffLength = 12; // of "InheritedEff"

// Where the pieces of an expression stand that are cut out of it: each ends where the next begins.
struct CutContexts {
  int start = -1;
  std::vector<int> ends;
};

// Every piece is taken from where the first one began: what stands between two contexts is the head
// of the second piece. A closing tag counts from 18 characters behind the start on.
CutContexts cutContexts(const ZEPUnicodeString& expression) {
  CutContexts cut;
  cut.start = expression.SearchSubString("<Context", 0, forward);
  if (cut.start < 0) {
    return cut;
  }
  const ZEPUnicodeString closingTag = "</Context>";
  int pieceStart = cut.start;
  const auto findClosing = [&] {
    return expression.SearchSubString(closingTag, pieceStart + openingLength + closingLength, forward);
  };
  for (int closing = findClosing(); closing >= 0; closing = findClosing()) {
    const int pieceEnd = closing + closingLength;
    trace.DumpMade("stCtx", [&] { return expression.SubString(pieceStart, pieceEnd - pieceStart); });
    cut.ends.push_back(pieceEnd);
    pieceStart = pieceEnd;
  }
  return cut;
}

// The expression with this piece alone.
ZEPUnicodeString withOnePiece(const ZEPUnicodeString& expression, const CutContexts& cut,
                              const TextPart& piece) {
  if (cut.ends.size() == 1) {
    return expression;
  }
  const int pieceLength = piece.End() - piece.Start();
  const int rest = cut.ends.back();
  const int restLength = expression.GetLengthInChar() - rest;
  ZEPUnicodeString whole;
  zep::reserve(whole, cut.start + pieceLength + restLength);
  zep::appendPart(whole, expression, 0, cut.start);
  zep::appendPart(whole, expression, piece.Start(), pieceLength);
  zep::appendPart(whole, expression, rest, restLength);
  return whole;
}

// Reads one piece after the other. What was read last outlives the piece that it was read in.
class PieceReader {
public:
  explicit PieceReader(const TextPart& piece)
      : m_contextNames(piece, "HolderName"),
        m_entries(piece, "InheritedEff"),
        m_filterableIds(piece, "FilterableId"),
        m_holderNames(piece, "HolderName"),
        m_changes(piece, "OperationHandlerId"),
        m_handlerIds(piece, "OperationHandlerId") {}

  const ZEPUnicodeString& ContextName() {
    m_contextNames.GoTo(0);
    return m_contextNames.Value();
  }

  void CollectInheritedEffectivities(ZEPCfgContextExpression& context) {
    m_walk.Begin();
    for (int entry = m_entries.From(0); m_walk.Enters(entry);
         entry = m_entries.From(m_holderNames.ClosingQuote())) {
      const int attributes = entry + inheritedEffLength + 2; // one directly behind a blank is missed
      ReadNumber(m_filterableIds, attributes);
      context.m_inheritedEffIds.Append(m_number);
      m_holderNames.GoTo(attributes);
      m_holderName = m_holderNames.Value();
      trace.Dump("stName", m_holderName);
      context.m_holderNames.Append(m_holderName);
    }
  }

  // A change is listed under the holder name that was read last, whichever context that was in.
  void CollectOperationHandlers(ZEPCfgContextExpression& context) {
    m_walk.Begin();
    for (int change = m_changes.From(0); m_walk.Enters(change);
         change = m_changes.From(m_handlerIds.ClosingQuote())) {
      ReadNumber(m_handlerIds, change);
      context.m_operationHandlerIds.Append(m_number);
      context.m_holderNames.Append(m_holderName);
    }
  }

private:
  // A value that is no number leaves the last one.
  void ReadNumber(AttributeValues& values, int start) {
    const bool isNew = values.GoTo(start);
    trace.Dump("stIdx", values.Value());
    if (isNew) {
      values.Value().ConvertToNum(&m_number, "%d");
    }
  }

  AttributeValues m_contextNames;
  ForwardSearch m_entries;
  AttributeValues m_filterableIds;
  AttributeValues m_holderNames;
  ForwardSearch m_changes;
  AttributeValues m_handlerIds;
  Walk m_walk;
  int m_number = 0;
  ZEPUnicodeString m_holderName;
};

// Appends the context without a copy of all that it holds.
void appendContext(ZEPCfgContextExpression& context, ZEPListValZEPCfgContextExpression& contexts) {
  contexts.Append(ZEPCfgContextExpression());
  ZEPCfgContextExpression& appended = contexts[contexts.Size()];
  appended.m_contextName = std::move(context.m_contextName);
  appended.m_contextExpression = std::move(context.m_contextExpression);
  appended.m_inheritedEffIds = std::move(context.m_inheritedEffIds);
  appended.m_holderNames = std::move(context.m_holderNames);
  appended.m_operationHandlerIds = std::move(context.m_operationHandlerIds);
}

void splitByContext(const ZEPUnicodeString& expression, ZEPListValZEPCfgContextExpression& contexts) {
  const CutContexts cut = cutContexts(expression);
  TextPart piece(expression);
  PieceReader reader(piece);
  int pieceStart = cut.start;
  for (const int pieceEnd : cut.ends) {
    piece.MoveTo(pieceStart, pieceEnd);
    pieceStart = pieceEnd;
    ZEPCfgContextExpression context;
    context.m_contextName = reader.ContextName();
    trace.Dump("CtxExpr.m_contextName", context.m_contextName);
    context.m_contextExpression = withOnePiece(expression, cut, piece);
    trace.Dump("CtxExpr.m_contextExpression", context.m_contextExpression);
    trace.Label("Inherited eff");
    reader.CollectInheritedEffectivities(context);
    trace.Label("Change");
    reader.CollectOperationHandlers(context);
    appendContext(context, contexts);
  }
}

// ---- description removal -----------------------------------------------------------------------

// Built on first use.
struct DescriptionTexts {
  const ZEPUnicodeString descId = "DescId";
  const ZEPUnicodeString doubleQuote = ::doubleQuote;
  const ZEPUnicodeString apostrophe = ::apostrophe;
  const ZEPUnicodeString description = "Description";
  const ZEPUnicodeString closingDescription = "/Description";
};

const DescriptionTexts& descriptionTexts() {
  static const DescriptionTexts texts;
  return texts;
}

// The quote of every attribute, decided by what occurs at all; null when there is none.
const ZEPUnicodeString* findQuote(const ZEPUnicodeString& text) {
  trace.Label("what quote?");
  for (const ZEPUnicodeString* quote : {&descriptionTexts().doubleQuote, &descriptionTexts().apostrophe}) {
    if (text.SearchSubString(*quote, 0, forward) >= 0) {
      return quote;
    }
  }
  trace.Error("ERROR: no quote found!");
  return nullptr;
}

// What is left of the text is written only when the attributes are gone too.
long removeDescriptionElement(const ZEPUnicodeString& text, TextWithoutSpan& left) {
  const DescriptionTexts& texts = descriptionTexts();
  const int pos = text.SearchSubString(texts.description, 0, forward);
  trace.Value("pos", pos);
  if (pos < 0) {
    return S_OK;
  }
  // The closing text holds the opening one, so it cannot begin further in front.
  const int end = text.SearchSubString(texts.closingDescription, std::max(pos - 1, 0), forward);
  trace.Value("end", end);
  if (end < 1) {
    trace.Error("ERROR: /Description not found");
    return E_FAIL;
  }
  const int lg = end - pos + texts.closingDescription.GetLengthInChar();
  trace.Value("lg", lg + 2);
  left.TakeOut(pos - 1, lg + 2); // from the "<" in front to the ">" behind
  trace.DumpMade("out_XMLExpression", [&] { return left.Whole(); });
  return S_OK;
}

long removeDescIds(CutText& cut, const ZEPUnicodeString& quote) {
  trace.Label("Remove the DescId attribute");
  const auto findQuoteFrom = [&](int position) {
    const int found = cut.FindQuote(quote, position);
    trace.Value("end", found);
    return found;
  };
  const int nameLength = descriptionTexts().descId.GetLengthInChar();
  int pos = cut.FindMatch();
  trace.Value("pos", pos);
  for (; pos >= 0; pos = cut.FindMatch()) {
    trace.Value("pos", pos);
    trace.Label("look for the end of the value");
    const int open = findQuoteFrom(pos + nameLength);
    const int close = open < 1 ? -1 : findQuoteFrom(open + 1);
    if (close < 1) {
      trace.Error("ERROR: end of DescId not found");
      return E_FAIL;
    }
    const int lg = close - pos + 1;
    trace.Value("lg", lg);
    cut.Cut(pos, lg);
    trace.DumpMade("out_XMLExpression", [&] { return cut.Whole(); });
  }
  return S_OK;
}

long clean(ZEPUnicodeString& cleaned) {
  if (cleaned.GetLengthInChar() == 0) {
    trace.Label("empty expression");
    return S_OK;
  }
  trace.Dump("out_XMLExpression", cleaned);
  trace.Label("Remove the Description tag");
  const ZEPUnicodeString* const quote = findQuote(cleaned);
  if (quote == nullptr) {
    return E_FAIL;
  }
  trace.Dump("quote", *quote);
  TextWithoutSpan left(cleaned);
  long result = removeDescriptionElement(cleaned, left);
  if (ZEPFailed(result)) {
    return result;
  }
  CutText cut(left, descriptionTexts().descId);
  result = removeDescIds(cut, *quote);
  if (ZEPSucceeded(result)) {
    cleaned = cut.TakeWhole();
  }
  return result;
}

long removeDescription(const ZEPUnicodeString& expression, ZEPUnicodeString& cleaned) {
  cleaned = expression;
  const long result = clean(cleaned);
  if (ZEPFailed(result)) {
    cleaned.Reset();
  }
  return result;
}

// ---- always-true filter ------------------------------------------------------------------------

// Writes the document, and reports the first call that fails; each of its operations gives that
// call's result.
class FilterWriter {
public:
  FilterWriter& With(const char* attribute, const PLMCfgInString& value) {
    m_names.PutBack(attribute);
    m_values.PutBack(value);
    return *this;
  }
  long StartDocument(int line = __builtin_LINE()) {
    return Checked(m_writer.WriteStartDocument(), "ERROR : WriteStartDocument() FAILED", "", line);
  }
  // With the attributes given since the last element.
  long StartElement(const char* name, int line = __builtin_LINE()) {
    const long result = m_writer.WriteStartElement(name, &m_names, &m_values);
    m_names.Clear();
    m_values.Clear();
    return Checked(result, "ERROR: Unable to write element ", name, line);
  }
  long StartPlainElement(const char* name, int line = __builtin_LINE()) {
    return Checked(m_writer.WriteStartElement(name, nullptr, nullptr), "ERROR: Unable to write element ",
                   name, line);
  }
  long Characters(const char* text, int line = __builtin_LINE()) {
    return Checked(m_writer.WriteCharacters(text), "ERROR: Unable to write characters ", text, line);
  }
  long EndElement(const char* name, int line = __builtin_LINE()) {
    return Checked(m_writer.WriteEndElement(), "ERROR: Unable to write end element ", name, line);
  }
  long EndDocument(int line = __builtin_LINE()) {
    return Checked(m_writer.WriteEndDocument(), "ERROR : WriteEndDocument() FAILED", "", line);
  }
  long GetGeneratedXML(ZEPUnicodeString& expression, int line = __builtin_LINE()) {
    return Checked(m_writer.GetGeneratedXML(expression), "ERROR : GetGeneratedXML() FAILED", "", line);
  }

private:
  static long Checked(long result, const char* failure, const char* name, int line) {
    if (ZEPFailed(result)) {
      trace.Error(failure, name, line);
    }
    return result;
  }

  ZEPCfgXMLWriter m_writer;
  PLMCfgInListVal m_names{PLMCfgInString::sType()};
  PLMCfgInListVal m_values{PLMCfgInString::sType()};
};

long writeAlwaysTrue(const ZEPUnicodeString& holderName, ZEPUnicodeString& expression) {
  FilterWriter writer;
  const bool hasHolder = holderName.GetLengthInChar() > 0;
  long result = S_OK;
  const auto done = [&result](long code) {
    result = code;
    return ZEPSucceeded(code);
  };
  const auto startRoot = [&] {
    return writer.With(ATTRIBUTE_NAMESPACE, CFG_NAMESPACE)
        .With(ATTRIBUTE_XML_NAMESPACE, VAL_XML_NAMESPACE)
        .With(ATTRIBUTE_SCHEMA_LOCATION, FILTEREXPR_SCHEMA_LOCATION)
        .StartElement(FILTEREXPR_ELEMENT_ROOT);
  };
  const auto startSelection = [&] {
    return writer.With(ATTR_SELECTIONMODE, VAL_STRICT).StartElement(ELEMENT_FILTERSELECTION);
  };
  const auto startContext = [&] {
    return writer.With(ATTR_HOLDER_TYPE, VAL_MODEL)
        .With(ATTR_HOLDER_NAME, holderName)
        .StartElement(ELEMENT_CONTEXT);
  };
  if (done(writer.StartDocument()) && done(startRoot()) && done(startSelection()) &&
      (!hasHolder || done(startContext())) && done(writer.StartPlainElement(ELEMENT_BOOLEAN)) &&
      done(writer.Characters(VAL_TRUE)) && done(writer.EndElement(ELEMENT_BOOLEAN)) &&
      (!hasHolder || done(writer.EndElement(ELEMENT_CONTEXT))) &&
      done(writer.EndElement(ELEMENT_FILTERSELECTION)) && done(writer.EndElement(FILTEREXPR_ELEMENT_ROOT)) &&
      done(writer.EndDocument())) {
    result = writer.GetGeneratedXML(expression);
  }
  return result;
}

// ---- encoding of a stylesheet's output ---------------------------------------------------------

constexpr int lineBufferBytes = 1024;

// An open file. It is closed when an exception passes, too; a call that closes it without one may
// raise one of its own, which a destructor may not.
class OpenFile {
public:
  explicit OpenFile(unsigned int descriptor) : m_descriptor(descriptor) {}
  ~OpenFile() { Close(); }
  OpenFile(const OpenFile&) = delete;
  OpenFile& operator=(const OpenFile&) = delete;

  bool IsAtEnd() const { return ZEPFEof(m_descriptor) == 0; }
  long ReadLine(char* buffer, int size) const { return ZEPFGets(buffer, size, m_descriptor); }
  void LeaveOpen() { m_isOwned = false; }
  void Close() {
    if (std::exchange(m_isOwned, false)) {
      ZEPFClose(m_descriptor);
    }
  }

private:
  unsigned int m_descriptor;
  bool m_isOwned = true;
};

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
  const long found = findEncoding(file, result);
  file.Close();
  return found;
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

// What becomes of a failed fetch of the server's stylesheet: it is only remembered as the result,
// since another candidate may still be there; or it ends the operation.
enum class ServerFailure { remembered, final };

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

Choice takeServerStylesheet(ServerFailure failure, Stylesheet& stylesheet, long& result) {
  result = ZEPCfgXMLExpressionServices::GetConfigExpressionXSLT(stylesheet.serverText);
  if (ZEPFailed(result) && failure == ServerFailure::final) {
    trace.Error("ERROR: GetConfigExpressionXSLT failed");
    return Choice::refused;
  }
  return Choice::made;
}

Choice chooseStylesheet(const ZEPUnicodeString& customFile, ServerFailure failure, Stylesheet& stylesheet,
                        long& result) {
  takeCustomFile(customFile, stylesheet);
  trace.Dump("XSLTFilePath", stylesheet.XSLTFilePath);
  if (stylesheet.IsFile()) {
    return Choice::made;
  }
  if (takeServerStylesheet(failure, stylesheet, result) == Choice::refused) {
    return Choice::refused;
  }
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

// What is said of an object that a successful call did not give.
struct EmptyMessages {
  const char* sax2Factory;
  const char* xslSource;
  const char* xslFactory;
  const char* transformer;
  const char* ppFactory;
};

constexpr EmptyMessages oneShotEmptyMessages{
    "ERRROR sax2Factory is null_var", "ERROR: xslSource is NULL_var", "ERROR: xslFactory is NULL_var",
    "ERROR: transformer is NULL_var", "ERROR: ppFactory is NULL_var",
};
constexpr EmptyMessages sequenceEmptyMessages{
    "ERRROR m_sax2Factory is null_var", "ERROR: m_xslSource is NULL_var", "ERROR: m_xslFactory is NULL_var",
    "ERROR: m_transformer is NULL_var", "ERROR: m_ppFactory is NULL_var",
};

// The handles that a stylesheet is prepared in: those of one call, or those of the sequence.
struct Preparation {
  ZEPIXMLSAX2Factory_var& sax2Factory;
  ZEPISAXInputSource_var& xslSource;
  ZEPIXMLXSLFactory_var& xslFactory;
  ZEPIXMLXSLTransformer_var& transformer;
  ZEPIXMLPPFactory_var& ppFactory;
  bool& outputIsUTF16;
  const EmptyMessages& emptyMessages;
};

Preparation keptPreparation() {
  return {m_sax2Factory, m_xslSource,     m_xslFactory,         m_transformer,
          m_ppFactory,   m_outputIsUTF16, sequenceEmptyMessages};
}

// How a step ended: the pipeline goes on, or its result stands.
enum class Step { done, ended };

Step checkCall(long result, const char* failure, int line = __builtin_LINE()) {
  if (ZEPFailed(result)) {
    trace.Error(failure, line);
    return Step::ended;
  }
  return Step::done;
}

Step checkHandle(const ZEPBaseUnknown_var& handle, const char* empty, long& result,
                 int line = __builtin_LINE()) {
  if (!handle) {
    trace.Error(empty, line);
    result = E_FAIL;
    return Step::ended;
  }
  return Step::done;
}

// A success has to come with an object.
Step checkCreated(const ZEPBaseUnknown_var& handle, const char* failure, const char* empty, long& result,
                  int line = __builtin_LINE()) {
  return checkCall(result, failure, line) == Step::ended ? Step::ended
                                                         : checkHandle(handle, empty, result, line);
}

Step createSAX2Factory(const Preparation& with, long& result) {
  result = CreateZEPIXMLSAX2Factory(with.sax2Factory, CLSID_XML4C_SAX);
  return checkCreated(with.sax2Factory, "ERROR: CreateZEPIXMLSAX2Factory failed",
                      with.emptyMessages.sax2Factory, result);
}

Step createMemorySource(const Preparation& with, const ZEPUnicodeString& text,
                        const ZEPUnicodeString& sourceId, ZEPISAXInputSource_var& source, long& result) {
  result = with.sax2Factory->CreateInputSourceFromMemoryBuffer(text, sourceId, source);
  return checkCall(result, "ERROR: CreateInputSourceFromMemoryBuffer failed");
}

Step createFileSource(const Preparation& with, const ZEPUnicodeString& path, const ZEPUnicodeString& sourceId,
                      ZEPISAXInputSource_var& source, long& result) {
  trace.Dump("XSLTFilePath", path);
  if (ZEPCfgXMLExpressionServices::IsEncodingUTF16(path) == S_FALSE) {
    with.outputIsUTF16 = false;
  }
  result = with.sax2Factory->CreateInputSourceFromFile(path, sourceId, source);
  return checkCall(result, "ERROR: CreateInputSourceFromFile failed");
}

Step createStylesheetSource(const Preparation& with, const Stylesheet& stylesheet, long& result) {
  static const ZEPUnicodeString sourceId("xslSourceId1");
  const Step created =
      stylesheet.IsFile() ? createFileSource(with, stylesheet.XSLTFilePath, sourceId, with.xslSource, result)
                          : createMemorySource(with, stylesheet.serverText, sourceId, with.xslSource, result);
  return created == Step::ended ? created : checkHandle(with.xslSource, with.emptyMessages.xslSource, result);
}

Step createExpressionSource(const Preparation& with, const ZEPUnicodeString& expression,
                            ZEPISAXInputSource_var& inputSource, long& result) {
  static const ZEPUnicodeString sourceId("inputSourceId1");
  return createMemorySource(with, expression, sourceId, inputSource, result);
}

Step createXSLFactory(const Preparation& with, long& result) {
  result = CreateZEPIXMLXSLFactory(with.xslFactory, CLSID_XSLT_JAVA);
  return checkCreated(with.xslFactory, "ERROR: CreateZEPIXMLXSLFactory failed", with.emptyMessages.xslFactory,
                      result);
}

Step createTransformer(const Preparation& with, long& result) {
  result = with.xslFactory->CreateTransformer(with.xslSource, with.transformer);
  return checkCreated(with.transformer, "ERROR: CreateTransformer failed", with.emptyMessages.transformer,
                      result);
}

Step createPPFactory(const Preparation& with, long& result) {
  result = CreateZEPIXMLPPFactory(with.ppFactory, CLSID_XML4C5_PP);
  return checkCreated(with.ppFactory, "ERROR: CreateZEPIXMLPPFactory failed", with.emptyMessages.ppFactory,
                      result);
}

Step setInputSource(const Preparation& with, const ZEPISAXInputSource_var& inputSource, long& result) {
  result = with.transformer->SetInputSource(inputSource);
  return checkCall(result, "ERROR: SetInputSource failed");
}

Step setTextOutput(const Preparation& with, long& result) {
  result = with.transformer->SetOption(ZEPXMLXSLTransformerOptions::OutputFormat, "text");
  return checkCall(result, "ERROR: SetOption failed");
}

// From here on the transformer alone holds the output source.
Step setOutputSource(const Preparation& with, ZEPIXMLPPOutputSource_var& outputSource, long& result) {
  result = with.transformer->SetOutputSource(outputSource);
  outputSource = NULL_var;
  return checkCall(result, "SetOutputSource failed");
}

// Nothing takes the parameter back: it stays on a transformer that is kept.
void setCompactView(const Preparation& with, unsigned char compactView) {
  if (compactView != 0) {
    with.transformer->SetParameter("CompactView", ZEPUnicodeString(), "TRUE");
  }
}

Step transform(const Preparation& with, long& result) {
  result = with.transformer->Transform();
  with.transformer->SetOutputSource(ZEPIXMLPPOutputSource_var());
  return checkCall(result, "Transform failed");
}

// The byte-order mark is skipped unseen; what is left of an odd byte is dropped.
void decodeUTF16(const unsigned char* bytes, unsigned int byteCount, ZEPUnicodeString& text) {
  if (byteCount >= byteOrderMarkBytes) {
    text.BuildFromUTF16(bytes + byteOrderMarkBytes, (byteCount - byteOrderMarkBytes) / bytesPerUnit);
  }
}

void deliver(const Preparation& with, ZEPXMLPPMemoryBuffer& memoryBuffer, ZEPUnicodeString& formatted,
             long& result) {
  unsigned char* byteArray = nullptr;
  unsigned int byteArraySize = 0;
  result = memoryBuffer.GetBuffer(byteArray, byteArraySize);
  if (checkCall(result, "GetBuffer failed") == Step::ended) {
    return;
  }
  if (byteArray == nullptr) {
    trace.Label("byteArray  is null");
    return;
  }
  trace.Value("byteArraySize", byteArraySize);
  ZEPUnicodeString text;
  if (with.outputIsUTF16) {
    decodeUTF16(byteArray, byteArraySize, text);
  } else if (byteArraySize != 0) {
    text.BuildFromUTF8(reinterpret_cast<const char*>(byteArray), byteArraySize);
  }
  trace.Dump("result", text);
  formatted = text;
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

bool done(Step step) {
  return step == Step::done;
}

bool isEmptyExpression(const ZEPUnicodeString& expression) {
  if (expression.GetLengthInChar() != 0) {
    return false;
  }
  trace.Label("the XML expression is empty");
  return true;
}

// ---- one-shot formatting -----------------------------------------------------------------------

// The objects of one call.
struct OneShotObjects {
  Preparation Handles() {
    return {sax2Factory, xslSource, xslFactory, transformer, ppFactory, outputIsUTF16, oneShotEmptyMessages};
  }

  // Declared so that they are released from the memory buffer back to the first factory.
  ZEPIXMLSAX2Factory_var sax2Factory;
  ZEPISAXInputSource_var xslSource;
  ZEPISAXInputSource_var inputSource;
  ZEPIXMLXSLFactory_var xslFactory;
  ZEPIXMLXSLTransformer_var transformer;
  ZEPIXMLPPFactory_var ppFactory;
  ZEPIXMLPPOutputSource_var outputSource;
  std::optional<ZEPXMLPPMemoryBuffer> memoryBuffer;
  bool outputIsUTF16 = true;
};

// Without an output source the call ends quietly: the result stays that of the step before.
Step createOptionalOutputSource(OneShotObjects& objects) {
  objects.memoryBuffer.emplace(memoryBufferBytes);
  const long created = objects.ppFactory->CreateOutputSource(*objects.memoryBuffer, objects.outputSource);
  return ZEPFailed(created) || !objects.outputSource ? Step::ended : Step::done;
}

long runOnce(const ZEPUnicodeString& expression, const Stylesheet& stylesheet, unsigned char compactView,
             ZEPUnicodeString& formatted) {
  OneShotObjects objects;
  const Preparation with = objects.Handles();
  long result = E_FAIL;
  if (done(createSAX2Factory(with, result)) && done(createStylesheetSource(with, stylesheet, result)) &&
      done(createExpressionSource(with, expression, objects.inputSource, result)) &&
      done(createXSLFactory(with, result)) && done(createTransformer(with, result)) &&
      done(createPPFactory(with, result)) && done(setInputSource(with, objects.inputSource, result)) &&
      done(setTextOutput(with, result)) && done(createOptionalOutputSource(objects)) &&
      done(setOutputSource(with, objects.outputSource, result))) {
    setCompactView(with, compactView);
    if (done(transform(with, result))) {
      deliver(with, *objects.memoryBuffer, formatted, result);
    }
  }
  return result;
}

long format(const ZEPUnicodeString& expression, ZEPUnicodeString& formatted,
            const ZEPUnicodeString& customFile, unsigned char compactView) {
  trace.Dump("in_xmlExpression", expression);
  trace.Dump("in_customXSLFile", customFile);
  if (isEmptyExpression(expression)) {
    return S_FALSE;
  }
  long result = E_FAIL;
  Stylesheet stylesheet;
  if (chooseStylesheet(customFile, ServerFailure::remembered, stylesheet, result) == Choice::made &&
      !stylesheet.IsNone()) {
    result = runOnce(expression, stylesheet, compactView, formatted);
  }
  if (ZEPFailed(result)) {
    reportFailure(result);
  }
  return result;
}

// ---- formatting sequence -----------------------------------------------------------------------

void prepareSequence(const Stylesheet& stylesheet, long& result) {
  const Preparation with = keptPreparation();
  // The first step that ends leaves its code; what was made before it stays.
  static_cast<void>(done(createSAX2Factory(with, result)) &&
                    done(createStylesheetSource(with, stylesheet, result)) &&
                    done(createXSLFactory(with, result)) && done(createTransformer(with, result)) &&
                    done(createPPFactory(with, result)) && done(setTextOutput(with, result)));
}

long startSequence(const ZEPUnicodeString& customFile) {
  trace.Dump("in_customXSLFile", customFile);
  long result = S_OK;
  Stylesheet stylesheet;
  if (chooseStylesheet(customFile, ServerFailure::final, stylesheet, result) == Choice::made &&
      !stylesheet.IsNone()) {
    prepareSequence(stylesheet, result);
  }
  if (ZEPFailed(result)) {
    reportFailure(result);
  }
  return result;
}

// The objects of one expression of the sequence.
struct ExpressionObjects {
  ZEPISAXInputSource_var inputSource;
  ZEPIXMLPPOutputSource_var outputSource;
  ZEPXMLPPMemoryBuffer memoryBuffer{memoryBufferBytes};
};

// Only the object counts, not the code.
Step createOutputSource(const Preparation& with, ExpressionObjects& objects, long& result) {
  with.ppFactory->CreateOutputSource(objects.memoryBuffer, objects.outputSource);
  return checkHandle(objects.outputSource, "ERROR: outputSource is null_var", result);
}

void runInSequence(const ZEPUnicodeString& expression, unsigned char compactView, ExpressionObjects& objects,
                   ZEPUnicodeString& formatted, long& result) {
  const Preparation with = keptPreparation();
  if (done(createExpressionSource(with, expression, objects.inputSource, result)) &&
      done(checkHandle(objects.inputSource, "ERROR: inputSource is null_var", result)) &&
      done(setInputSource(with, objects.inputSource, result)) &&
      done(createOutputSource(with, objects, result)) &&
      done(setOutputSource(with, objects.outputSource, result))) {
    setCompactView(with, compactView);
    if (done(transform(with, result))) {
      deliver(with, objects.memoryBuffer, formatted, result);
    }
  }
}

long formatInSequence(const ZEPUnicodeString& expression, ZEPUnicodeString& formatted,
                      unsigned char compactView, ExpressionObjects& objects) {
  trace.Dump("in_xmlExpression", expression);
  long result = S_FALSE;
  if (!isEmptyExpression(expression)) {
    runInSequence(expression, compactView, objects, formatted, result);
  }
  if (ZEPFailed(result)) {
    reportFailure(result);
  }
  return result;
}

// ---- batch formatting --------------------------------------------------------------------------

long formatElements(const ZEPListValZEPUnicodeString& expressions,
                    ZEPListValZEPUnicodeString& formattedExpressions, int count) {
  for (int i = 1; i <= count; ++i) {
    ZEPUnicodeString formatted;
    const long result = ZEPCfgXMLExpressionServices::ExpressionFormatting(expressions[i], formatted, 0);
    if (ZEPFailed(result)) {
      trace.Error("ERROR: ExpressionFormatting failed");
      return result;
    }
    formattedExpressions.Append(formatted);
  }
  return S_OK;
}

// A failing element leaves the sequence open.
long formatBatch(const ZEPListValZEPUnicodeString& expressions,
                 ZEPListValZEPUnicodeString& formattedExpressions, const ZEPUnicodeString& customFile) {
  const int count = expressions.Size();
  trace.Value("nbExp", count);
  if (count == 0) {
    trace.Label("no expressions");
    return S_FALSE;
  }
  long result = ZEPCfgXMLExpressionServices::StartExpressionFormatting(customFile);
  if (ZEPFailed(result)) {
    trace.Error("ERROR: StartExpressionFormatting failed");
    return result;
  }
  result = formatElements(expressions, formattedExpressions, count);
  if (ZEPFailed(result)) {
    return result;
  }
  result = ZEPCfgXMLExpressionServices::EndExpressionFormatting();
  if (ZEPFailed(result)) {
    trace.Error("ERROR: EndExpressionFormatting ");
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

char splitByContextSignature[] =
    "long __cdecl ZEPCfgXMLExpressionServices::SplitByContext(const class ZEPUnicodeString &,class ZEPListValZEPCfgContextExpression &)";
char removeDescriptionSignature[] =
    "long __cdecl ZEPCfgXMLExpressionServices::RemoveDescription(const class ZEPUnicodeString &,class ZEPUnicodeString &)";
char isEncodingUTF16Signature[] =
    "long __cdecl ZEPCfgXMLExpressionServices::IsEncodingUTF16(class ZEPUnicodeString)";
char formatExpressionSignature[] =
    "long __cdecl ZEPCfgXMLExpressionServices::FormatExpression(const class ZEPUnicodeString &,class ZEPUnicodeString &,const class ZEPUnicodeString &,const unsigned char &)";
char startExpressionFormattingSignature[] =
    "long __cdecl ZEPCfgXMLExpressionServices::StartExpressionFormatting(const class ZEPUnicodeString &)";
char expressionFormattingSignature[] =
    "long __cdecl ZEPCfgXMLExpressionServices::ExpressionFormatting(const class ZEPUnicodeString &,class ZEPUnicodeString &,const unsigned char &)";
char endExpressionFormattingSignature[] =
    "long __cdecl ZEPCfgXMLExpressionServices::EndExpressionFormatting(void)";
char formatExpressionsSignature[] =
    "long __cdecl ZEPCfgXMLExpressionServices::FormatExpressions(const class ZEPListValZEPUnicodeString &,class ZEPListValZEPUnicodeString &,const class ZEPUnicodeString &,const unsigned char &)";
char getConfigExpressionXSLTSignature[] =
    "long __cdecl ZEPCfgXMLExpressionServices::GetConfigExpressionXSLT(class ZEPUnicodeString &)";
char parseQueryResponseSignature[] =
    "long __cdecl ZEPCfgXMLExpressionServices::ParseQueryResponse(const class ZEPOmxAny &,class ZEPUnicodeString &)";

} // namespace

long ZEPCfgXMLExpressionServices::SplitByContext(const ZEPUnicodeString& iExpression,
                                                 ZEPListValZEPCfgContextExpression& oContexts) {
  const TracedMethod method(splitByContextSignature);
  splitByContext(iExpression, oContexts);
  return S_OK;
}

long ZEPCfgXMLExpressionServices::RemoveDescription(const ZEPUnicodeString& in_XMLExpression,
                                                    ZEPUnicodeString& out_XMLExpression) {
  const TracedMethod method(removeDescriptionSignature);
  const long result = removeDescription(in_XMLExpression, out_XMLExpression);
  trace.Dump("out_XMLExpression", out_XMLExpression);
  trace.Result(result);
  return result;
}

// Traces its errors alone.
long ZEPCfgXMLExpressionServices::GenerateFilterExpressionTrue(const ZEPUnicodeString& iHolderName,
                                                               ZEPUnicodeString& oExpression) {
  return writeAlwaysTrue(iHolderName, oExpression);
}

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

long ZEPCfgXMLExpressionServices::StartExpressionFormatting(const ZEPUnicodeString& in_customXSLFile) {
  const TracedMethod method(startExpressionFormattingSignature);
  const long result = startSequence(in_customXSLFile);
  trace.Result(result);
  return result;
}

long ZEPCfgXMLExpressionServices::ExpressionFormatting(const ZEPUnicodeString& in_xmlExpression,
                                                       ZEPUnicodeString& out_formattedExpression,
                                                       const unsigned char& in_compactView) {
  const TracedMethod method(expressionFormattingSignature);
  ExpressionObjects objects; // its sources are released behind the result record
  const long result = formatInSequence(in_xmlExpression, out_formattedExpression, in_compactView, objects);
  trace.Dump("out_formattedExpression", out_formattedExpression);
  trace.Result(result);
  return result;
}

long ZEPCfgXMLExpressionServices::EndExpressionFormatting() {
  const TracedMethod method(endExpressionFormattingSignature);
  m_ppFactory = NULL_var;
  m_sax2Factory = NULL_var;
  m_transformer = NULL_var;
  m_xslFactory = NULL_var;
  m_xslSource = NULL_var;
  trace.Result(S_OK);
  return S_OK;
}

// The batch never asks for the compact view.
long ZEPCfgXMLExpressionServices::FormatExpressions(const ZEPListValZEPUnicodeString& in_xmlExpressions,
                                                    ZEPListValZEPUnicodeString& out_formattedExpressions,
                                                    const ZEPUnicodeString& in_customXSLFile,
                                                    [[maybe_unused]] const unsigned char& in_compactView) {
  const TracedMethod method(formatExpressionsSignature);
  const long result = formatBatch(in_xmlExpressions, out_formattedExpressions, in_customXSLFile);
  trace.Result(result);
  return result;
}
