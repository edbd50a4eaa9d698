// Shows one expression as text.
//
//   format_one EXPRESSION [STYLESHEET]
//
// Without a stylesheet of its own it takes the server's, the one of the user's setting, or the first one
// that is installed below ZEPInstallPath, as every client does.

#include "Example.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"

int main(int argc, char** argv) {
  if (argc < 2 || argc > 3) {
    return showUsage("format_one EXPRESSION [STYLESHEET]");
  }
  const ZEPUnicodeString expression = fromUTF8(readFile(argv[1]));
  const ZEPUnicodeString stylesheet(argc == 3 ? argv[2] : "");

  // The output keeps its value where nothing was formatted, so it begins empty here.
  ZEPUnicodeString formatted;
  const unsigned char compact = 0;
  const long result =
      ZEPCfgXMLExpressionServices::FormatExpression(expression, formatted, stylesheet, compact);
  if (ZEPFailed(result)) {
    return fail("FormatExpression", result);
  }

  // Success has shades: an empty expression and a missing stylesheet are none of them failures.
  if (formatted.IsEmpty()) {
    std::cerr << "nothing was formatted: the expression is empty, or there is no stylesheet\n";
    return 1;
  }
  std::cout << formatted;
  return 0;
}
