#pragma once

#include "ZEPPlatformExport.h"

#include <atomic>

class ZEPUnicodeString;

// Writes the trace records of one source file. Nothing that it does ever changes a result: a
// trace that cannot be written is dropped. Several threads may use one object; a record that is
// open belongs to the thread that opened it, the current method belongs to the object (where several
// threads use it at once, a platform may keep one for each of them).
class ZEP_PLATFORM_API PLMCfgInTraceClass {
public:
  // Both texts are copied. An empty trace group stands for the default group.
  PLMCfgInTraceClass(const char* iClassName, const char* iTraceGroup);
  ~PLMCfgInTraceClass();
  PLMCfgInTraceClass(const PLMCfgInTraceClass&) = delete;
  PLMCfgInTraceClass& operator=(const PLMCfgInTraceClass&) = delete;

  // Non-zero when the records of this object are wanted; asked anew for each record. Where the
  // platform knows that no records are wanted at all, asking costs next to nothing.
  unsigned char IsActivated() {
    return m_anyWanted->load(std::memory_order_relaxed) ? IsThisActivated() : static_cast<unsigned char>(0);
  }
  // Non-zero when performance timing is wanted.
  unsigned char IsPerfoActivated();

  // Names the current method by its signature, which is copied, until RemoveMethod().
  void SetMethod(char* iSignature);
  // Ends what SetMethod() began; without it, nothing happens.
  void RemoveMethod();

  // Opens a record: level 0 detail and errors, 1 entry, 2 exit. What is appended next on this
  // thread belongs to it, until endTraceWithLineNumber() closes it.
  PLMCfgInTraceClass& beginTrace(int iLevel);
  PLMCfgInTraceClass& operator<<(const char* iText);             // narrow text; null appends nothing
  PLMCfgInTraceClass& operator<<(int iNumber);                   // in decimal digits
  PLMCfgInTraceClass& operator<<(long iNumber);                  // in decimal digits
  PLMCfgInTraceClass& operator<<(unsigned int iNumber);          // in decimal digits
  PLMCfgInTraceClass& operator<<(const ZEPUnicodeString& iText); // any text
  // Closes the record that this thread opened, with the source line and the base name of the source
  // file (null: none). `iLevel` is that of beginTrace().
  PLMCfgInTraceClass& endTraceWithLineNumber(int iLevel, int iLine, const char* iFile);

  // What the first record of an error report begins with; never null.
  static const char* GetError();
  // What the second one begins with; never null.
  static const char* GetErrorIndent();

private:
  struct Implementation;

  unsigned char IsThisActivated();

  Implementation* m_implementation;     // owned
  const std::atomic<bool>* m_anyWanted; // false while no object is activated; the platform's own
};
