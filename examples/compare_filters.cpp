// Tells whether everything that one filter selects is selected by another one too.
//
//   compare_filters COMPILED COMPILED
//
// Both are compiled filters, as `zepcfg compile -o FILE EXPRESSION` writes them. Ends with 0 for yes and
// with 1 for no.

#include "Example.h"
#include "ZEPBinary.h"
#include "ZEPCfgFilterBasicServices.h"
#include "ZEPHResult.h"

namespace {

// What is compiled is bytes to the library: they are copied, and checked when they are compared.
ZEPBinary readCompiled(const char* path) {
  const std::string bytes = readFile(path);
  return {bytes.data(), bytes.size()};
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    return showUsage("compare_filters COMPILED COMPILED");
  }
  unsigned char isIncluded = 0;
  const long result =
      ZEPCfgFilterBasicServices::IsAIncludedInB(readCompiled(argv[1]), readCompiled(argv[2]), isIncluded);
  if (ZEPFailed(result)) {
    return fail("IsAIncludedInB", result);
  }
  std::cout << argv[1] << (isIncluded != 0 ? " is" : " is not") << " included in " << argv[2] << "\n";
  return isIncluded != 0 ? 0 : 1;
}
