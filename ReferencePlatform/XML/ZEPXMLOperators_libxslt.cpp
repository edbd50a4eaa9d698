#include "ZEPXMLOperators_libxslt.h"

#include "ZEPXMLExpressionText.h"
#include "ZEPXMLFunctions_libxslt.h"
#include "ZEPXMLNodeUnion_libxml2.h"
#include "ZEPXMLSession_libxslt.h"
#include "ZEPXMLValues_libxml2.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <limits>
#include <new>
#include <optional>

#include <libxml/xpathInternals.h>

namespace zep {

// What one path has come to so far.
struct XMLCollection {
  XMLNodeUnion nodes;
  XMLCollection* outer;
};

namespace {

// Up to here libxml2's own way is the fastest.
constexpr std::size_t kPairsLeftToLibxml2 = 10'000;
constexpr std::size_t kShortText = 64;

OwnedXMLText TextOf(xmlNodePtr node) {
  return OwnedXMLText(xmlNodeGetContent(node));
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

// ---- A | B -------------------------------------------------------------------------------------

bool AreAllSets(xmlXPathObjectPtr* sets, int count) {
  return std::all_of(sets, sets + count,
                     [](xmlXPathObjectPtr set) { return set != nullptr && set->type == XPATH_NODESET; });
}

void Unite(xmlXPathParserContextPtr parser, int count) {
  xmlXPathObjectPtr* const sets = Arguments(parser, count);
  if (!AreAllSets(sets, count)) {
    xmlXPathErr(parser, XPATH_INVALID_TYPE);
    return;
  }
  XMLNodeUnion united;
  const bool isWhole = std::all_of(sets, sets + count, [&united, parser](xmlXPathObjectPtr set) {
    return united.Add(parser, set->nodesetval);
  });
  if (isWhole) {
    sets[0]->nodesetval = united.Take();
    Drop(parser, count - 1);
  }
}

// ---- A/B ---------------------------------------------------------------------------------------

void PushSet(xmlXPathParserContextPtr parser, xmlNodeSetPtr set) {
  valuePush(parser, xmlXPathWrapNodeSet(set));
}

XMLNodeUnion& Collected() {
  return XMLSession::Current()->collections->nodes;
}

void Begin(xmlXPathParserContextPtr parser, int /*count*/) {
  void* const memory = xmlMalloc(sizeof(XMLCollection));
  if (memory == nullptr) {
    xmlXPathErr(parser, XPATH_MEMORY_ERROR);
    return;
  }
  XMLSession& session = *XMLSession::Current();
  session.collections = new (memory) XMLCollection{{}, session.collections};
  GiveBoolean(parser, false);
}

// False, so that libxml2 does not collect the nodes from which this one set comes.
void Collect(xmlXPathParserContextPtr parser, int count) {
  xmlXPathObject& found = **Arguments(parser, count);
  if (found.type != XPATH_NODESET) {
    xmlXPathErr(parser, XPATH_INVALID_TYPE);
    return;
  }
  if (MayGoOn(parser) && Collected().Add(parser, found.nodesetval)) {
    Drop(parser, count);
    GiveBoolean(parser, false);
  }
}

void Next(xmlXPathParserContextPtr parser, int /*count*/) {
  PushSet(parser, Collected().Take());
}

void DropCollection(XMLSession& session) {
  XMLCollection* const inner = session.collections;
  session.collections = inner->outer;
  inner->~XMLCollection();
  xmlFree(inner);
}

void Path(xmlXPathParserContextPtr parser, int count) {
  XMLSession& session = *XMLSession::Current();
  Drop(parser, count);
  PushSet(parser, Collected().Take());
  DropCollection(session);
}

// ---- A = B and its kin -------------------------------------------------------------------------

constexpr int kSides = 2;

struct Sides {
  explicit Sides(xmlXPathParserContextPtr parser)
      : left(Arguments(parser, kSides)[0]),
        right(Arguments(parser, kSides)[1]) {}

  bool AreLargeSets() const {
    return IsNodeSet(*left) && IsNodeSet(*right) &&
           CountOf(left->nodesetval) * CountOf(right->nodesetval) > kPairsLeftToLibxml2;
  }

  xmlXPathObjectPtr& left;
  xmlXPathObjectPtr& right;
};

std::size_t HashOf(const xmlChar* text) {
  return std::hash<std::string_view>()(View(text));
}

// Whether the text of a node on one side is that of one on the other.
bool HaveCommonText(xmlXPathParserContextPtr parser, const xmlNodeSet& one, const xmlNodeSet& other) {
  const bool isOneSmaller = one.nodeNr < other.nodeNr;
  const xmlNodeSet& kept = isOneSmaller ? one : other;
  const xmlNodeSet& sought = isOneSmaller ? other : one;
  XMLNodeTable table(CountOf(&kept));
  if (!table.HasMemory()) {
    xmlXPathErr(parser, XPATH_MEMORY_ERROR);
    return false;
  }
  OwnedXMLText text;
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
  const OwnedXMLText first = TextOf(one.nodeTab[0]);
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
  if (side->type == XPATH_STRING && IsNodeSet(other) && View(side->stringval).size() > kShortText) {
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

// They are called as they were written into the expression, or not at all.
template <xmlXPathFunction function, int least, int most, bool isInPath>
void Checked(xmlXPathParserContextPtr parser, int count) {
  if (count < least || count > most || (isInPath && XMLSession::Current()->collections == nullptr)) {
    xmlXPathErr(parser, XPATH_INVALID_ARITY);
    return;
  }
  function(parser, count);
}

struct NamedOperator {
  std::string_view name;
  xmlXPathFunction function;
};

constexpr int kAnyNumber = std::numeric_limits<int>::max();

template <xmlXPathFunction function>
constexpr xmlXPathFunction kBetweenSides = Checked<function, kSides, kSides, false>;

constexpr NamedOperator kOperators[] = {
    {kUnionFunction, Checked<Unite, 1, kAnyNumber, false>},
    {kPathFunction, Checked<Path, 1, kAnyNumber, true>},
    {kBeginFunction, Checked<Begin, 0, 0, false>},
    {kCollectFunction, Checked<Collect, 1, 1, true>},
    {kNextFunction, Checked<Next, 0, 0, true>},
    {kEqualFunction, kBetweenSides<CompareTexts<xmlXPathEqualValues, HaveCommonText>>},
    {kNotEqualFunction, kBetweenSides<CompareTexts<xmlXPathNotEqualValues, HaveDifferentTexts>>},
    {kLessFunction, kBetweenSides<CompareNumbers<Order::Less>>},
    {kLessOrEqualFunction, kBetweenSides<CompareNumbers<Order::LessOrEqual>>},
    {kGreaterFunction, kBetweenSides<CompareNumbers<Order::Greater>>},
    {kGreaterOrEqualFunction, kBetweenSides<CompareNumbers<Order::GreaterOrEqual>>},
};

} // namespace

void DropCollections(XMLSession& session) {
  while (session.collections != nullptr) {
    DropCollection(session);
  }
}

xmlXPathFunction FindOperator(std::string_view name) {
  const auto* const found = std::find_if(std::begin(kOperators), std::end(kOperators),
                                         [name](const NamedOperator& one) { return one.name == name; });
  return found == std::end(kOperators) ? nullptr : found->function;
}

} // namespace zep
