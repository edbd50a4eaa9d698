#include "ZEPError.h"

#include "ZEPLastError.h"
#include "ZEPUnicodeString.h"

#include <optional>
#include <utility>

namespace {

struct LastError {
  long code;
  std::string message; // UTF-8
};

thread_local std::optional<LastError> lastError;

// A copy of what was recorded: it stays what it is when the thread's last error changes.
class RecordedError final : public ZEPError {
public:
  explicit RecordedError(std::string message) : m_message(std::move(message)) {}

  ZEPUnicodeString GetMessageText() override {
    ZEPUnicodeString text;
    text.BuildFromUTF8(m_message.data(), m_message.size());
    return text;
  }

  void Release() override { delete this; }

private:
  std::string m_message;
};

} // namespace

ZEPError::ZEPError() = default;
ZEPError::~ZEPError() = default;

ZEPError* ZEPError::ZEPGetLastError(long iResult, IUnknown* /*iObject*/) {
  return lastError && lastError->code == iResult ? new RecordedError(lastError->message) : nullptr;
}

void ZEPError::ZEPCleanLastError() {
  lastError.reset();
}

void ZEPSetLastError(long code, std::string utf8Message) {
  lastError = LastError{code, std::move(utf8Message)};
}
