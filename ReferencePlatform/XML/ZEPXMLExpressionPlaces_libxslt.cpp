#include "ZEPXMLExpressionPlaces_libxslt.h"

#include "ZEPXMLExpressionText.h"
#include "ZEPXMLFunctions_libxslt.h"
#include "ZEPXMLSession_libxslt.h"

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include <libxml/xpath.h>
#include <libxslt/imports.h>
#include <libxslt/xsltutils.h>

namespace zep {
namespace {

using Rewrite = std::optional<std::string> (*)(std::string_view, XMLExpressionTest);

const char* Text(const xmlChar* text) {
  return reinterpret_cast<const char*>(text);
}

const xmlChar* XMLText(const std::string& text) {
  return reinterpret_cast<const xmlChar*>(text.c_str());
}

using ExpressionContext = std::unique_ptr<xmlXPathContext, void (*)(xmlXPathContextPtr)>;
using Expression = std::unique_ptr<xmlXPathCompExpr, void (*)(xmlXPathCompExprPtr)>;

bool IsExpression(std::string_view text) {
  const ExpressionContext context(xmlXPathNewContext(nullptr), xmlXPathFreeContext);
  if (context == nullptr) {
    return false;
  }
  context->error = [](void*, xmlErrorPtr) {}; // said when it is compiled
  LimitExpressionDepth(*XMLSession::Current(), *context);
  const Expression compiled(xmlXPathCtxtCompile(context.get(), XMLText(std::string(text))),
                            xmlXPathFreeCompExpr);
  return compiled != nullptr;
}

bool IsOneOf(std::initializer_list<std::string_view> names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// How the attribute of an instruction is to be read; null for a plain text.
Rewrite RewriteOf(std::string_view element, std::string_view attribute) {
  if (IsOneOf({"select", "test", "use"}, attribute) || (attribute == "value" && element == "number")) {
    return WithFunctionsForOperators;
  }
  if (element == "key" && attribute == "match") {
    return nullptr; // as a whole, later
  }
  if (IsOneOf({"match", "count", "from"}, attribute)) {
    return PatternWithFunctionsForOperators;
  }
  return IsOneOf({"attribute", "element", "number", "processing-instruction", "sort"}, element)
             ? AttributeWithFunctionsForOperators
             : nullptr;
}

bool Put(const xmlNode& text, Rewrite rewrite) {
  const std::optional<std::string> replaced = rewrite(Text(text.content), IsExpression);
  if (!replaced) {
    return true;
  }
  xmlNodeSetContent(const_cast<xmlNodePtr>(&text), XMLText(*replaced));
  return text.content != nullptr;
}

// libxslt puts each alternative of a key's pattern behind two slashes in the same way.
std::string PathsOfKey(std::string_view pattern) {
  std::string paths;
  std::size_t depth = 0;
  bool isBegin = true;
  char quote = '\0';
  for (const char c : pattern) {
    const bool isBlank = c == ' ' || c == '\t' || c == '\r' || c == '\n';
    if (isBegin && !isBlank) {
      paths += c == '/' ? "" : "//";
      isBegin = false;
    }
    if (quote != '\0') {
      quote = c == quote ? '\0' : quote;
    } else if (c == '\'' || c == '"') {
      quote = c;
    } else if (c == '[') {
      ++depth;
    } else if (c == ']') {
      --depth;
    } else if (c == '|' && depth == 0) {
      isBegin = true;
    }
    paths += c;
  }
  return paths;
}

bool ReplaceOperators(xsltStylesheetPtr stylesheet, xsltKeyDef& key) {
  if (std::strpbrk(Text(key.match), kSignsOfOperators) == nullptr) {
    return true;
  }
  const std::optional<std::string> text =
      WithFunctionsForOperators(PathsOfKey(Text(key.match)), IsExpression);
  if (!text || key.comp == nullptr) {
    return true;
  }
  const xmlXPathCompExprPtr compiled = xsltXPathCompile(stylesheet, XMLText(*text));
  if (compiled == nullptr) {
    return false;
  }
  xmlXPathFreeCompExpr(key.comp);
  key.comp = compiled;
  return true;
}

} // namespace

bool XMLOperatorReplacer::IsXSLT(const xmlNs* space) {
  if (space == nullptr || (space != m_xslt && xmlStrEqual(space->href, XSLT_NAMESPACE) == 0)) {
    return false;
  }
  m_xslt = space;
  return true;
}

bool XMLOperatorReplacer::Replace(const xmlNode& element) {
  if (element.type != XML_ELEMENT_NODE) {
    return true;
  }
  for (const xmlAttr* attribute = element.properties; attribute != nullptr; attribute = attribute->next) {
    const xmlNode* const text = attribute->children;
    if (text == nullptr || text->type != XML_TEXT_NODE || text->content == nullptr ||
        std::strpbrk(Text(text->content), kSignsOfOperators) == nullptr || IsXSLT(attribute->ns)) {
      continue;
    }
    const Rewrite rewrite = IsXSLT(element.ns) ? RewriteOf(Text(element.name), Text(attribute->name))
                                               : AttributeWithFunctionsForOperators;
    if (rewrite != nullptr && !Put(*text, rewrite)) {
      return false;
    }
  }
  return true;
}

bool ReplaceOperatorsOfKeys(xsltStylesheetPtr stylesheet) {
  for (xsltStylesheetPtr each = stylesheet; each != nullptr; each = xsltNextImport(each)) {
    for (auto* key = static_cast<xsltKeyDef*>(each->keys); key != nullptr; key = key->next) {
      if (!ReplaceOperators(stylesheet, *key)) {
        return false;
      }
    }
  }
  return true;
}

} // namespace zep
