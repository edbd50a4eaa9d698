#include "FuzzTarget.h"
#include "ZEPSettingsLocations.h"
#include "ZEPSysSettingRepository.h"

#include <memory>

namespace {

constexpr const char* kName = "Repository";

struct Releases {
  void operator()(ZEPSysSettingRepository* repository) const { repository->Release(); }
};

const fuzz::ScratchFolder& Folder() {
  static const fuzz::ScratchFolder folder;
  static const bool isSet = (fuzz::SetEnvironment({{"ZEP_SETTINGS_DIR", folder.Path()}}), true);
  static_cast<void>(isSet);
  return folder;
}

} // namespace

// A settings file is a repository or a problem in words.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Folder().Write(std::string(kName) + ".toml", fuzz::Bytes(data, size));
  const std::unique_ptr<ZEPSysSettingRepository, Releases> repository(
      ZEPSysSettingRepository::GetRepository(kName, 0));
  const ZEPSettingsFileState state = ZEPFindSettingsFile(kName);
  fuzz::Require(!state.path.empty(), "the file is found");
  fuzz::Require((repository == nullptr) != state.problem.empty(), "a file is a repository or a problem");
  fuzz::Require(state.problem.empty() || !fuzz::Text(state.problem).IsEmpty(), "a problem has words");
  for (const char* const key : {"EffCustoPath", "a", "", "a.b"}) {
    ZEPUnicodeString value = fuzz::kUntouched;
    const int answer = repository ? repository->ReadAttr(key, &value) : 0;
    fuzz::Require(answer == 0 || answer == 1, "a value is there or not");
    fuzz::Require(answer == 1 || value == fuzz::kUntouched, "what is not there touches nothing");
    fuzz::Require(fuzz::IsWellFormed(value), "a value is a whole text");
  }
  return 0;
}
