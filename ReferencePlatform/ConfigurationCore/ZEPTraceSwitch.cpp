#include "ZEPTraceSwitch.h"

#include "ZEPTraceText.h"

#include <algorithm>

namespace zep {

namespace {

char LowerAscii(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

bool SameName(std::string_view left, std::string_view right) {
  return std::ranges::equal(left, right, {}, LowerAscii, LowerAscii);
}

std::string_view Trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t";
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) {
    return {};
  }
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

void AddItem(TraceSwitch& wanted, std::string_view item) {
  if (item.empty() || item == "0" || SameName(item, "off")) {
    return;
  }
  wanted.on = true;
  if (item == "1" || SameName(item, "all")) {
    wanted.everything = true;
    wanted.performance = true;
  } else if (SameName(item, "perfo")) {
    wanted.performance = true;
  } else {
    wanted.names.emplace_back(item);
  }
}

} // namespace

bool TraceSwitch::Selects(std::string_view className, std::string_view traceGroup) const {
  const std::string_view group = traceGroup.empty() ? std::string_view(kTraceDefaultGroup) : traceGroup;
  return everything || std::ranges::any_of(names, [&](const std::string& name) {
           return SameName(name, className) || SameName(name, group);
         });
}

TraceSwitch ParseTraceSwitch(std::string_view value) {
  TraceSwitch wanted;
  while (!value.empty()) {
    const auto comma = std::min(value.find(','), value.size());
    AddItem(wanted, Trimmed(value.substr(0, comma)));
    value.remove_prefix(std::min(comma + 1, value.size()));
  }
  return wanted;
}

} // namespace zep
