#include "ZEPXMLExpressionText.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory_resource>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

namespace zep {
namespace {

constexpr std::string_view kOwnNames = "zep_operator_";
constexpr std::string_view kUnknown = "unknown-"; // in front of one of them that is none of ours
constexpr std::size_t kShortLiteral = 256;
constexpr char kNoExpression[] = "!"; // in front of what cannot be read: nothing begins so
constexpr std::size_t kMaxFrames = 512;
constexpr std::size_t kMaxChanges = 1'000'000;

// ---- characters --------------------------------------------------------------------------------

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

// Of all characters beyond ASCII, those that are no part of a name are refused by libxml2.
bool IsNameStart(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
         static_cast<unsigned char>(c) >= 0x80;
}

bool IsNamePart(char c) {
  return IsNameStart(c) || IsDigit(c) || c == '-' || c == '.';
}

template <std::size_t count>
bool IsOneOf(const std::array<std::string_view, count>& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// ---- what an operand may be --------------------------------------------------------------------

enum class Kind : unsigned char {
  Small, // a number, a boolean, a short text
  Text,  // of any length
  Node,  // one at the most
  Nodes, // any number of them, or anything else
};

constexpr std::array<std::string_view, 4> kNodeTypes = {"comment", "node", "processing-instruction", "text"};

constexpr std::array<std::string_view, 17> kSmallFunctions = {
    "boolean", "ceiling", "contains",           "count", "element-available",
    "false",   "floor",   "function-available", "lang",  "last",
    "not",     "number",  "position",           "round", "string-length",
    "sum",     "true"};

constexpr std::array<std::string_view, 13> kTextFunctions = {
    "concat",          "format-number",    "generate-id", "local-name", "name",
    "namespace-uri",   "normalize-space",  "starts-with", "string",     "substring",
    "substring-after", "substring-before", "translate"};

Kind KindOfCall(std::string_view name) {
  if (IsOneOf(kSmallFunctions, name)) {
    return Kind::Small;
  }
  if (IsOneOf(kTextFunctions, name)) {
    return Kind::Text;
  }
  return name == "current" ? Kind::Node : Kind::Nodes;
}

// Along these, several nodes have nodes in common.
constexpr std::array<std::string_view, 9> kSharedAxes = {
    "ancestor",          "ancestor-or-self", "descendant", "descendant-or-self", "following",
    "following-sibling", "parent",           "preceding",  "preceding-sibling"};

// ---- operators ---------------------------------------------------------------------------------

enum class Class : unsigned char { Other, Equality, Order };

struct Operator {
  std::string_view text;
  int precedence;
  Class operatorClass;
  std::string_view function;
};

// The longer ones first. libxml2 wants no blank behind a name.
constexpr Operator kOperators[] = {
    {"or", 1, Class::Other, {}},
    {"and", 2, Class::Other, {}},
    {"!=", 3, Class::Equality, kNotEqualFunction},
    {"=", 3, Class::Equality, kEqualFunction},
    {"<=", 4, Class::Order, kLessOrEqualFunction},
    {"<", 4, Class::Order, kLessFunction},
    {">=", 4, Class::Order, kGreaterOrEqualFunction},
    {">", 4, Class::Order, kGreaterFunction},
    {"+", 5, Class::Other, {}},
    {"-", 5, Class::Other, {}},
    {"*", 6, Class::Other, {}},
    {"div", 6, Class::Other, {}},
    {"mod", 6, Class::Other, {}},
};
constexpr Operator kMinus = {"-", 7, Class::Other, {}};

bool MayBeSlow(const Operator& between, Kind left, Kind right) {
  switch (between.operatorClass) {
  case Class::Equality:
    return left == Kind::Nodes && right == Kind::Nodes;
  case Class::Order: // a text is copied for each node
    return (left == Kind::Nodes && (right == Kind::Nodes || right == Kind::Text)) ||
           (left == Kind::Text && right == Kind::Nodes);
  case Class::Other:
    break;
  }
  return false;
}

// ---- paths -------------------------------------------------------------------------------------

// What comes in place of one slash between two steps, of two, or in front of a step behind two.
struct Cut {
  std::string_view one;
  std::string_view two;
  std::string_view behindTwo;
};

constexpr std::string_view kPathBegin = "zep_operator_path(zep_operator_begin(),";
constexpr Cut kFirstCut = {")[zep_operator_collect(", ")[zep_operator_collect(.//",
                           ".)[zep_operator_collect("};
constexpr Cut kLaterCut = {")],zep_operator_next()[zep_operator_collect(",
                           ")],zep_operator_next()[zep_operator_collect(.//",
                           ".)],zep_operator_next()[zep_operator_collect("};
constexpr std::string_view kPathEnd = ")])";

// ---- changes to the text -----------------------------------------------------------------------

class Changes {
public:
  explicit Changes(std::pmr::memory_resource& memory) : m_changes(&memory) {}

  void Open(std::size_t position, std::string_view function) { Add(position, Rank::Open, 0, function); }
  void Replace(std::size_t position, std::size_t length, std::string_view text) {
    Add(position, Rank::Replace, length, text);
  }
  void Close(std::size_t position, std::string_view text = ")") { Add(position, Rank::Close, 0, text); }
  void MakeUnknown(std::size_t position) { Add(position, Rank::Unknown, 0, kUnknown); }
  std::size_t Count() const { return m_changes.size(); }

  std::string AppliedTo(std::string_view text) {
    std::sort(m_changes.begin(), m_changes.end());
    std::string result;
    std::size_t done = 0;
    for (const Change& change : m_changes) {
      result.append(text.substr(done, change.position - done)).append(change.text);
      result += change.rank == Rank::Open ? "(" : "";
      done = change.position + change.removed;
    }
    return result.append(text.substr(done));
  }

private:
  enum class Rank { Close, Open, Replace, Unknown }; // in this order at one place
  struct Change {
    bool operator<(const Change& other) const {
      return std::tie(position, rank) == std::tie(other.position, other.rank)
                 ? (rank == Rank::Open ? number > other.number : number < other.number)
                 : std::tie(position, rank) < std::tie(other.position, other.rank);
    }

    std::size_t position;
    Rank rank;
    std::size_t number; // an outer call comes later: it opens first and closes last
    std::size_t removed;
    std::string_view text;
  };

  void Add(std::size_t position, Rank rank, std::size_t removed, std::string_view text) {
    m_changes.push_back({position, rank, m_changes.size(), removed, text});
  }

  std::pmr::vector<Change> m_changes;
};

// ---- reading an expression ---------------------------------------------------------------------

// Reads from left to right, with stacks of its own in place of recursion. It takes what libxml2 takes, and
// some more; but not a call without an end, and not what is larger than anybody needs.
class Reader {
public:
  explicit Reader(std::string_view text) : m_text(text) {}

  // Nothing if there is nothing to change.
  std::optional<std::string> Result() {
    if (!Read()) {
      return kNoExpression + std::string(m_text);
    }
    return m_changes.Count() == 0 ? std::nullopt : std::optional(m_changes.AppliedTo(m_text));
  }

private:
  struct Operand {
    std::size_t begin = 0;
    std::size_t end = 0;
    Kind kind = Kind::Small;
  };
  struct Pending { // an operator that waits for its right side
    const Operator* sign;
    std::size_t position;
  };
  // Within parentheses, a predicate or the whole: what is being read there.
  struct Frame {
    char closer = '\0';
    bool isCall = false;
    bool isEmpty = true; // nothing was read yet
    Kind callKind = Kind::Small;
    std::size_t pending = 0; // below it, those of other frames
    std::size_t bars = 0;
    Operand path; // the operand that is being read; its kind is that of the steps since the last cut
    std::size_t cuts = 0;
    bool isBehindStep = false;
    Operand united; // those before it, with bars between them
    std::size_t setsUnited = 0;
  };
  struct Slashes {
    std::size_t begin;
    bool isDouble = false;
    bool isRepeated = false;
    bool isWell = true;
  };
  enum class State { WantsOperand, InPath, Ended, Fault };

  bool Read() {
    Push('\0');
    State state = State::WantsOperand;
    while ((state == State::WantsOperand || state == State::InPath) && IsWithinLimits()) {
      SkipBlanks();
      state = state == State::WantsOperand ? ReadOperand() : ReadOn();
    }
    return state == State::Ended;
  }

  bool IsWithinLimits() const { return m_frames.size() <= kMaxFrames && m_changes.Count() <= kMaxChanges; }

  // ---- characters

  char At(std::size_t distance = 0) const {
    return m_position + distance < m_text.size() ? m_text[m_position + distance] : '\0';
  }
  std::string_view Rest() const { return m_text.substr(m_position); }
  void SkipBlanks() {
    while (m_position < m_text.size() && IsBlank(m_text[m_position])) {
      ++m_position;
    }
  }
  bool Skip(std::string_view expected) {
    const bool isThere = Rest().substr(0, expected.size()) == expected;
    m_position += isThere ? expected.size() : 0;
    return isThere;
  }
  std::string_view ReadName() {
    const std::size_t begin = m_position;
    if (IsNameStart(At())) {
      do {
        ++m_position;
      } while (IsNamePart(At()));
    }
    return m_text.substr(begin, m_position - begin);
  }
  // libxml2 takes them behind a prefix.
  void SkipBlanksBeforeColon() {
    const std::size_t end = m_position;
    SkipBlanks();
    if (At() != ':') {
      m_position = end;
    }
  }
  // What follows a name, if it was a prefix.
  bool ReadLocalName(bool& isAny) {
    isAny = false;
    if (At() != ':' || At(1) == ':') {
      return true;
    }
    ++m_position;
    isAny = Skip("*");
    return isAny || !ReadName().empty();
  }
  bool ReadLiteral() {
    const std::size_t end = m_text.find(At(), m_position + 1);
    if (end == std::string_view::npos) {
      return false;
    }
    m_position = end + 1;
    return true;
  }
  void ReadDigits() {
    while (IsDigit(At())) {
      ++m_position;
    }
  }
  void ReadNumber() {
    ReadDigits();
    if (Skip(".")) {
      ReadDigits();
    }
    if (Skip("e") || Skip("E")) { // libxml2 takes these
      static_cast<void>(Skip("-") || Skip("+"));
      ReadDigits();
    }
  }

  // ---- frames

  Frame& Top() { return m_frames.back(); }

  void Push(char closer) {
    Frame frame;
    frame.closer = closer;
    frame.pending = m_pending.size();
    frame.bars = m_bars.size();
    m_frames.push_back(frame);
  }

  // ---- operands

  State ReadOperand() {
    Frame& frame = Top();
    if (frame.isEmpty && frame.isCall && At() == ')') {
      return Close();
    }
    frame.isEmpty = false;
    if (At() == '-' && m_bars.size() == frame.bars) {
      return ReadMinus(frame);
    }
    frame.path = {m_position, m_position, Kind::Node};
    frame.cuts = 0;
    frame.isBehindStep = false;
    return ReadPrimary(frame);
  }

  // In front of it there is nothing: an operand that stands for this.
  State ReadMinus(const Frame& frame) {
    if (m_pending.size() == frame.pending || m_pending.back().sign != &kMinus) {
      m_pending.push_back({&kMinus, m_position});
      m_operands.push_back({m_position, m_position, Kind::Small});
    }
    ++m_position;
    return State::WantsOperand;
  }

  State ReadPrimary(Frame& frame) {
    switch (At()) {
    case '(':
      ++m_position;
      Push(')');
      return State::WantsOperand;
    case '$': {
      ++m_position;
      bool isAny;
      const bool isName = !ReadName().empty() && ReadLocalName(isAny) && !isAny;
      return Gave(frame, Kind::Nodes, isName);
    }
    case '\'':
    case '"': {
      const bool isLiteral = ReadLiteral();
      return Gave(frame, m_position - frame.path.begin > kShortLiteral ? Kind::Text : Kind::Small, isLiteral);
    }
    case '/':
      return ReadRoot(frame);
    default:
      if (IsDigit(At()) || (At() == '.' && IsDigit(At(1)))) {
        ReadNumber();
        return Gave(frame, Kind::Small, true);
      }
      return ReadCallOrStep(frame);
    }
  }

  State Gave(Frame& frame, Kind kind, bool isWell) {
    frame.path.kind = kind;
    frame.path.end = m_position;
    return isWell ? State::InPath : State::Fault;
  }

  State ReadRoot(Frame& frame) {
    frame.path.end = m_position + 1;
    const Slashes slashes = ReadSlashes(true);
    ReplaceRepeated(slashes);
    const char next = At();
    const bool isStep = IsNameStart(next) || next == '.' || next == '@' || next == '*';
    return !slashes.isWell ? State::Fault : isStep ? ReadStepBehind(frame, slashes) : State::InPath;
  }

  State ReadNextStep(Frame& frame) {
    const Slashes slashes = ReadSlashes(false);
    if (!slashes.isWell || (slashes.isRepeated && frame.isBehindStep)) {
      return State::Fault;
    }
    if (frame.path.kind == Kind::Nodes && (slashes.isDouble || IsAtSharedAxis())) {
      const Cut& cut = NextCut(frame);
      m_changes.Replace(slashes.begin, m_position - slashes.begin, slashes.isDouble ? cut.two : cut.one);
    } else {
      ReplaceRepeated(slashes);
    }
    return ReadStepBehind(frame, slashes);
  }

  // Two slashes are a step themselves, to any number of nodes.
  State ReadStepBehind(Frame& frame, const Slashes& slashes) {
    if (slashes.isDouble) {
      frame.path.kind = Kind::Nodes;
      if (IsAtSharedAxis()) {
        m_changes.Replace(m_position, 0, NextCut(frame).behindTwo);
      }
    }
    return ReadStep(frame);
  }

  // What follows is evaluated for one node at a time.
  static const Cut& NextCut(Frame& frame) {
    frame.path.kind = Kind::Node;
    return frame.cuts++ == 0 ? kFirstCut : kLaterCut;
  }

  // In front of the first step libxml2 takes more slashes than there should be. The nodes are the same.
  void ReplaceRepeated(const Slashes& slashes) {
    if (slashes.isRepeated) {
      m_changes.Replace(slashes.begin, m_position - slashes.begin, slashes.isDouble ? "//" : "/");
    }
  }

  // One or two of them; more only as libxml2 takes them.
  Slashes ReadSlashes(bool isRoot) {
    Slashes slashes{m_position};
    int behindDouble = 0;
    for (bool isFirst = true; At() == '/'; isFirst = false) {
      const bool isDouble = Skip("//") || !Skip("/");
      behindDouble += slashes.isDouble ? 1 : 0;
      slashes.isRepeated = !isFirst;
      slashes.isWell = slashes.isWell && behindDouble <= 1 && (isFirst || isRoot || slashes.isDouble);
      slashes.isDouble = slashes.isDouble || isDouble;
      SkipBlanks();
    }
    return slashes;
  }

  bool IsAtSharedAxis() {
    if (At() == '.') {
      return At(1) == '.';
    }
    const std::size_t begin = m_position;
    const std::string_view name = ReadName();
    SkipBlanks();
    const bool isAxis = Skip("::");
    m_position = begin;
    return isAxis && IsOneOf(kSharedAxes, name);
  }

  State ReadCallOrStep(Frame& frame) {
    const std::size_t begin = m_position;
    const std::string_view name = ReadName();
    bool isAny = false;
    if (!name.empty() && ReadLocalName(isAny) && !isAny) {
      const std::string_view whole = m_text.substr(begin, m_position - begin);
      SkipBlanks();
      if (At() == '(' && !IsOneOf(kNodeTypes, whole)) {
        if (whole.substr(0, kOwnNames.size()) == kOwnNames) {
          m_changes.MakeUnknown(begin);
        }
        ++m_position;
        Push(')');
        Top().isCall = true;
        Top().callKind = KindOfCall(whole);
        return State::WantsOperand;
      }
    }
    m_position = begin;
    return ReadStep(frame);
  }

  State ReadStep(Frame& frame) {
    if (Skip("..") || Skip(".")) {
      return EndStep(frame, true);
    }
    bool isAttribute = Skip("@");
    bool isOne = false;
    if (!isAttribute) {
      const std::size_t begin = m_position;
      const std::string_view axis = ReadName();
      SkipBlanks();
      if (!axis.empty() && Skip("::")) {
        isAttribute = axis == "attribute";
        isOne = axis == "self" || axis == "parent";
      } else {
        m_position = begin;
      }
    }
    SkipBlanks();
    bool isNamed = false;
    if (!ReadNodeTest(isNamed)) {
      return State::Fault;
    }
    return EndStep(frame, isOne || (isAttribute && isNamed));
  }

  State EndStep(Frame& frame, bool isOne) {
    if (!isOne) {
      frame.path.kind = Kind::Nodes;
    }
    frame.path.end = m_position;
    frame.isBehindStep = true;
    return State::InPath;
  }

  bool ReadNodeTest(bool& isNamed) {
    if (Skip("*")) {
      return true;
    }
    if (ReadName().empty()) {
      return false;
    }
    SkipBlanksBeforeColon();
    bool isAny;
    if (!ReadLocalName(isAny)) {
      return false;
    }
    isNamed = !isAny;
    const std::size_t end = m_position;
    SkipBlanks();
    if (!Skip("(")) {
      m_position = end;
      return true;
    }
    isNamed = false;
    SkipBlanks();
    if ((At() == '\'' || At() == '"') && !ReadLiteral()) {
      return false;
    }
    SkipBlanks();
    return Skip(")");
  }

  // ---- behind an operand, or a part of it

  State ReadOn() {
    Frame& frame = Top();
    switch (At()) {
    case '[':
      ++m_position;
      Push(']');
      return State::WantsOperand;
    case '/':
      return ReadNextStep(frame);
    case '|':
      EndPath(frame);
      m_bars.push_back(m_position++);
      return State::WantsOperand;
    default:
      EndPath(frame);
      EndUnion(frame);
      return ReadOperator();
    }
  }

  void EndPath(Frame& frame) {
    if (frame.cuts != 0) {
      m_changes.Close(frame.path.end, kPathEnd);
      m_changes.Open(frame.path.begin, kPathBegin);
      frame.path.kind = Kind::Nodes;
    }
    if (m_bars.size() == frame.bars) {
      frame.united = frame.path;
      frame.setsUnited = 0;
    }
    frame.united.end = frame.path.end;
    frame.setsUnited += frame.path.kind == Kind::Nodes ? 1 : 0;
  }

  void EndUnion(Frame& frame) {
    if (m_bars.size() != frame.bars) {
      frame.united.kind = Kind::Nodes;
      if (frame.setsUnited > 1) {
        m_changes.Close(frame.united.end);
        std::for_each(m_bars.begin() + static_cast<std::ptrdiff_t>(frame.bars), m_bars.end(),
                      [this](std::size_t bar) { m_changes.Replace(bar, 1, ","); });
        m_changes.Open(frame.united.begin, kUnionFunction);
      }
      m_bars.resize(frame.bars);
    }
    m_operands.push_back(frame.united);
  }

  State ReadOperator() {
    for (const Operator& one : kOperators) {
      if (one.text.front() == At() && Rest().substr(0, one.text.size()) == one.text) {
        Reduce(one.precedence);
        m_pending.push_back({&one, m_position});
        m_position += one.text.size();
        return State::WantsOperand;
      }
    }
    Reduce(0);
    return m_position == m_text.size() && m_frames.size() == 1 ? State::Ended : Close();
  }

  // Those that bind as closely, or more closely.
  void Reduce(int precedence) {
    while (m_pending.size() > Top().pending && m_pending.back().sign->precedence >= precedence) {
      const Pending between = m_pending.back();
      m_pending.pop_back();
      const Operand right = m_operands.back();
      m_operands.pop_back();
      Operand& left = m_operands.back();
      if (MayBeSlow(*between.sign, left.kind, right.kind)) {
        m_changes.Close(right.end);
        m_changes.Replace(between.position, between.sign->text.size(), ",");
        m_changes.Open(left.begin, between.sign->function);
      }
      left.end = right.end;
      left.kind = Kind::Small;
    }
  }

  // At what should end a frame, or an argument.
  State Close() {
    const Frame inner = Top();
    if (inner.isCall && At() == ',') {
      ++m_position;
      m_operands.pop_back();
      return State::WantsOperand;
    }
    if (inner.closer == '\0' || At() != inner.closer) {
      return State::Fault;
    }
    ++m_position;
    m_frames.pop_back();
    return Closed(inner);
  }

  State Closed(const Frame& inner) {
    Frame& frame = Top();
    Kind kind = inner.isCall ? inner.callKind : frame.path.kind;
    if (!inner.isEmpty) {
      if (!inner.isCall && inner.closer == ')') {
        kind = m_operands.back().kind;
      }
      m_operands.pop_back();
    }
    return Gave(frame, kind, true);
  }

  std::string_view m_text;
  std::size_t m_position = 0;
  std::array<std::byte, 4096> m_firstMemory; // enough for nearly all expressions
  std::pmr::monotonic_buffer_resource m_memory{m_firstMemory.data(), m_firstMemory.size()};
  std::pmr::vector<Frame> m_frames{&m_memory};
  std::pmr::vector<Operand> m_operands{&m_memory};
  std::pmr::vector<Pending> m_pending{&m_memory};
  std::pmr::vector<std::size_t> m_bars{&m_memory};
  Changes m_changes{m_memory};
};

// What is compared with a short literal or a number, behind the operator, is no second set.
bool IsBeforeSmall(std::string_view text, std::size_t operatorEnd) {
  const std::size_t next = text.find_first_not_of(" \t\r\n", operatorEnd);
  return next != std::string_view::npos && text.size() <= kShortLiteral &&
         (IsDigit(text[next]) || text[next] == '\'' || text[next] == '"');
}

// Whether the step behind this slash may come to a node from several others.
bool MayBeShared(std::string_view text, std::size_t slash, bool hasAxes) {
  const std::size_t next = text.find_first_not_of(" \t\r\n", slash + 1);
  if (next == std::string_view::npos) {
    return false;
  }
  return hasAxes || text[next] == '.' || (text[next] == '/' && slash != 0);
}

// Behind ../.. and the like, which come from one node to one other.
std::size_t EndOfParents(std::string_view text) {
  const std::size_t end = text.find_first_not_of("./");
  return text.substr(0, end).find("//") == std::string_view::npos ? end : 0;
}

// Most expressions need no second look.
bool MayNeedChanges(std::string_view text) {
  const bool hasAxes = text.find("::") != std::string_view::npos;
  const std::size_t parents = EndOfParents(text);
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '|' || (text[i] == '/' && i > parents && MayBeShared(text, i, hasAxes))) {
      return true;
    }
    if (text[i] >= '<' && text[i] <= '>') {
      i += i + 1 < text.size() && text[i + 1] == '=' ? 1 : 0;
      if (!IsBeforeSmall(text, i + 1)) {
        return true;
      }
    }
  }
  return text.find(kOwnNames) != std::string_view::npos;
}

// ---- where expressions stand in other texts ----------------------------------------------------

// Copies a text with some of its parts changed.
class Copy {
public:
  Copy(std::string_view text, XMLExpressionTest isExpression) : m_text(text), m_isExpression(isExpression) {}

  void Change(std::size_t begin, std::size_t end) {
    if (const std::optional<std::string> changed =
            WithFunctionsForOperators(m_text.substr(begin, end - begin), m_isExpression)) {
      m_result.append(m_text.substr(m_done, begin - m_done)) += *changed;
      m_done = end;
    }
  }
  std::optional<std::string> Result() {
    if (m_done == 0) {
      return std::nullopt;
    }
    return std::move(m_result.append(m_text.substr(m_done)));
  }

private:
  std::string_view m_text;
  XMLExpressionTest m_isExpression;
  std::size_t m_done = 0;
  std::string m_result;
};

// Behind the literal that begins here, or the end of the text.
std::size_t BehindLiteral(std::string_view text, std::size_t begin) {
  const std::size_t end = text.find(text[begin], begin + 1);
  return end == std::string_view::npos ? text.size() : end + 1;
}

bool IsQuote(char c) {
  return c == '\'' || c == '"';
}

} // namespace

std::optional<std::string> WithFunctionsForOperators(std::string_view expression,
                                                     XMLExpressionTest isExpression) {
  if (!MayNeedChanges(expression)) {
    return std::nullopt;
  }
  std::optional<std::string> result = Reader(expression).Result();
  return result && isExpression(expression) ? std::move(result) : std::nullopt;
}

std::optional<std::string> PatternWithFunctionsForOperators(std::string_view pattern,
                                                            XMLExpressionTest isExpression) {
  if (pattern.find('[') == std::string_view::npos || !MayNeedChanges(pattern)) {
    return std::nullopt;
  }
  Copy copy(pattern, isExpression);
  std::size_t begin = 0;
  std::size_t depth = 0;
  for (std::size_t i = 0; i < pattern.size();) {
    if (IsQuote(pattern[i])) {
      i = BehindLiteral(pattern, i);
      continue;
    }
    if (pattern[i] == '[' && depth++ == 0) {
      begin = i + 1;
    } else if (pattern[i] == ']' && depth > 0 && --depth == 0) {
      copy.Change(begin, i);
    }
    ++i;
  }
  return copy.Result();
}

std::optional<std::string> AttributeWithFunctionsForOperators(std::string_view value,
                                                              XMLExpressionTest isExpression) {
  if (value.find('{') == std::string_view::npos || !MayNeedChanges(value)) {
    return std::nullopt;
  }
  Copy copy(value, isExpression);
  for (std::size_t i = value.find('{'); i < value.size(); i = value.find('{', i)) {
    const std::size_t begin = ++i;
    if (i < value.size() && value[i] == '{') { // stands for itself
      ++i;
      continue;
    }
    while (i < value.size() && value[i] != '}') {
      i = IsQuote(value[i]) ? BehindLiteral(value, i) : i + 1;
    }
    if (i < value.size()) {
      copy.Change(begin, i);
    }
  }
  return copy.Result();
}

} // namespace zep
