#pragma once

namespace scripted {

// Lets the program, and the library where it is loaded, call `function` where they call that function of
// another module.
void redirectImports(const char* name, void* function);

} // namespace scripted
