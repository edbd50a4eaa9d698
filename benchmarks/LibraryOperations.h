#pragma once

class ZEPUnicodeString;

// The operations of one build of the library. There are two in the program, the shipped one and one without
// trace calls; each of these functions is compiled once for either, so that a call of one is a call of the
// other in everything else.
struct LibraryOperations {
  void (*startFormatting)(const char* stylesheet);
  void (*format)(const ZEPUnicodeString& expression, ZEPUnicodeString& text);
  void (*endFormatting)();
  void (*removeDescription)(const ZEPUnicodeString& expression, ZEPUnicodeString& cleaned);
  // The number of contexts.
  int (*split)(const ZEPUnicodeString& expression);
};

extern const LibraryOperations shippedLibrary;
extern const LibraryOperations libraryWithoutTrace;
