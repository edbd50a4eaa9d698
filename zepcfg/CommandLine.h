#pragma once

namespace zep::cli {

// Reads the command line, runs the command and reports what failed. Returns the exit code.
int runCommandLine(int argc, const char* const* argv);

} // namespace zep::cli
