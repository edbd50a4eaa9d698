#include "ZEPCfgXMLExpressionServices.h"

#include "PLMCfgInListVal.h"
#include "PLMCfgInString.h"
#include "PLMCfgXMLVocabulary.h"
#include "ZEPCfgContextExpression.h"
#include "ZEPCfgInfraServices.h"
#include "ZEPCfgServiceTrace.h"
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
#include <climits>
#include <memory>
#include <optional>
#include <sys/stat.h>
#include <unordered_set>

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

// ---- searching a text --------------------------------------------------------------------------

constexpr int forward = 1; // search mode
const char doubleQuote[] = "\"";
const char apostrophe[] = "'";

bool contains(const ZEPUnicodeString& text, const char* pattern) {
  return text.SearchSubString(pattern, 0, forward) >= 0;
}

// Searches one text for one pattern from places that mostly move forward. Between the start of a
// search and its match there is no other match, so that asking again from there costs nothing;
// a walk over the text then searches it once, however often it asks.
class ForwardSearch {
public:
  ForwardSearch(const ZEPUnicodeString& text, const ZEPUnicodeString& pattern)
      : m_text(text),
        m_pattern(pattern) {}

  // As SearchSubString: the first match at or behind `start`, or -1.
  int From(int start) {
    start = std::max(start, 0);
    if (start < m_start || (m_match >= 0 && start > m_match)) {
      m_match = m_text.SearchSubString(m_pattern, start, forward);
      m_start = start;
    }
    return m_match;
  }

private:
  const ZEPUnicodeString& m_text;
  const ZEPUnicodeString m_pattern;
  int m_start = INT_MAX; // nothing was searched yet
  int m_match = -1;
};

// ---- split by context --------------------------------------------------------------------------

constexpr int openingLength = 8;       // of "<Context"
constexpr int closingLength = 10;      // of "</Context>"
constexpr int inheritedEffLength = 12; // of "InheritedEff"

// A walk over a malformed text can come back to a place for ever.
class Walk {
public:
  // True for a match at which the walk has not been before.
  bool Enters(int position) { return position >= 0 && m_visited.insert(position).second; }

private:
  std::unordered_set<int> m_visited;
};

// The quoted values of one attribute in one text.
class AttributeValues {
public:
  AttributeValues(const ZEPUnicodeString& text, const char* attribute)
      : m_text(text),
        m_attribute(text, attribute),
        m_opening(text, doubleQuote),
        m_closing(text, doubleQuote) {}

  // Goes to the value between the first two quotes behind the first such attribute behind `start`.
  // What is missing is a position of -1 for the search or the cut that follows. False when that is
  // the value where it stood before.
  bool GoTo(int start) {
    const int opening = m_opening.From(m_attribute.From(start));
    const int closing = m_closing.From(opening + 1);
    if (m_isRead && opening == m_openingQuote && closing == m_closingQuote) {
      return false;
    }
    m_isRead = true;
    m_openingQuote = opening;
    m_closingQuote = closing;
    m_value = m_text.SubString(opening + 1, closing - opening - 1);
    return true;
  }
  const ZEPUnicodeString& Value() const { return m_value; }
  int ClosingQuote() const { return m_closingQuote; }

private:
  const ZEPUnicodeString& m_text;
  ForwardSearch m_attribute;
  ForwardSearch m_opening;
  ForwardSearch m_closing;
  bool m_isRead = false;
  int m_openingQuote = -1;
  int m_closingQuote = -1;
  ZEPUnicodeString m_value;
};

// The pieces cut out of an expression, and what is left of it.
struct CutContexts {
  int start = -1; // where the pieces stood
  ZEPListValZEPUnicodeString pieces;
  ZEPUnicodeString remainder;
};

// Every piece is taken from where the first one began: what stands between two contexts is the head
// of the second piece. A closing tag counts from 18 characters behind the start on.
CutContexts cutContexts(const ZEPUnicodeString& expression) {
  CutContexts cut;
  cut.start = expression.SearchSubString("<Context", 0, forward);
  if (cut.start < 0) {
    return cut;
  }
  int pieceStart = cut.start;
  const auto findClosing = [&] {
    return expression.SearchSubString("</Context>", pieceStart + openingLength + closingLength, forward);
  };
  for (int closing = findClosing(); closing >= 0; closing = findClosing()) {
    const int pieceEnd = closing + closingLength;
    const ZEPUnicodeString piece = expression.SubString(pieceStart, pieceEnd - pieceStart);
    trace.Dump("stCtx", piece);
    cut.pieces.Append(piece);
    pieceStart = pieceEnd;
  }
  cut.remainder = expression.SubString(0, cut.start) + expression.SubString(pieceStart, INT_MAX);
  return cut;
}

// What was read last; it outlives the context that it was read in.
struct LastRead {
  int number = 0;
  ZEPUnicodeString holderName;
};

// A value that is no number leaves the last one.
void readNumber(AttributeValues& values, int start, int& number) {
  const bool isNew = values.GoTo(start);
  trace.Dump("stIdx", values.Value());
  if (isNew) {
    values.Value().ConvertToNum(&number, "%d");
  }
}

void collectInheritedEffectivities(const ZEPUnicodeString& piece, LastRead& last,
                                   ZEPCfgContextExpression& context) {
  ForwardSearch entries(piece, "InheritedEff");
  AttributeValues filterableIds(piece, "FilterableId");
  AttributeValues holderNames(piece, "HolderName");
  Walk walk;
  for (int entry = entries.From(0); walk.Enters(entry); entry = entries.From(holderNames.ClosingQuote())) {
    const int attributes = entry + inheritedEffLength + 2; // one directly behind a blank is missed
    readNumber(filterableIds, attributes, last.number);
    context.m_inheritedEffIds.Append(last.number);
    holderNames.GoTo(attributes);
    last.holderName = holderNames.Value();
    trace.Dump("stName", last.holderName);
    context.m_holderNames.Append(last.holderName);
  }
}

// A change is listed under the holder name that was read last, whichever context that was in.
void collectOperationHandlers(const ZEPUnicodeString& piece, LastRead& last,
                              ZEPCfgContextExpression& context) {
  ForwardSearch changes(piece, "OperationHandlerId");
  AttributeValues handlerIds(piece, "OperationHandlerId");
  Walk walk;
  for (int change = changes.From(0); walk.Enters(change); change = changes.From(handlerIds.ClosingQuote())) {
    readNumber(handlerIds, change, last.number);
    context.m_operationHandlerIds.Append(last.number);
    context.m_holderNames.Append(last.holderName);
  }
}

void splitByContext(const ZEPUnicodeString& expression, ZEPListValZEPCfgContextExpression& contexts) {
  const CutContexts cut = cutContexts(expression);
  LastRead last;
  for (int i = 1; i <= cut.pieces.Size(); ++i) {
    const ZEPUnicodeString& piece = cut.pieces[i];
    ZEPCfgContextExpression context;
    AttributeValues holderNames(piece, "HolderName");
    holderNames.GoTo(0);
    context.m_contextName = holderNames.Value();
    trace.Dump("CtxExpr.m_contextName", context.m_contextName);
    context.m_contextExpression = cut.remainder;
    context.m_contextExpression.Insert(cut.start, piece);
    trace.Dump("CtxExpr.m_contextExpression", context.m_contextExpression);
    trace.Label("Inherited eff");
    collectInheritedEffectivities(piece, last, context);
    trace.Label("Change");
    collectOperationHandlers(piece, last, context);
    contexts.Append(context);
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

// A text out of which spans are cut from front to back: what is kept of its front, then its rest.
// Positions are those of the two together.
class CutText {
public:
  explicit CutText(const ZEPUnicodeString& text) : m_text(text) {}

  int ToPosition(int inText) const { return inText < 0 ? -1 : m_kept.GetLengthInChar() + inText - m_rest; }
  int ToText(int position) const { return m_rest + position - m_kept.GetLengthInChar(); }
  const ZEPUnicodeString& Kept() const { return m_kept; }
  int Rest() const { return m_rest; }

  // REQUIRES: the span reaches into the rest.
  void Cut(int position, int length) {
    const int keptLength = m_kept.GetLengthInChar();
    if (position < keptLength) {
      m_kept.Remove(position, keptLength - position);
      m_rest += length - (keptLength - position);
    } else {
      m_kept.Append(m_text.SubString(m_rest, position - keptLength));
      m_rest += position - keptLength + length;
    }
  }
  // Where a match begins that a cut has joined from both sides of it, or -1.
  int FindJoined(const ZEPUnicodeString& pattern) const {
    const int reach = pattern.GetLengthInChar() - 1;
    const int start = std::max(m_kept.GetLengthInChar() - reach, 0);
    const ZEPUnicodeString joint = m_kept.SubString(start, reach) + m_text.SubString(m_rest, reach);
    const int match = joint.SearchSubString(pattern, 0, forward);
    return match < 0 ? -1 : start + match;
  }
  ZEPUnicodeString Whole() const { return m_kept + m_text.SubString(m_rest, INT_MAX); }

private:
  const ZEPUnicodeString& m_text;
  ZEPUnicodeString m_kept;
  int m_rest = 0;
};

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

long removeDescriptionElement(ZEPUnicodeString& text) {
  const DescriptionTexts& texts = descriptionTexts();
  const int pos = text.SearchSubString(texts.description, 0, forward);
  trace.Value("pos", pos);
  if (pos < 0) {
    return S_OK;
  }
  // The closing text holds the opening one, so it cannot begin further in front.
  const int end = text.SearchSubString(texts.closingDescription, pos - 1, forward);
  trace.Value("end", end);
  if (end < 1) {
    trace.Error("ERROR: /Description not found");
    return E_FAIL;
  }
  const int lg = end - pos + texts.closingDescription.GetLengthInChar();
  trace.Value("lg", lg + 2);
  text.Remove(pos - 1, lg + 2); // from the "<" in front to the ">" behind
  trace.Dump("out_XMLExpression", text);
  return S_OK;
}

long removeDescIds(ZEPUnicodeString& text, const ZEPUnicodeString& quote) {
  const ZEPUnicodeString& descId = descriptionTexts().descId;
  trace.Label("Remove the DescId attribute");
  CutText cut(text);
  ForwardSearch attributes(text, descId);
  const auto findNext = [&] {
    const int joined = cut.FindJoined(descId);
    return joined >= 0 ? joined : cut.ToPosition(attributes.From(cut.Rest()));
  };
  const auto findQuoteFrom = [&](int position) {
    const int found = cut.ToPosition(text.SearchSubString(quote, cut.ToText(position), forward));
    trace.Value("end", found);
    return found;
  };
  int pos = findNext();
  trace.Value("pos", pos);
  if (pos < 0) {
    return S_OK;
  }
  for (; pos >= 0; pos = findNext()) {
    trace.Value("pos", pos);
    trace.Label("look for the end of the value");
    const int open = findQuoteFrom(pos + descId.GetLengthInChar());
    const int close = open < 1 ? -1 : findQuoteFrom(open + 1);
    if (close < 1) {
      trace.Error("ERROR: end of DescId not found");
      return E_FAIL;
    }
    const int lg = close - pos + 1;
    trace.Value("lg", lg);
    cut.Cut(pos, lg);
    trace.DumpJoined("out_XMLExpression", cut.Kept(), text, cut.Rest());
  }
  text = cut.Whole();
  return S_OK;
}

long clean(ZEPUnicodeString& text) {
  if (text.GetLengthInChar() == 0) {
    trace.Label("empty expression");
    return S_OK;
  }
  trace.Dump("out_XMLExpression", text);
  trace.Label("Remove the Description tag");
  const ZEPUnicodeString* const quote = findQuote(text);
  if (quote == nullptr) {
    return E_FAIL;
  }
  trace.Dump("quote", *quote);
  const long result = removeDescriptionElement(text);
  return ZEPFailed(result) ? result : removeDescIds(text, *quote);
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
  long StartDocument() {
    return Checked(m_writer.WriteStartDocument(), "ERROR : WriteStartDocument() FAILED");
  }
  // With the attributes given since the last element.
  long StartElement(const char* name) {
    const long result = m_writer.WriteStartElement(name, &m_names, &m_values);
    m_names.Clear();
    m_values.Clear();
    return Checked(result, "ERROR: Unable to write element ", name);
  }
  long StartPlainElement(const char* name) {
    return Checked(m_writer.WriteStartElement(name, nullptr, nullptr), "ERROR: Unable to write element ",
                   name);
  }
  long Characters(const char* text) {
    return Checked(m_writer.WriteCharacters(text), "ERROR: Unable to write characters ", text);
  }
  long EndElement(const char* name) {
    return Checked(m_writer.WriteEndElement(), "ERROR: Unable to write end element ", name);
  }
  long EndDocument() { return Checked(m_writer.WriteEndDocument(), "ERROR : WriteEndDocument() FAILED"); }
  long GetGeneratedXML(ZEPUnicodeString& expression) {
    return Checked(m_writer.GetGeneratedXML(expression), "ERROR : GetGeneratedXML() FAILED");
  }

private:
  static long Checked(long result, const char* failure, const char* name = "", int line = __builtin_LINE()) {
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

char splitByContextSignature[] =
    "long __cdecl ZEPCfgXMLExpressionServices::SplitByContext(const class ZEPUnicodeString &,class ZEPListValZEPCfgContextExpression &)";
char removeDescriptionSignature[] =
    "long __cdecl ZEPCfgXMLExpressionServices::RemoveDescription(const class ZEPUnicodeString &,class ZEPUnicodeString &)";
char isEncodingUTF16Signature[] =
    "long __cdecl ZEPCfgXMLExpressionServices::IsEncodingUTF16(class ZEPUnicodeString)";
char formatExpressionSignature[] =
    "long __cdecl ZEPCfgXMLExpressionServices::FormatExpression(const class ZEPUnicodeString &,class ZEPUnicodeString &,const class ZEPUnicodeString &,const unsigned char &)";
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
