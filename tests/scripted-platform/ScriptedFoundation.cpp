#include "QRLSysTSGetArg.h"
#include "ScriptedState.h"
#include "ZEPEnvironment.h"
#include "ZEPError.h"
#include "ZEPFile.h"
#include "ZEPSysSettingRepository.h"

#include <algorithm>
#include <cstring>

using namespace scripted;

// ---- files ----

namespace {

struct OpenFile {
  unsigned int descriptor = 0;
  std::string content;
  std::size_t position = 0;
};

std::vector<OpenFile>& openFiles() {
  static auto* const files = new std::vector<OpenFile>;
  return *files;
}

constexpr unsigned int firstDescriptor = 11;

bool fileExists(const ZEPUnicodeString& path) {
  return script().files.contains(utf8Of(path));
}

void fillInfo(const ZEPUnicodeString& path, struct stat* info) {
  if (info != nullptr) {
    *info = {};
    info->st_mode = S_IFREG;
    info->st_size = static_cast<off_t>(script().files[utf8Of(path)].size());
  }
}

OpenFile* findOpenFile(unsigned int descriptor, const char* user) {
  const State& state = State::Get();
  const auto at = std::find_if(openFiles().begin(), openFiles().end(),
                               [descriptor](const OpenFile& file) { return file.descriptor == descriptor; });
  if (at == openFiles().end() || !state.openFiles.contains(descriptor)) {
    reportMisuse(std::string(user) + " of a file that is not open: " + std::to_string(descriptor));
    return nullptr;
  }
  return &*at;
}

// The lowest number that is free, as a file system gives it.
unsigned int freeDescriptor() {
  unsigned int descriptor = firstDescriptor;
  while (State::Get().openFiles.contains(descriptor)) {
    ++descriptor;
  }
  return descriptor;
}

unsigned int openContent(const std::string& content) {
  const unsigned int descriptor = freeDescriptor();
  std::erase_if(openFiles(), [descriptor](const OpenFile& file) { return file.descriptor == descriptor; });
  openFiles().push_back({descriptor, content, 0});
  State::Get().openFiles.insert(descriptor);
  return descriptor;
}

} // namespace

ZEPLibStatus ZEPGetFileInfo(const ZEPUnicodeString& iPath, struct stat* oInfo) {
  const Call call(Op::ZEPGetFileInfo, iPath);
  if (call.Fails() || !fileExists(iPath)) {
    return call.IntCode(1);
  }
  fillInfo(iPath, oInfo);
  return call.IntCode();
}

long ZEPFileStat(ZEPUnicodeString* iPath, struct stat* oInfo, int iFlags) {
  const Call call(Op::ZEPFileStat, *iPath, iFlags);
  if (call.Fails() || !fileExists(*iPath)) {
    return call.Code(E_FAIL);
  }
  fillInfo(*iPath, oInfo);
  return call.Code();
}

long ZEPFOpen(const ZEPUnicodeString& iPath, const char* iMode, unsigned int* oDescriptor) {
  const Call call(Op::ZEPFOpen, iPath, iMode);
  if (call.Fails() || !fileExists(iPath)) {
    return call.Code(E_FAIL);
  }
  const Lock lock(State::Get().mutex);
  *oDescriptor = openContent(script().files[utf8Of(iPath)]);
  return call.Code();
}

int ZEPFEof(unsigned int iDescriptor) {
  const Call call(Op::ZEPFEof, iDescriptor);
  const Lock lock(State::Get().mutex);
  const OpenFile* const file = findOpenFile(iDescriptor, "ZEPFEof");
  return call.IntCode(file != nullptr && file->position < file->content.size() ? 1 : 0);
}

long ZEPFGets(char* oBuffer, int iSize, unsigned int iDescriptor) {
  const Call call(Op::ZEPFGets, iSize, iDescriptor);
  const Lock lock(State::Get().mutex);
  OpenFile* const file = findOpenFile(iDescriptor, "ZEPFGets");
  oBuffer[0] = '\0';
  if (call.Fails() || file == nullptr || file->position >= file->content.size()) {
    return call.Code(E_FAIL);
  }
  const std::size_t lineEnd = file->content.find('\n', file->position);
  const std::size_t end = lineEnd == std::string::npos ? file->content.size() : lineEnd + 1;
  const std::size_t count = std::min(end - file->position, static_cast<std::size_t>(iSize) - 1);
  file->position += count;
  if (!call.GivesEmpty()) {
    std::memcpy(oBuffer, file->content.data() + file->position - count, count);
    oBuffer[count] = '\0';
  }
  return call.Code();
}

long ZEPFClose(unsigned int iDescriptor) {
  const Call call(Op::ZEPFClose, iDescriptor);
  const Lock lock(State::Get().mutex);
  if (findOpenFile(iDescriptor, "ZEPFClose") == nullptr) {
    return call.Code(E_HANDLE);
  }
  State::Get().openFiles.erase(iDescriptor);
  return call.Code();
}

// ---- environment and arguments ----

const char* ZEPGetEnv(const char* name) {
  const Call call(Op::ZEPGetEnv, name);
  const auto variable = script().environment.find(name);
  return call.GivesEmpty() || variable == script().environment.end() ? nullptr : variable->second.c_str();
}

long ZEPExpandString(ZEPUnicodeString* ioText) {
  const Call call(Op::ZEPExpandString, *ioText);
  if (call.Fails()) {
    return call.Code();
  }
  const auto expansion = script().expansions.find(utf8Of(*ioText));
  if (call.GivesEmpty()) {
    *ioText = ZEPUnicodeString();
  } else if (expansion != script().expansions.end()) {
    *ioText = textOf(expansion->second);
  }
  return call.Code();
}

long QRLSysTSGetArg(const char* iName, int& oKind, int& oRank, ZEPUnicodeString& oValue) {
  const Call call(Op::QRLSysTSGetArg, iName, oKind, oRank);
  if (call.Fails()) {
    return call.Code();
  }
  // Numbers that would show if they were used.
  oKind = 4711;
  oRank = 815;
  oValue = call.GivesEmpty() ? ZEPUnicodeString() : textOf(script().argUrl);
  return call.Code();
}

// ---- settings ----

ZEPSysSettingRepository::ZEPSysSettingRepository() = default;
ZEPSysSettingRepository::~ZEPSysSettingRepository() = default;

namespace {

class Repository final : public ZEPSysSettingRepository {
public:
  explicit Repository(std::string name) : m_name(std::move(name)) {}

  int ReadAttr(const char* iKey, ZEPUnicodeString* oValue) override {
    const Call call(Op::ReadAttr, iKey);
    const std::map<std::string, std::string>& values = script().settings[m_name];
    const auto value = values.find(iKey);
    if (call.Fails() || value == values.end()) {
      return call.IntCode(0);
    }
    *oValue = call.GivesEmpty() ? ZEPUnicodeString() : textOf(value->second);
    return call.GivesEmpty() ? 1 : call.IntCode(1);
  }

  void Release() override {
    const Call call(Op::ReleaseRepository);
    delete this;
  }

private:
  std::string m_name;
  LiveObject m_live{"repository"};
};

} // namespace

ZEPSysSettingRepository* ZEPSysSettingRepository::GetRepository(const char* iName, int iMode) {
  const Call call(Op::GetRepository, iName, iMode);
  return call.GivesEmpty() || !script().settings.contains(iName) ? nullptr : new Repository(iName);
}

// ---- the last error ----

ZEPError::ZEPError() = default;
ZEPError::~ZEPError() = default;

namespace {

class Error final : public ZEPError {
public:
  explicit Error(std::string message) : m_message(std::move(message)) {}

  ZEPUnicodeString GetMessageText() override {
    const Call call(Op::GetMessageText);
    return call.GivesEmpty() ? ZEPUnicodeString() : textOf(m_message);
  }

  void Release() override {
    const Call call(Op::ReleaseError);
    delete this;
  }

private:
  std::string m_message;
  LiveObject m_live{"error"};
};

} // namespace

ZEPError* ZEPError::ZEPGetLastError(long iResult, IUnknown* iObject) {
  const Call call(Op::ZEPGetLastError, Plain{codeName(iResult)},
                  Plain{iObject == nullptr ? "null" : "object"});
  return call.GivesEmpty() || !script().lastError ? nullptr : new Error(*script().lastError);
}

void ZEPError::ZEPCleanLastError() {
  const Call call(Op::ZEPCleanLastError);
  script().lastError.reset();
}
