#include "ShellText.h"

#include <algorithm>
#include <stdexcept>

namespace zep::cli {

std::string joinedWords(const std::vector<std::string>& words, const char* between) {
  std::string joined;
  for (const std::string& word : words) {
    joined += (joined.empty() ? "" : between) + word;
  }
  return joined;
}

std::string quoted(const std::string& text) {
  std::string result = "'";
  for (const char character : text) {
    result += character == '\'' ? std::string("'\\''") : std::string(1, character);
  }
  return result + "'";
}

bool isBelow(const CommandDescription& command, const CommandDescription& parent) {
  return command.words.size() == parent.words.size() + 1 &&
         std::equal(parent.words.begin(), parent.words.end(), command.words.begin());
}

std::vector<OptionDescription> distinctOptions(const std::vector<CommandDescription>& all) {
  std::vector<OptionDescription> options;
  for (const CommandDescription& command : all) {
    for (const OptionDescription& option : command.options) {
      const auto found =
          std::find_if(options.begin(), options.end(), [&option](const OptionDescription& other) {
            return other.names.back() == option.names.back();
          });
      if (found == options.end()) {
        options.push_back(option);
      } else if (found->kind != option.kind || found->choices != option.choices) {
        throw std::logic_error("two options " + option.names.back() + " with other values");
      }
    }
  }
  return options;
}

std::vector<std::string> namesWithValue(const std::vector<CommandDescription>& all) {
  std::vector<std::string> names;
  for (const OptionDescription& option : distinctOptions(all)) {
    if (!option.value.empty() && !option.isValueOptional) {
      names.insert(names.end(), option.names.begin(), option.names.end());
    }
  }
  return names;
}

std::vector<std::string> commandNames(const std::vector<CommandDescription>& all) {
  std::vector<std::string> names;
  for (const CommandDescription& command : all) {
    if (!command.words.empty()) {
      names.push_back(joinedWords(command.words));
    }
  }
  return names;
}

std::string filledIn(std::string text, const std::string& from, const std::string& to) {
  return text.replace(text.find(from), from.size(), to);
}

} // namespace zep::cli
