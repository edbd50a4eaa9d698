#pragma once

#include "ZEPUnicodeString.h"

#include <benchmark/benchmark.h>

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

// What the benchmark programs share.
//
// A benchmark is called group/task/size/who, where `who` is "ours" or the name of a peer that does the same
// work on the same input. The report sets the ones with equal beginnings side by side; it needs to know
// nothing else about them.
namespace bench {

using Work = std::function<void()>;

// The work is repeated and timed by the processor time of this thread.
void add(const std::string& name, Work work);
// `prepare` makes the work anew, untimed, for each round.
void addPrepared(const std::string& name, std::function<Work()> prepare);
// The same with a fixed number of repetitions, which `prepare` is told.
void addCounted(const std::string& name, std::size_t count, std::function<Work(std::size_t count)> prepare);
// Here the work tells its own time, in seconds: for work that other threads or processes do.
void addTimed(const std::string& name, std::function<double()> work);

// Puts a text where the compiler cannot prove that nobody reads it.
template <class Value>
void keep(Value&& value) {
  benchmark::DoNotOptimize(std::forward<Value>(value));
}

// Ends the program: figures of something that does not work are worth nothing.
[[noreturn]] void fail(const std::string& reason);
void require(bool condition, const std::string& reason);
// Ends the program unless both did the same work.
void requireSame(const std::string& what, std::string_view ours, std::string_view peer);

std::string utf8Of(const ZEPUnicodeString& text);
ZEPUnicodeString textOf(std::string_view utf8);

std::string readFile(const std::filesystem::path& path);
void writeFile(const std::filesystem::path& path, std::string_view bytes);
// A directory that is removed when the program ends.
const std::filesystem::path& scratchDirectory();

// Runs the benchmarks that were added. Rounds of all of them take turns in random order, so that a slow
// moment of the machine hits each alike.
int run(int argc, char** argv);

} // namespace bench
