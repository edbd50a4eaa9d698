#include "LineStream.h"

#include "Failure.h"
#include "LineInput.h"
#include "LineReader.h"
#include "Output.h"
#include "Progress.h"
#include "WorkerPool.h"
#include "ZEPHResult.h"

#include <optional>
#include <utility>

namespace zep::cli {
namespace {

std::string lineName(std::size_t number) {
  return "line " + std::to_string(number);
}

nlohmann::ordered_json withId(const nlohmann::ordered_json& id, const nlohmann::ordered_json& members) {
  nlohmann::ordered_json object = nlohmann::ordered_json::object();
  if (!id.is_discarded()) {
    object["id"] = id;
  }
  object.update(members);
  return object;
}

std::string asLine(const nlohmann::ordered_json& object) {
  return object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) + "\n";
}

WorkResult failedLine(const nlohmann::ordered_json& id, Failure failure, std::size_t number) {
  failure.input = lineName(number);
  return {asLine(withId(id, failureObject(failure))), true};
}

// The output line for one input line.
WorkResult processLine(const LineOperation& operation, const std::string& text, std::size_t number) {
  nlohmann::ordered_json id(nlohmann::ordered_json::value_t::discarded);
  try {
    const LineInput input = parseLine(text);
    id = input.id;
    return {asLine(withId(id, operation(input.expression))), false};
  } catch (const CommandFailure& failure) {
    return failedLine(id, failure.failure(), number);
  } catch (const std::bad_alloc&) {
    return failedLine(
        id, {"", "the command", E_OUTOFMEMORY, {"out of memory"}, "", "give it a smaller expression"},
        number);
  }
}

WorkResult tooLongLine(std::size_t number) {
  return failedLine(nlohmann::ordered_json(nlohmann::ordered_json::value_t::discarded),
                    {"",
                     "reading the line",
                     E_INVALIDARG,
                     {"the line is too long"},
                     "",
                     "give the expression in smaller pieces"},
                    number);
}

WorkResult lostLine(std::size_t number) {
  return failedLine(nlohmann::ordered_json(nlohmann::ordered_json::value_t::discarded),
                    {"",
                     "the worker process",
                     E_ABORT,
                     {"the process that worked on it ended"},
                     "",
                     "run the line by itself to see why"},
                    number);
}

} // namespace

int runLineStream(const std::string& file, int jobs, const LineOperation& operation,
                  const OutputOptions& output) {
  ResultStream results(output.file);
  Progress progress;
  std::optional<WorkerPool> pool;
  bool isWaiting = false; // nobody knows how long: what is known has to be seen
  LineReader reader(file, [&](int descriptor) {
    isWaiting = true;
    results.flush();
    if (pool) {
      pool->waitForInput(descriptor);
    }
    isWaiting = false;
  });
  bool hasFailed = false;
  std::size_t written = 0;
  const auto write = [&](const WorkResult& result) {
    hasFailed = hasFailed || result.hasFailed;
    results.write(result.text);
    if (isWaiting) {
      results.flush();
    }
    progress.show(++written, "lines", reader.share());
  };
  const auto process = [&operation](const std::string& text, std::size_t number) {
    return processLine(operation, text, number);
  };
  if (jobs > 1) {
    pool.emplace(jobs, process, lostLine, write);
  }
  std::size_t number = 0;
  while (std::optional<Line> line = reader.next()) {
    ++number;
    if (pool && line->isTooLong) {
      pool->giveResult(tooLongLine(number));
    } else if (pool) {
      pool->giveWork(std::move(line->text), number);
    } else {
      write(line->isTooLong ? tooLongLine(number) : process(line->text, number));
    }
  }
  if (pool) {
    pool->finish();
  }
  progress.clear();
  results.finish();
  return hasFailed ? exitFailed : exitDone;
}

} // namespace zep::cli
