#pragma once

#include "ZEPOmxKeyString.h"
#include "ZEPPlatformExport.h"

#include <memory>
#include <vector>

class ZEPOmxKeyValueBlock;
class ZEPOmxMapItem;
class ZEPUnicodeString;

// A parsed JSON value, or none (as constructed). Copies share the value, which never changes.
class ZEP_PLATFORM_API ZEPOmxAny {
public:
  ZEPOmxAny();

  // The members of an object, in the order of the text, repeated keys included. What is not an
  // object has none.
  std::vector<ZEPOmxMapItem> MapItems() const;
  // Gives access to the members by key. S_OK, or E_FAIL and a block without members when this is
  // not an object.
  long Extract(ZEPOmxKeyValueBlock& oBlock) const;
  // The characters of a string; the empty text for everything else.
  ZEPUnicodeString ToUnicodeString() const;

  struct Value; // the platform's own
  explicit ZEPOmxAny(std::shared_ptr<const Value> value);
  const std::shared_ptr<const Value>& GetValue() const; // null: no value

private:
  std::shared_ptr<const Value> m_value; // null: no value
};

// One member of a JSON object.
class ZEP_PLATFORM_API ZEPOmxMapItem {
public:
  // Copies both.
  ZEPOmxMapItem(const ZEPOmxKeyString& key, const ZEPOmxAny& value);

  const ZEPOmxKeyString& GetKey() const; // the member's name
  const ZEPOmxAny& GetValue() const;     // the member's value

private:
  ZEPOmxKeyString m_key;
  ZEPOmxAny m_value;
};
