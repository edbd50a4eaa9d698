#include "Counterexample.h"

#include "Text.h"

namespace zep::cli {
namespace {

std::string kindName(FilterVariableKind kind) {
  switch (kind) {
  case FilterVariableKind::Holder:
    return "holder";
  case FilterVariableKind::Inherited:
    return "inherited";
  case FilterVariableKind::Feature:
    return "feature";
  case FilterVariableKind::Date:
    return "date";
  case FilterVariableKind::Unit:
    return "unit";
  }
  return {};
}

std::string inWords(const ConfigurationValue& entry) {
  switch (entry.kind) {
  case FilterVariableKind::Holder:
    return "holder: " + entry.value.value_or("(any that neither names)");
  case FilterVariableKind::Inherited:
    return "inherited effectivity " + entry.variable + " = " + (entry.value ? "holds" : "does not hold");
  case FilterVariableKind::Feature:
    return entry.variable + " = " + entry.value.value_or("(any value that neither names)");
  default:
    return kindName(entry.kind) + " = " + entry.value.value_or("(any)");
  }
}

} // namespace

std::string inWords(const Configuration& configuration) {
  std::string lines;
  for (const ConfigurationValue& entry : configuration) {
    lines += replaceAll(withoutControls(inWords(entry)), "\n", "\\x0A") + "\n";
  }
  return lines.empty() ? "any configuration\n" : lines;
}

nlohmann::ordered_json asJSON(const Configuration& configuration) {
  using JSON = nlohmann::ordered_json;
  JSON array = JSON::array();
  for (const ConfigurationValue& entry : configuration) {
    array.push_back({{"kind", kindName(entry.kind)},
                     {"name", entry.variable.empty() ? JSON() : JSON(entry.variable)},
                     {"value", entry.value ? JSON(*entry.value) : JSON()}});
  }
  return array;
}

} // namespace zep::cli
