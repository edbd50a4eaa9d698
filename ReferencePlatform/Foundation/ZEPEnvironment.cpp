#include "ZEPEnvironment.h"

#include "ZEPHResult.h"
#include "ZEPTranscoding.h"
#include "ZEPUnicodeString.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>

namespace {

bool StartsName(char16_t unit) {
  return (unit >= u'A' && unit <= u'Z') || (unit >= u'a' && unit <= u'z') || unit == u'_';
}

bool ContinuesName(char16_t unit) {
  return StartsName(unit) || (unit >= u'0' && unit <= u'9');
}

std::u16string_view NameAt(std::u16string_view text, std::size_t position) {
  std::size_t end = position;
  if (end < text.size() && StartsName(text[end])) {
    while (end < text.size() && ContinuesName(text[end])) {
      ++end;
    }
  }
  return position < text.size() ? text.substr(position, end - position) : std::u16string_view();
}

struct Reference {
  std::u16string_view name; // empty: there is none
  std::size_t length = 0;   // with all its marks
};

// A name between an opening mark and the character `close`.
Reference EnclosedReference(std::u16string_view rest, std::size_t openLength, char16_t close) {
  const std::u16string_view name = NameAt(rest, openLength);
  const std::size_t end = openLength + name.size();
  if (name.empty() || end >= rest.size() || rest[end] != close) {
    return {};
  }
  return {name, end + 1};
}

// The reference that `rest` begins with.
Reference ReferenceAtStart(std::u16string_view rest) {
  if (rest.front() == u'%') {
    return EnclosedReference(rest, 1, u'%');
  }
  if (rest.front() != u'$') {
    return {};
  }
  if (rest.size() > 1 && rest[1] == u'{') {
    return EnclosedReference(rest, 2, u'}');
  }
  const std::u16string_view name = NameAt(rest, 1);
  return {name, 1 + name.size()};
}

std::u16string ValueOf(std::u16string_view name) {
  const std::string narrowName(name.begin(), name.end()); // a name is ASCII
  const char* const value = ZEPGetEnv(narrowName.c_str());
  return value == nullptr ? std::u16string() : zep::UTF16FromUTF8(value, std::strlen(value));
}

std::u16string Expanded(std::u16string_view rest) {
  std::u16string expanded;
  while (!rest.empty()) {
    const std::size_t mark = std::min(rest.find_first_of(u"$%"), rest.size());
    expanded.append(rest.substr(0, mark));
    rest.remove_prefix(mark);
    if (rest.empty()) {
      break;
    }
    const Reference reference = ReferenceAtStart(rest);
    if (reference.name.empty()) {
      expanded.push_back(rest.front());
      rest.remove_prefix(1);
    } else {
      expanded.append(ValueOf(reference.name));
      rest.remove_prefix(reference.length);
    }
  }
  return expanded;
}

} // namespace

const char* ZEPGetEnv(const char* name) {
  return name == nullptr ? nullptr : std::getenv(name);
}

long ZEPExpandString(ZEPUnicodeString* ioText) {
  if (ioText == nullptr) {
    return E_POINTER;
  }
  const std::u16string expanded =
      Expanded({ioText->CastToUnitPtr(), static_cast<std::size_t>(ioText->GetLengthInChar())});
  *ioText = ZEPUnicodeString(expanded.data(), expanded.size());
  return S_OK;
}
