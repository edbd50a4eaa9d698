#include "Bench.h"
#include "InclusionEngines.h"
#include "InclusionProblem.h"

#include <chrono>
#include <map>
#include <memory>
#include <optional>
#include <string>

// IsAIncludedInB on compiled filters, beside engines that a person would set up by hand for it. Ours reads
// both filters from their bytes; the others have theirs at hand as data and build what they need.

namespace {

// One that takes longer than this on a size is not asked about larger ones.
constexpr double kMaxSeconds = 0.5;

double secondsOf(const bench::Work& work) {
  const auto start = std::chrono::steady_clock::now();
  work();
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

void compare(const inclusion::Family& family) {
  std::map<std::string, bool> isTooSlow;
  for (int count = 10; count <= family.maxTerms; count *= 10) {
    const auto problem = std::make_shared<const inclusion::Problem>(family.make(count));
    const std::string beginning = "inclusion/" + family.name + "/" + std::to_string(count) + "/";
    for (const inclusion::Engine& engine : inclusion::engines()) {
      if (isTooSlow[engine.name]) {
        continue;
      }
      const auto ask = engine.prepare(*problem);
      std::optional<bool> answer;
      isTooSlow[engine.name] = secondsOf([&] { answer = ask(); }) > kMaxSeconds;
      if (!answer && engine.isExact) {
        isTooSlow[engine.name] = true;
        continue;
      }
      bench::require(!engine.isExact || answer == problem->isIncluded,
                     beginning + engine.name + " gives a wrong answer");
      bench::add(beginning + engine.name, [ask, problem] { bench::keep(ask()); });
    }
  }
}

} // namespace

int main(int argc, char** argv) {
  for (const inclusion::Family& family : inclusion::families()) {
    compare(family);
  }
  return bench::run(argc, argv);
}
