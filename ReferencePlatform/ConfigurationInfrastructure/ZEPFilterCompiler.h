#pragma once

#include "ZEPPlatformExport.h"

#include <cstddef>

class ZEPBinary;
class ZEPUnicodeString;

// The compiler of the reference platform: an expression of its vocabulary becomes the compiled form
// that its comparison service reads.
namespace zep {

// A success sets both outputs; the same expression always gives the same bytes. E_INVALIDARG for what is no
// expression, and for one whose normal form is too large: then the outputs are untouched, and the last
// error says more.
ZEP_PLATFORM_API long CompileFilter(const ZEPUnicodeString& expression, ZEPBinary& compiled,
                                    std::size_t& termCount);

// Whether the bytes begin like a compiled filter; they may be damaged all the same.
ZEP_PLATFORM_API bool IsCompiledFilter(const ZEPBinary& binary);

} // namespace zep
