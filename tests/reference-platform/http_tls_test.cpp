// Certificates, against a server that OpenSSL's own program plays.
#include "HttpCalls.h"
#include "ZEPHResult.h"

#include <gmock/gmock-matchers.h>
#include <gtest/gtest.h>

#include <csignal>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace {

using testing::HasSubstr;

void Run(const std::string& command) {
  if (std::system((command + " 2>/dev/null").c_str()) != 0) {
    throw std::runtime_error(command);
  }
}

// `openssl s_server` with a certificate of its own for the host name, on a port of the kernel's choice.
class TlsServer {
public:
  TlsServer(const std::filesystem::path& folder, const std::string& hostName,
            const std::string& options = "") {
    certificate = folder / (hostName + ".pem");
    const std::string key = folder / (hostName + ".key");
    Run("openssl req -x509 -newkey rsa:2048 -nodes -days 2 -subj /CN=" + hostName +
        " -addext subjectAltName=DNS:" + hostName + " -keyout " + key + " -out " + certificate);
    std::array<int, 2> output = {};
    if (pipe(output.data()) != 0 || (m_process = fork()) < 0) {
      throw std::runtime_error("the server cannot be started");
    }
    if (m_process == 0) {
      dup2(output[1], STDOUT_FILENO);
      const std::string command = "exec openssl s_server -accept 127.0.0.1:0 -www -cert " + certificate +
                                  " -key " + key + " " + options + " 2>/dev/null";
      execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
      _exit(127);
    }
    close(output[1]);
    m_output = fdopen(output[0], "r");
    ReadPort();
  }
  ~TlsServer() {
    kill(m_process, SIGKILL);
    waitpid(m_process, nullptr, 0);
    std::fclose(m_output);
  }
  TlsServer(const TlsServer&) = delete;
  TlsServer& operator=(const TlsServer&) = delete;

  std::string Url(const std::string& host) const { return "https://" + host + ":" + m_port + "/"; }

  std::string certificate;

private:
  // "ACCEPT 127.0.0.1:12345"
  void ReadPort() {
    std::array<char, 256> line = {};
    while (std::fgets(line.data(), line.size(), m_output) != nullptr) {
      const std::string text = line.data();
      if (text.starts_with("ACCEPT")) {
        m_port = std::to_string(std::stoi(text.substr(text.rfind(':') + 1)));
        return;
      }
    }
    throw std::runtime_error("the server does not say its port");
  }

  pid_t m_process = -1;
  std::FILE* m_output = nullptr;
  std::string m_port;
};

class HttpTls : public testing::TestWithParam<HttpStack> {
protected:
  HttpTls() : folder(std::filesystem::path(testing::TempDir()) / ("tls-" + std::to_string(getpid()))) {
    std::filesystem::create_directories(folder);
    unsetenv("ZEP_CA_FILE");
    unsetenv("SSL_CERT_FILE");
  }
  ~HttpTls() override { std::filesystem::remove_all(folder); }

  HttpOutcome Get(const std::string& url) const { return Send(GetParam(), {.url = url}); }

  std::filesystem::path folder;
};

INSTANTIATE_TEST_SUITE_P(BothClients, HttpTls, testing::Values(HttpStack::Object, HttpStack::Legacy),
                         [](const auto& row) {
                           return std::string(row.param == HttpStack::Object ? "Object" : "Legacy");
                         });

TEST_P(HttpTls, Certificate_IsVerified_AuthorityKnownOrNot) {
  const TlsServer server(folder, "localhost");
  const HttpOutcome unknown = Get(server.Url("localhost"));
  EXPECT_EQ(unknown.code, E_FAIL);
  EXPECT_THAT(unknown.error, HasSubstr("certificate"));
  EXPECT_THAT(unknown.error, HasSubstr("ZEP_CA_FILE"));

  for (const char* const name : {"ZEP_CA_FILE", "SSL_CERT_FILE"}) {
    SCOPED_TRACE(name);
    setenv(name, server.certificate.c_str(), 1);
    const HttpOutcome known = Get(server.Url("localhost"));
    EXPECT_EQ(known.code, S_OK) << known.error;
    EXPECT_EQ(known.status, 200);
    unsetenv(name);
    EXPECT_EQ(Get(server.Url("localhost")).code, E_FAIL) << "a connection of before was used again";
  }
}

TEST_P(HttpTls, Certificate_IsRefused_NameOfAnotherHost) {
  const TlsServer server(folder, "plm.example");
  setenv("ZEP_CA_FILE", server.certificate.c_str(), 1);
  const HttpOutcome outcome = Get(server.Url("localhost"));
  EXPECT_EQ(outcome.code, E_FAIL);
  EXPECT_THAT(outcome.error, HasSubstr("localhost"));
}

TEST_P(HttpTls, AuthorityFile_FailsTheCall_Missing) {
  const TlsServer server(folder, "localhost");
  const std::string missing = folder / "missing.pem";
  setenv("ZEP_CA_FILE", missing.c_str(), 1);
  const HttpOutcome outcome = Get(server.Url("localhost"));
  EXPECT_EQ(outcome.code, E_FAIL);
  EXPECT_THAT(outcome.error, HasSubstr(missing));
}

TEST_P(HttpTls, Protocol_IsRefused_OlderThanTls12) {
  const TlsServer server(folder, "localhost", "-tls1_1 -cipher ALL:@SECLEVEL=0");
  setenv("ZEP_CA_FILE", server.certificate.c_str(), 1);
  EXPECT_EQ(Get(server.Url("localhost")).code, E_FAIL);
}

} // namespace
