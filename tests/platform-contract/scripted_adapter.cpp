#include "ContractSetup.h"
#include "ScriptedPlatform.h"
#include "ZEPHResult.h"

#include <utility>

// The scripted platform: what a test arranges is what the script answers.

namespace zep::contract {

namespace {

using scripted::Op;
using scripted::script;

ZEPOmxAny ValueOf(const JsonNode& node) {
  if (node.kind != JsonNode::Kind::Object) {
    return node.kind == JsonNode::Kind::Text ? scripted::jsonText(node.text) : scripted::jsonOther();
  }
  scripted::Members members;
  for (const auto& [key, value] : node.members) {
    members.emplace_back(key, ValueOf(value));
  }
  return scripted::jsonObject(members);
}

// Whether the last error is the script's too.
struct ScriptedFailure {
  std::vector<Op> operations;
  bool leavesAnError = false;
};

ScriptedFailure FailureOf(Failing failing) {
  switch (failing) {
  case Failing::Comparison:
    return {{Op::IsIncluding}};
  case Failing::CurrentContext:
    return {{Op::GetCurrentContext}};
  case Failing::Download:
    return {{Op::Download, Op::DownloadEx}};
  case Failing::Execute:
    return {{Op::Execute}};
  case Failing::Identifier:
    return {{Op::IsPLMIDOfType, Op::GetLogicalID, Op::GetPhysicalID}};
  case Failing::JsonParse:
    return {{Op::JsonParse}};
  case Failing::NamedArgument:
    return {{Op::QRLSysTSGetArg}};
  case Failing::ResponseHeaders:
    return {{Op::GetResponseHeaders}};
  case Failing::SendRequest:
    return {{Op::SendRequest}};
  case Failing::Stylesheet:
    return {{Op::CreateTransformer}, true};
  case Failing::Transform:
    return {{Op::Transform}, true};
  case Failing::XMLDocument:
    return {{Op::GetGeneratedXML}};
  }
  return {};
}

class ScriptedWorld final : public World {
public:
  ScriptedWorld() { script().reset(); }
  ~ScriptedWorld() override { script().reset(); }

  Offer Has(Ability ability) override {
    switch (ability) {
    case Ability::Comparisons:
      return Offer::Not("the script says what is included");
    case Ability::ForeignFiles:
      return Offer::Not("a descriptor that is not open fails the test");
    case Ability::HttpChecks:
      return Offer::Not("no request is checked, what the library sends is seen as it is");
    case Ability::Json:
      return Offer::Not("the script says what a text is parsed to");
    case Ability::LastErrorByCode:
    case Ability::LastErrorByThread:
      return Offer::Not("the script has one last error");
    case Ability::PathForms:
      return Offer::Not("files are found under exactly their path");
    case Ability::Pieces:
      return Offer::Not("the script says what the pieces are");
    case Ability::Transformations:
      return Offer::Not("the script says what a transformation yields");
    case Ability::VariableReferences:
      return Offer::Not("the script says what a text is expanded to");
    case Ability::XMLWriting:
      return Offer::Not("the script says what document is written");
    }
    return Offer::Given();
  }

  Offer LetFail(Failing failing) override {
    const ScriptedFailure failure = FailureOf(failing);
    for (const Op operation : failure.operations) {
      script().fail(operation, E_FAIL).once();
    }
    if (failure.leavesAnError) {
      script().lastError = "scripted";
    }
    return Offer::Given();
  }

  Offer MakeFile(const std::string& name, const std::string& bytes, std::string& oPath) override {
    oPath = "/scripted/" + name;
    script().files[oPath] = bytes;
    return Offer::Given();
  }
  Offer MakeWhatIsNoFile(std::string& /*oPath*/) override { return Offer::Not("what exists is a file"); }

  Offer SetEnvironment(const std::string& name, const std::optional<std::string>& value) override {
    if (value) {
      script().environment[name] = *value;
    } else {
      script().environment.erase(name);
    }
    return Offer::Given();
  }
  Offer SetSetting(const std::string& repository, const std::string& key, const std::string& value) override {
    script().settings[repository][key] = value;
    return Offer::Given();
  }
  Offer SetSettingThatIsNoText(const std::string& /*repository*/, const std::string& /*key*/) override {
    return Offer::Not("settings are texts");
  }
  Offer SetNamedArgument(const std::string& value) override {
    script().argUrl = value;
    return Offer::Given();
  }
  Offer SetSecurityContext(const std::string& value) override {
    script().context = value;
    return Offer::Given();
  }
  Offer SetBranching(bool isOn) override {
    script().branching = isOn;
    return Offer::Given();
  }
  Offer SetStylesheetServer(bool exists) override {
    script().atstProvider = !exists;
    return Offer::Given();
  }

  Offer Answer(const HttpAnswer& answer, std::string& oUrl) override {
    oUrl = "http://scripted/";
    script().allowUnused(); // the answer serves both clients
    if (answer.body) {
      script().answer(answer.status, *answer.body, answer.statusLine);
    } else {
      script().answerWithoutBody(answer.status, answer.statusLine);
    }
    scripted::LegacyAnswer& legacy = script().legacy;
    legacy = {};
    legacy.status = std::to_string(answer.status);
    legacy.headerText = answer.isChunked ? "\r\nTransfer-Encoding: chunked\r\n" : "";
    legacy.body = answer.body.value_or("");
    const std::size_t half = legacy.body.size() / 2;
    legacy.pieces = {legacy.body.substr(0, half), legacy.body.substr(half)};
    return Offer::Given();
  }
  Offer LastRequest(SentRequest& /*oRequest*/) override {
    return Offer::Not("requests are seen as calls, not as they are sent");
  }

  Offer PrepareJson(const JsonNode& document) override {
    script().json = ValueOf(document);
    return Offer::Given();
  }
  Offer PrepareTransformation(const std::string& expectedBytes) override {
    script().transformBytes = expectedBytes;
    return Offer::Given();
  }

  Offer PrepareComparison(Comparison& oComparison) override {
    for (int i = 0; i < 3; ++i) {
      oComparison.candidates.Append(ZEPBinary("candidate", 9));
    }
    oComparison.answers = {true, false, true};
    script().inclusions = {1, 0, 1};
    return Offer::Given();
  }
  Offer MakeObject(KnownObject& oObject) override {
    oObject = {ZEPPLMID("object"), "Part", "logical", "physical"};
    script().objects["object"] = {1, oObject.logicalId, oObject.physicalId};
    return Offer::Given();
  }

  Offer SetTrace(bool isOn) override {
    if (isOn) {
      script().traceOn();
    } else {
      script().traceOff();
    }
    return Offer::Given();
  }
  Offer Traced(std::vector<TracedRecord>& oRecords) override {
    for (const scripted::TraceRecord& record : script().records()) {
      oRecords.push_back(
          {record.className, record.method, record.text, record.level, record.line, record.file});
    }
    return Offer::Given();
  }

  std::string Problems() override { return script().problems(); }
};

} // namespace

std::unique_ptr<World> MakeWorld() {
  return std::make_unique<ScriptedWorld>();
}

} // namespace zep::contract
