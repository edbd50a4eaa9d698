#pragma once

#include "ExportedByZEPCfgCommonServices.h"

class ZEPBinary;

// Services on compiled filters. Exceptions of the platform pass through to the caller.
class ExportedByZEPCfgCommonServices ZEPCfgFilterBasicServices {
public:
  // Whether every configuration that filter A selects is selected by filter B too.
  //
  // iA, iB       compiled effectivity expressions
  // oIsIncluded  non-zero when it is so; untouched on every failure
  //
  // A success is the comparison service's code. E_FAIL when the service gave other than one answer;
  // other failure codes are the service's.
  static long IsAIncludedInB(const ZEPBinary& iA, const ZEPBinary& iB, unsigned char& oIsIncluded);
};
