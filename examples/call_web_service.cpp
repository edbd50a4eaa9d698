// Sends one request to the server and prints its answer.
//
//   call_web_service GET|PUT|POST PATH [JSON]
//
// On the reference platform the server's address is in ZEP_URL, the security context in ZEP_CONTEXT:
//   zep-demo-server --port 8080 &
//   ZEP_URL=http://127.0.0.1:8080 ZEP_CONTEXT=Design call_web_service POST /echo '{"part": 4711}'

#include "Example.h"
#include "ZEPCfgWebServices.h"
#include "ZEPHResult.h"

int main(int argc, char** argv) {
  if (argc < 3 || argc > 4) {
    return showUsage("call_web_service GET|PUT|POST PATH [JSON]");
  }
  const ZEPUnicodeString verb(argv[1]);
  const ZEPUnicodeString path(argv[2]);
  const ZEPUnicodeString request(argc == 4 ? argv[3] : "");

  ZEPUnicodeString answer;
  const long result = ZEPCfgWebServices::CallWebService(verb, path, request, answer);

  // Some failures are the server's own answers, and tell themselves apart.
  if (result == ZEP_E_HTTP_NOT_FOUND) {
    std::cerr << "the server has no " << path << "\n";
    return 1;
  }
  if (result == ZEP_E_HTTP_STATUS) {
    std::cerr << "the server refused: " << answer << "\n";
    return 1;
  }
  if (ZEPFailed(result)) {
    return fail("CallWebService", result);
  }
  std::cout << answer << "\n";
  return 0;
}
