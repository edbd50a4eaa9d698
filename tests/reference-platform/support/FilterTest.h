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
