#include "Manual.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace {

namespace fs = std::filesystem;

void write(const fs::path& file, const std::string& text) {
  fs::create_directories(file.parent_path());
  std::ofstream stream(file, std::ios::binary);
  stream << text;
  if (!stream.flush()) {
    throw std::runtime_error("cannot write " + file.string());
  }
}

void writeAll(const fs::path& folder, const zep::cli::Edition& edition) {
  const zep::cli::Descriptions all = zep::cli::describeCommandLine();
  for (const zep::cli::CommandDescription& command : all) {
    write(folder / "man" / "man1" / (zep::cli::pageName(command) + ".1"),
          zep::cli::manualPage(command, all, edition));
  }
  write(folder / "bash-completion" / "completions" / "zepcfg", zep::cli::bashCompletion(all));
  write(folder / "zsh" / "vendor-completions" / "_zepcfg", zep::cli::zshCompletion(all));
  write(folder / "fish" / "vendor_completions.d" / "zepcfg.fish", zep::cli::fishCompletion(all));
}

} // namespace

// zepcfg-manual FOLDER VERSION DATE: writes the manual and the completions below the folder.
int main(int argc, char** argv) {
  if (argc != 4) {
    std::fputs("usage: zepcfg-manual FOLDER VERSION DATE\n", stderr);
    return 2;
  }
  try {
    writeAll(argv[1], {argv[2], argv[3]});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "zepcfg-manual: %s\n", error.what());
    return 2;
  }
  return 0;
}
