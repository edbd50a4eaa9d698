#include "StylesheetScan.h"

#include "Text.h"
#include "XMLDecoding.h"

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <string_view>
#include <system_error>

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

bool isNameCharacter(char character) {
  const auto byte = static_cast<unsigned char>(character);
  return std::isalnum(byte) != 0 || byte >= 0x80 || character == '-' || character == '_' ||
         character == '.' || character == ':';
}

// What stands between quotes in an expression, blanked out.
std::string withoutLiterals(std::string_view expression) {
  std::string result(expression);
  char quote = '\0';
  for (char& character : result) {
    const char original = character;
    if (quote != '\0') {
      character = ' ';
      quote = original == quote ? '\0' : quote;
    } else if (original == '"' || original == '\'') {
      quote = original;
    }
  }
  return result;
}

bool callsDocument(std::string_view expression) {
  constexpr std::string_view name = "document";
  const std::string code = withoutLiterals(expression);
  for (std::size_t at = code.find(name); at != std::string::npos; at = code.find(name, at + 1)) {
    const std::size_t behind = code.find_first_not_of(" \t\r\n", at + name.size());
    const bool isWhole = at == 0 || !isNameCharacter(code[at - 1]);
    if (isWhole && behind != std::string::npos && code[behind] == '(') {
      return true;
    }
  }
  return false;
}

// The expressions in the braces of an attribute value template.
std::string expressionsInBraces(std::string_view value) {
  std::string expressions;
  for (std::size_t open = value.find('{'); open != std::string_view::npos; open = value.find('{', open)) {
    const std::size_t close = std::min(value.find('}', open), value.size());
    expressions.append(value.substr(open + 1, close - open - 1)).append(" ");
    open = close;
  }
  return expressions;
}

// True for the encodings that one may name and that `decoding` reads.
bool isDecodedBy(const std::string& encoding, Decoding decoding) {
  const std::string name = toLowerASCII(encoding);
  return decoding == Decoding::UTF8 ? name == "utf-8" || name == "utf8"
                                    : name.empty() || name == "utf-16" || name == "utf16";
}

// In one line.
std::string messageOf(const xmlError* error) {
  std::string message = error == nullptr || error->message == nullptr ? "it cannot be read" : error->message;
  while (!message.empty() && message.back() == '\n') {
    message.pop_back();
  }
  return message;
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
    checkEncoding();
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

  void refuse(const xmlNode* node, const std::string& text, const std::string& remedy) {
    refuse(node == nullptr ? 0 : xmlGetLineNo(node), text, remedy);
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
    const Document document(
        context ? xmlCtxtReadMemory(context.get(), bytes.data(), static_cast<int>(bytes.size()), nullptr,
                                    path.empty() ? "UTF-8" : nullptr,
                                    XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING)
                : nullptr);
    if (!document) {
      const xmlError* const error = context ? xmlCtxtGetLastError(context.get()) : nullptr;
      refuse(error == nullptr ? 0 : error->line, "it is not well-formed XML: " + messageOf(error),
             "correct the XML");
      return;
    }
    checkDocumentType(document.get(), path.empty());
    checkRoot(xmlDocGetRootElement(document.get()));
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
    }
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
    if (isElement(node, xslt, "output")) {
      m_encoding = attribute(node, "encoding").value_or(m_encoding);
    } else if (isElement(node, xslt, "include") || isElement(node, xslt, "import")) {
      checkIncluded(node, path);
    }
  }

  void checkExpressions(const xmlNode* node) {
    const bool isInstruction = nameSpaceOf(node) == xslt;
    for (const xmlAttr* at = node->properties; at != nullptr; at = at->next) {
      const XMLText text(xmlNodeListGetString(node->doc, at->children, 1));
      const std::string_view value = view(text.get());
      const bool isExpression =
          isInstruction && std::find(expressionAttributes.begin(), expressionAttributes.end(),
                                     view(at->name)) != expressionAttributes.end();
      if (callsDocument(isExpression ? value : expressionsInBraces(value))) {
        add(xmlGetLineNo(node), "document() reads a file, which is refused",
            "hand everything over in the expression itself");
      }
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
      refuse(node, "'" + href + "' does not exist", "check the name");
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
    scanFile(bytes, file.string());
    std::swap(outer, m_includedFile);
  }

  void checkEncoding() {
    if (!m_encoding.empty() && !isEncodingKnown(m_encoding)) {
      refuse(m_firstOutputLine, "the output encoding '" + m_encoding + "' is not known",
             "name UTF-8 or UTF-16");
    } else if (!isDecodedBy(m_encoding, m_decodedAs)) {
      const std::string written = m_encoding.empty() ? "UTF-16, as no encoding is named," : m_encoding;
      add(m_firstOutputLine,
          "the output is written as " + written + " but decoded as " + decodingName(m_decodedAs) + why(),
          remedyForEncoding());
    }
  }

  // Only a stylesheet in UTF-8 is helped by knowing where that has to be said.
  std::string why() const {
    return m_decodedAs == Decoding::UTF8 || isDecodedBy(m_encoding, Decoding::UTF8)
               ? ", because only the first line with \"xsl:output\" is looked at, for \"utf-8\""
               : "";
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
  long m_firstOutputLine = 0;
  std::string m_encoding; // of the output; empty where none is named
  std::string m_includedFile;
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
