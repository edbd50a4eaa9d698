#pragma once

namespace scripted {

// Lets the library call `function` where it calls that function of another module. Does nothing while the
// library is not loaded.
void redirectLibraryImport(const char* name, void* function);

} // namespace scripted
