#pragma once

#include "ZEPPlatformExport.h"

#include <memory>

// Measures one piece of work, for the trace. The texts that it returns belong to it and stay valid
// as long as it lives; they are never null. One thread at a time.
class ZEP_PLATFORM_API ZEPCfgTracePerfo {
public:
  explicit ZEPCfgTracePerfo(const char* iLabel); // the label is copied
  ~ZEPCfgTracePerfo();
  ZEPCfgTracePerfo(const ZEPCfgTracePerfo&) = delete;
  ZEPCfgTracePerfo& operator=(const ZEPCfgTracePerfo&) = delete;

  // Starts the clock; the text says so.
  char* beginPerfo();
  // Stops it; the text gives the milliseconds since beginPerfo().
  char* endPerfo();

private:
  struct Implementation;
  std::unique_ptr<Implementation> m_implementation;
};
