// A platform as small as a client can have it: texts of ASCII characters, a trace that is never wanted,
// and the constants that the library's data refer to.

#include "PLMCfgInTraceClass.h"
#include "PLMCfgXMLVocabulary.h"
#include "ZEPBaseUnknown_var.h"
#include "ZEPCfgDictionaryServices.h"
#include "ZEPUnicodeString.h"
#include "ZEPXMLClassIds.h"
#include "ZEPXMLXSLTransformerOptions.h"
#include "valueToMacro.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>

namespace {

std::u16string_view view(const ZEPUnicodeString& text) {
  return {text.CastToUnitPtr(), static_cast<std::size_t>(text.GetLengthInChar())};
}

ZEPUnicodeString made(std::u16string_view units) {
  return {units.data(), units.size()};
}

std::u16string_view part(std::u16string_view text, int start, int length) {
  const long size = static_cast<long>(text.size());
  const long from = std::clamp(static_cast<long>(start), 0L, size);
  const long to = std::clamp(static_cast<long>(start) + std::max(length, 0), from, size);
  return text.substr(static_cast<std::size_t>(from), static_cast<std::size_t>(to - from));
}

const std::atomic<bool> nothingIsWanted{false};

} // namespace

void ZEPUnicodeString::Empty() {
  m_units = m_inPlace;
  EndAt(0);
}

ZEPUnicodeString::ZEPUnicodeString() : m_narrowText(nullptr) {
  Empty();
}

ZEPUnicodeString::ZEPUnicodeString(const char16_t* units, std::size_t unitCount) : ZEPUnicodeString() {
  if (unitCount > kUnitsInPlace) {
    m_units = new char16_t[unitCount + 1];
  }
  std::copy_n(units, unitCount, m_units);
  EndAt(unitCount);
}

ZEPUnicodeString::ZEPUnicodeString(const char* narrowText) : ZEPUnicodeString() {
  BuildFromUTF8(narrowText, narrowText == nullptr ? 0 : std::strlen(narrowText));
}

ZEPUnicodeString::ZEPUnicodeString(const ZEPUnicodeString& other)
    : ZEPUnicodeString(other.m_units, other.UnitCount()) {}

ZEPUnicodeString::ZEPUnicodeString(ZEPUnicodeString&& other) noexcept : ZEPUnicodeString() {
  TakeUnitsOf(other);
}

ZEPUnicodeString& ZEPUnicodeString::operator=(const ZEPUnicodeString& other) {
  ZEPUnicodeString copy(other);
  return *this = std::move(copy);
}

ZEPUnicodeString& ZEPUnicodeString::operator=(ZEPUnicodeString&& other) noexcept {
  if (this != &other) {
    Reset();
    TakeUnitsOf(other);
  }
  return *this;
}

ZEPUnicodeString::~ZEPUnicodeString() {
  Reset();
}

void ZEPUnicodeString::TakeUnitsOf(ZEPUnicodeString& other) {
  if (other.IsInPlace()) {
    std::copy_n(other.m_units, other.UnitCount(), m_inPlace);
  } else {
    m_units = other.m_units;
  }
  EndAt(other.UnitCount());
  other.Empty();
}

void ZEPUnicodeString::Reset() {
  if (!IsInPlace()) {
    delete[] m_units;
  }
  delete[] m_narrowText.exchange(nullptr);
  Empty();
}

long ZEPUnicodeString::BuildFromUTF8(const char* bytes, std::size_t byteCount) {
  *this = made(std::u16string(bytes, bytes + byteCount));
  return 0;
}

const char* ZEPUnicodeString::CastToCharPtr() const {
  auto bytes = std::make_unique<char[]>(UnitCount() + 1);
  std::transform(m_units, m_units + UnitCount(), bytes.get(),
                 [](char16_t unit) { return static_cast<char>(unit); });
  delete[] m_narrowText.exchange(bytes.get());
  return bytes.release();
}

int ZEPUnicodeString::SearchSubString(const ZEPUnicodeString& pattern, int start, int) const {
  const auto found = view(*this).find(view(pattern), static_cast<std::size_t>(std::max(start, 0)));
  return found == std::u16string_view::npos ? -1 : static_cast<int>(found);
}

ZEPUnicodeString ZEPUnicodeString::SubString(int start, int length) const {
  return made(part(view(*this), start, length));
}

ZEPUnicodeString& ZEPUnicodeString::Append(const ZEPUnicodeString& text) {
  return *this = made(std::u16string(view(*this)).append(view(text)));
}

ZEPUnicodeString& ZEPUnicodeString::AppendPart(const ZEPUnicodeString& text, int start, int length) {
  return Append(text.SubString(start, length));
}

void ZEPUnicodeString::Reserve(int) {}

ZEPBaseUnknown_var::ZEPBaseUnknown_var() : m_object(nullptr) {}

ZEPBaseUnknown_var::~ZEPBaseUnknown_var() = default;

PLMCfgInTraceClass::PLMCfgInTraceClass(const char*, const char*)
    : m_implementation(nullptr),
      m_anyWanted(&nothingIsWanted) {}

PLMCfgInTraceClass::~PLMCfgInTraceClass() = default;

void PLMCfgInTraceClass::SetMethod(char*) {}

void PLMCfgInTraceClass::RemoveMethod() {}

const char* const CFG_NAMESPACE = "";
const char* const VAL_XML_NAMESPACE = "";
const char* const ATTRIBUTE_XML_NAMESPACE = "";
const char* const ATTRIBUTE_NAMESPACE = "";
const char* const ATTRIBUTE_SCHEMA_LOCATION = "";
const char* const FILTEREXPR_SCHEMA_LOCATION = "";
const char* const FILTEREXPR_ELEMENT_ROOT = "";
const char* const ELEMENT_FILTERSELECTION = "";
const char* const ATTR_SELECTIONMODE = "";
const char* const VAL_STRICT = "";
const char* const ELEMENT_CONTEXT = "";
const char* const ATTR_HOLDER_TYPE = "";
const char* const ATTR_HOLDER_NAME = "";
const char* const VAL_MODEL = "";
const char* const ELEMENT_BOOLEAN = "";
const char* const VAL_TRUE = "";
const char* const entity_ConfigurationFeature = "";
const GUID CLSID_XML4C_SAX = {};
const GUID CLSID_XSLT_JAVA = {};
const GUID CLSID_XML4C5_PP = {};
const ZEPUnicodeString ZEPXMLXSLTransformerOptions::OutputFormat;
const std::unordered_map<long, const char*> valueToMacro;
