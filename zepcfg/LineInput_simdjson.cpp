#include "LineInput.h"

#include "Failure.h"
#include "Text.h"

#include <optional>
#include <simdjson.h>

namespace zep::cli {
namespace {

const char nameOfId[] = "id";
const char nameOfExpression[] = "expression";

[[noreturn]] void failLine(const std::string& error) {
  failBadInput("", "reading the line", error,
               R"(write the expression as a JSON string, or as an object {"id": ..., "expression": "..."})");
}

LineInput withoutId() {
  return {nlohmann::ordered_json(nlohmann::ordered_json::value_t::discarded), {}};
}

// The parser keeps its memory from line to line, many times that of the longest one.
constexpr std::size_t longestQuickLine = std::size_t{1} << 20;

std::optional<LineInput> expressionOf(const simdjson::dom::element& element) {
  std::string_view text;
  if (element.get(text) != simdjson::SUCCESS) {
    return std::nullopt;
  }
  LineInput input = withoutId();
  input.expression = fromUTF8(text);
  return input;
}

// Of members with one name, the last one counts.
std::optional<LineInput> membersOf(const simdjson::dom::object& object) {
  std::optional<LineInput> input;
  nlohmann::ordered_json id(nlohmann::ordered_json::value_t::discarded);
  for (const auto& [name, value] : object) {
    if (name == nameOfId) {
      id = nlohmann::ordered_json::parse(simdjson::minify(value));
    } else if (name == nameOfExpression) {
      input = expressionOf(value);
    }
  }
  if (input) {
    input->id = std::move(id);
  }
  return input;
}

// Nothing for a line that it does not take; whether that is wrong, and what about it, the thorough reader
// tells, which takes seven times as long.
std::optional<LineInput> readQuickly(const std::string& line) {
  static simdjson::dom::parser parser;
  simdjson::dom::element element;
  if (line.size() > longestQuickLine || parser.parse(line).get(element) != simdjson::SUCCESS) {
    return std::nullopt;
  }
  simdjson::dom::object object;
  return element.get(object) == simdjson::SUCCESS ? membersOf(object) : expressionOf(element);
}

LineInput readThoroughly(const std::string& line) {
  LineInput input = withoutId();
  nlohmann::ordered_json json = nlohmann::ordered_json::parse(line, nullptr, false);
  if (json.is_discarded()) {
    failLine("it is not JSON");
  }
  if (json.is_object()) {
    if (json.contains(nameOfId)) {
      input.id = json[nameOfId];
    }
    const auto expression = json.find(nameOfExpression);
    json = expression == json.end() ? nlohmann::ordered_json() : nlohmann::ordered_json(*expression);
  }
  if (!json.is_string()) {
    failLine("it holds no expression");
  }
  input.expression = fromUTF8(json.get_ref<const std::string&>());
  return input;
}

} // namespace

LineInput parseLine(const std::string& line) {
  std::optional<LineInput> input = readQuickly(line);
  return input ? std::move(*input) : readThoroughly(line);
}

} // namespace zep::cli
