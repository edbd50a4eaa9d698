#include "StylesheetScan.h"

#include "StartTags.h"
#include "StylesheetExpressions.h"
#include "Text.h"
#include "XMLDecoding.h"

#include <algorithm>
#include <array>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <sstream>
#include <string_view>
#include <system_error>
#include <utility>

#include <libxml/parser.h>
#include <libxml/tree.h>
#include <libxml/uri.h>

namespace zep::cli {
namespace {

namespace fs = std::filesystem;

constexpr std::string_view xslt = "http://www.w3.org/1999/XSL/Transform";
constexpr std::size_t mostFiles = 1000;

struct QualifiedName {
  std::string_view nameSpace;
  std::string_view name;
};

// Elements that write a file.
constexpr std::array<QualifiedName, 8> writingElements{{
    {xslt, "document"},
    {xslt, "result-document"},
    {"http://exslt.org/common", "document"},
    {"http://www.jclark.com/xt", "document"},
    {"http://icl.com/saxon", "output"},
    {"org.apache.xalan.xslt.extensions.Redirect", "write"},
    {"org.apache.xalan.xslt.extensions.Redirect", "open"},
    {"org.apache.xalan.xslt.extensions.Redirect", "close"},
}};

// Attributes of XSLT elements that are expressions as a whole; others hold them in braces.
constexpr std::array<std::string_view, 7> expressionAttributes{"select", "test",  "match", "use",
                                                               "value",  "count", "from"};

// Those of XSLT 1.0.
constexpr std::array<std::string_view, 35> knownElements{"apply-imports",
                                                         "apply-templates",
                                                         "attribute",
                                                         "attribute-set",
                                                         "call-template",
                                                         "choose",
                                                         "comment",
                                                         "copy",
                                                         "copy-of",
                                                         "decimal-format",
                                                         "element",
                                                         "fallback",
                                                         "for-each",
                                                         "if",
                                                         "import",
                                                         "include",
                                                         "key",
                                                         "message",
                                                         "namespace-alias",
                                                         "number",
                                                         "otherwise",
                                                         "output",
                                                         "param",
                                                         "preserve-space",
                                                         "processing-instruction",
                                                         "sort",
                                                         "strip-space",
                                                         "stylesheet",
                                                         "template",
                                                         "text",
                                                         "transform",
                                                         "value-of",
                                                         "variable",
                                                         "when",
                                                         "with-param"};

// Those of XPath 1.0 and XSLT 1.0, but for document(), which is refused.
constexpr std::array<std::string_view, 34> knownFunctions{"boolean",
                                                          "ceiling",
                                                          "concat",
                                                          "contains",
                                                          "count",
                                                          "current",
                                                          "element-available",
                                                          "false",
                                                          "floor",
                                                          "format-number",
                                                          "function-available",
                                                          "generate-id",
                                                          "id",
                                                          "key",
                                                          "lang",
                                                          "last",
                                                          "local-name",
                                                          "name",
                                                          "namespace-uri",
                                                          "normalize-space",
                                                          "not",
                                                          "number",
                                                          "position",
                                                          "round",
                                                          "starts-with",
                                                          "string",
                                                          "string-length",
                                                          "substring",
                                                          "substring-after",
                                                          "substring-before",
                                                          "sum",
                                                          "system-property",
                                                          "translate",
                                                          "true"};

// Namespaces in which node-set() is known.
constexpr std::array<std::string_view, 4> nodeSetNamespaces{"http://exslt.org/common", "http://icl.com/saxon",
                                                            "http://www.jclark.com/xt",
                                                            "http://xmlsoft.org/XSLT/namespace"};

// Of xsl:output: attributes that mean nothing to a text, unless they say so.
struct IdleAttribute {
  const char* name;
  std::string_view unless;
};
constexpr std::array<IdleAttribute, 4> idleAttributes{
    {{"indent", "no"}, {"doctype-public", ""}, {"doctype-system", ""}, {"cdata-section-elements", ""}}};

constexpr std::string_view compactParameter = "CompactView";
constexpr std::string_view compactValue = "TRUE"; // where the compact view is wanted; else it is not set

template <std::size_t count>
bool isOneOf(const std::array<std::string_view, count>& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

struct FreeContext {
  void operator()(xmlParserCtxt* context) const { xmlFreeParserCtxt(context); }
};
struct FreeDocument {
  void operator()(xmlDoc* document) const { xmlFreeDoc(document); }
};
struct FreeText {
  void operator()(xmlChar* text) const { xmlFree(text); }
};
using Document = std::unique_ptr<xmlDoc, FreeDocument>;
using XMLText = std::unique_ptr<xmlChar, FreeText>;

std::string_view view(const xmlChar* text) {
  return text == nullptr ? std::string_view() : reinterpret_cast<const char*>(text);
}

std::string_view nameSpaceOf(const xmlNode* node) {
  return node->ns == nullptr ? std::string_view() : view(node->ns->href);
}

bool isElement(const xmlNode* node, std::string_view nameSpace, std::string_view name) {
  return view(node->name) == name && nameSpaceOf(node) == nameSpace;
}

std::optional<std::string> attribute(xmlNode* node, const char* name) {
  const XMLText value(xmlGetNoNsProp(node, reinterpret_cast<const xmlChar*>(name)));
  return value ? std::optional<std::string>(view(value.get())) : std::nullopt;
}

// True for the encodings that one may name and that `decoding` reads.
bool isDecodedBy(const std::string& encoding, Decoding decoding) {
  const std::string name = toLowerASCII(encoding);
  return decoding == Decoding::UTF8 ? name == "utf-8" || name == "utf8"
                                    : name.empty() || name == "utf-16" || name == "utf16";
}

// What the parser found first: everything behind it may well come of that.
struct ParserError {
  long line = 0;
  std::string message = "it cannot be read";
};

extern "C" void noteFirstError(void* parser, xmlErrorPtr error) {
  auto* const first = static_cast<ParserError*>(static_cast<xmlParserCtxt*>(parser)->_private);
  if (first->line != 0 || error->level == XML_ERR_WARNING || error->message == nullptr) {
    return;
  }
  try {
    first->message = error->message;
    first->message.erase(first->message.find_last_not_of('\n') + 1); // in one line
    first->line = error->line;
  } catch (const std::exception&) {
    first->line = 0; // without memory there is nothing more to say
  }
}

class Scan {
public:
  Scan(const std::string& path, Decoding decodedAs)
      : m_folder(path.empty() ? fs::path() : folderOf(path)),
        m_isFromServer(path.empty()),
        m_decodedAs(decodedAs) {}

  std::vector<Finding> run(const std::string& bytes, const std::string& path) {
    m_firstOutputLine = firstLineWith(bytes, "xsl:output");
    scanFile(bytes, path);
    if (m_isReadable) {
      checkEncoding();
      checkCompactView();
    }
    std::stable_sort(m_findings.begin(), m_findings.end(),
                     [](const Finding& left, const Finding& right) { return left.line < right.line; });
    return std::move(m_findings);
  }

private:
  static fs::path folderOf(const fs::path& path) {
    std::error_code error;
    return fs::weakly_canonical(path, error).parent_path();
  }

  static long firstLineWith(std::string_view text, std::string_view pattern) {
    const std::size_t at = text.find(pattern);
    return at == std::string_view::npos
               ? 0
               : 1 + std::count(text.begin(), text.begin() + static_cast<long>(at), '\n');
  }

  // On which its start tag begins.
  long lineOf(const xmlNode* node) const {
    return m_startTags.firstLine(view(node->name), xmlGetLineNo(node));
  }

  void refuse(const xmlNode* node, const std::string& text, const std::string& remedy) {
    refuse(node == nullptr ? 0 : lineOf(node), text, remedy);
  }

  void refuse(long line, const std::string& text, const std::string& remedy) {
    add(line, text, remedy);
    m_findings.back().isRefused = true;
  }

  void add(long line, const std::string& text, const std::string& remedy) {
    m_findings.push_back(
        {m_includedFile.empty() ? line : 0,
         m_includedFile.empty() ? text : m_includedFile + ", line " + std::to_string(line) + ": " + text,
         remedy});
  }

  void scanFile(const std::string& bytes, const std::string& path) {
    const std::unique_ptr<xmlParserCtxt, FreeContext> context(xmlNewParserCtxt());
    ParserError firstError;
    if (context) {
      context->_private = &firstError;
      context->sax->serror = noteFirstError;
    }
    const Document document(
        context ? xmlCtxtReadMemory(context.get(), bytes.data(), static_cast<int>(bytes.size()), nullptr,
                                    path.empty() ? "UTF-8" : nullptr,
                                    XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING)
                : nullptr);
    if (!document) {
      m_isReadable = false;
      refuse(firstError.line, "it is not well-formed XML: " + firstError.message, "correct the XML");
      return;
    }
    m_startTags = path.empty() ? StartTags(bytes) : startTagsOf(bytes);
    checkDocumentType(document.get(), path.empty());
    checkRoot(xmlDocGetRootElement(document.get()));
    noteExtensionPrefixes(xmlDocGetRootElement(document.get()));
    walk(xmlDocGetRootElement(document.get()), path);
  }

  void checkRoot(const xmlNode* root) {
    const bool isStylesheet =
        root != nullptr &&
        (isElement(root, xslt, "stylesheet") || isElement(root, xslt, "transform") ||
         xmlHasNsProp(const_cast<xmlNode*>(root), reinterpret_cast<const xmlChar*>("version"),
                      reinterpret_cast<const xmlChar*>(xslt.data())) != nullptr);
    if (!isStylesheet) {
      refuse(root, "it is not a stylesheet: its root element is not xsl:stylesheet",
             "name an XSLT stylesheet");
      return;
    }
    const std::string version = versionOf(root);
    if (version != "1.0") {
      add(lineOf(root),
          "it is processed as XSLT 1.0, not " + (version.empty() ? "without a version" : version) +
              ": what is not known there fails only when it is reached",
          "write version=\"1.0\"");
    }
  }

  static std::string versionOf(const xmlNode* root) {
    auto* const node = const_cast<xmlNode*>(root);
    const auto* const name = reinterpret_cast<const xmlChar*>("version");
    const XMLText value(nameSpaceOf(root) == xslt
                            ? xmlGetNoNsProp(node, name)
                            : xmlGetNsProp(node, name, reinterpret_cast<const xmlChar*>(xslt.data())));
    return std::string(view(value.get()));
  }

  void noteExtensionPrefixes(xmlNode* root) {
    m_extensionNamespaces.clear();
    std::istringstream prefixes(attribute(root, "extension-element-prefixes").value_or(""));
    for (std::string prefix; prefixes >> prefix;) {
      m_extensionNamespaces.insert(nameSpaceOfPrefix(root, prefix));
    }
  }

  static std::string nameSpaceOfPrefix(const xmlNode* node, const std::string& prefix) {
    const auto* const name =
        prefix == "#default" ? nullptr : reinterpret_cast<const xmlChar*>(prefix.c_str());
    const xmlNs* const found = xmlSearchNs(node->doc, const_cast<xmlNode*>(node), name);
    return found == nullptr ? std::string() : std::string(view(found->href));
  }

  void checkDocumentType(const xmlDoc* document, bool isFromServer) {
    const xmlDtd* const type = document->intSubset;
    if (type == nullptr) {
      return;
    }
    if (isFromServer) {
      refuse(0L, "a document type is refused in a stylesheet from a server",
             "write characters instead of entities");
    } else if (type->SystemID != nullptr || type->ExternalID != nullptr) {
      refuse(0L, "its document type names an external file, which is refused",
             "keep the entities in the stylesheet itself");
    }
    for (const xmlNode* node = type->children; node != nullptr; node = node->next) {
      const auto* const entity = reinterpret_cast<const xmlEntity*>(node);
      if (node->type == XML_ENTITY_DECL && entity->etype != XML_INTERNAL_GENERAL_ENTITY) {
        refuse(0L,
               "its entity '" + std::string(view(entity->name)) +
                   "' is not a plain internal one, which is refused",
               "keep plain entities only");
      }
    }
  }

  void walk(xmlNode* root, const std::string& path) {
    for (xmlNode* node = root; node != nullptr; node = next(node, root)) {
      if (node->type == XML_ELEMENT_NODE) {
        checkElement(node, path);
      }
    }
  }

  // Document order, without recursion; entities are not entered.
  static xmlNode* next(xmlNode* node, const xmlNode* root) {
    if (node->type == XML_ELEMENT_NODE && node->children != nullptr) {
      return node->children;
    }
    while (node != root && node->next == nullptr) {
      node = node->parent;
    }
    return node == root ? nullptr : node->next;
  }

  static std::string nameOf(const xmlNode* node) {
    const std::string prefix(node->ns == nullptr ? std::string_view() : view(node->ns->prefix));
    return (prefix.empty() ? "" : prefix + ":") + std::string(view(node->name));
  }

  void checkElement(xmlNode* node, const std::string& path) {
    const bool isWriting =
        std::any_of(writingElements.begin(), writingElements.end(),
                    [node](const QualifiedName& name) { return isElement(node, name.nameSpace, name.name); });
    if (isWriting) {
      refuse(node, "the element '" + nameOf(node) + "' writes a file, which is refused", "remove it");
    }
    checkExpressions(node);
    checkKnown(node, isWriting);
    checkEscaping(node);
    if (isElement(node, xslt, "output")) {
      checkOutput(node);
    } else if (isElement(node, xslt, "param") || isElement(node, xslt, "variable")) {
      noteParameter(node);
    } else if (isElement(node, xslt, "include") || isElement(node, xslt, "import")) {
      checkIncluded(node, path);
    }
  }

  static bool hasFallback(const xmlNode* node) {
    for (const xmlNode* child = node->children; child != nullptr; child = child->next) {
      if (child->type == XML_ELEMENT_NODE && isElement(child, xslt, "fallback")) {
        return true;
      }
    }
    return false;
  }

  void checkKnown(xmlNode* node, bool isWriting) {
    if (isWriting || hasFallback(node)) {
      return;
    }
    const bool isInstruction = nameSpaceOf(node) == xslt;
    if (isInstruction && !isOneOf(knownElements, view(node->name))) {
      add(lineOf(node), "the element '" + nameOf(node) + "' is not known in XSLT 1.0",
          "write it with elements of XSLT 1.0");
    } else if (!isInstruction && m_extensionNamespaces.count(std::string(nameSpaceOf(node))) != 0) {
      add(lineOf(node), "the extension element '" + nameOf(node) + "' is not known, none is",
          "write it with elements of XSLT 1.0, or with an xsl:fallback inside");
    }
  }

  void checkEscaping(xmlNode* node) {
    if (nameSpaceOf(node) == xslt && attribute(node, "disable-output-escaping").value_or("no") == "yes") {
      add(lineOf(node), "disable-output-escaping has no effect: in a text nothing is escaped", "remove it");
    }
  }

  void checkOutput(xmlNode* node) {
    const long line = lineOf(node);
    const std::string method = attribute(node, "method").value_or("text");
    if (method != "text") {
      add(line, "the output is always a text, not " + method, "write method=\"text\"");
    }
    for (const IdleAttribute& idle : idleAttributes) {
      const std::optional<std::string> value = attribute(node, idle.name);
      if (value && *value != idle.unless) {
        add(line, std::string(idle.name) + " has no effect on a text", "remove it");
      }
    }
    const std::string encoding = attribute(node, "encoding").value_or(m_encoding);
    const bool isOwn = m_includedFile.empty();
    const bool isFurther = isOwn ? m_outputLine != 0 : !m_encoding.empty();
    if (isFurther && (isOwn || toLowerASCII(encoding) != toLowerASCII(m_encoding))) {
      add(line,
          "this is a further xsl:output: what it says of the encoding counts when the output is written, but "
          "only the first line with \"xsl:output\" in the file itself does when it is decoded",
          "keep one xsl:output");
    }
    m_outputLine = isOwn && !isFurther ? line : m_outputLine;
    m_encoding = encoding;
  }

  // Of the compact view, at the top of a stylesheet.
  void noteParameter(xmlNode* node) {
    const bool isAtTop =
        node->parent != nullptr && nameSpaceOf(node->parent) == xslt &&
        (isElement(node->parent, xslt, "stylesheet") || isElement(node->parent, xslt, "transform"));
    const std::string name = attribute(node, "name").value_or("");
    if (!isAtTop || toLowerASCII(name) != toLowerASCII(compactParameter)) {
      return;
    }
    if (name != compactParameter) {
      add(lineOf(node), "the compact view does not set '" + name + "': its parameter is CompactView",
          "write CompactView");
    } else if (isElement(node, xslt, "variable")) {
      add(lineOf(node), "the compact view sets no variable, only a parameter",
          "write xsl:param instead of xsl:variable");
    } else if (m_includedFile.empty()) {
      m_parameterLine = lineOf(node);
    }
  }

  void checkCompactView() {
    if (m_parameterLine != 0 && !m_isCompactUsed) {
      add(m_parameterLine, "the parameter CompactView is never used: the compact view looks like the other",
          "look at it: test=\"$CompactView = 'TRUE'\"");
    }
  }

  void checkExpressions(const xmlNode* node) {
    const bool isInstruction = nameSpaceOf(node) == xslt;
    for (const xmlAttr* at = node->properties; at != nullptr; at = at->next) {
      const XMLText text(xmlNodeListGetString(node->doc, at->children, 1));
      const std::string value(view(text.get()));
      const bool isExpression = isInstruction && isOneOf(expressionAttributes, view(at->name));
      checkExpression(node, isExpression ? value : expressionsInBraces(value));
    }
  }

  void checkExpression(const xmlNode* node, const std::string& expression) {
    for (const std::string& function : calledFunctions(expression)) {
      checkFunction(node, function);
    }
    m_isCompactUsed = m_isCompactUsed || refersToVariable(expression, compactParameter);
    for (const std::string& literal : literalsComparedWith(expression, compactParameter)) {
      if (!literal.empty() && literal != compactValue) {
        add(lineOf(node), "CompactView is never '" + literal + "': in the compact view it is 'TRUE'",
            "compare it with 'TRUE'");
      }
    }
  }

  void checkFunction(const xmlNode* node, const std::string& function) {
    const std::size_t colon = function.find(':');
    if (function == "document") {
      add(lineOf(node), "document() reads a file, which is refused",
          "hand everything over in the expression itself");
    } else if (colon != std::string::npos) {
      const bool isNodeSet = function.substr(colon + 1) == "node-set" &&
                             isOneOf(nodeSetNamespaces, nameSpaceOfPrefix(node, function.substr(0, colon)));
      if (!isNodeSet) {
        add(lineOf(node),
            "the extension function '" + function + "()' is not known: there is node-set() alone",
            "write it with functions of XSLT 1.0, or with named templates");
      }
    } else if (!isOneOf(knownFunctions, function)) {
      add(lineOf(node), "the function '" + function + "()' is not known in XSLT 1.0",
          "write it with functions of XSLT 1.0, or with named templates");
    }
  }

  void checkIncluded(xmlNode* node, const std::string& path) {
    const std::string href = attribute(node, "href").value_or("");
    if (path.empty()) {
      refuse(node, "a stylesheet from a server may include nothing: '" + href + "'",
             "put everything into one stylesheet");
      return;
    }
    const XMLText plain(reinterpret_cast<xmlChar*>(xmlURIUnescapeString(href.c_str(), 0, nullptr)));
    std::error_code error;
    const fs::path file = fs::weakly_canonical(folderOf(path) / fs::path(view(plain.get())), error);
    if (contains(href, "://") || error || !isBelowFolder(file)) {
      refuse(node, "'" + href + "' is not in the stylesheet's own folder or below, and is refused",
             "move it beside the stylesheet");
    } else if (!fs::is_regular_file(file, error)) {
      refuse(node, "'" + href + "' does not exist",
             "check the name: it begins at the folder of the file that names it");
    } else if (m_seen.insert(file).second && m_seen.size() < mostFiles) {
      scanIncluded(file);
    }
  }

  bool isBelowFolder(const fs::path& file) const {
    return std::mismatch(m_folder.begin(), m_folder.end(), file.begin(), file.end()).first == m_folder.end();
  }

  void scanIncluded(const fs::path& file) {
    std::ifstream stream(file, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
    std::string outer = file.string();
    std::swap(outer, m_includedFile);
    StartTags outerTags = std::move(m_startTags);
    scanFile(bytes, file.string());
    m_startTags = std::move(outerTags);
    std::swap(outer, m_includedFile);
  }

  void checkEncoding() {
    if (!m_encoding.empty() && !isEncodingKnown(m_encoding)) {
      refuse(encodingLine(), "the output encoding '" + m_encoding + "' is not known", "name UTF-8 or UTF-16");
    } else if (!isDecodedBy(m_encoding, m_decodedAs)) {
      const std::string written = m_encoding.empty() ? "UTF-16, as no encoding is named," : m_encoding;
      add(encodingLine(),
          "the output is written as " + written + " but decoded as " + decodingName(m_decodedAs) + why(),
          remedyForEncoding());
    }
  }

  long encodingLine() const { return m_firstOutputLine == 0 ? m_outputLine : m_firstOutputLine; }

  // Only a stylesheet in UTF-8 is helped by knowing where that has to be said.
  std::string why() const {
    if (m_isFromServer || (m_decodedAs == Decoding::UTF16 && !isDecodedBy(m_encoding, Decoding::UTF8))) {
      return "";
    }
    return m_firstOutputLine == 0
               ? ", because the file itself has no line with \"xsl:output\", spelt so and one byte a character"
               : ", because only the first line with \"xsl:output\" is looked at, for \"utf-8\"";
  }

  std::string remedyForEncoding() const {
    return m_isFromServer
               ? "name UTF-16: the output of a server's stylesheet is always decoded so"
               : "write <xsl:output method=\"text\" encoding=\"UTF-8\"/> on one line, in the file itself and "
                 "before any other mention of xsl:output";
  }

  fs::path m_folder;
  bool m_isFromServer;
  Decoding m_decodedAs;
  bool m_isReadable = true;
  long m_firstOutputLine = 0; // that is looked at; 0: none
  long m_outputLine = 0;      // of the first such element; 0: not in the file itself
  long m_parameterLine = 0;   // of the compact view, in the file itself
  bool m_isCompactUsed = false;
  std::set<std::string> m_extensionNamespaces; // of the file that is read
  std::string m_encoding;                      // of the output; empty where none is named
  std::string m_includedFile;
  StartTags m_startTags; // of the file that is read
  std::set<fs::path> m_seen;
  std::vector<Finding> m_findings;
};

} // namespace

const char* decodingName(Decoding decoding) {
  return decoding == Decoding::UTF8 ? "UTF-8" : "UTF-16";
}

std::vector<Finding> scanStylesheet(const std::string& bytes, const std::string& path, Decoding decodedAs) {
  return Scan(path, decodedAs).run(bytes, path);
}

} // namespace zep::cli
