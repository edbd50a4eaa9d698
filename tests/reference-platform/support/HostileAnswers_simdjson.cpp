#include "HostileAnswers.h"

#include <simdjson.h>

#include <map>
#include <stdexcept>
#include <string_view>

namespace {

using simdjson::dom::element;

using Names = std::map<std::string, std::string, std::less<>>;

// A missing member, or one of another kind, throws.
std::string Text(element value) {
  return std::string(std::string_view(value));
}

std::string TextOf(element object, const char* key) {
  element value;
  return object[key].get(value) == simdjson::SUCCESS ? Text(value) : std::string();
}

bool IsSet(element object, const char* key) {
  bool value = false;
  return object[key].get(value) == simdjson::SUCCESS && value;
}

// Each $name becomes the text of that name.
std::string Expanded(std::string text, const Names& names) {
  for (const auto& [name, meaning] : names) {
    for (std::size_t at = 0; (at = text.find(name, at)) != std::string::npos; at += meaning.size()) {
      text.replace(at, name.size(), meaning);
    }
  }
  return text;
}

// The bytes that the characters up to U+00FF stand for.
std::string BytesOf(std::string_view utf8) {
  std::string bytes;
  for (std::size_t at = 0; at < utf8.size(); ++at) {
    const auto byte = static_cast<unsigned char>(utf8[at]);
    if (byte >= 0x80 && at + 1 < utf8.size()) {
      bytes += static_cast<char>((byte & 0x03U) << 6 | (static_cast<unsigned char>(utf8[++at]) & 0x3FU));
    } else {
      bytes += utf8[at];
    }
  }
  return bytes;
}

std::string PartText(element part, const Names& names) {
  if (part.is_string()) {
    return Expanded(Text(part), names);
  }
  if (const std::string name = TextOf(part, "tail"); !name.empty()) {
    return names.at(name).substr(1);
  }
  const std::string once = TextOf(part, "text");
  std::string text;
  for (std::int64_t times = part["times"].get_int64(); times > 0; --times) {
    text += once;
  }
  return text;
}

std::vector<HostileAnswer::Piece> Pieces(element send, const Names& names, bool isLastAlone) {
  std::vector<HostileAnswer::Piece> pieces;
  std::int64_t pause = 0;
  for (const element part : simdjson::dom::array(send)) {
    if (part.is_object() && part["pause"].get(pause) == simdjson::SUCCESS) {
      continue;
    }
    // At once, so that nothing of it comes later than the rest; what an ending repeats stands alone.
    if (!pieces.empty() && pause == 0 && !isLastAlone) {
      pieces.back().bytes += BytesOf(PartText(part, names));
    } else {
      pieces.push_back({BytesOf(PartText(part, names)), std::chrono::milliseconds(pause)});
    }
    pause = 0;
  }
  if (pause > 0) {
    pieces.push_back({"", std::chrono::milliseconds(pause)});
  }
  return pieces;
}

std::string Body(element answer, const Names& names) {
  element body;
  if (answer["body"].get(body) != simdjson::SUCCESS) {
    return {};
  }
  if (!body.is_array()) {
    return PartText(body, names);
  }
  std::string text;
  for (const element part : simdjson::dom::array(body)) {
    text += PartText(part, names);
  }
  return text;
}

HostileAnswer::Ending Ending(const std::string& word) {
  using enum HostileAnswer::Ending;
  static const std::map<std::string, HostileAnswer::Ending> words = {
      {"", Keep},     {"keep", Keep}, {"close", Close},     {"reset", Reset},
      {"hold", Hold}, {"drip", Drip}, {"endless", Endless},
  };
  return words.at(word);
}

} // namespace

std::vector<HostileAnswer> ReadHostileAnswers(const std::string& path) {
  simdjson::dom::parser parser;
  const element document = parser.load(path);
  Names names;
  for (const auto [name, meaning] : simdjson::dom::object(document["names"])) {
    names.emplace(name, Text(meaning));
  }
  std::vector<HostileAnswer> answers;
  for (const element answer : simdjson::dom::array(document["answers"])) {
    using enum HostileAnswer::Listening;
    const HostileAnswer::Ending ending = Ending(TextOf(answer, "then"));
    const bool repeats = ending == HostileAnswer::Ending::Endless || ending == HostileAnswer::Ending::Drip;
    answers.push_back({.name = Text(answer["name"]),
                       .pieces = Pieces(answer["send"], names, repeats),
                       .ending = ending,
                       .listening = IsSet(answer, "deaf")    ? Deaf
                                    : IsSet(answer, "early") ? Early
                                                             : ForRequest,
                       .result = Text(answer["result"]),
                       .body = Body(answer, names),
                       .says = TextOf(answer, "says")});
  }
  return answers;
}
