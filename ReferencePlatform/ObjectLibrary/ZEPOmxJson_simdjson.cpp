#include "ZEPHResult.h"
#include "ZEPLastError.h"
#include "ZEPOmxAnyValue.h"
#include "ZEPOmxJson.h"

#include <simdjson.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

namespace {

// No answer of a server comes near these. The depth also bounds the recursion below and that of
// the tree's destruction, the node count the memory that a small text can ask for.
constexpr std::size_t kMaxTextBytes = std::size_t{128} << 20;
constexpr std::size_t kMaxDepth = 512;
constexpr std::size_t kMaxNodes = 200000;

std::string_view WithoutByteOrderMark(std::string_view text) {
  constexpr std::string_view mark = "\xEF\xBB\xBF";
  return text.substr(text.starts_with(mark) ? mark.size() : 0);
}

// Turns the parser's document into a tree whose strings stay in the document.
class TreeBuilder {
public:
  explicit TreeBuilder(std::shared_ptr<const simdjson::dom::document> document)
      : m_document(std::move(document)) {}

  simdjson::error_code Build(simdjson::dom::element element, ZEPOmxAny& oNode) {
    if (++m_nodeCount > kMaxNodes) {
      return simdjson::CAPACITY;
    }
    ZEPOmxAny::Value::Content content;
    const simdjson::error_code error = Content(element, content);
    if (error == simdjson::SUCCESS) {
      oNode = ZEPMakeOmxAny(std::move(content));
    }
    return error;
  }

private:
  simdjson::error_code Content(simdjson::dom::element element, ZEPOmxAny::Value::Content& oContent) {
    switch (element.type()) {
    case simdjson::dom::element_type::ARRAY:
      return Elements(element, oContent.emplace<ZEPOmxAny::Value::Array>());
    case simdjson::dom::element_type::OBJECT:
      return Members(element, oContent.emplace<ZEPOmxAny::Value::Object>());
    case simdjson::dom::element_type::STRING:
      oContent.emplace<ZEPOmxAny::Value::String>().keeper = m_document;
      return element.get(std::get<ZEPOmxAny::Value::String>(oContent).characters);
    case simdjson::dom::element_type::BOOL:
      return element.get(oContent.emplace<bool>());
    case simdjson::dom::element_type::NULL_VALUE:
      return simdjson::SUCCESS;
    case simdjson::dom::element_type::INT64:
    case simdjson::dom::element_type::UINT64:
    case simdjson::dom::element_type::DOUBLE:
      return element.get(oContent.emplace<double>());
    }
    return simdjson::UNEXPECTED_ERROR;
  }

  simdjson::error_code Elements(simdjson::dom::element element, ZEPOmxAny::Value::Array& oElements) {
    simdjson::dom::array array;
    simdjson::error_code error = element.get(array);
    for (const simdjson::dom::element child : array) {
      if (error != simdjson::SUCCESS) {
        break;
      }
      error = Build(child, oElements.emplace_back());
    }
    return error;
  }

  simdjson::error_code Members(simdjson::dom::element element, ZEPOmxAny::Value::Object& oMembers) {
    simdjson::dom::object object;
    simdjson::error_code error = element.get(object);
    for (const auto [key, child] : object) {
      ZEPOmxAny value;
      error = error == simdjson::SUCCESS ? Build(child, value) : error;
      if (error != simdjson::SUCCESS) {
        break;
      }
      oMembers.emplace_back(ZEPOmxKeyString(key.data(), key.size()), value);
    }
    return error;
  }

  std::shared_ptr<const simdjson::dom::document> m_document;
  std::size_t m_nodeCount = 0;
};

// What a parser has allocated serves the next text too, in each thread; what a large text made it
// allocate is given back.
class KeptParser {
public:
  simdjson::error_code Ready() {
    if (m_parser != nullptr) {
      return simdjson::SUCCESS;
    }
    auto made = std::make_unique<simdjson::dom::parser>(kMaxTextBytes);
    const simdjson::error_code error = made->allocate(0, kMaxDepth);
    if (error == simdjson::SUCCESS) {
      m_parser = std::move(made);
    }
    return error;
  }
  // REQUIRES: it is ready.
  simdjson::dom::parser& Parser() { return *m_parser; }

  void GiveBackWhatIsLarge() {
    if (m_parser != nullptr && m_parser->capacity() > kLargeTextBytes) {
      m_parser.reset();
    }
  }

private:
  static constexpr std::size_t kLargeTextBytes = std::size_t{8} << 20;

  std::unique_ptr<simdjson::dom::parser> m_parser;
};

// REQUIRES: the parser's padding may be read behind the text.
simdjson::error_code Parse(std::string_view text, ZEPOmxAny& oValue) {
  thread_local KeptParser kept;
  simdjson::error_code error = kept.Ready();
  const auto document = std::make_shared<simdjson::dom::document>();
  simdjson::dom::element root;
  if (error == simdjson::SUCCESS) {
    constexpr bool copyFirst = false;
    error = kept.Parser().parse_into_document(*document, text.data(), text.size(), copyFirst).get(root);
  }
  kept.GiveBackWhatIsLarge();
  return error == simdjson::SUCCESS ? TreeBuilder(document).Build(root, oValue) : error;
}

} // namespace

// NOLINTNEXTLINE(performance-unnecessary-value-param): by value for every platform
long ZEPOmxJson::parse(ZEPOmxUTF8String iText, ZEPOmxAny& oValue) {
  static_assert(ZEPOmxUTF8String::kRoomBehind >= simdjson::SIMDJSON_PADDING);
  iText.MakeRoomBehind();
  const std::string_view text = WithoutByteOrderMark({iText.asChar(), iText.length()});
  ZEPOmxAny value;
  const simdjson::error_code error = Parse(text, value);
  if (error != simdjson::SUCCESS) {
    const long result = error == simdjson::MEMALLOC ? E_OUTOFMEMORY : E_FAIL;
    ZEPSetLastError(result, std::string("the text is not a JSON document that can be read: ") +
                                simdjson::error_message(error));
    return result;
  }
  oValue = value;
  return S_OK;
}
