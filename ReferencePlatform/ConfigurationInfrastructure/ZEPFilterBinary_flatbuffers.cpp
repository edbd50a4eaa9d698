#include "ZEPFilterBinary_flatbuffers.h"

#include "ZEPBinary.h"
#include "ZEPFilterFault.h"
#include "ZEPFilter_generated.h"
#include "ZEPTranscoding.h"

#include <cstring>
#include <string>

#include <zlib.h>

namespace zep {
namespace {

constexpr std::uint32_t kVersion = 1;
constexpr std::size_t kAlignment = 8; // of the numbers inside
constexpr std::size_t kMaxBytes = std::size_t{256} << 20;
constexpr std::size_t kMaxVariables = 65'536;

constexpr const char* kOtherLayout = "it is not written as a compiler writes it";

[[noreturn]] void FailAsDamaged(const char* what) {
  throw FilterFault(std::string("the compiled filter is damaged: ") + what);
}

void Require(bool isFulfilled, const char* what) {
  if (!isFulfilled) {
    FailAsDamaged(what);
  }
}

std::uint32_t Checksum(const std::uint8_t* bytes, std::size_t count) {
  return static_cast<std::uint32_t>(crc32_z(0, bytes, count));
}

// ---- writing -----------------------------------------------------------------------------------

flatbuffers::Offset<binary::Variable> Written(flatbuffers::FlatBufferBuilder& builder,
                                              const FilterVariable& variable) {
  const auto name = builder.CreateString(variable.name);
  return binary::CreateVariable(builder, static_cast<std::uint8_t>(variable.kind), name,
                                static_cast<std::uint32_t>(variable.values.size()));
}

void WriteFilter(flatbuffers::FlatBufferBuilder& builder, const Filter& filter) {
  std::vector<flatbuffers::Offset<binary::Variable>> variables;
  std::vector<flatbuffers::Offset<flatbuffers::String>> values;
  for (const FilterVariable& variable : filter.variables) {
    variables.push_back(Written(builder, variable));
    for (const std::string& value : variable.values) {
      values.push_back(builder.CreateString(value));
    }
  }
  std::vector<std::uint32_t> literalCounts;
  std::vector<binary::Literal> literals;
  std::vector<binary::Range> ranges;
  for (const FilterTerm& term : filter.terms) {
    literalCounts.push_back(static_cast<std::uint32_t>(term.size()));
    for (const FilterLiteral& literal : term) {
      literals.emplace_back(literal.variable, static_cast<std::uint32_t>(literal.numbers.size()));
      for (const Range& range : literal.numbers) {
        ranges.emplace_back(range.first, range.last);
      }
    }
  }
  builder.Finish(
      binary::CreateFilterDirect(builder, &variables, &values, &literalCounts, &literals, &ranges));
}

// A little less than the bytes that it takes; those cannot be counted once they are too many to be written.
std::size_t LeastBytes(const Filter& filter) {
  std::size_t count = 0;
  for (const FilterTerm& term : filter.terms) {
    count += sizeof(std::uint32_t) + term.size() * sizeof(binary::Literal) +
             RangeCount(term) * sizeof(binary::Range);
  }
  return count;
}

// ---- reading -----------------------------------------------------------------------------------

// Where numbers stand; the verifier looks at that neither for a content inside nor for lists of structures.
void RequireAligned(const void* place) {
  Require(reinterpret_cast<std::uintptr_t>(place) % kAlignment == 0, kOtherLayout);
}

bool IsNamed(FilterVariableKind kind) {
  return kind == FilterVariableKind::Feature || kind == FilterVariableKind::Inherited;
}

class VariableReader {
public:
  VariableReader(const binary::Filter& written, std::size_t byteCount)
      : m_written(written),
        m_bytesLeft(byteCount) {
    Require(written.variables() != nullptr && written.variables()->size() <= kMaxVariables,
            "the variables are missing or too many");
    Require(written.values() != nullptr, "the values are missing");
  }

  std::vector<FilterVariable> Read() {
    std::vector<FilterVariable> variables;
    for (const binary::Variable* const variable : *m_written.variables()) {
      variables.push_back(ReadVariable(variable));
      Require(variables.size() < 2 || IsBefore(variables.end()[-2], variables.back()),
              "variables are not in order");
    }
    Require(m_value == m_written.values()->size(), "there are values of no variable");
    return variables;
  }

private:
  FilterVariable ReadVariable(const binary::Variable* written) {
    Require(written != nullptr && written->kind() <= static_cast<std::uint8_t>(kLastVariableKind),
            "a variable is of no known kind");
    FilterVariable variable{static_cast<FilterVariableKind>(written->kind()), ReadText(written->name()), {}};
    Require(variable.name.empty() != IsNamed(variable.kind),
            "a variable has a name that its kind cannot have");
    Require((written->value_count() > 0) == HasNames(variable.kind),
            "a variable has values that its kind cannot have");
    Require(written->value_count() <= m_written.values()->size() - m_value, "values are missing");
    for (std::uint32_t i = 0; i < written->value_count(); ++i) {
      variable.values.push_back(ReadText(m_written.values()->Get(m_value++)));
      Require(i == 0 || variable.values[i - 1] < variable.values[i], "values are not in order");
    }
    return variable;
  }

  // Texts may share bytes, and would be as many times as large when they are copied.
  std::string ReadText(const flatbuffers::String* text) {
    Require(text != nullptr, "a text is missing");
    Require(text->size() <= m_bytesLeft, "texts overlap");
    m_bytesLeft -= text->size();
    std::string bytes = text->str();
    const std::u16string units = UTF16FromUTF8(bytes.data(), bytes.size());
    Require(UTF8FromUTF16(units.data(), units.size()) == bytes, "a text is not UTF-8");
    return bytes;
  }

  const binary::Filter& m_written;
  std::size_t m_bytesLeft; // that texts can have
  flatbuffers::uoffset_t m_value = 0;
};

// The names that nobody mentioned stand together.
bool SplitsUnknownNames(const RangeSet& numbers, const FilterVariable& variable) {
  const Range& end = numbers.back();
  const auto count = static_cast<std::int64_t>(variable.values.size());
  return HasNames(variable.kind) && (end.last == kNoLast ? end.first > count : end.last >= count);
}

class TermReader {
public:
  TermReader(const std::vector<FilterVariable>& variables, const binary::Filter& written,
             const FilterLimits& limits)
      : m_variables(variables),
        m_written(written) {
    Require(written.literal_counts() != nullptr && written.literals() != nullptr &&
                written.ranges() != nullptr,
            "the terms are missing");
    RequireAligned(written.ranges()->Data());
    if (written.literal_counts()->size() > limits.maxTerms || written.ranges()->size() > limits.maxRanges) {
      throw FilterFault("the compiled filter has more terms or ranges than ZEP_FILTER_MAX_TERMS allows");
    }
  }

  std::vector<FilterTerm> Read() {
    std::vector<FilterTerm> terms;
    terms.reserve(m_written.literal_counts()->size());
    for (const std::uint32_t literalCount : *m_written.literal_counts()) {
      terms.push_back(ReadTerm(literalCount));
      Require(terms.size() < 2 || terms.end()[-2] < terms.back(), "terms are not in order");
    }
    Require(m_literal == m_written.literals()->size() && m_range == m_written.ranges()->size(),
            "there are literals or ranges of no term");
    return terms;
  }

private:
  FilterTerm ReadTerm(std::uint32_t literalCount) {
    Require(literalCount <= m_written.literals()->size() - m_literal, "literals are missing");
    FilterTerm term;
    term.reserve(literalCount);
    for (std::uint32_t i = 0; i < literalCount; ++i) {
      term.push_back(ReadLiteral(*m_written.literals()->Get(m_literal++)));
      Require(i == 0 || term[i - 1].variable < term[i].variable, "literals are not in order");
    }
    return term;
  }

  FilterLiteral ReadLiteral(const binary::Literal& written) {
    Require(written.variable() < m_variables.size(), "a literal is of no variable");
    Require(written.range_count() > 0 && written.range_count() <= m_written.ranges()->size() - m_range,
            "ranges are missing");
    FilterLiteral literal{written.variable(), {}};
    literal.numbers.reserve(written.range_count());
    for (std::uint32_t i = 0; i < written.range_count(); ++i) {
      const binary::Range& range = *m_written.ranges()->Get(m_range++);
      literal.numbers.push_back({range.first(), range.last()});
    }
    const FilterVariable& variable = m_variables[literal.variable];
    const Range domain = DomainOf(variable.kind);
    Require(IsRangeSet(literal.numbers, domain) && literal.numbers != RangeSet{domain} &&
                !SplitsUnknownNames(literal.numbers, variable),
            "ranges are not in order, or out of bounds");
    return literal;
  }

  const std::vector<FilterVariable>& m_variables;
  const binary::Filter& m_written;
  flatbuffers::uoffset_t m_literal = 0;
  flatbuffers::uoffset_t m_range = 0;
};

const binary::CompiledFilter& Verified(const std::uint8_t* bytes, std::size_t count) {
  flatbuffers::Verifier verifier(bytes, count);
  Require(binary::VerifyCompiledFilterBuffer(verifier), "its structure");
  const auto& compiled = *binary::GetCompiledFilter(bytes);
  if (compiled.version() != kVersion) {
    throw FilterFault("the compiled filter is of version " + std::to_string(compiled.version()) +
                      ", which is not known here: compile the expression again");
  }
  Require(compiled.filter() != nullptr, "its content is missing");
  RequireAligned(compiled.filter()->data());
  Require(Checksum(compiled.filter()->data(), compiled.filter()->size()) == compiled.checksum(),
          "its checksum does not fit its content");
  return compiled;
}

// The numbers inside lie at multiples of eight behind the beginning.
class AlignedBytes {
public:
  explicit AlignedBytes(const ZEPBinary& binary) : m_words(binary.ByteCount() / sizeof(std::uint64_t) + 1) {
    std::memcpy(m_words.data(), binary.Bytes(), binary.ByteCount());
  }
  const std::uint8_t* Bytes() const { return reinterpret_cast<const std::uint8_t*>(m_words.data()); }

private:
  std::vector<std::uint64_t> m_words;
};

} // namespace

bool IsSame(const ZEPBinary& left, const ZEPBinary& right) {
  return left.ByteCount() == right.ByteCount() &&
         (left.ByteCount() == 0 || std::memcmp(left.Bytes(), right.Bytes(), left.ByteCount()) == 0);
}

bool LooksLikeFilterBinary(const ZEPBinary& binary) {
  return binary.ByteCount() >= 2 * sizeof(flatbuffers::uoffset_t) &&
         binary::CompiledFilterBufferHasIdentifier(binary.Bytes());
}

ZEPBinary FilterBinary(const Filter& filter) {
  if (LeastBytes(filter) > kMaxBytes) {
    throw FilterFault("its compiled form is larger than 256 MiB");
  }
  flatbuffers::FlatBufferBuilder content;
  WriteFilter(content, filter);
  flatbuffers::FlatBufferBuilder builder;
  builder.ForceVectorAlignment(content.GetSize(), sizeof(std::uint8_t), kAlignment);
  const auto bytes = builder.CreateVector(content.GetBufferPointer(), content.GetSize());
  const std::uint32_t checksum = Checksum(content.GetBufferPointer(), content.GetSize());
  binary::FinishCompiledFilterBuffer(builder,
                                     binary::CreateCompiledFilter(builder, kVersion, checksum, bytes));
  return {builder.GetBufferPointer(), builder.GetSize()};
}

Filter ReadFilterBinary(const ZEPBinary& binary, const FilterLimits& limits) {
  if (!LooksLikeFilterBinary(binary)) {
    throw FilterFault("these bytes are no compiled filter");
  }
  if (binary.ByteCount() > kMaxBytes) {
    throw FilterFault("the compiled filter is larger than 256 MiB");
  }
  const AlignedBytes aligned(binary);
  const auto& compiled = Verified(aligned.Bytes(), binary.ByteCount());
  flatbuffers::Verifier verifier(compiled.filter()->data(), compiled.filter()->size());
  Require(verifier.VerifyBuffer<binary::Filter>(nullptr), "the structure of its content");
  const auto& written = *flatbuffers::GetRoot<binary::Filter>(compiled.filter()->data());
  Filter filter;
  filter.variables = VariableReader(written, compiled.filter()->size()).Read();
  filter.terms = TermReader(filter.variables, written, limits).Read();
  Require(IsSame(FilterBinary(filter), binary), kOtherLayout);
  return filter;
}

} // namespace zep
