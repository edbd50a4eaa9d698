#include "Bench.h"

#include "ZEPUTF8Conversion.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <iostream>
#include <iterator>
#include <vector>

namespace bench {
namespace {

class ScratchDirectory {
public:
  ScratchDirectory() {
    std::string path = (std::filesystem::temp_directory_path() / "zep-bench-XXXXXX").string();
    require(mkdtemp(path.data()) != nullptr, "no directory for temporary files");
    m_path = path;
  }
  ~ScratchDirectory() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  ScratchDirectory(const ScratchDirectory&) = delete;
  ScratchDirectory& operator=(const ScratchDirectory&) = delete;

  const std::filesystem::path& Path() const { return m_path; }

private:
  std::filesystem::path m_path;
};

void repeat(benchmark::State& state, const Work& work) {
  for (auto iteration : state) {
    static_cast<void>(iteration);
    work();
  }
}

} // namespace

void addPrepared(const std::string& name, std::function<Work()> prepare) {
  benchmark::RegisterBenchmark(name.c_str(), [prepare = std::move(prepare)](benchmark::State& state) {
    repeat(state, prepare());
  })->Unit(benchmark::kMicrosecond);
}

void add(const std::string& name, Work work) {
  addPrepared(name, [work = std::move(work)] { return work; });
}

void addCounted(const std::string& name, std::size_t count, std::function<Work(std::size_t count)> prepare) {
  benchmark::RegisterBenchmark(name.c_str(),
                               [prepare = std::move(prepare)](benchmark::State& state) {
                                 repeat(state, prepare(static_cast<std::size_t>(state.max_iterations)));
                               })
      ->Unit(benchmark::kMicrosecond)
      ->Iterations(static_cast<benchmark::IterationCount>(count));
}

void addTimed(const std::string& name, std::function<double()> work) {
  benchmark::RegisterBenchmark(name.c_str(),
                               [work = std::move(work)](benchmark::State& state) {
                                 repeat(state, [&] { state.SetIterationTime(work()); });
                               })
      ->Unit(benchmark::kMicrosecond)
      ->UseManualTime();
}

void fail(const std::string& reason) {
  std::cerr << "benchmark: " << reason << '\n';
  std::exit(EXIT_FAILURE);
}

void require(bool condition, const std::string& reason) {
  if (!condition) {
    fail(reason);
  }
}

void requireSame(const std::string& what, std::string_view ours, std::string_view peer) {
  if (ours == peer) {
    require(!ours.empty(), what + ": there is no text to compare");
    return;
  }
  const auto shorter = std::min(ours.size(), peer.size());
  const auto at = static_cast<std::size_t>(std::distance(
      ours.begin(),
      std::mismatch(ours.begin(), ours.begin() + static_cast<std::ptrdiff_t>(shorter), peer.begin()).first));
  const auto excerpt = [at](std::string_view text) {
    return std::string(text.substr(at - std::min<std::size_t>(at, 40), 80));
  };
  fail(what + ": the peer's text differs at byte " + std::to_string(at) + " (" + std::to_string(ours.size()) +
       " and " + std::to_string(peer.size()) + " bytes)\n  ours: " + excerpt(ours) +
       "\n  peer: " + excerpt(peer));
}

std::string utf8Of(const ZEPUnicodeString& text) {
  const ZEPUTF8Conversion utf8(text);
  return {utf8.Bytes(), utf8.ByteCount()};
}

ZEPUnicodeString textOf(std::string_view utf8) {
  ZEPUnicodeString text;
  text.BuildFromUTF8(utf8.data(), utf8.size());
  return text;
}

std::string readFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  require(file.good(), "cannot read " + path.string());
  return {std::istreambuf_iterator<char>(file), {}};
}

void writeFile(const std::filesystem::path& path, std::string_view bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  require(file.good(), "cannot write " + path.string());
}

const std::filesystem::path& scratchDirectory() {
  static const ScratchDirectory directory;
  return directory.Path();
}

int run(int argc, char** argv) {
  // Options of the command line come behind these and replace them.
  std::vector<std::string> options{
      argc > 0 ? argv[0] : "benchmark", "--benchmark_enable_random_interleaving=true",
      "--benchmark_repetitions=11", "--benchmark_min_time=0.05", "--benchmark_display_aggregates_only=true"};
  options.insert(options.end(), argv + std::min(argc, 1), argv + argc);
  std::vector<char*> arguments;
  for (std::string& option : options) {
    arguments.push_back(option.data());
  }
  int count = static_cast<int>(arguments.size());
  arguments.push_back(nullptr);
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) {
    return EXIT_FAILURE;
  }
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return EXIT_SUCCESS;
}

} // namespace bench
