#include "ZEPXMLDocument_libxml2.h"

#include "ZEPFilePath.h"
#include "ZEPUTF8Conversion.h"
#include "ZEPUnicodeString.h"
#include "ZEPXMLExpressionPlaces_libxslt.h"
#include "ZEPXMLInputSource.h"
#include "ZEPXMLNames_libxml2.h"
#include "ZEPXMLSession_libxslt.h"
#include "ZEPXMLValues_libxml2.h"

#include <algorithm>
#include <array>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <unistd.h>
#include <utility>

#include <libxml/SAX2.h>
#include <libxml/parser.h>
#include <libxml/uri.h>
#include <libxslt/xsltutils.h>

namespace zep {
namespace {

enum class DocumentType { Refused, PlainEntities };

// Blank text that is dropped unless other text follows before the next tag.
struct BlankText {
  static constexpr std::size_t kMaxCount = 254;

  std::array<char, kMaxCount + 2> bytes; // the parser's own function looks at two behind them
  std::size_t count = 0;
};

struct ParseJob {
  std::string_view bytes;
  const char* url; // names the document in messages, and is the base of what it includes
  bool isUTF8;     // whatever the document says of itself
  DocumentType documentType;
  bool isStylesheet;
  int options;
  BlankText blankText = {};
};

constexpr int kStylesheetOptions = XML_PARSE_NONET | XML_PARSE_NOCDATA | XML_PARSE_NOENT;
// Limits of our own stand in for those of the parser. Short texts lie in their nodes.
constexpr int kExpressionOptions = kStylesheetOptions | XML_PARSE_HUGE | XML_PARSE_COMPACT;
constexpr std::size_t kMaxDictionaryBytes = std::size_t{256} << 10;
constexpr std::size_t kMaxEntityBytes = 256;
constexpr int kMaxEntityReferences = 10'000; // each costs as much as the text before it is long
constexpr int kMaxStylesheetDocuments = 200;
// What a compilation, which nothing ends, takes at the most of memory for each byte of text.
constexpr std::size_t kCompiledFactor = 40;
// libxml2 compares each attribute of an element with all others, and looks for a namespace among all
// that are in scope.
constexpr int kMaxAttributes = 1'000;
constexpr int kMaxNamespaces = 1'000;
constexpr int kValuesOfAttribute = 5; // in the parser's table, which doubles when it is full
// libxslt lists, for each element of a stylesheet and each alternative of a pattern, the namespaces in scope,
// and compares them in pairs. It looks for that of each name among all.
constexpr std::size_t kMaxNamespacePairs = 100'000'000;
constexpr std::size_t kBytesOfName = 2; // with the blank or the sign behind it
// It keeps these in lists that it goes through for each new one.
constexpr std::size_t kMaxDeclarations = 10'000;
constexpr std::size_t kMaxPatternSteps = 200'000; // each takes a hundred bytes and more
// Where an attribute set uses another one, each attribute of the one is compared with those of the other.
constexpr std::size_t kMaxAttributePairs = 500'000'000;

XMLSession& Session() {
  return *XMLSession::Current();
}

const char* Text(const xmlChar* text) {
  return reinterpret_cast<const char*>(text);
}

// ---- what the parser calls ---------------------------------------------------------------------

ParseJob& JobOf(void* context) {
  return *static_cast<ParseJob*>(static_cast<xmlParserCtxtPtr>(context)->_private);
}

void OnDocumentType(void* context, const xmlChar* name, const xmlChar* publicId, const xmlChar* systemId) {
  if (JobOf(context).documentType == DocumentType::Refused) {
    Session().Fail("a document type (DOCTYPE) is refused here");
  } else if (publicId != nullptr || systemId != nullptr) {
    Session().Fail("an external document type (DOCTYPE with SYSTEM or PUBLIC) is refused");
  } else {
    xmlSAX2InternalSubset(context, name, publicId, systemId);
  }
}

// Plain text alone: a reference inside an entity could multiply it.
void OnEntity(void* context, const xmlChar* name, int type, const xmlChar* publicId, const xmlChar* systemId,
              xmlChar* content) {
  if (type != XML_INTERNAL_GENERAL_ENTITY) {
    Session().Fail("external and parameter entities are refused");
  } else if (content != nullptr &&
             (std::strlen(Text(content)) > kMaxEntityBytes || std::strchr(Text(content), '&') != nullptr)) {
    Session().Fail("an entity that refers to others, or longer than 256 bytes, is refused");
  } else {
    xmlSAX2EntityDecl(context, name, type, publicId, systemId, content);
  }
}

xmlEntityPtr OnEntityReference(void* context, const xmlChar* name) {
  if (++Session().entityReferences > kMaxEntityReferences) {
    Session().Fail("more than 10000 references to entities are refused");
    return nullptr;
  }
  return xmlSAX2GetEntity(context, name);
}

void OnUnparsedEntity(void*, const xmlChar*, const xmlChar*, const xmlChar*, const xmlChar*) {
  Session().Fail("external and parameter entities are refused");
}

void OnAttributeDeclaration(void*, const xmlChar*, const xmlChar*, int, int, const xmlChar*,
                            xmlEnumerationPtr tree) {
  xmlFreeEnumeration(tree);
  Session().Fail("attribute declarations in a document type are refused");
}

bool HasTooMany(const xmlParserCtxt& parser, int attributeCount) {
  if (attributeCount > kMaxAttributes) {
    Session().Fail("an element with more than 1000 attributes is refused");
  } else if (parser.nsNr / 2 > kMaxNamespaces) {
    Session().Fail("more than 1000 namespaces in scope are refused");
  }
  return Session().HasFailed();
}

// Of each attribute the parser gives five things, the first of which is its name; of each namespace, prefix
// and URI.
bool HasLongNames(const xmlChar* element, int namespaceCount, const xmlChar** namespaces, int attributeCount,
                  const xmlChar** attributes) {
  bool isLong = IsLongName(element);
  for (int i = 0; i < 2 * namespaceCount; ++i) {
    isLong = isLong || IsLongName(namespaces[i]);
  }
  for (int i = 0; i < attributeCount; ++i) {
    isLong = isLong || IsLongName(attributes[i * kValuesOfAttribute]);
  }
  return isLong;
}

// An element as the parser gives it.
struct ReadAttribute {
  std::string_view name;
  bool hasPrefix;
  std::string_view value;
};

struct ReadElement {
  std::string_view name;
  bool isXSLT;
  const xmlChar** attributes;
  int attributeCount;

  ReadAttribute At(int index) const {
    const xmlChar* const* const fields = attributes + static_cast<std::ptrdiff_t>(index) * kValuesOfAttribute;
    return {View(fields[0]),
            fields[1] != nullptr,
            {Text(fields[3]), static_cast<std::size_t>(fields[4] - fields[3])}};
  }
};

std::size_t CountOf(char sign, std::string_view text) {
  return static_cast<std::size_t>(std::count(text.begin(), text.end(), sign));
}

std::size_t CountWords(std::string_view text) {
  std::size_t count = 0;
  bool isInWord = false;
  for (const char c : text) {
    const bool isBlank = c == ' ' || c == '\t' || c == '\r' || c == '\n';
    count += !isBlank && !isInWord ? 1 : 0;
    isInWord = !isBlank;
  }
  return count;
}

bool IsPattern(const ReadAttribute& attribute) {
  return !attribute.hasPrefix &&
         (attribute.name == "match" || attribute.name == "count" || attribute.name == "from");
}

// What the attributes of an element add to the lists of libxslt.
void CountAttributes(XMLSession& session, const ReadElement& element, std::size_t inScope,
                     std::size_t levels) {
  for (int i = 0; i < element.attributeCount; ++i) {
    const ReadAttribute attribute = element.At(i);
    session.namespacePairs += (inScope + levels) * attribute.value.size() / kBytesOfName;
    if (!element.isXSLT) {
      continue;
    }
    if (IsPattern(attribute)) {
      const std::size_t alternatives = CountOf('|', attribute.value);
      session.declarations += alternatives;
      session.namespacePairs += inScope * inScope * alternatives;
      session.patternSteps += CountOf('/', attribute.value) + CountOf('[', attribute.value);
    } else if (element.name == "attribute-set" && attribute.name == "use-attribute-sets") {
      session.usesInSets += CountWords(attribute.value);
    }
  }
}

bool IsAttributeOfSet(const xmlParserCtxt& parser, const ReadElement& element) {
  return parser.nodeNr == 2 && element.isXSLT && element.name == "attribute" && parser.node != nullptr &&
         View(parser.node->name) == "attribute-set";
}

void CountDeclarations(XMLSession& session, const xmlParserCtxt& parser, const ReadElement& element) {
  const auto inScope = static_cast<std::size_t>(parser.nsNr / 2);
  session.declarations += parser.nodeNr == 1 ? 1 : 0;
  session.namespacePairs += inScope * inScope;
  session.attributesInSets += IsAttributeOfSet(parser, element) ? 1 : 0;
  CountAttributes(session, element, inScope, static_cast<std::size_t>(parser.nodeNr));
  if (session.declarations > kMaxDeclarations) {
    session.Fail(
        "a stylesheet with more than 10000 top-level elements and alternatives of patterns is refused");
  } else if (session.patternSteps > kMaxPatternSteps) {
    session.Fail("a stylesheet with more than 200000 steps and predicates in its patterns is refused");
  } else if (session.namespacePairs > kMaxNamespacePairs) {
    session.Fail("the stylesheet has too many elements or names in the scope of too many namespaces");
  } else if (session.attributesInSets * session.attributesInSets * (1 + session.usesInSets) >
             kMaxAttributePairs) {
    session.Fail("the stylesheet has too many attributes in its attribute sets");
  }
}

void OnStartElement(void* context, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri,
                    int namespaceCount, const xmlChar** namespaces, int attributeCount, int defaultedCount,
                    const xmlChar** attributes) {
  const auto* const parser = static_cast<xmlParserCtxtPtr>(context);
  if (parser->nodeNr >= static_cast<int>(Session().Limits().maxDepth)) {
    Session().Fail("the elements are nested too deeply");
    return;
  }
  if (HasTooMany(*parser, attributeCount)) {
    return;
  }
  if (HasLongNames(name, namespaceCount, namespaces, attributeCount, attributes)) {
    Session().Fail(kLongName);
    return;
  }
  if (JobOf(context).isStylesheet) {
    const bool isXSLT = View(uri) == View(XSLT_NAMESPACE);
    CountDeclarations(Session(), *parser, {View(name), isXSLT, attributes, attributeCount});
    if (Session().HasFailed()) {
      return; // the text is freed, and the values of the attributes with it
    }
  }
  JobOf(context).blankText.count = 0;
  xmlSAX2StartElementNs(context, name, prefix, uri, namespaceCount, namespaces, attributeCount,
                        defaultedCount, attributes);
}

// ---- blank text that is not wanted -------------------------------------------------------------

bool IsBlank(std::string_view text) {
  return text.find_first_not_of(" \t\r\n") == std::string_view::npos;
}

// The parser gives a text in pieces.
bool IsInsideText(void* context) {
  const xmlNode* const parent = static_cast<xmlParserCtxtPtr>(context)->node;
  return parent != nullptr && parent->last != nullptr && parent->last->type == XML_TEXT_NODE;
}

void OnText(void* context, const xmlChar* text, int count) {
  BlankText& blank = JobOf(context).blankText;
  const std::string_view piece(Text(text), static_cast<std::size_t>(count));
  if (IsBlank(piece) && piece.size() <= BlankText::kMaxCount - blank.count && !IsInsideText(context)) {
    piece.copy(blank.bytes.data() + blank.count, piece.size());
    blank.count += piece.size();
    return;
  }
  if (blank.count != 0) {
    xmlSAX2Characters(context, reinterpret_cast<const xmlChar*>(blank.bytes.data()),
                      static_cast<int>(std::exchange(blank.count, 0)));
  }
  xmlSAX2Characters(context, text, count);
}

void OnEndElement(void* context, const xmlChar* name, const xmlChar* prefix, const xmlChar* uri) {
  JobOf(context).blankText.count = 0;
  xmlSAX2EndElementNs(context, name, prefix, uri);
}

void OnComment(void* context, const xmlChar* text) {
  JobOf(context).blankText.count = 0;
  xmlSAX2Comment(context, text);
}

void OnInstruction(void* context, const xmlChar* target, const xmlChar* data) {
  JobOf(context).blankText.count = 0;
  if (IsLongName(target)) {
    Session().Fail(kLongName);
  } else {
    xmlSAX2ProcessingInstruction(context, target, data);
  }
}

void DropBlankText(xmlSAXHandler& sax) {
  sax.characters = sax.ignorableWhitespace = OnText;
  sax.endElementNs = OnEndElement;
  sax.comment = OnComment;
}

// ---- parsing -----------------------------------------------------------------------------------

// What Fail() ends.
class ParserInUse {
public:
  ParserInUse(XMLSession& session, xmlParserCtxtPtr parser) : m_session(session) {
    m_session.SetParser(parser);
  }
  ~ParserInUse() { m_session.SetParser(nullptr); }
  ParserInUse(const ParserInUse&) = delete;
  ParserInUse& operator=(const ParserInUse&) = delete;

private:
  XMLSession& m_session;
};

// Names come from the dictionary, which belongs to the caller as well, or from one of its own.
XMLParser MakeParser(XMLSession& session, xmlDictPtr dictionary) {
  if (session.HasFailed()) {
    return nullptr;
  }
  XMLParser parser(xmlNewParserCtxt());
  if (parser == nullptr) {
    session.Fail("out of memory");
    return parser;
  }
  if (dictionary != nullptr) {
    xmlDictFree(parser->dict);
    parser->dict = dictionary;
    xmlDictReference(dictionary);
  }
  parser->sax->internalSubset = OnDocumentType;
  parser->sax->entityDecl = OnEntity;
  parser->sax->getEntity = OnEntityReference;
  parser->sax->unparsedEntityDecl = OnUnparsedEntity;
  parser->sax->attributeDecl = OnAttributeDeclaration;
  parser->sax->startElementNs = OnStartElement;
  parser->sax->processingInstruction = OnInstruction;
  return parser;
}

// The bytes are given out in pieces: between two of them there is a look at the clock, and at how many
// attributes the parser has collected for an element that it has not yet told of.
constexpr int kPieceBytes = 16384;
constexpr int kMostRoomForAttributes = 4 * kMaxAttributes;

struct ByteReader {
  XMLSession& session;
  xmlParserCtxtPtr parser;
  std::string_view rest;
};

// Called from C.
int ReadPiece(void* context, char* buffer, int size) {
  ByteReader& reader = *static_cast<ByteReader*>(context);
  xmlParserCtxt& parser = *reader.parser;
  reader.session.SetParser(nullptr); // stopping it would free what it is reading into
  reader.session.CheckTime();
  const int room = parser.maxatts / kValuesOfAttribute;
  const bool isOver = HasTooMany(parser, room > kMostRoomForAttributes ? room : 0);
  reader.session.SetParser(&parser);
  if (isOver) {
    parser.disableSAX = 1;
    parser.wellFormed = 0;
    return -1;
  }
  const std::string_view piece = reader.rest.substr(0, static_cast<std::size_t>(std::min(size, kPieceBytes)));
  std::memcpy(buffer, piece.data(), piece.size());
  reader.rest.remove_prefix(piece.size());
  return static_cast<int>(piece.size());
}

// No encoding is named to the parser, which would then convert UTF-8 to UTF-8.
XMLDocument ParseBytes(XMLSession& session, xmlParserCtxtPtr parser, ParseJob job) {
  if (job.bytes.size() > INT_MAX) {
    session.Fail("it is too large");
  }
  if (session.HasFailed()) {
    return nullptr;
  }
  const ParserInUse use(session, parser);
  parser->_private = &job;
  parser->options = 0; // otherwise those of the last document would stay
  const int options = job.options | (job.isUTF8 ? XML_PARSE_IGNORE_ENC : 0);
  session.readBytes += job.bytes.size();
  ByteReader reader{session, parser, job.bytes};
  XMLDocument document(xmlCtxtReadIO(parser, ReadPiece, nullptr, &reader, job.url, nullptr, options));
  parser->_private = nullptr;
  if (session.HasFailed()) {
    document.reset(); // a stopped parser may still give what it had
  } else if (document == nullptr && session.Message().empty()) {
    session.Fail("it is not XML");
  }
  return document;
}

// ---- characters --------------------------------------------------------------------------------

bool IsSurrogate(char16_t unit) {
  return (unit & 0xF800) == 0xD800;
}

bool IsPair(char16_t first, char16_t second) {
  return (first & 0xFC00) == 0xD800 && (second & 0xFC00) == 0xDC00;
}

// A lone surrogate would pass as a replacement character, and a NUL behind the document as its end.
bool IsWellFormed(XMLSession& session, const ZEPUnicodeString& text) {
  const char16_t* const units = text.CastToUnitPtr();
  const int count = text.GetLengthInChar();
  for (int i = 0; i < count; ++i) {
    if (units[i] == 0) {
      session.Fail("the text holds a NUL character");
      return false;
    }
    if (!IsSurrogate(units[i])) {
      continue;
    }
    if (!IsPair(units[i], units[i + 1])) { // the text ends with a zero unit
      session.Fail("the text holds half a character (a lone surrogate)");
      return false;
    }
    ++i;
  }
  return true;
}

// ---- files -------------------------------------------------------------------------------------

class Descriptor {
public:
  explicit Descriptor(int descriptor) : m_descriptor(descriptor) {}
  ~Descriptor() {
    if (m_descriptor >= 0) {
      close(m_descriptor);
    }
  }
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int Get() const { return m_descriptor; }

private:
  int m_descriptor;
};

std::optional<std::string> RealPath(const std::string& path) {
  const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), std::free);
  return real == nullptr ? std::nullopt : std::optional<std::string>(real.get());
}

bool IsBelow(const std::string& path, const std::string& folder) {
  return !folder.empty() && path.size() > folder.size() && path.compare(0, folder.size(), folder) == 0 &&
         (folder == "/" || path[folder.size()] == '/');
}

// With symbolic links followed as far as it exists.
std::string WhereItWouldBe(const std::string& path) {
  std::error_code fault;
  const std::filesystem::path where = std::filesystem::weakly_canonical(path, fault);
  return fault ? std::string() : where.string();
}

// Adds at most `limit` bytes of a regular file to `bytes`. Null, or why it cannot.
const char* ReadAll(int descriptor, std::size_t limit, std::string& bytes) {
  std::array<char, 16384> piece;
  for (;;) {
    const ssize_t count = read(descriptor, piece.data(), piece.size());
    if (count == 0) {
      return nullptr;
    }
    if (count < 0) {
      return "the file cannot be read";
    }
    if (bytes.size() + static_cast<std::size_t>(count) > limit) {
      return "the file is too large";
    }
    bytes.append(piece.data(), static_cast<std::size_t>(count));
  }
}

constexpr char kOutside[] = "a stylesheet may include only files in its own folder or below";

// Null, or why the file cannot be had. What is not below `folder`, where there is one, is not opened, and
// nobody is told whether it exists.
const char* ReadFile(const ZEPUnicodeString& path, std::size_t limit, StylesheetText& file,
                     const std::string& folder = {}) {
  const std::optional<FoundFile> found = FindFile(path);
  const std::string place = found ? found->path : std::string(path.ConvertToChar());
  if (!folder.empty() && !IsBelow(WhereItWouldBe(place), folder)) {
    return kOutside;
  }
  if (!found) {
    return "the file does not exist";
  }
  if (!S_ISREG(found->info.st_mode)) {
    return "it is not a regular file";
  }
  file.isFile = true;
  file.name = RealPath(found->path).value_or(found->path);
  const Descriptor descriptor(open(file.name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  return descriptor.Get() < 0 ? "the file cannot be opened" : ReadAll(descriptor.Get(), limit, file.bytes);
}

std::optional<StylesheetText> LoadFile(XMLSession& session, const ZEPUnicodeString& path, std::size_t limit,
                                       const std::string& folder = {}) {
  StylesheetText file;
  if (const char* const fault = ReadFile(path, limit, file, folder)) {
    session.Fail(fault);
    return std::nullopt;
  }
  return file;
}

std::string ToURI(const std::string& path) {
  const OwnedXMLText escaped(xmlURIEscapeStr(reinterpret_cast<const xmlChar*>(path.c_str()), BAD_CAST "/:"));
  return escaped == nullptr ? path : std::string(Text(escaped.get()));
}

// The path that a reference without a scheme names; nothing for one with a scheme or a host.
std::optional<std::string> ToPath(const char* uri) {
  const std::unique_ptr<xmlURI, void (*)(xmlURIPtr)> parts(xmlParseURI(uri), xmlFreeURI);
  if (parts != nullptr && (parts->scheme != nullptr || parts->server != nullptr)) {
    return std::nullopt;
  }
  const std::unique_ptr<char, void (*)(void*)> path(xmlURIUnescapeString(uri, 0, nullptr), xmlFree);
  return path == nullptr ? std::nullopt : std::optional<std::string>(path.get());
}

// ---- refused instructions ----------------------------------------------------------------------

struct RefusedElement {
  const char* uri;
  const char* name;
};

constexpr RefusedElement kRefusedElements[] = {
    {"http://www.w3.org/1999/XSL/Transform", "document"},
    {"http://www.w3.org/1999/XSL/Transform", "result-document"},
    {"http://exslt.org/common", "document"},
    {"http://icl.com/saxon", "output"},
    {"http://www.jclark.com/xt", "document"},
    {"org.apache.xalan.xslt.extensions.Redirect", "write"},
    {"http://xml.apache.org/xalan/redirect", "write"},
    {"http://xmlsoft.org/XSLT/", "test"},
    {"http://xmlsoft.org/XSLT/namespace", "debug"},
};

bool IsRefused(const xmlNode& element) {
  if (element.type != XML_ELEMENT_NODE || element.ns == nullptr || element.ns->href == nullptr) {
    return false;
  }
  for (const RefusedElement& refused : kRefusedElements) {
    if (std::strcmp(Text(element.name), refused.name) == 0 &&
        std::strcmp(Text(element.ns->href), refused.uri) == 0) {
      return true;
    }
  }
  return false;
}

const xmlNode* NextInDocument(const xmlNode* node) {
  if (node->children != nullptr && node->type == XML_ELEMENT_NODE) {
    return node->children;
  }
  while (node->next == nullptr) {
    node = node->parent;
    if (node == nullptr || node->type != XML_ELEMENT_NODE) {
      return nullptr;
    }
  }
  return node->next;
}

// The parts of an attribute's value become one text before anything looks at its size.
constexpr auto kMaxAttributeParts = 64;

bool HasTooManyParts(const xmlNode& element) {
  if (element.type != XML_ELEMENT_NODE) {
    return false;
  }
  for (const xmlAttr* attribute = element.properties; attribute != nullptr; attribute = attribute->next) {
    const xmlNode* const text = attribute->children;
    if (text != nullptr && text->type == XML_TEXT_NODE && text->content != nullptr) {
      const std::string_view value = Text(text->content);
      if (std::count(value.begin(), value.end(), '{') > kMaxAttributeParts) {
        return true;
      }
    }
  }
  return false;
}

bool IsXSLT(const xmlNode& node, const char* name) {
  return node.type == XML_ELEMENT_NODE && node.ns != nullptr && std::strcmp(Text(node.name), name) == 0 &&
         xmlStrEqual(node.ns->href, XSLT_NAMESPACE) != 0;
}

bool HasTooManyParameters(const xmlNode& node) {
  int count = 0;
  if (IsXSLT(node, "template")) {
    for (const xmlNode* child = node.children; child != nullptr; child = child->next) {
      count += IsXSLT(*child, "param") ? 1 : 0;
    }
  }
  return count > kMaxXMLParameters;
}

bool RefuseInstructions(XMLSession& session, const xmlDoc& document) {
  XMLOperatorReplacer replacer;
  for (const xmlNode* node = xmlDocGetRootElement(&document); node != nullptr; node = NextInDocument(node)) {
    if (HasTooManyParts(*node)) {
      session.Fail("an attribute with more than 64 expressions is refused");
      return true;
    }
    if (HasTooManyParameters(*node)) {
      session.Fail("a template with more than 1000 parameters is refused");
      return true;
    }
    if (!replacer.Replace(*node)) {
      session.Fail("out of memory");
      return true;
    }
    if (IsRefused(*node)) {
      const std::string reason = std::string(Text(node->name)) + " in line " +
                                 std::to_string(xmlGetLineNo(node)) +
                                 " is refused: a stylesheet writes no files";
      session.Fail(reason.c_str());
      return true;
    }
  }
  return false;
}

XMLDocument ParseStylesheetBytes(XMLSession& session, const ParseJob& job, xmlDictPtr dictionary) {
  session.stylesheetBytes += job.bytes.size();
  if (session.stylesheetBytes > session.Limits().maxStylesheetBytes) {
    session.Fail("the stylesheet is larger than ZEP_XSLT_MAX_STYLESHEET_BYTES allows");
    return nullptr;
  }
  session.ReserveMemory(session.stylesheetBytes * kCompiledFactor);
  const XMLParser parser = MakeParser(session, dictionary);
  XMLDocument document = parser == nullptr ? nullptr : ParseBytes(session, parser.get(), job);
  if (document != nullptr && RefuseInstructions(session, *document)) {
    document.reset();
  }
  return document;
}

XMLDocument ParseStylesheetFile(XMLSession& session, const StylesheetText& file, xmlDictPtr dictionary) {
  ++session.stylesheetDocuments;
  const std::string url = ToURI(file.name);
  return ParseStylesheetBytes(
      session, {file.bytes, url.c_str(), false, DocumentType::PlainEntities, true, kStylesheetOptions},
      dictionary);
}

} // namespace

XMLDocument XMLExpressionParser::ParseText(XMLSession& session, const XMLInputSource& source,
                                           const char* url) {
  if (source.IsFile()) {
    const std::optional<StylesheetText> file =
        LoadFile(session, source.Content(), session.Limits().maxExpressionBytes);
    return !file ? nullptr
                 : ParseBytes(session, m_parser.get(),
                              {file->bytes, url, false, DocumentType::Refused, false, kExpressionOptions});
  }
  if (!IsWellFormed(session, source.Content())) {
    return nullptr;
  }
  const ZEPUTF8Conversion text(source.Content());
  if (text.ByteCount() > session.Limits().maxExpressionBytes) {
    session.Fail("the expression is larger than ZEP_XSLT_MAX_EXPRESSION_BYTES allows");
    return nullptr;
  }
  return ParseBytes(
      session, m_parser.get(),
      {{text.Bytes(), text.ByteCount()}, url, true, DocumentType::Refused, false, kExpressionOptions});
}

XMLDocument XMLExpressionParser::Parse(XMLSession& session, const XMLInputSource& source) {
  if (m_parser == nullptr) {
    m_parser = MakeParser(session, nullptr);
    if (m_parser != nullptr && m_dropsBlankText) {
      DropBlankText(*m_parser->sax);
    }
  }
  if (m_parser == nullptr) {
    return nullptr;
  }
  const ZEPUTF8Conversion url(source.SourceId());
  XMLDocument document = ParseText(session, source, url.Bytes());
  if (document == nullptr || xmlDictGetUsage(m_parser->dict) > kMaxDictionaryBytes) {
    m_parser.reset();
  } else {
    xmlCtxtReset(m_parser.get()); // it would keep its copy of the text until the next one
  }
  return document;
}

XMLDocument ParseExpression(XMLSession& session, const XMLInputSource& source) {
  return XMLExpressionParser(XMLExpressionParser::BlankText::Keep).Parse(session, source);
}

std::optional<StylesheetText> LoadStylesheet(XMLSession& session, const XMLInputSource& source) {
  if (source.IsFile()) {
    return LoadFile(session, source.Content(), session.Limits().maxStylesheetBytes);
  }
  if (!IsWellFormed(session, source.Content())) {
    return std::nullopt;
  }
  const ZEPUTF8Conversion text(source.Content());
  return StylesheetText{
      false, ZEPUTF8Conversion(source.SourceId()).Bytes(), {text.Bytes(), text.ByteCount()}};
}

XMLDocument ParseStylesheet(XMLSession& session, const StylesheetText& text) {
  if (text.isFile) {
    session.includeFolder = text.name.substr(0, std::max<std::size_t>(text.name.rfind('/'), 1));
    return ParseStylesheetFile(session, text, nullptr);
  }
  ++session.stylesheetDocuments;
  return ParseStylesheetBytes(
      session, {text.bytes, text.name.c_str(), true, DocumentType::Refused, true, kStylesheetOptions},
      nullptr);
}

bool IsUnchanged(const XMLLimits& limits, const IncludedText& included) {
  StylesheetText now;
  return ReadFile(included.path.c_str(), limits.maxStylesheetBytes, now) == nullptr && now == included.text;
}

xmlDocPtr ParseIncludedStylesheet(XMLSession& session, const char* uri, xmlDictPtr dictionary) {
  const std::optional<std::string> path = ToPath(uri);
  if (!path) {
    session.Fail(kOutside);
    return nullptr;
  }
  if (session.includeFolder.empty()) {
    session.Fail("a stylesheet from memory may include nothing");
    return nullptr;
  }
  if (session.stylesheetDocuments >= kMaxStylesheetDocuments) {
    session.Fail("a stylesheet may include at most 200 others");
    return nullptr;
  }
  std::optional<StylesheetText> file =
      LoadFile(session, path->c_str(), session.Limits().maxStylesheetBytes, session.includeFolder);
  if (!file) {
    return nullptr;
  }
  session.included.push_back({*path, std::move(*file)});
  return ParseStylesheetFile(session, session.included.back().text, dictionary).release();
}

} // namespace zep
