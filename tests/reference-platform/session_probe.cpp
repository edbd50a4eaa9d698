// A program that traces before main, in main and behind it, and writes a file of its own.

#include "PLMCfgInTraceClass.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

void Detail(PLMCfgInTraceClass& trace, const char* text) {
  trace.beginTrace(0) << text;
  trace.endTraceWithLineNumber(0, 1, nullptr);
}

struct Probe {
  PLMCfgInTraceClass trace{"Probe", ""};

  Probe() { Detail(trace, "load"); }
  ~Probe() { Detail(trace, "unload"); }
} probe;

bool WriteMine(const char* path) {
  const int descriptor = open(path, O_WRONLY | O_CREAT | O_TRUNC, 0600);
  return descriptor >= 0 && write(descriptor, "mine\n", 5) == 5;
}

} // namespace

int main(int argc, char** argv) {
  const bool written = argc == 2 && WriteMine(argv[1]);
  Detail(probe.trace, "main");
  return written ? 0 : 1;
}
