#include "CommandLine.h"

int main(int argc, char** argv) {
  return zep::cli::runCommandLine(argc, argv);
}
