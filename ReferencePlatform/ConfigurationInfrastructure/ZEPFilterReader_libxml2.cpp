#include "ZEPFilterReader_libxml2.h"

#include "ZEPFilterFault.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

namespace zep {
namespace {

constexpr std::string_view kNamespace = "urn:zep:configuration-expression";
constexpr std::int64_t kMaxUnit = 999'999'999'999'999'999;
constexpr std::int64_t kMaxId = 2'147'483'647;
const std::string kHolds = "holds"; // the value of an inherited effectivity that holds

std::string_view View(const xmlChar* text) {
  return text == nullptr ? std::string_view() : std::string_view(reinterpret_cast<const char*>(text));
}

[[noreturn]] void Fail(const xmlNode& node, const std::string& reason) {
  throw FilterFault("line " + std::to_string(xmlGetLineNo(&node)) + ": " + std::string(View(node.name)) +
                    " " + reason);
}

bool IsOfVocabulary(const xmlNode& element) {
  return element.ns != nullptr && View(element.ns->href) == kNamespace;
}

bool IsNamed(const xmlNode& element, std::string_view name) {
  return View(element.name) == name;
}

bool IsBlank(const xmlNode& node) {
  return node.type == XML_COMMENT_NODE || node.type == XML_PI_NODE || xmlIsBlankNode(&node) == 1;
}

std::vector<const xmlNode*> Elements(const xmlNode& parent) {
  std::vector<const xmlNode*> elements;
  for (const xmlNode* node = parent.children; node != nullptr; node = node->next) {
    if (node->type == XML_ELEMENT_NODE) {
      if (!IsOfVocabulary(*node)) {
        Fail(*node, "is not an element of " + std::string(kNamespace));
      }
      elements.push_back(node);
    } else if (!IsBlank(*node)) {
      Fail(parent, "holds a text where elements belong");
    }
  }
  return elements;
}

std::string Collapsed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const std::size_t first = text.find_first_not_of(kBlanks);
  return first == std::string_view::npos
             ? std::string()
             : std::string(text.substr(first, text.find_last_not_of(kBlanks) - first + 1));
}

std::string Content(const xmlNode& node) {
  const std::unique_ptr<xmlChar, void (*)(void*)> text(xmlNodeGetContent(&node), xmlFree);
  return std::string(View(text.get()));
}

using Attributes = std::map<std::string_view, std::string>;

// Those without a namespace; others, as the schema's location, say nothing about the expression.
Attributes AttributesOf(const xmlNode& element, std::initializer_list<std::string_view> known) {
  Attributes attributes;
  for (const xmlAttr* attribute = element.properties; attribute != nullptr; attribute = attribute->next) {
    if (attribute->ns != nullptr) {
      continue;
    }
    const auto name = std::find(known.begin(), known.end(), View(attribute->name));
    if (name == known.end()) {
      Fail(element, "has the attribute " + std::string(View(attribute->name)) + ", which it cannot have");
    }
    attributes[*name] = Content(*reinterpret_cast<const xmlNode*>(attribute));
  }
  return attributes;
}

const std::string& Required(const xmlNode& element, const Attributes& attributes, std::string_view name) {
  const auto attribute = attributes.find(name);
  if (attribute == attributes.end() || attribute->second.empty()) {
    Fail(element, "needs the attribute " + std::string(name));
  }
  return attribute->second;
}

std::string RequiredOneOf(const xmlNode& element, const Attributes& attributes, std::string_view name,
                          std::initializer_list<std::string_view> allowed) {
  const std::string value = Collapsed(Required(element, attributes, name));
  if (std::find(allowed.begin(), allowed.end(), value) == allowed.end()) {
    Fail(element, "has the " + std::string(name) + " \"" + value + "\", which is not one");
  }
  return value;
}

std::optional<std::int64_t> Number(std::string_view digits, std::int64_t first, std::int64_t last) {
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), number);
  const bool isNumber = error == std::errc() && end == digits.data() + digits.size();
  return isNumber && number >= first && number <= last ? std::optional(number) : std::nullopt;
}

// A day as YYYY-MM-DD.
std::optional<std::int64_t> Day(std::string_view text) {
  if (text.size() != 10 || text[4] != '-' || text[7] != '-') {
    return std::nullopt;
  }
  const auto year = Number(text.substr(0, 4), 1, 9999);
  const auto month = Number(text.substr(5, 2), 1, 12);
  const auto day = Number(text.substr(8, 2), 1, 31);
  if (!year || !month || !day) {
    return std::nullopt;
  }
  const std::chrono::year_month_day date{std::chrono::year(static_cast<int>(*year)),
                                         std::chrono::month(static_cast<unsigned>(*month)),
                                         std::chrono::day(static_cast<unsigned>(*day))};
  return date.ok() ? std::optional<std::int64_t>(std::chrono::sys_days(date).time_since_epoch().count())
                   : std::nullopt;
}

std::optional<std::int64_t> Unit(std::string_view text) {
  return Number(text, 1, kMaxUnit);
}

struct RangeForm {
  FilterVariableKind kind;
  std::optional<std::int64_t> (*read)(std::string_view text);
  const char* wanted;
};
constexpr RangeForm kDates{FilterVariableKind::Date, Day, "a day as 2025-03-31"};
constexpr RangeForm kUnits{FilterVariableKind::Unit, Unit, "a unit number from 1 to 999999999999999999"};

// ---- names and their numbers -------------------------------------------------------------------

// Numbers variables and values as they come up.
class Names {
public:
  std::uint32_t VariableNumber(FilterVariableKind kind, const std::string& name) {
    return m_variables.try_emplace({kind, name}, Variable{static_cast<std::uint32_t>(m_variables.size()), {}})
        .first->second.number;
  }

  std::int64_t ValueNumber(FilterVariableKind kind, const std::string& name, const std::string& value) {
    auto& values = m_variables.at({kind, name}).values;
    return values.try_emplace(value, static_cast<std::int64_t>(values.size())).first->second;
  }

  // The variables in order, with their values in order; the condition's numbers become their places.
  std::vector<FilterVariable> Order(FilterCondition& condition) const {
    std::vector<FilterVariable> variables;
    std::vector<Places> places(m_variables.size());
    for (const auto& [key, variable] : m_variables) {
      Places& place = places[variable.number];
      place.variable = static_cast<std::uint32_t>(variables.size());
      place.values.resize(variable.values.size());
      FilterVariable ordered{key.first, key.second, {}};
      for (const auto& [value, number] : variable.values) {
        place.values[static_cast<std::size_t>(number)] = static_cast<std::int64_t>(ordered.values.size());
        ordered.values.push_back(value);
      }
      variables.push_back(std::move(ordered));
    }
    Renumber(condition, places);
    return variables;
  }

private:
  struct Variable {
    std::uint32_t number;
    std::map<std::string, std::int64_t> values;
  };
  struct Places {
    std::uint32_t variable = 0;
    std::vector<std::int64_t> values;
  };

  static void Renumber(FilterCondition& condition, const std::vector<Places>& places) {
    for (FilterCondition& part : condition.parts) {
      Renumber(part, places);
    }
    if (condition.kind != FilterCondition::Kind::Literal) {
      return;
    }
    FilterLiteral& literal = condition.literal;
    const Places& place = places[literal.variable];
    literal.variable = place.variable;
    if (!place.values.empty()) {
      for (Range& range : literal.numbers) {
        range.first = range.last = place.values[static_cast<std::size_t>(range.first)];
      }
    }
    literal.numbers = Joined(std::move(literal.numbers));
  }

  std::map<std::pair<FilterVariableKind, std::string>, Variable> m_variables;
};

// ---- the elements ------------------------------------------------------------------------------

class Reader {
public:
  FilterDocument Read(const xmlNode& root) {
    if (!IsOfVocabulary(root) ||
        (!IsNamed(root, "EffectivityExpression") && !IsNamed(root, "FilterExpression"))) {
      Fail(root, "is no EffectivityExpression or FilterExpression of " + std::string(kNamespace));
    }
    FilterDocument document;
    document.condition = IsNamed(root, "FilterExpression") ? ReadFilter(root) : ReadExpression(root);
    document.variables = m_names.Order(document.condition);
    return document;
  }

private:
  using Kind = FilterCondition::Kind;

  // ---- documents and contexts

  FilterCondition ReadExpression(const xmlNode& expression) {
    AttributesOf(expression, {});
    return ReadContextsOrCondition(expression, ElementsBehindDescription(expression));
  }

  FilterCondition ReadFilter(const xmlNode& filter) {
    AttributesOf(filter, {});
    const auto elements = ElementsBehindDescription(filter);
    if (elements.size() != 1 || !IsNamed(*elements.front(), "FilterSelection")) {
      Fail(filter, "needs one FilterSelection");
    }
    const xmlNode& selection = *elements.front();
    RequiredOneOf(selection, AttributesOf(selection, {"SelectionMode"}), "SelectionMode",
                  {"Strict", "Lenient"});
    return ReadContextsOrCondition(selection, Elements(selection));
  }

  static std::vector<const xmlNode*> ElementsBehindDescription(const xmlNode& document) {
    auto elements = Elements(document);
    if (!elements.empty() && IsNamed(*elements.front(), "Description")) {
      elements.erase(elements.begin());
    }
    return elements;
  }

  // Contexts stand beside each other: a configuration of one of the holders is meant.
  FilterCondition ReadContextsOrCondition(const xmlNode& parent,
                                          const std::vector<const xmlNode*>& elements) {
    if (elements.size() == 1 && !IsNamed(*elements.front(), "Context")) {
      return ReadCondition(*elements.front());
    }
    FilterCondition contexts{Kind::Any, {}};
    for (const xmlNode* const element : elements) {
      if (!IsNamed(*element, "Context")) {
        Fail(*element, "stands beside another condition or a context; " + std::string(View(parent.name)) +
                           " holds contexts, or one condition");
      }
      contexts.parts.push_back(ReadContext(*element));
    }
    return contexts;
  }

  FilterCondition ReadContext(const xmlNode& context) {
    const Attributes attributes = AttributesOf(context, {"HolderType", "HolderName", "DescId"});
    const std::string type = RequiredOneOf(context, attributes, "HolderType", {"Model", "Product", "Plant"});
    FilterCondition all{Kind::All, {}};
    all.parts.push_back(NameLiteral(FilterVariableKind::Holder, "",
                                    {type + " " + Required(context, attributes, "HolderName")}));
    bool hasCondition = false;
    for (const xmlNode* const element : Elements(context)) {
      if (IsNamed(*element, "InheritedEff")) {
        all.parts.push_back(ReadInherited(*element));
      } else if (IsNamed(*element, "Change")) {
        CheckChange(*element);
      } else if (hasCondition) {
        Fail(*element, "stands beside another condition; a Context holds at most one");
      } else {
        all.parts.push_back(ReadCondition(*element));
        hasCondition = true;
      }
    }
    return all;
  }

  // Of another expression, so all that is known of it is which one it is.
  FilterCondition ReadInherited(const xmlNode& inherited) {
    const Attributes attributes = AttributesOf(inherited, {"Domain", "FilterableId", "HolderName"});
    const std::string domain = RequiredOneOf(inherited, attributes, "Domain", {"Variant", "Evolution"});
    Required(inherited, attributes, "HolderName");
    const std::int64_t id = RequiredId(inherited, attributes, "FilterableId");
    CheckEmpty(inherited);
    return NameLiteral(FilterVariableKind::Inherited, domain + " " + std::to_string(id), {kHolds});
  }

  // Says whose effectivity it is, and restricts nothing.
  static void CheckChange(const xmlNode& change) {
    const Attributes attributes = AttributesOf(change, {"Name", "OperationHandlerId", "DescId"});
    Required(change, attributes, "Name");
    RequiredId(change, attributes, "OperationHandlerId");
    CheckEmpty(change);
  }

  static std::int64_t RequiredId(const xmlNode& element, const Attributes& attributes,
                                 std::string_view name) {
    const auto id = Number(Collapsed(Required(element, attributes, name)), 0, kMaxId);
    if (!id) {
      Fail(element, "needs a number from 0 to 2147483647 as its " + std::string(name));
    }
    return *id;
  }

  static void CheckEmpty(const xmlNode& element) {
    if (!Elements(element).empty()) {
      Fail(element, "holds elements, which it cannot");
    }
  }

  // ---- conditions

  FilterCondition ReadCondition(const xmlNode& element) {
    if (IsNamed(element, "And")) {
      return ReadCombination(element, Kind::All);
    }
    if (IsNamed(element, "Or")) {
      return ReadCombination(element, Kind::Any);
    }
    if (IsNamed(element, "Not")) {
      return ReadNegation(element);
    }
    if (IsNamed(element, "Feature")) {
      return ReadFeature(element);
    }
    if (IsNamed(element, "DateRange")) {
      return ReadRange(element, kDates);
    }
    if (IsNamed(element, "UnitRange")) {
      return ReadRange(element, kUnits);
    }
    if (IsNamed(element, "Boolean")) {
      return ReadBoolean(element);
    }
    Fail(element, "is no condition");
  }

  FilterCondition ReadCombination(const xmlNode& element, Kind kind) {
    AttributesOf(element, {"DescId"});
    FilterCondition combination{kind, {}};
    for (const xmlNode* const part : Elements(element)) {
      combination.parts.push_back(ReadCondition(*part));
    }
    if (combination.parts.empty()) {
      Fail(element, "needs a condition inside");
    }
    return combination;
  }

  FilterCondition ReadNegation(const xmlNode& element) {
    AttributesOf(element, {});
    const auto parts = Elements(element);
    if (parts.size() != 1) {
      Fail(element, "needs one condition inside");
    }
    return {Kind::Not, {ReadCondition(*parts.front())}};
  }

  FilterCondition ReadFeature(const xmlNode& element) {
    const std::string name = Required(element, AttributesOf(element, {"Name", "DescId"}), "Name");
    std::vector<std::string> values;
    for (const xmlNode* const value : Elements(element)) {
      if (!IsNamed(*value, "Value")) {
        Fail(*value, "stands in a Feature, which holds Value elements alone");
      }
      values.push_back(Required(*value, AttributesOf(*value, {"Name", "DescId"}), "Name"));
      CheckEmpty(*value);
    }
    if (values.empty()) {
      Fail(element, "needs a Value");
    }
    return NameLiteral(FilterVariableKind::Feature, name, values);
  }

  FilterCondition ReadRange(const xmlNode& element, const RangeForm& form) {
    const Attributes attributes = AttributesOf(element, {"From", "To"});
    CheckEmpty(element);
    Range range = DomainOf(form.kind);
    range.first = Bound(element, attributes, "From", form, range.first);
    range.last = Bound(element, attributes, "To", form, range.last);
    if (range.first > range.last) {
      Fail(element, "ends before it begins");
    }
    return {Kind::Literal, {}, {m_names.VariableNumber(form.kind, ""), {range}}};
  }

  static std::int64_t Bound(const xmlNode& element, const Attributes& attributes, std::string_view name,
                            const RangeForm& form, std::int64_t open) {
    const auto attribute = attributes.find(name);
    if (attribute == attributes.end()) {
      return open;
    }
    const auto bound = form.read(Collapsed(attribute->second));
    if (!bound) {
      Fail(element, "needs " + std::string(form.wanted) + " as " + std::string(name) + ", not \"" +
                        attribute->second + "\"");
    }
    return *bound;
  }

  static FilterCondition ReadBoolean(const xmlNode& element) {
    AttributesOf(element, {});
    const std::string text = Collapsed(Content(element));
    if (xmlChildElementCount(const_cast<xmlNode*>(&element)) != 0 || (text != "true" && text != "false")) {
      Fail(element, "needs true or false inside");
    }
    return {text == "true" ? Kind::All : Kind::Any, {}};
  }

  FilterCondition NameLiteral(FilterVariableKind kind, const std::string& name,
                              const std::vector<std::string>& values) {
    FilterLiteral literal{m_names.VariableNumber(kind, name), {}};
    for (const std::string& value : values) {
      const std::int64_t number = m_names.ValueNumber(kind, name, value);
      literal.numbers.push_back({number, number});
    }
    return {Kind::Literal, {}, std::move(literal)};
  }

  Names m_names;
};

} // namespace

FilterDocument ReadFilterDocument(const xmlDoc& document) {
  const xmlNode* const root = xmlDocGetRootElement(&document);
  if (root == nullptr) {
    throw FilterFault("the document has no element");
  }
  return Reader().Read(*root);
}

} // namespace zep
