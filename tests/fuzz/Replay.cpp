#include "FuzzTarget.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sanitizer/common_interface_defs.h>
#include <unistd.h>

// Runs a target without the fuzzing engine: on each of its seeds and regressions, and on a few mutations of
// each seed, the same ones every time.

#pragma weak __sanitizer_set_death_callback // there with a sanitizer alone

// Undefined behaviour ends the process by a signal, which is seen here.
// NOLINTNEXTLINE(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
extern "C" __attribute__((visibility("default"))) const char* __ubsan_default_options() {
  return "abort_on_error=1:print_stacktrace=1";
}

namespace {

using Input = std::string;

// What is running, for when it is the last thing that runs.
std::string current;         // in words
std::string failedInputFile; // where its bytes are put
const Input* currentInput = nullptr;

void reportCurrentInput() {
  const int file = open(failedInputFile.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
  if (file >= 0 && currentInput != nullptr) {
    static_cast<void>(!write(file, currentInput->data(), currentInput->size()));
    close(file);
  }
  std::cerr << "input: " << current << ", now in " << failedInputFile << std::endl;
}

extern "C" void onDeadlySignal(int signal) {
  reportCurrentInput();
  static_cast<void>(std::signal(signal, SIG_DFL));
  static_cast<void>(std::raise(signal));
}

void reportWhatEndsTheProcess() {
  static_cast<void>(std::signal(SIGABRT, onDeadlySignal));
  if (__sanitizer_set_death_callback != nullptr) {
    __sanitizer_set_death_callback(reportCurrentInput);
  } else {
    static_cast<void>(std::signal(SIGSEGV, onDeadlySignal));
  }
}

void run(const Input& input, std::string name) {
  current = std::move(name);
  currentInput = &input;
  // In memory of its own size, so that a read behind the end is seen.
  const std::vector<std::uint8_t> bytes(input.begin(), input.end());
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

struct NamedInput {
  std::string name;
  Input bytes;
};

std::vector<NamedInput> inputsOf(const std::filesystem::path& folder) {
  std::vector<NamedInput> inputs;
  if (std::filesystem::is_directory(folder)) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
      std::ifstream file(entry.path(), std::ios::binary);
      inputs.push_back({entry.path().string(), {std::istreambuf_iterator<char>(file), {}}});
    }
  }
  std::sort(inputs.begin(), inputs.end(),
            [](const NamedInput& left, const NamedInput& right) { return left.name < right.name; });
  return inputs;
}

// ---- mutations ---------------------------------------------------------------------------------

class Mutator {
public:
  Mutator(const std::vector<NamedInput>& seeds, std::uint64_t firstNumber)
      : m_seeds(seeds),
        m_engine(firstNumber) {}

  Input Mutated(Input input) {
    for (std::size_t count = 1 + Below(4); count > 0; --count) {
      Mutate(input);
    }
    return input;
  }

private:
  std::size_t Below(std::size_t limit) { return static_cast<std::size_t>(m_engine() % limit); }

  // Most of what is interesting is short.
  std::size_t Length() { return 1 + Below(Below(4) == 0 ? 200 : 12); }

  Input PartOf(const Input& input) { return input.substr(Below(input.size() + 1), Length()); }

  void Mutate(Input& input) {
    const std::size_t at = Below(input.size() + 1);
    switch (Below(5)) {
    case 0:
      input.erase(at, Length());
      break;
    case 1:
      input.insert(at, PartOf(input));
      break;
    case 2:
      input.insert(at, PartOf(m_seeds[Below(m_seeds.size())].bytes));
      break;
    case 3:
      if (at < input.size()) {
        input[at] = static_cast<char>(Below(256));
      }
      break;
    default:
      if (at < input.size()) {
        input[at] = static_cast<char>(input[at] ^ (1 << Below(8)));
      }
    }
  }

  const std::vector<NamedInput>& m_seeds;
  std::mt19937_64 m_engine; // the same numbers on every machine
};

void replay(const std::filesystem::path& folder, int mutationsPerSeed) {
  const std::vector<NamedInput> seeds = inputsOf(folder / "seeds");
  const std::vector<NamedInput> regressions = inputsOf(folder / "regressions");
  if (seeds.empty()) {
    throw std::runtime_error(folder.string() + "/seeds holds no file");
  }
  for (const std::vector<NamedInput>& inputs : {seeds, regressions}) {
    for (const NamedInput& input : inputs) {
      run(input.bytes, input.name);
    }
  }
  constexpr std::uint64_t kAnyNumber = 1;
  Mutator mutator(seeds, kAnyNumber);
  for (const NamedInput& seed : seeds) {
    for (int number = 1; number <= mutationsPerSeed; ++number) {
      const Input mutated = mutator.Mutated(seed.bytes);
      run(mutated, "mutation " + std::to_string(number) + " of " + seed.name);
    }
  }
  std::cout << seeds.size() << " seeds, " << regressions.size() << " regressions, "
            << seeds.size() * static_cast<std::size_t>(mutationsPerSeed) << " mutations\n";
}

} // namespace

int main(int count, char** arguments) {
  if (count != 3) {
    std::cerr << "Usage: " << arguments[0] << " FOLDER MUTATIONS\nFOLDER holds seeds/ and regressions/.\n";
    return 2;
  }
  try {
    failedInputFile = std::filesystem::path(arguments[0]).filename().string() + ".failed";
    reportWhatEndsTheProcess();
    replay(arguments[1], std::stoi(arguments[2]));
  } catch (const std::exception& error) {
    std::cerr << current << ": " << error.what() << '\n';
    return 1;
  }
  return 0;
}
