#pragma once

#include "ZEPBinary.h"
#include "ZEPListValZEPBinary.h"
#include "ZEPPLMID.h"

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

// What the contract tests ask of whoever brings a platform: an adapter, one source file that defines a
// World and MakeWorld(). A test arranges its surroundings through the World and then looks at the platform
// through the declarations alone. What an adapter does not override is not offered, and the tests that
// need it are skipped with the reason.
//
// Texts here are UTF-8.
namespace zep::contract {

// Whether the adapter could do what it was asked for.
class Offer {
public:
  static Offer Given() { return Offer(true, {}); }
  static Offer Not(std::string reason) { return Offer(false, std::move(reason)); }

  bool IsGiven() const { return m_isGiven; }
  const std::string& Reason() const { return m_reason; }

private:
  Offer(bool isGiven, std::string reason) : m_isGiven(isGiven), m_reason(std::move(reason)) {}

  bool m_isGiven;
  std::string m_reason;
};

// What a platform made for tests may leave out. A platform for users has all of them.
enum class Ability {
  Comparisons,       // compiled expressions are compared, not answered from a list
  ForeignFiles,      // a descriptor that is not open is an ordinary failure
  HttpChecks,        // headers, verbs and URLs are checked
  Json,              // JSON is parsed
  LastErrorByCode,   // an error is given out for its own code alone
  LastErrorByThread, // each thread has its own
  PathForms,         // a path with backslashes is tried with slashes
  Pieces,            // DownloadEx cuts the body by itself
  Transformations,   // stylesheets are applied
  VariableReferences,
  XMLWriting,
};

// Calls that a test wants to see fail. The test makes the call in a way that fails on a real platform
// (no server, a document that is none); the adapter does whatever its platform needs beyond that.
enum class Failing {
  Comparison,      // with bytes that are no compiled expression
  CurrentContext,  // by whatever means
  Download,        // before any request
  Execute,         // nobody listens
  Identifier,      // IsPLMIDOfType, GetLogicalID and GetPhysicalID of a text that is no identifier
  JsonParse,       // not JSON
  NamedArgument,   // an argument that nobody gave
  ResponseHeaders, // before any request
  SendRequest,     // nobody listens
  Stylesheet,      // not a stylesheet
  Transform,       // the input is not XML
  XMLDocument,     // GetGeneratedXML after a name that XML does not allow
};

struct HttpAnswer {
  int status = 200;
  std::string statusLine = "HTTP/1.1 200 OK";
  std::optional<std::string> body = "ok"; // none: an answer without a body
  bool isChunked = false;
};

struct SentRequest {
  std::string verb;
  std::vector<std::string> headers; // "Name: value", without line ends
  std::string body;
};

struct TracedRecord {
  std::string className;
  std::string method; // the current method's signature, or empty
  std::string text;
  int level = 0;
  int line = 0;
  std::optional<std::string> file;
};

struct JsonNode {
  enum class Kind { Object, Text, Other };
  Kind kind = Kind::Other; // Other: written as `true`
  std::string text;
  std::vector<std::pair<std::string, JsonNode>> members = {};
};

// A compiled expression, candidates, and whether each is included in it.
struct Comparison {
  ZEPBinary reference;
  ZEPListValZEPBinary candidates;
  std::vector<bool> answers;
};

// An object that the platform knows.
struct KnownObject {
  ZEPPLMID id;
  std::string type;
  std::string logicalId;
  std::string physicalId;
};

// One is made before each test and destroyed behind it.
class World {
public:
  World() = default;
  virtual ~World();
  World(const World&) = delete;
  World& operator=(const World&) = delete;

  // What is not offered whatever the arrangement.
  virtual Offer Has(Ability ability);
  virtual Offer LetFail(Failing failing);

  // A file of that name with these bytes; `oPath` is how the platform finds it.
  virtual Offer MakeFile(const std::string& name, const std::string& bytes, std::string& oPath);
  // Something that exists and cannot be read like a file: a folder, a pipe.
  virtual Offer MakeWhatIsNoFile(std::string& oPath);

  virtual Offer SetEnvironment(const std::string& name, const std::optional<std::string>& value);
  virtual Offer SetSetting(const std::string& repository, const std::string& key, const std::string& value);
  virtual Offer SetSettingThatIsNoText(const std::string& repository, const std::string& key);
  virtual Offer SetNamedArgument(const std::string& value); // of the argument "Url"
  virtual Offer SetSecurityContext(const std::string& value);
  virtual Offer SetBranching(bool isOn);
  virtual Offer SetStylesheetServer(bool exists); // could a server supply a stylesheet?

  // The next request to `oUrl` (http://...) is answered so, by either client.
  virtual Offer Answer(const HttpAnswer& answer, std::string& oUrl);
  virtual Offer LastRequest(SentRequest& oRequest);

  // What the test is about to parse, and what the next transformation is to yield, for platforms that have to
  // be told.
  virtual Offer PrepareJson(const JsonNode& document);
  virtual Offer PrepareTransformation(const std::string& expectedBytes);

  virtual Offer PrepareComparison(Comparison& oComparison);
  virtual Offer MakeObject(KnownObject& oObject);

  virtual Offer SetTrace(bool isOn);
  virtual Offer Traced(std::vector<TracedRecord>& oRecords); // in this test

  // What the test left behind or misused, where the platform watches that; empty otherwise.
  virtual std::string Problems();
};

// Defined by the adapter.
std::unique_ptr<World> MakeWorld();

} // namespace zep::contract
