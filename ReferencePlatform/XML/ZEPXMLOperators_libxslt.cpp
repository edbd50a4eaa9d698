#include "ZEPXMLOperators_libxslt.h"

#include "ZEPXMLExpressionText.h"
#include "ZEPXMLFunctions_libxslt.h"
#include "ZEPXMLSession_libxslt.h"

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <optional>

#include <libxml/xpathInternals.h>

namespace zep {
namespace {

// Up to here libxml2's own way is the fastest.
constexpr std::size_t kPairsLeftToLibxml2 = 10'000;
constexpr std::size_t kShortText = 64;
constexpr std::size_t kNodesBetweenLooksAtTheClock = 4096;

using XMLText = std::unique_ptr<xmlChar, void (*)(xmlChar*)>;

XMLText TextOf(xmlNodePtr node) {
  return {xmlNodeGetContent(node), [](xmlChar* text) { xmlFree(text); }};
}

bool IsSet(const xmlXPathObject& value) {
  return value.type == XPATH_NODESET || value.type == XPATH_XSLT_TREE;
}

std::size_t CountOf(const xmlNodeSet* set) {
  return set == nullptr ? 0 : static_cast<std::size_t>(set->nodeNr);
}

// The arguments on the stack, the last one on top.
xmlXPathObjectPtr* Arguments(xmlXPathParserContextPtr parser, int count) {
  return parser->valueTab + (parser->valueNr - count);
}

bool MayGoOn(xmlXPathParserContextPtr parser) {
  return MayGoOn(*XMLSession::Current(), parser);
}

void GiveBoolean(xmlXPathParserContextPtr parser, bool value) {
  valuePush(parser, xmlXPathNewBoolean(value ? 1 : 0));
}

void Drop(xmlXPathParserContextPtr parser, int count) {
  for (int i = 0; i < count; ++i) {
    xmlXPathFreeObject(valuePop(parser));
  }
}

// ---- a table of nodes --------------------------------------------------------------------------

// Open addressing. The memory counts as libxml2's own.
class NodeTable {
public:
  explicit NodeTable(std::size_t maxNodes)
      : m_mask(std::bit_ceil(maxNodes * 2 + 1) - 1),
        m_slots(static_cast<Slot*>(xmlMalloc((m_mask + 1) * sizeof(Slot))),
                [](Slot* slots) { xmlFree(slots); }) {
    if (m_slots != nullptr) {
      std::memset(m_slots.get(), 0, (m_mask + 1) * sizeof(Slot));
    }
  }

  bool HasMemory() const { return m_slots != nullptr; }

  // False if a node is there for which `isSame` holds; otherwise `number` is kept.
  template <class IsSame>
  bool Add(std::size_t hash, std::size_t number, const IsSame& isSame) {
    Slot& slot = Find(hash, isSame);
    if (slot.number != 0) {
      return false;
    }
    slot = {High(hash), static_cast<std::uint32_t>(number + 1)};
    return true;
  }
  template <class IsSame>
  bool Has(std::size_t hash, const IsSame& isSame) {
    return Find(hash, isSame).number != 0;
  }

private:
  struct Slot {
    std::uint32_t hash;
    std::uint32_t number; // 0 for none
  };

  static std::uint32_t High(std::size_t hash) { return static_cast<std::uint32_t>(hash >> 32); }

  template <class IsSame>
  Slot& Find(std::size_t hash, const IsSame& isSame) {
    for (std::size_t i = hash & m_mask;; i = (i + 1) & m_mask) {
      Slot& slot = m_slots.get()[i];
      if (slot.number == 0 || (slot.hash == High(hash) && isSame(slot.number - 1))) {
        return slot;
      }
    }
  }

  std::size_t m_mask;
  std::unique_ptr<Slot, void (*)(Slot*)> m_slots;
};

// ---- A | B -------------------------------------------------------------------------------------

// libxml2's namespace nodes are copies, each with its element.
struct NodeIdentity {
  explicit NodeIdentity(const xmlNode* node) : place(node) {
    if (node->type == XML_NAMESPACE_DECL) {
      const auto* const declaration = reinterpret_cast<const xmlNs*>(node);
      place = declaration->next;
      isNamespace = true;
      prefix = declaration->prefix;
    }
  }

  bool operator==(const NodeIdentity& other) const {
    return place == other.place && isNamespace == other.isNamespace && xmlStrEqual(prefix, other.prefix) != 0;
  }
  std::size_t Hash() const {
    constexpr std::size_t kSpread = 0x9E3779B97F4A7C15U;
    const std::size_t hash = reinterpret_cast<std::uintptr_t>(place) * kSpread;
    const std::size_t spread = hash ^ (hash >> 32);
    return prefix == nullptr ? spread
                             : spread ^ std::hash<std::string_view>()(reinterpret_cast<const char*>(prefix));
  }

  const void* place;
  bool isNamespace = false;
  const xmlChar* prefix = nullptr;
};

bool AreAllSets(xmlXPathObjectPtr* sets, int count) {
  return std::all_of(sets, sets + count,
                     [](xmlXPathObjectPtr set) { return set != nullptr && set->type == XPATH_NODESET; });
}

bool IsLargeUnion(xmlXPathObjectPtr* sets, int count) {
  std::size_t united = CountOf(sets[0]->nodesetval);
  for (int i = 1; i < count; ++i) {
    const std::size_t added = CountOf(sets[i]->nodesetval);
    if (united * added > kPairsLeftToLibxml2) {
      return true;
    }
    united += added;
  }
  return false;
}

class LargeUnion {
public:
  LargeUnion(xmlXPathParserContextPtr parser, xmlXPathObjectPtr* sets, int count)
      : m_parser(parser),
        m_sets(sets),
        m_count(count),
        m_table(TotalOf(sets, count)) {}

  // Leaves all nodes in the first set, each once, in the order in which they come.
  bool Make() {
    if (m_sets[0]->nodesetval == nullptr) {
      m_sets[0]->nodesetval = xmlXPathNodeSetCreate(nullptr);
    }
    m_united = m_sets[0]->nodesetval;
    if (m_united == nullptr || !m_table.HasMemory()) {
      xmlXPathErr(m_parser, XPATH_MEMORY_ERROR);
      return false;
    }
    for (int i = 0; i < m_united->nodeNr; ++i) {
      if (!Remember(m_united->nodeTab[i], i)) {
        return false;
      }
    }
    return std::all_of(m_sets + 1, m_sets + m_count,
                       [this](xmlXPathObjectPtr set) { return AddAll(set->nodesetval); });
  }

private:
  static std::size_t TotalOf(xmlXPathObjectPtr* sets, int count) {
    std::size_t total = 0;
    for (int i = 0; i < count; ++i) {
      total += CountOf(sets[i]->nodesetval);
    }
    return total;
  }

  bool AddAll(const xmlNodeSet* set) {
    for (std::size_t i = 0; i < CountOf(set); ++i) {
      if (!Remember(set->nodeTab[i], m_united->nodeNr)) {
        return false;
      }
      if (m_isNew && xmlXPathNodeSetAddUnique(m_united, set->nodeTab[i]) != 0) {
        xmlXPathErr(m_parser, XPATH_MEMORY_ERROR);
        return false;
      }
    }
    return true;
  }

  // False when the work is to end.
  bool Remember(const xmlNode* node, int number) {
    const NodeIdentity identity(node);
    m_isNew = m_table.Add(identity.Hash(), static_cast<std::size_t>(number), [&](std::size_t other) {
      return NodeIdentity(m_united->nodeTab[other]) == identity;
    });
    return ++m_remembered % kNodesBetweenLooksAtTheClock != 0 || MayGoOn(m_parser);
  }

  xmlXPathParserContextPtr m_parser;
  xmlXPathObjectPtr* m_sets;
  int m_count;
  NodeTable m_table;
  xmlNodeSetPtr m_united = nullptr;
  std::size_t m_remembered = 0;
  bool m_isNew = false;
};

void Unite(xmlXPathParserContextPtr parser, int count) {
  xmlXPathObjectPtr* const sets = Arguments(parser, count);
  if (!AreAllSets(sets, count)) {
    xmlXPathErr(parser, XPATH_INVALID_TYPE);
    return;
  }
  if (IsLargeUnion(sets, count)) {
    if (!MayGoOn(parser) || !LargeUnion(parser, sets, count).Make()) {
      return;
    }
  } else {
    for (int i = 1; i < count; ++i) {
      if (CountOf(sets[i]->nodesetval) != 0) {
        sets[0]->nodesetval = xmlXPathNodeSetMerge(sets[0]->nodesetval, sets[i]->nodesetval);
      }
    }
  }
  Drop(parser, count - 1);
}

// ---- A = B and its kin -------------------------------------------------------------------------

constexpr int kSides = 2;

struct Sides {
  explicit Sides(xmlXPathParserContextPtr parser)
      : left(Arguments(parser, kSides)[0]),
        right(Arguments(parser, kSides)[1]) {}

  bool AreLargeSets() const {
    return IsSet(*left) && IsSet(*right) &&
           CountOf(left->nodesetval) * CountOf(right->nodesetval) > kPairsLeftToLibxml2;
  }

  xmlXPathObjectPtr& left;
  xmlXPathObjectPtr& right;
};

std::size_t HashOf(const xmlChar* text) {
  return text == nullptr ? 0 : std::hash<std::string_view>()(reinterpret_cast<const char*>(text));
}

// Whether the text of a node on one side is that of one on the other.
bool HaveCommonText(xmlXPathParserContextPtr parser, const xmlNodeSet& one, const xmlNodeSet& other) {
  const bool isOneSmaller = one.nodeNr < other.nodeNr;
  const xmlNodeSet& kept = isOneSmaller ? one : other;
  const xmlNodeSet& sought = isOneSmaller ? other : one;
  NodeTable table(CountOf(&kept));
  if (!table.HasMemory()) {
    xmlXPathErr(parser, XPATH_MEMORY_ERROR);
    return false;
  }
  XMLText text = TextOf(nullptr);
  const auto isText = [&](std::size_t number) {
    return !MayGoOn(parser) || xmlStrEqual(TextOf(kept.nodeTab[number]).get(), text.get()) != 0;
  };
  for (int i = 0; i < kept.nodeNr && MayGoOn(parser); ++i) {
    text = TextOf(kept.nodeTab[i]);
    table.Add(HashOf(text.get()), static_cast<std::size_t>(i), isText);
  }
  for (int i = 0; i < sought.nodeNr && MayGoOn(parser); ++i) {
    text = TextOf(sought.nodeTab[i]);
    if (table.Has(HashOf(text.get()), isText)) {
      return true;
    }
  }
  return false;
}

bool HasOtherText(xmlXPathParserContextPtr parser, const xmlNodeSet& set, const xmlChar* text) {
  for (int i = 0; i < set.nodeNr && MayGoOn(parser); ++i) {
    if (xmlStrEqual(TextOf(set.nodeTab[i]).get(), text) == 0) {
      return true;
    }
  }
  return false;
}

// Whether there are two different texts, one on each side.
bool HaveDifferentTexts(xmlXPathParserContextPtr parser, const xmlNodeSet& one, const xmlNodeSet& other) {
  const XMLText first = TextOf(one.nodeTab[0]);
  return HasOtherText(parser, other, first.get()) || HasOtherText(parser, one, first.get());
}

using SetComparison = bool (*)(xmlXPathParserContextPtr, const xmlNodeSet&, const xmlNodeSet&);

template <int (*original)(xmlXPathParserContextPtr), SetComparison ofLargeSets>
void CompareTexts(xmlXPathParserContextPtr parser, int /*count*/) {
  const Sides sides(parser);
  if (!sides.AreLargeSets()) {
    GiveBoolean(parser, original(parser) != 0);
    return;
  }
  const bool result = ofLargeSets(parser, *sides.left->nodesetval, *sides.right->nodesetval);
  Drop(parser, kSides);
  GiveBoolean(parser, result);
}

// ---- A < B and its kin -------------------------------------------------------------------------

// The smallest and the largest of the numbers; none of those that are not numbers.
struct Range {
  double least = std::numeric_limits<double>::infinity();
  double greatest = -std::numeric_limits<double>::infinity();
};

std::optional<Range> RangeOf(xmlXPathParserContextPtr parser, const xmlNodeSet& set) {
  std::optional<Range> range;
  for (int i = 0; i < set.nodeNr && MayGoOn(parser); ++i) {
    const double number = xmlXPathCastNodeToNumber(set.nodeTab[i]);
    if (xmlXPathIsNaN(number) == 0) {
      range = range.value_or(Range{});
      range->least = std::min(range->least, number);
      range->greatest = std::max(range->greatest, number);
    }
  }
  return range;
}

enum class Order { Less, LessOrEqual, Greater, GreaterOrEqual };

bool IsOrdered(Order order, const Range& left, const Range& right) {
  switch (order) {
  case Order::Less:
    return left.least < right.greatest;
  case Order::LessOrEqual:
    return left.least <= right.greatest;
  case Order::Greater:
    return left.greatest > right.least;
  case Order::GreaterOrEqual:
    return left.greatest >= right.least;
  }
  return false;
}

bool AreOrdered(xmlXPathParserContextPtr parser, Order order, const xmlNodeSet& left,
                const xmlNodeSet& right) {
  const std::optional<Range> leftRange = RangeOf(parser, left);
  const std::optional<Range> rightRange = leftRange ? RangeOf(parser, right) : std::nullopt;
  return rightRange && IsOrdered(order, *leftRange, *rightRange);
}

// Compared with a set, it would be copied for each node, only to be made a number.
void MakeNumber(xmlXPathParserContextPtr parser, xmlXPathObjectPtr& side, const xmlXPathObject& other) {
  if (side->type == XPATH_STRING && IsSet(other) && side->stringval != nullptr &&
      std::strlen(reinterpret_cast<const char*>(side->stringval)) > kShortText) {
    side = xmlXPathConvertNumber(side);
    parser->value = parser->valueTab[parser->valueNr - 1];
  }
}

template <Order order>
void CompareNumbers(xmlXPathParserContextPtr parser, int /*count*/) {
  const Sides sides(parser);
  if (sides.AreLargeSets()) {
    const bool result = AreOrdered(parser, order, *sides.left->nodesetval, *sides.right->nodesetval);
    Drop(parser, kSides);
    GiveBoolean(parser, result);
    return;
  }
  MakeNumber(parser, sides.left, *sides.right);
  MakeNumber(parser, sides.right, *sides.left);
  constexpr bool isLess = order == Order::Less || order == Order::LessOrEqual;
  constexpr bool isStrict = order == Order::Less || order == Order::Greater;
  GiveBoolean(parser, xmlXPathCompareValues(parser, isLess ? 1 : 0, isStrict ? 1 : 0) != 0);
}

// ---- finding them ------------------------------------------------------------------------------

struct NamedOperator {
  std::string_view name;
  xmlXPathFunction function;
};

constexpr NamedOperator kOperators[] = {
    {kUnionFunction, Unite},
    {kEqualFunction, CompareTexts<xmlXPathEqualValues, HaveCommonText>},
    {kNotEqualFunction, CompareTexts<xmlXPathNotEqualValues, HaveDifferentTexts>},
    {kLessFunction, CompareNumbers<Order::Less>},
    {kLessOrEqualFunction, CompareNumbers<Order::LessOrEqual>},
    {kGreaterFunction, CompareNumbers<Order::Greater>},
    {kGreaterOrEqualFunction, CompareNumbers<Order::GreaterOrEqual>},
};

} // namespace

xmlXPathFunction FindOperator(std::string_view name) {
  const auto* const found = std::find_if(std::begin(kOperators), std::end(kOperators),
                                         [name](const NamedOperator& one) { return one.name == name; });
  return found == std::end(kOperators) ? nullptr : found->function;
}

} // namespace zep
