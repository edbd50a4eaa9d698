#include "ZEPHResult.h"
#include "ZEPLastError.h"
#include "ZEPOmxAnyValue.h"
#include "ZEPOmxJson.h"

#include <simdjson.h>

#include <atomic>
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
  explicit TreeBuilder(std::shared_ptr<const void> document) : m_document(std::move(document)) {}

  std::size_t NodeCount() const { return m_nodeCount; }

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

  std::shared_ptr<const void> m_document; // kept alive by each string
  std::size_t m_nodeCount = 0;
};

// Memory fresh from the system costs more than the parsing, so that of the last text is kept for the
// next one. Of a text with few values it is little more than the text itself; all else is given back.
constexpr std::size_t kKeptTextBytes = std::size_t{8} << 20;
constexpr std::size_t kKeptNodes = 10000;

std::unique_ptr<simdjson::dom::parser> NewParser() {
  auto made = std::make_unique<simdjson::dom::parser>(kMaxTextBytes);
  return made->allocate(0, kMaxDepth) == simdjson::SUCCESS ? std::move(made) : nullptr;
}

// The document whose tree was gone last.
constinit std::atomic<simdjson::dom::document*> spareDocument = nullptr;

const struct SpareDocumentRelease {
  ~SpareDocumentRelease() { delete spareDocument.exchange(nullptr); }
} spareDocumentRelease;

struct KeptDocument {
  std::unique_ptr<simdjson::dom::document> document{spareDocument.exchange(nullptr)};
  bool isKept = false;

  KeptDocument() {
    if (document == nullptr) {
      document = std::make_unique<simdjson::dom::document>();
    }
  }
  ~KeptDocument() {
    if (isKept) {
      delete spareDocument.exchange(document.release());
    }
  }
  KeptDocument(const KeptDocument&) = delete;
  KeptDocument& operator=(const KeptDocument&) = delete;
};

// REQUIRES: the parser's padding may be read behind the text.
simdjson::error_code Parse(std::string_view text, ZEPOmxAny& oValue) {
  thread_local std::unique_ptr<simdjson::dom::parser> keptParser;
  auto parser = keptParser != nullptr ? std::move(keptParser) : NewParser();
  if (parser == nullptr) {
    return simdjson::MEMALLOC;
  }
  const auto kept = std::make_shared<KeptDocument>();
  constexpr bool copyFirst = false;
  simdjson::dom::element root;
  simdjson::error_code error =
      parser->parse_into_document(*kept->document, text.data(), text.size(), copyFirst).get(root);
  if (error == simdjson::SUCCESS) {
    TreeBuilder builder(kept);
    error = builder.Build(root, oValue);
    if (error == simdjson::SUCCESS && parser->capacity() <= kKeptTextBytes &&
        builder.NodeCount() <= kKeptNodes) {
      kept->isKept = true;
      keptParser = std::move(parser);
    }
  }
  return error;
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
