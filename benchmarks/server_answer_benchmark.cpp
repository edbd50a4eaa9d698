#include "Bench.h"
#include "Inputs.h"

#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"
#include "ZEPOmxAny.h"
#include "ZEPOmxJson.h"
#include "ZEPOmxUTF8String.h"

#include <simdjson.h>

#include <string>
#include <string_view>

// The stylesheet out of a server's answer {"xslt":{"content":"..."}}, as a UTF-16 text: from the answer as
// the web-service operation gives it (a UTF-16 text, which becomes UTF-8 to be read), and from the bytes
// that the server sent. By hand one can go straight from these bytes; ours decodes them, because the
// operation in between gives a text.

namespace {

ZEPUnicodeString stylesheetIn(const ZEPUnicodeString& answer) {
  ZEPOmxAny value;
  ZEPUnicodeString stylesheet;
  bench::require(ZEPSucceeded(ZEPOmxJson::parse(ZEPOmxUTF8String(answer), value)) &&
                     ZEPSucceeded(ZEPCfgXMLExpressionServices::ParseQueryResponse(value, stylesheet)),
                 "an answer is not read");
  return stylesheet;
}

// The parser is kept, as the library's documentation advises.
class ByHand {
public:
  std::u16string FromBytes(const std::string& answer) {
    std::string_view content;
    bench::require(m_parser.parse(answer)["xslt"]["content"].get(content) == simdjson::SUCCESS,
                   "simdjson does not read an answer");
    return inputs::toUTF16(content);
  }
  std::u16string FromText(std::u16string_view answer) { return FromBytes(inputs::toUTF8(answer)); }

private:
  simdjson::dom::parser m_parser;
};

void compare(const inputs::Size& size, ByHand& byHand) {
  const std::string bytes = inputs::stylesheetAnswer(inputs::stylesheet(size.bytes));
  const std::u16string units = inputs::toUTF16(bytes);
  const ZEPUnicodeString text = bench::textOf(bytes);
  const std::string ours = bench::utf8Of(stylesheetIn(text));
  bench::requireSame("server_answer", ours, inputs::toUTF8(byHand.FromText(units)));
  bench::requireSame("server_answer", ours, inputs::stylesheet(size.bytes));

  const std::string fromText = std::string("server_answer/from_text/") + size.name;
  bench::add(fromText + "/ours", [=] { bench::keep(stylesheetIn(text)); });
  bench::add(fromText + "/simdjson", [=, &byHand] { bench::keep(byHand.FromText(units)); });

  const std::string fromBytes = std::string("server_answer/from_bytes/") + size.name;
  bench::add(fromBytes + "/ours", [=] { bench::keep(stylesheetIn(bench::textOf(bytes))); });
  bench::add(fromBytes + "/simdjson", [=, &byHand] { bench::keep(byHand.FromBytes(bytes)); });
}

} // namespace

int main(int argc, char** argv) {
  ByHand byHand;
  compare(inputs::size100KB, byHand);
  compare(inputs::size5MB, byHand);
  return bench::run(argc, argv);
}
