// A program that traces before main, in main and behind it, and writes a file of its own. Where it is told
// so, it becomes a daemon in main or at its end.

#include "PLMCfgInTraceClass.h"

#include <cstdio>
#include <string_view>

#include <fcntl.h>
#include <unistd.h>

namespace {

const char* daemonsFile = nullptr;
bool isDaemonAtEnd = false;

void Detail(PLMCfgInTraceClass& trace, const char* text) {
  trace.beginTrace(0) << text;
  trace.endTraceWithLineNumber(0, 1, nullptr);
}

// Closes what is open, opens files of its own by all these numbers and goes to another directory. What it
// writes comes to the system when the process ends, behind all destructors.
bool BecomeDaemon() {
  for (int descriptor = 3; descriptor < 64; ++descriptor) {
    close(descriptor);
  }
  std::FILE* mine = nullptr;
  do {
    mine = std::fopen(daemonsFile, "a");
    if (mine == nullptr || std::fputs("mine\n", mine) == EOF) {
      return false;
    }
  } while (fileno(mine) < 63);
  return chdir("/") == 0;
}

struct Probe {
  PLMCfgInTraceClass trace{"Probe", ""};

  Probe() { Detail(trace, "load"); }
  ~Probe() {
    Detail(trace, "unload");
    if (isDaemonAtEnd && !BecomeDaemon()) {
      _exit(1);
    }
  }
} probe;

bool WriteMine(const char* path) {
  const int descriptor = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  return descriptor >= 0 && write(descriptor, "mine\n", 5) == 5;
}

} // namespace

int main(int argc, char** argv) {
  const std::string_view daemon = argc == 3 ? argv[2] : "";
  bool written = argc >= 2;
  if (daemon.empty()) {
    written = written && WriteMine(argv[1]);
  } else {
    daemonsFile = argv[1];
    isDaemonAtEnd = daemon == "end";
    written = isDaemonAtEnd || BecomeDaemon();
  }
  Detail(probe.trace, "main");
  return written ? 0 : 1;
}
