#include "FuzzTarget.h"
#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"

#include <algorithm>

namespace {

constexpr std::size_t kLongestLine = 1023; // a longer one is continued as a line of its own

char Lower(char character) {
  return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

// What the check is defined to answer.
long ExpectedResult(std::string_view file) {
  while (!file.empty()) {
    const std::size_t length = std::min({file.find('\n'), file.size() - 1, kLongestLine - 1}) + 1;
    std::string line(file.substr(0, length));
    file.remove_prefix(length);
    line.resize(std::min(line.find('\0'), line.size())); // it is read as zero-terminated
    if (line.find("xsl:output") != std::string::npos) {
      std::transform(line.begin(), line.end(), line.begin(), Lower);
      return line.find("utf-8") != std::string::npos ? S_FALSE : S_OK;
    }
  }
  return S_OK;
}

} // namespace

// The encoding of a stylesheet's output, read from the file's text.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::ScratchFolder folder;
  const std::string_view content = fuzz::Bytes(data, size);
  folder.Write("sheet.xsl", content);
  fuzz::Require(ZEPCfgXMLExpressionServices::IsEncodingUTF16(fuzz::Text(folder.Path("sheet.xsl"))) ==
                    ExpectedResult(content),
                "the answer is that of the first line with xsl:output");
  return 0;
}
