#include "Bench.h"
#include "Inputs.h"

#include "ZEPCfgWebServices.h"
#include "ZEPHResult.h"

#include <curl/curl.h>
#include <httplib.h>

#include <cstdlib>
#include <memory>
#include <string>
#include <thread>

// GET and PUT of about 1 KB over both HTTP stacks, beside one libcurl handle that is kept. The server runs
// in this process, on threads of its own: what is compared is the processor time of the calling thread,
// system calls included.

namespace {

constexpr const char* context = "VPLMProjectLeader.Company.Design";
constexpr const char* path = "/expressions";

class Server {
public:
  explicit Server(std::string answer) {
    m_server.set_tcp_nodelay(true);
    m_server.set_keep_alive_max_count(std::size_t{1} << 40U);
    const auto handler = [answer = std::move(answer)](const httplib::Request&, httplib::Response& response) {
      response.set_content(answer, "application/json");
    };
    m_server.Get(path, handler);
    m_server.Put(path, handler);
    m_port = m_server.bind_to_any_port("127.0.0.1");
    bench::require(m_port > 0, "no port for the server");
    m_thread = std::thread([this] { m_server.listen_after_bind(); });
    while (!m_server.is_running()) {
      std::this_thread::yield();
    }
  }
  ~Server() {
    m_server.stop();
    m_thread.join();
  }
  Server(const Server&) = delete;
  Server& operator=(const Server&) = delete;

  std::string Url() const { return "http://127.0.0.1:" + std::to_string(m_port); }

private:
  httplib::Server m_server;
  int m_port = -1;
  std::thread m_thread;
};

using Operation = long (*)(const ZEPUnicodeString&, const ZEPUnicodeString&, const ZEPUnicodeString&,
                           ZEPUnicodeString&);

ZEPUnicodeString call(Operation operation, const ZEPUnicodeString& verb, const ZEPUnicodeString& body) {
  ZEPUnicodeString answer;
  bench::require(operation(verb, path, body, answer) == S_OK, "a call failed");
  return answer;
}

std::size_t collect(char* bytes, std::size_t size, std::size_t count, void* text) {
  static_cast<std::string*>(text)->append(bytes, size * count);
  return size * count;
}

// One request, set up once and sent again and again, byte for byte the one that ours sends.
class CurlRequest {
public:
  CurlRequest(const std::string& url, const char* verb, std::string body) : m_body(std::move(body)) {
    for (const std::string& header :
         {std::string("User-Agent: ZEPPlatform/1.0"), std::string("Accept: application/json"),
          std::string("Content-Type: application/json"), std::string("SecurityContext: ") + context}) {
      m_headers.reset(curl_slist_append(m_headers.release(), header.c_str()));
    }
    curl_easy_setopt(m_handle.get(), CURLOPT_URL, url.c_str());
    curl_easy_setopt(m_handle.get(), CURLOPT_HTTPHEADER, m_headers.get());
    curl_easy_setopt(m_handle.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(m_handle.get(), CURLOPT_WRITEFUNCTION, collect);
    curl_easy_setopt(m_handle.get(), CURLOPT_WRITEDATA, &m_answer);
    if (!m_body.empty()) {
      curl_easy_setopt(m_handle.get(), CURLOPT_CUSTOMREQUEST, verb);
      curl_easy_setopt(m_handle.get(), CURLOPT_POSTFIELDS, m_body.data());
      curl_easy_setopt(m_handle.get(), CURLOPT_POSTFIELDSIZE, static_cast<long>(m_body.size()));
    }
  }

  const std::string& Perform() {
    m_answer.clear();
    bench::require(curl_easy_perform(m_handle.get()) == CURLE_OK, "libcurl's call failed");
    return m_answer;
  }

private:
  struct Deleter {
    void operator()(CURL* handle) const { curl_easy_cleanup(handle); }
    void operator()(curl_slist* list) const { curl_slist_free_all(list); }
  };
  std::string m_body;
  std::string m_answer;
  std::unique_ptr<curl_slist, Deleter> m_headers;
  std::unique_ptr<CURL, Deleter> m_handle{curl_easy_init()};
};

void compare(const std::string& verb, const std::string& url, const std::string& body) {
  const auto libcurl = std::make_shared<CurlRequest>(url + path, verb.c_str(), body);
  const ZEPUnicodeString verbText = bench::textOf(verb);
  const ZEPUnicodeString bodyText = bench::textOf(body);
  struct Stack {
    const char* name;
    Operation operation;
  };
  for (const Stack& stack : {Stack{"current", ZEPCfgWebServices::NewCallWebService},
                             Stack{"legacy", ZEPCfgWebServices::OldCallWebService}}) {
    const std::string name = "web_service/" + verb + "_" + stack.name + "/1KB";
    bench::requireSame(name, bench::utf8Of(call(stack.operation, verbText, bodyText)), libcurl->Perform());
    bench::add(name + "/ours",
               [=, operation = stack.operation] { bench::keep(call(operation, verbText, bodyText)); });
    bench::add(name + "/libcurl", [=] { bench::keep(libcurl->Perform()); });
  }
}

} // namespace

int main(int argc, char** argv) {
  const std::string json = "{\"expression\":\"" + std::string(inputs::size1KB.bytes, 'x') + "\"}";
  const Server server(json);
  setenv("ZEP_URL", server.Url().c_str(), 1);
  setenv("ZEP_CONTEXT", context, 1);
  compare("GET", server.Url(), "");
  compare("PUT", server.Url(), json);
  return bench::run(argc, argv);
}
