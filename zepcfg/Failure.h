#pragma once

#include <exception>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

// What a person is told when a command fails, and how.
namespace zep::cli {

inline constexpr int exitDone = 0;
inline constexpr int exitNo = 1; // the answer is "no"
inline constexpr int exitFailed = 2;

struct Failure {
  std::string input;               // what it was about: a file, standard input, a server's path
  std::string operation;           // what failed
  long code;                       // its result code
  std::vector<std::string> errors; // what the operation traced about it, oldest first
  std::string message;             // what the platform had to say beyond that; may be empty
  std::string remedy;
  std::string stylesheet = {}; // the file that was used; may be empty
  std::string server = {};     // the URL of the server that has to do with it; may be empty
  nlohmann::ordered_json members = nlohmann::ordered_json::object(); // more of the JSON object
};

class CommandFailure : public std::exception {
public:
  explicit CommandFailure(Failure failure);
  const char* what() const noexcept override;
  const Failure& failure() const { return m_failure; }

private:
  Failure m_failure;
};

// A failure of the program itself, before or after it called the library.
[[noreturn]] void failBadInput(const std::string& input, const std::string& operation,
                               const std::string& error, const std::string& remedy);
[[noreturn]] void failUnable(const std::string& input, const std::string& operation, const std::string& error,
                             const std::string& remedy);

// "E_FAIL", or "0x80090137" for a code without a name.
std::string resultName(long code);
// The code that a trace names so, or writes as a number; nothing for any other text.
std::optional<long> resultCode(std::string_view name);
// "E_FAIL (0x80004005)", or the number and what it means in words.
std::string resultInWords(long code);

// {"hresult": ..., "result": ...}
nlohmann::ordered_json resultObject(long code);
nlohmann::ordered_json failureObject(const Failure& failure);

// The lines for stderr.
std::string failureReport(const Failure& failure);

} // namespace zep::cli
