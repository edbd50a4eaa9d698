#pragma once

#include "ZEPBinary.h"
#include "ZEPCfgFilterBasicServices.h"
#include "ZEPError.h"
#include "ZEPFilterComparison.h"
#include "ZEPFilterCompiler.h"
#include "ZEPHResult.h"
#include "ZEPUnicodeString.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <gmock/gmock.h>

// Compiling and comparing expressions on the reference platform.
namespace filter {

struct Releases {
  void operator()(ZEPError* error) const { error->Release(); }
};

inline std::string LastMessage(long code) {
  const std::unique_ptr<ZEPError, Releases> error(ZEPError::ZEPGetLastError(code, nullptr));
  return error ? error->GetMessageText().ConvertToChar() : "";
}

// An expression around contexts, or around one condition.
inline std::string Expression(const std::string& content) {
  return "<EffectivityExpression xmlns='urn:zep:configuration-expression'>" + content +
         "</EffectivityExpression>";
}

inline std::string Units(const std::string& from, const std::string& to) {
  return "<UnitRange" + (from.empty() ? "" : " From='" + from + "'") +
         (to.empty() ? "" : " To='" + to + "'") + "/>";
}
inline std::string Dates(const std::string& from, const std::string& to) {
  return "<DateRange" + (from.empty() ? "" : " From='" + from + "'") +
         (to.empty() ? "" : " To='" + to + "'") + "/>";
}
inline std::string Feature(const std::string& name, const std::vector<std::string>& values) {
  std::string xml = "<Feature Name='" + name + "'>";
  for (const std::string& value : values) {
    xml += "<Value Name='" + value + "'/>";
  }
  return xml + "</Feature>";
}
inline std::string Or(const std::string& conditions) {
  return "<Or>" + conditions + "</Or>";
}
inline std::string And(const std::string& conditions) {
  return "<And>" + conditions + "</And>";
}
inline std::string Not(const std::string& condition) {
  return "<Not>" + condition + "</Not>";
}
inline std::string Model(const std::string& name, const std::string& condition = "") {
  return "<Context HolderType='Model' HolderName='" + name + "'>" + condition + "</Context>";
}
inline std::string Inherited(const std::string& id) {
  return "<InheritedEff Domain='Variant' FilterableId='" + id + "' HolderName='H'/>";
}

// Each of the pigeons sits in one of the holes, and no two in one: cannot be, which takes a search long to
// see.
inline std::string Pigeons(int pigeons, int holes) {
  std::string collisions;
  for (int hole = 0; hole < holes; ++hole) {
    for (int i = 0; i < pigeons; ++i) {
      for (int j = 0; j < i; ++j) {
        const std::string value = "H" + std::to_string(hole);
        collisions +=
            And(Feature("P" + std::to_string(i), {value}) + Feature("P" + std::to_string(j), {value}));
      }
    }
  }
  return Or(collisions);
}

inline std::string EachInAHole(int pigeons, int holes) {
  std::vector<std::string> values;
  for (int hole = 0; hole < holes; ++hole) {
    values.push_back("H" + std::to_string(hole));
  }
  std::string all;
  for (int i = 0; i < pigeons; ++i) {
    all += Feature("P" + std::to_string(i), values);
  }
  return And(all);
}

struct Compiled {
  long result;
  ZEPBinary bytes;
  std::size_t terms;
  std::string message;
};

inline Compiled CompiledDocument(const std::string& xml) {
  Compiled compiled{0, {}, 987, ""};
  ZEPUnicodeString text;
  text.BuildFromUTF8(xml.data(), xml.size());
  compiled.result = zep::CompileFilter(text, compiled.bytes, compiled.terms);
  compiled.message = ZEPFailed(compiled.result) ? LastMessage(compiled.result) : "";
  return compiled;
}

inline ZEPBinary Binary(const std::string& content) {
  const Compiled compiled = CompiledDocument(Expression(content));
  EXPECT_EQ(compiled.result, S_OK) << compiled.message << "\n" << content;
  return compiled.bytes;
}

inline std::vector<unsigned char> Bytes(const ZEPBinary& binary) {
  return {binary.Bytes(), binary.Bytes() + binary.ByteCount()};
}

inline ZEPBinary BinaryOf(const std::vector<unsigned char>& bytes) {
  return {bytes.data(), bytes.size()};
}

// The answer of the library's operation; nothing where it fails, or where it answers neither.
inline std::optional<bool> IsIncluded(const ZEPBinary& a, const ZEPBinary& b) {
  unsigned char isIncluded = 77;
  const long result = ZEPCfgFilterBasicServices::IsAIncludedInB(a, b, isIncluded);
  if (ZEPFailed(result)) {
    EXPECT_EQ(isIncluded, 77);
    return std::nullopt;
  }
  EXPECT_LE(isIncluded, 1);
  return isIncluded == 1;
}

} // namespace filter
