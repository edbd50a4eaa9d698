#include "ScriptedState.h"
#include "ZEPPLMID.h"

using namespace scripted;

// The one operation of an identifier that is seen is the one that makes a text; that of this format
// is the script's own and not seen.
namespace {
constexpr int formatOfTheScript = -1;
} // namespace

ZEPPLMID::ZEPPLMID() = default;
ZEPPLMID::ZEPPLMID(const ZEPUnicodeString& text) : m_text(text) {}
ZEPPLMID::ZEPPLMID(const ZEPPLMID& other) = default;
ZEPPLMID& ZEPPLMID::operator=(const ZEPPLMID& other) = default;
ZEPPLMID::~ZEPPLMID() = default;

bool ZEPPLMID::IsNull() const {
  return m_text.IsEmpty();
}

ZEPUnicodeString ZEPPLMID::ToString(int iFormat) const {
  if (iFormat != formatOfTheScript) {
    const Call call(Op::PLMIDToString, *this, iFormat);
  }
  return m_text;
}

std::string scripted::utf8Of(const ZEPPLMID& id) {
  return utf8Of(id.ToString(formatOfTheScript));
}
