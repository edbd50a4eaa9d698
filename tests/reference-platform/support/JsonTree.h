#pragma once

#include "ZEPOmxAny.h"
#include "ZEPOmxAnyValue.h"
#include "ZEPOmxUTF8String.h"

#include <sstream>
#include <string>
#include <variant>

// Parsed JSON values, for tests to look at.
namespace json {

inline ZEPOmxUTF8String Utf8(const std::string& bytes) {
  return {bytes.data(), bytes.size()};
}

inline std::string Bytes(const ZEPOmxUTF8String& text) {
  return {text.asChar(), text.length()};
}

// The tree in one line, each kind to be told from the others.
struct Shown {
  std::string operator()(std::nullptr_t) const { return "null"; }
  std::string operator()(bool value) const { return value ? "true" : "false"; }
  std::string operator()(double value) const {
    std::ostringstream text;
    text << '#' << value;
    return text.str();
  }
  std::string operator()(const ZEPOmxAny::Value::String& value) const {
    return "'" + std::string(value.characters) + "'";
  }
  std::string operator()(const ZEPOmxAny::Value::Array& elements) const {
    std::string text = "[";
    for (const ZEPOmxAny& element : elements) {
      text += std::visit(*this, element.GetValue()->content) + ";";
    }
    return text + "]";
  }
  std::string operator()(const ZEPOmxAny::Value::Object& members) const {
    std::string text = "{";
    for (const ZEPOmxMapItem& member : members) {
      text += Bytes(member.GetKey().ToUTF8String()) + "=" +
              std::visit(*this, member.GetValue().GetValue()->content) + ";";
    }
    return text + "}";
  }
};

inline std::string Show(const ZEPOmxAny& value) {
  return value.GetValue() ? std::visit(Shown(), value.GetValue()->content) : "none";
}

} // namespace json
