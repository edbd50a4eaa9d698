// Shows many expressions as text, with one stylesheet that is prepared once.
//
//   format_many STYLESHEET EXPRESSION...

#include "Example.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"

namespace {

// A sequence belongs to the process: one at a time, on one thread. It is closed whatever happens.
class Sequence {
public:
  explicit Sequence(const ZEPUnicodeString& stylesheet)
      : m_result(ZEPCfgXMLExpressionServices::StartExpressionFormatting(stylesheet)) {}
  ~Sequence() { ZEPCfgXMLExpressionServices::EndExpressionFormatting(); }
  Sequence(const Sequence&) = delete;
  Sequence& operator=(const Sequence&) = delete;

  long Result() const { return m_result; }

private:
  long m_result;
};

} // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    return showUsage("format_many STYLESHEET EXPRESSION...");
  }
  const Sequence sequence(argv[1]);
  if (ZEPFailed(sequence.Result())) {
    return fail("StartExpressionFormatting", sequence.Result());
  }

  const unsigned char compact = 1;
  for (int i = 2; i < argc; ++i) {
    ZEPUnicodeString formatted;
    const long result =
        ZEPCfgXMLExpressionServices::ExpressionFormatting(fromUTF8(readFile(argv[i])), formatted, compact);
    if (ZEPFailed(result)) {
      return fail("ExpressionFormatting", result);
    }
    std::cout << argv[i] << ":\n" << formatted;
  }
  return 0;
}
