#pragma once

#include "ZEPOmxAny.h"

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

// What a ZEPOmxAny shares between its copies: one node of a JSON document. Nothing of it changes
// once it is made.
struct ZEPOmxAny::Value {
  enum class Kind : unsigned char { Null, Boolean, Number, String, Array, Object };

  // The characters lie in memory that `keeper` keeps alive, so that a long string stays where the
  // parser decoded it.
  struct String {
    std::string_view characters; // UTF-8
    std::shared_ptr<const void> keeper;
  };
  using Array = std::vector<ZEPOmxAny>;
  using Object = std::vector<ZEPOmxMapItem>; // in the order of the text, repeated keys included

  using Content = std::variant<std::nullptr_t, bool, double, String, Array, Object>;

  Kind GetKind() const { return static_cast<Kind>(content.index()); }

  Content content; // the alternatives in the order of Kind
};

inline ZEPOmxAny ZEPMakeOmxAny(ZEPOmxAny::Value::Content content) {
  return ZEPOmxAny(std::make_shared<const ZEPOmxAny::Value>(ZEPOmxAny::Value{std::move(content)}));
}

// A JSON string with characters of its own.
inline ZEPOmxAny ZEPMakeOmxText(std::string utf8) {
  const auto kept = std::make_shared<const std::string>(std::move(utf8));
  return ZEPMakeOmxAny(ZEPOmxAny::Value::String{*kept, kept});
}
