#include "ZEPFilterCompiler.h"

#include "ZEPBinary.h"
#include "ZEPFilterBinary_flatbuffers.h"
#include "ZEPFilterNormalForm.h"
#include "ZEPFilterReader_libxml2.h"
#include "ZEPFilterResult.h"
#include "ZEPUnicodeString.h"
#include "ZEPXMLDocument_libxml2.h"
#include "ZEPXMLInputSource.h"
#include "ZEPXMLSession_libxslt.h"

namespace zep {
namespace {

FilterDocument ReadExpression(const ZEPUnicodeString& expression) {
  const ZEPISAXInputSource_var source(
      new XMLInputSource(XMLInputSource::Kind::Memory, expression, "expression"));
  XMLSession session(CurrentXMLLimits());
  const XMLDocument document = ParseExpression(session, *SourceOf(source));
  if (document == nullptr) {
    throw FilterFault(session.Message());
  }
  FilterDocument read = ReadFilterDocument(*document);
  if (session.HasFailed()) { // without memory, texts come back empty
    throw FilterFault(session.Message());
  }
  return read;
}

} // namespace

long CompileFilter(const ZEPUnicodeString& expression, ZEPBinary& compiled, std::size_t& termCount) {
  return FilterResult([&] {
    const Filter filter = NormalFormOf(ReadExpression(expression), CurrentFilterLimits());
    compiled = FilterBinary(filter);
    termCount = filter.terms.size();
  });
}

bool IsCompiledFilter(const ZEPBinary& binary) {
  return LooksLikeFilterBinary(binary);
}

} // namespace zep
