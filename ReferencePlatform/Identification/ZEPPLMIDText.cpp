#include "ZEPPLMIDText.h"

#include "ZEPHResult.h"
#include "ZEPLastError.h"
#include "ZEPPLMID.h"
#include "ZEPTranscoding.h"

#include <algorithm>
#include <string_view>

namespace zep {
namespace {

constexpr std::size_t kMaxUnits = 1024;

bool IsLetterOrDigit(char16_t unit) {
  return (unit >= u'0' && unit <= u'9') || (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z');
}

bool IsName(std::u16string_view text, std::u16string_view punctuation) {
  return !text.empty() && std::all_of(text.begin(), text.end(), [punctuation](char16_t unit) {
    return IsLetterOrDigit(unit) || punctuation.find(unit) != std::u16string_view::npos;
  });
}

bool HasControlCharacter(std::u16string_view text) {
  return std::any_of(text.begin(), text.end(),
                     [](char16_t unit) { return unit < 0x20 || (unit >= 0x7F && unit < 0xA0); });
}

const char* Fault(std::u16string_view text) {
  if (text.empty()) {
    return "the identifier is null";
  }
  if (text.size() > kMaxUnits) {
    return "the identifier is longer than 1024 characters";
  }
  if (HasControlCharacter(text)) {
    return "the identifier holds a control character";
  }
  const std::size_t typeEnd = text.find(u':');
  const std::size_t physicalStart = text.rfind(u':');
  if (typeEnd == physicalStart) {
    return "the identifier is not of the form type:logical:physical";
  }
  if (!IsName(text.substr(0, typeEnd), u"_")) {
    return "the identifier's type is not made of letters, digits and _";
  }
  if (!IsName(text.substr(physicalStart + 1), u"_-.")) {
    return "the identifier's physical part is not made of letters, digits, _, - and .";
  }
  return nullptr;
}

} // namespace

std::optional<PLMIDParts> PartsOf(const ZEPPLMID& id) {
  const ZEPUnicodeString form = id.ToString(0);
  const std::u16string_view text(form.CastToUnitPtr(), static_cast<std::size_t>(form.GetLengthInChar()));
  if (const char* const fault = Fault(text); fault != nullptr) {
    ZEPSetLastError(E_INVALIDARG, std::string(fault) + ": \"" +
                                      UTF8FromUTF16(text.data(), std::min(text.size(), kMaxUnits)) + "\"");
    return std::nullopt;
  }
  const std::size_t typeEnd = text.find(u':');
  const std::size_t physicalStart = text.rfind(u':');
  return PLMIDParts{std::u16string(text.substr(0, typeEnd)),
                    std::u16string(text.substr(typeEnd + 1, physicalStart - typeEnd - 1)),
                    std::u16string(text.substr(physicalStart + 1))};
}

} // namespace zep
