#include "ContractSetup.h"
#include "RawServer.h"
#include "ZEPFilterCompiler.h"
#include "ZEPHResult.h"
#include "ZEPTraceObserver.h"
#include "ZEPUnicodeString.h"
#include "session_test_support.h"

#include <optional>
#include <stdexcept>

// The reference platform: real files in a temporary folder, the environment, a server on loopback.

namespace zep::contract {

namespace {

ZEPUnicodeString Unicode(const std::string& utf8) {
  ZEPUnicodeString text;
  text.BuildFromUTF8(utf8.data(), utf8.size());
  return text;
}

ZEPBinary CompiledUnits(const char* from, const char* to) {
  const std::string xml = std::string("<EffectivityExpression xmlns='urn:zep:configuration-expression'>"
                                      "<Context HolderType='Model' HolderName='M'><UnitRange From='") +
                          from + "' To='" + to + "'/></Context></EffectivityExpression>";
  ZEPBinary compiled;
  std::size_t terms = 0;
  if (CompileFilter(Unicode(xml), compiled, terms) != S_OK) {
    throw std::runtime_error("the expression does not compile");
  }
  return compiled;
}

std::string WholeAnswer(const HttpAnswer& answer) {
  const std::string body = answer.body.value_or("");
  if (!answer.isChunked) {
    return answer.body ? RawServer::Whole(answer.statusLine, body) : answer.statusLine + "\r\n\r\n";
  }
  std::string chunks;
  for (const char byte : body) {
    chunks += std::string("1\r\n") + byte + "\r\n";
  }
  return answer.statusLine + "\r\nTransfer-Encoding: chunked\r\n\r\n" + chunks + "0\r\n\r\n";
}

class ReferenceWorld final : public World {
public:
  ReferenceWorld() {
    session::SetEnvironment({{"ZEP_SETTINGS_DIR", m_folder.Path("settings")}});
    SetTraceObserver(false);
  }
  ~ReferenceWorld() override { ZEPSetTraceObserver(nullptr, nullptr, false); }

  Offer LetFail(Failing failing) override {
    return failing == Failing::CurrentContext ? Offer::Not("asking for the context never fails here")
                                              : Offer::Given();
  }

  Offer MakeFile(const std::string& name, const std::string& bytes, std::string& oPath) override {
    oPath = m_folder.Write(name, bytes);
    return Offer::Given();
  }
  Offer MakeWhatIsNoFile(std::string& oPath) override {
    oPath = m_folder.Path();
    return Offer::Given();
  }

  Offer SetEnvironment(const std::string& name, const std::optional<std::string>& value) override {
    if (value) {
      setenv(name.c_str(), value->c_str(), 1);
    } else {
      unsetenv(name.c_str());
    }
    return Offer::Given();
  }
  Offer SetSetting(const std::string& repository, const std::string& key, const std::string& value) override {
    m_folder.Write("settings/" + repository + ".toml", key + " = '" + value + "'\n");
    return Offer::Given();
  }
  Offer SetSettingThatIsNoText(const std::string& repository, const std::string& key) override {
    m_folder.Write("settings/" + repository + ".toml", key + " = 1\n");
    return Offer::Given();
  }
  Offer SetNamedArgument(const std::string& value) override { return SetEnvironment("ZEP_URL", value); }
  Offer SetSecurityContext(const std::string& value) override { return SetEnvironment("ZEP_CONTEXT", value); }
  Offer SetBranching(bool isOn) override { return SetEnvironment("ZEP_BRANCHING", isOn ? "1" : "0"); }
  Offer SetStylesheetServer(bool exists) override {
    return SetEnvironment("ZEP_URL", exists ? "http://127.0.0.1:1" : "");
  }

  Offer Answer(const HttpAnswer& answer, std::string& oUrl) override {
    if (!m_server) {
      m_server.emplace();
    }
    m_server->Enqueue(WholeAnswer(answer));
    oUrl = m_server->Url();
    return Offer::Given();
  }
  Offer LastRequest(SentRequest& oRequest) override {
    const std::vector<RawServer::Request> requests = m_server->Requests();
    if (requests.empty()) {
      return Offer::Given(); // nothing was sent, as the test sees
    }
    const RawServer::Request& request = requests.back();
    oRequest.verb = request.head.substr(0, request.head.find(' '));
    oRequest.body = request.body;
    for (std::string& line : session::Split(request.head, '\n')) {
      line.erase(line.find_last_not_of('\r') + 1);
      oRequest.headers.push_back(line);
    }
    return Offer::Given();
  }

  Offer PrepareComparison(Comparison& oComparison) override {
    oComparison.reference = CompiledUnits("5", "20");
    oComparison.candidates.Append(CompiledUnits("6", "7"));
    oComparison.candidates.Append(CompiledUnits("6", "70"));
    oComparison.candidates.Append(CompiledUnits("5", "20"));
    oComparison.answers = {true, false, true};
    return Offer::Given();
  }
  Offer MakeObject(KnownObject& oObject) override {
    oObject = {ZEPPLMID("Part:logical: \xC3\xA9:physical"), "Part", "logical: \xC3\xA9", "physical"};
    return Offer::Given();
  }

  Offer SetTrace(bool isOn) override {
    SetTraceObserver(isOn);
    return Offer::Given();
  }
  Offer Traced(std::vector<TracedRecord>& oRecords) override {
    oRecords = m_records;
    return Offer::Given();
  }

private:
  void SetTraceObserver(bool wantsDetails) {
    ZEPSetTraceObserver(
        [](const ZEPTraceRecord& record, void* records) {
          static_cast<std::vector<TracedRecord>*>(records)->push_back(
              {record.className, record.method, record.text, record.level, record.line,
               record.file == nullptr ? std::nullopt : std::optional<std::string>(record.file)});
        },
        &m_records, wantsDetails);
  }

  session::TempDirectory m_folder;
  std::optional<RawServer> m_server;
  std::vector<TracedRecord> m_records;
};

} // namespace

std::unique_ptr<World> MakeWorld() {
  return std::make_unique<ReferenceWorld>();
}

} // namespace zep::contract
