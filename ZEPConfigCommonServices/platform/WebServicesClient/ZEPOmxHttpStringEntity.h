#pragma once

#include "ZEPOmxHttpEntity.h"

class ZEPUnicodeString;

// A body made from a text, sent as UTF-8.
class ZEP_PLATFORM_API ZEPOmxHttpStringEntity : public ZEPOmxHttpEntity {
public:
  // Keeps its own copy of the text. Null when it cannot be had.
  static ZEPOmxSP<ZEPOmxHttpStringEntity> Create(const ZEPUnicodeString& iText);
};
