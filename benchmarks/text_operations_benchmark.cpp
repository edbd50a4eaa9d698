#include "Bench.h"
#include "Inputs.h"

#include "ZEPCfgContextExpression.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"
#include "ZEPListValZEPCfgContextExpression.h"

#include <pugixml.hpp>

#include <memory>
#include <string>
#include <string_view>
#include <vector>

// The operations that search a text, beside the same by hand on std::u16string_view, by an XML library that
// reads, edits and writes, and, for the split, beside what cannot be avoided: writing the finished texts.

namespace {

constexpr inputs::Size sizes[] = {
    inputs::size10KB, inputs::size100KB, {"1MB", 1000 * 1000}, inputs::size10MB};

ZEPUnicodeString withoutDescription(const ZEPUnicodeString& expression) {
  ZEPUnicodeString cleaned;
  bench::require(ZEPCfgXMLExpressionServices::RemoveDescription(expression, cleaned) == S_OK,
                 "an expression is not cleaned");
  return cleaned;
}

// One pass: what stays is appended piece by piece.
std::u16string withoutDescriptionByHand(std::u16string_view expression) {
  constexpr std::u16string_view element = u"<Description";
  constexpr std::u16string_view elementEnd = u"</Description>";
  constexpr std::u16string_view attribute = u"DescId";
  std::u16string cleaned;
  cleaned.reserve(expression.size());
  std::size_t kept = 0;
  if (const auto start = expression.find(element); start != std::u16string_view::npos) {
    cleaned += expression.substr(0, start);
    kept = expression.find(elementEnd, start) + elementEnd.size();
  }
  for (auto at = expression.find(attribute, kept); at != std::u16string_view::npos;
       at = expression.find(attribute, kept)) {
    cleaned += expression.substr(kept, at - kept);
    const auto open = expression.find(u'"', at);
    kept = expression.find(u'"', open + 1) + 1;
  }
  cleaned += expression.substr(kept);
  return cleaned;
}

void dropDescIds(pugi::xml_node node) {
  node.remove_attribute("DescId");
  for (pugi::xml_node child : node.children()) {
    dropDescIds(child);
  }
}

struct Writer : pugi::xml_writer {
  void write(const void* data, std::size_t size) override {
    bytes.append(static_cast<const char*>(data), size);
  }
  std::string bytes;
};

// White space between the elements stays, as it does with ours.
std::string withoutDescriptionByPugixml(const void* bytes, std::size_t size, pugi::xml_encoding encoding) {
  pugi::xml_document document;
  const auto result =
      document.load_buffer(bytes, size, pugi::parse_default | pugi::parse_ws_pcdata, encoding);
  bench::require(result.status == pugi::status_ok, "pugixml does not read an expression");
  pugi::xml_node root = document.document_element();
  root.remove_child("Description");
  dropDescIds(root);
  Writer writer;
  document.save(writer, "", pugi::format_raw | pugi::format_no_declaration, encoding);
  return std::move(writer.bytes);
}

std::string withoutDescriptionByPugixml(const std::string& utf8) {
  return withoutDescriptionByPugixml(utf8.data(), utf8.size(), pugi::encoding_utf8);
}

std::string withoutDescriptionByPugixml(const std::u16string& units) {
  return withoutDescriptionByPugixml(units.data(), units.size() * sizeof(char16_t), pugi::encoding_utf16_le);
}

void compareRemoval(const std::string& name, const std::string& utf8) {
  const std::u16string units = inputs::toUTF16(utf8);
  const ZEPUnicodeString text = bench::textOf(utf8);
  const std::string ours = bench::utf8Of(withoutDescription(text));
  bench::requireSame(name + "/find", ours, inputs::toUTF8(withoutDescriptionByHand(units)));
  // The XML library writes the blank in front of a dropped attribute once, ours leaves it. Once it has read
  // and written ours too, both have to be equal.
  bench::requireSame(name + "/pugixml", withoutDescriptionByPugixml(ours), withoutDescriptionByPugixml(utf8));

  bench::add(name + "/ours", [=] { bench::keep(withoutDescription(text)); });
  bench::add(name + "/find", [=] { bench::keep(withoutDescriptionByHand(units)); });
  bench::add(name + "/pugixml", [=] { bench::keep(withoutDescriptionByPugixml(units)); });
  bench::add(name + "/pugixml_utf8", [=] { bench::keep(withoutDescriptionByPugixml(utf8)); });
}

std::unique_ptr<ZEPListValZEPCfgContextExpression> split(const ZEPUnicodeString& expression) {
  auto contexts = std::make_unique<ZEPListValZEPCfgContextExpression>();
  bench::require(ZEPCfgXMLExpressionServices::SplitByContext(expression, *contexts) == S_OK &&
                     contexts->Size() > 0,
                 "an expression is not split");
  return contexts;
}

// The texts of one context.
using ContextTexts = std::vector<std::u16string>;

std::u16string unitsOf(const ZEPUnicodeString& text) {
  return {text.CastToUnitPtr(), static_cast<std::size_t>(text.GetLengthInChar())};
}

std::vector<ContextTexts> textsOf(const ZEPListValZEPCfgContextExpression& contexts) {
  std::vector<ContextTexts> all;
  for (int i = 1; i <= contexts.Size(); ++i) {
    const ZEPCfgContextExpression& context = contexts[i];
    ContextTexts texts{unitsOf(context.m_contextName), unitsOf(context.m_contextExpression)};
    for (int name = 1; name <= context.m_holderNames.Size(); ++name) {
      texts.push_back(unitsOf(context.m_holderNames[name]));
    }
    all.push_back(std::move(texts));
  }
  return all;
}

void compareSplit(const inputs::Size& size) {
  const std::string name = std::string("text_operations/split/") + size.name;
  const std::string utf8 = inputs::expression(size.bytes);
  const ZEPUnicodeString text = bench::textOf(utf8);
  const std::vector<ContextTexts> finished = textsOf(*split(text));
  // The last context stands behind the head of the expression.
  const auto head = utf8.substr(0, utf8.find("<Context"));
  bench::requireSame(name, inputs::toUTF8(finished.back().at(1)),
                     head + utf8.substr(utf8.rfind("\n  <Context")));

  bench::add(name + "/ours", [=] { bench::keep(split(text)); });
  bench::add(name + "/copy", [=] { bench::keep(std::vector<ContextTexts>(finished)); });
}

} // namespace

int main(int argc, char** argv) {
  for (const inputs::Size& size : sizes) {
    compareRemoval(std::string("text_operations/remove_description/") + size.name,
                   inputs::expression(size.bytes));
    compareSplit(size);
  }
  compareRemoval("text_operations/remove_description/100000DescId", inputs::expressionWithDescIds(100'000));
  return bench::run(argc, argv);
}
