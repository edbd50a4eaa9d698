#pragma once

#include "ZEPPlatformExport.h"

#include <sys/stat.h>

class ZEPUnicodeString;

// File functions. A path that does not exist as given is tried once more with each backslash
// turned into a slash. A path that holds a NUL character does not exist.

// What these functions answer: 0 where all is well, unless they say otherwise.
using ZEPLibStatus = int;

// 0 when the file exists; `*oInfo` is then filled. Anything else: it does not, `*oInfo` untouched.
ZEP_PLATFORM_API ZEPLibStatus ZEPGetFileInfo(const ZEPUnicodeString& iPath, struct stat* oInfo);

// The same question in the form of a result code: not negative when the file exists.
// `iFlags` is 0.
ZEP_PLATFORM_API long ZEPFileStat(ZEPUnicodeString* iPath, struct stat* oInfo, int iFlags);

// Opens a file for reading (mode "r", the only one). S_OK sets `*oDescriptor`, which the caller
// closes with ZEPFClose; a failure code leaves it untouched. What is not a regular file fails
// (E_FAIL), and so that no read can block, it is refused before it is opened.
ZEP_PLATFORM_API long ZEPFOpen(const ZEPUnicodeString& iPath, const char* iMode, unsigned int* oDescriptor);

// 0 when the end of the file has been reached, looking ahead: an empty file is at its end at
// once, and reading the last line leaves the file at its end. Non-zero otherwise.
ZEP_PLATFORM_API int ZEPFEof(unsigned int iDescriptor);

// Reads up to and including the next line feed, at most `iSize - 1` bytes, and terminates them
// with a zero; a longer line is continued by the next call. S_OK, or a failure code; at the end
// of the file a failure code. On failure `oBuffer[0]` is 0.
ZEP_PLATFORM_API long ZEPFGets(char* oBuffer, int iSize, unsigned int iDescriptor);

// S_OK, or a failure code for a descriptor that is not open.
ZEP_PLATFORM_API long ZEPFClose(unsigned int iDescriptor);
