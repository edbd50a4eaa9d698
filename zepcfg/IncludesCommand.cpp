#include "Commands.h"

#include "CompiledFilter.h"
#include "Counterexample.h"
#include "Failure.h"
#include "Output.h"
#include "Remedy.h"
#include "Text.h"
#include "TraceCollector.h"
#include "ZEPCfgFilterBasicServices.h"
#include "ZEPHResult.h"

#include <optional>
#include <utility>

namespace zep::cli {
namespace {

class Comparison {
public:
  explicit Comparison(const IncludesOptions& options) : m_nameOfA(options.a), m_nameOfB(options.b) {
    if (m_nameOfA == "-" && m_nameOfB == "-") {
      failBadInput("standard input", "reading the filters", "it cannot be both filters",
                   "name a file for one of them");
    }
    m_a = readFilter(m_nameOfA);
    m_b = readFilter(m_nameOfB);
  }

  // The result code of the answer, which is set.
  long answer(bool& isIncluded) const {
    const TraceCollector trace;
    unsigned char included = 0;
    const long result = ZEPCfgFilterBasicServices::IsAIncludedInB(m_a, m_b, included);
    if (ZEPFailed(result)) {
      fail(trace, "IsAIncludedInB", result);
    }
    isIncluded = included != 0;
    return result;
  }

  std::optional<Configuration> counterexample() const {
    const TraceCollector trace;
    std::optional<Configuration> configuration;
    const long result = FindCounterexample(m_b, m_a, configuration);
    if (ZEPFailed(result)) {
      fail(trace, "FindCounterexample", result);
    }
    return configuration;
  }

private:
  [[noreturn]] void fail(const TraceCollector& trace, const std::string& operation, long result) const {
    Failure failure = describeFailure(trace, "", operation, result);
    failure.input = nameOfDamaged();
    throw CommandFailure(std::move(failure));
  }

  // A filter that cannot even be compared with itself is to blame. B is read first, so that an error is
  // about it where both are damaged.
  std::string nameOfDamaged() const {
    if (!isReadable(m_b)) {
      return inputName(m_nameOfB);
    }
    return isReadable(m_a) ? inputName(m_nameOfA) + " and " + inputName(m_nameOfB) : inputName(m_nameOfA);
  }

  static bool isReadable(const ZEPBinary& filter) {
    std::optional<Configuration> none;
    return !ZEPFailed(FindCounterexample(filter, filter, none));
  }

  std::string m_nameOfA;
  std::string m_nameOfB;
  ZEPBinary m_a;
  ZEPBinary m_b;
};

} // namespace

int runIncludes(const IncludesOptions& options) {
  const Comparison comparison(options);
  bool isIncluded = false;
  const long result = comparison.answer(isIncluded);
  const auto counterexample =
      options.explain && !isIncluded ? comparison.counterexample() : std::optional<Configuration>();
  if (options.output.json) {
    nlohmann::ordered_json object = resultObject(result);
    object["included"] = isIncluded;
    object["counterexample"] = counterexample ? asJSON(*counterexample) : nlohmann::ordered_json();
    writeJSON(object, options.output.file);
  } else {
    const std::string answer = isIncluded ? "yes\n" : "no\n";
    writeResult(answer + (counterexample ? inWords(*counterexample) : ""), options.output.file);
  }
  return isIncluded ? exitDone : exitNo;
}

} // namespace zep::cli
