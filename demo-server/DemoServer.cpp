#include "DemoServer.h"

#include "SocketStream.h"

#include <charconv>
#include <memory>
#include <optional>
#include <string_view>
#include <utility>

#include <sys/socket.h>
#include <unistd.h>

namespace {

constexpr const char* stylesheetPath =
    "/resources/modeler/configuration/navigationServices/getConfiguredExpressionXSLT/";
constexpr const char* jsonType = "application/json";
constexpr std::size_t maximumBody_bytes = 64U << 20U;
constexpr std::size_t chunk_bytes = 16;
constexpr std::chrono::seconds keepAlive{15};
constexpr std::size_t keepAliveRequests = 1000;
constexpr std::chrono::milliseconds pollInterval{50};
constexpr std::size_t threadCount = 32;

constexpr const char* loginPage =
    "<!DOCTYPE html>\n<html><head><title>Sign in</title></head><body>Please sign in.</body></html>\n";

bool isPathOrBelow(std::string_view path, std::string_view service) {
  return path.starts_with(service) && (path.size() == service.size() || path[service.size()] == '/');
}

void answerJson(httplib::Response& response, int status, const nlohmann::ordered_json& value) {
  response.status = status;
  response.set_content(toText(value), jsonType);
}

void answerEcho(const httplib::Request& request, httplib::Response& response) {
  answerJson(response, 200, describeRequest(request));
}

// The echo in small chunks, so that characters of several bytes fall on their borders.
void answerChunked(const httplib::Request& request, httplib::Response& response) {
  const auto body = std::make_shared<const std::string>(toText(describeRequest(request)));
  response.set_chunked_content_provider(jsonType, [body](std::size_t offset, httplib::DataSink& sink) {
    if (offset < body->size()) {
      return sink.write(body->data() + offset, std::min(chunk_bytes, body->size() - offset));
    }
    sink.done();
    return true;
  });
}

std::string stylesheetAnswer(const nlohmann::ordered_json& content) {
  return toText({{"xslt", {{"content", content}}}});
}

// The length of the body that the HTTP library does not read by itself.
std::size_t unreadBodyLength(const httplib::Request& request) {
  if (request.method != "GET") {
    return 0;
  }
  const std::string text = request.get_header_value("Content-Length");
  std::size_t length = 0;
  std::from_chars(text.data(), text.data() + text.size(), length);
  return std::min(length, maximumBody_bytes);
}

void readBody(SocketStream& stream, std::size_t length, std::string& body) {
  std::array<char, 4096> piece{};
  while (length > 0) {
    const ssize_t count = stream.read(piece.data(), std::min(length, piece.size()));
    if (count <= 0) {
      return;
    }
    body.append(piece.data(), static_cast<std::size_t>(count));
    length -= static_cast<std::size_t>(count);
  }
}

// The status in "/status/404" or "/status/404/once".
std::optional<int> statusInPath(std::string_view path) {
  path.remove_prefix(std::min(path.size(), std::string_view("/status/").size()));
  int status = 0;
  const auto [end, error] = std::from_chars(path.data(), path.data() + path.size(), status);
  const std::string_view rest = path.substr(static_cast<std::size_t>(end - path.data()));
  const bool valid =
      error == std::errc() && status >= 200 && status < 600 && (rest.empty() || rest == "/once");
  return valid ? std::optional(status) : std::nullopt;
}

bool hasNoBody(int status) {
  return status == 204 || status == 304;
}

} // namespace

const std::map<std::string, Misbehaviour>& misbehaviourNames() {
  static const std::map<std::string, Misbehaviour> names{
      {"html", Misbehaviour::Html},
      {"half-json", Misbehaviour::HalfJson},
      {"trailing-text", Misbehaviour::TrailingText},
      {"empty", Misbehaviour::Empty},
      {"no-xslt", Misbehaviour::NoXslt},
      {"no-content", Misbehaviour::NoContent},
      {"not-text", Misbehaviour::NotText},
      {"not-stylesheet", Misbehaviour::NotStylesheet},
      {"not-xml", Misbehaviour::NotXml},
      {"error-403", Misbehaviour::Error403},
      {"error-404", Misbehaviour::Error404},
      {"error-500", Misbehaviour::Error500},
      {"error-503", Misbehaviour::Error503},
      {"redirect", Misbehaviour::Redirect},
      {"slow", Misbehaviour::Slow},
      {"stall", Misbehaviour::Stall},
      {"truncated", Misbehaviour::Truncated},
      {"endless", Misbehaviour::Endless},
  };
  return names;
}

DemoServer::DemoServer(DemoServerOptions options, RequestLog& log)
    : m_options(std::move(options)),
      m_log(log) {
  new_task_queue = [] { return new httplib::ThreadPool(threadCount); };
  // The library's own choice would let two servers share one port.
  set_socket_options([](socket_t socket) {
    const int on = 1;
    setsockopt(socket, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  });
  set_tcp_nodelay(true);
  set_keep_alive_timeout(keepAlive.count());
  set_keep_alive_max_count(keepAliveRequests);
  set_payload_max_length(maximumBody_bytes);
  const auto handler = [this](const httplib::Request& request, httplib::Response& response) {
    answer(request, response);
  };
  const std::string anyPath = ".*";
  Get(anyPath, handler);
  Put(anyPath, handler);
  Post(anyPath, handler);
  Patch(anyPath, handler);
  Delete(anyPath, handler);
  Options(anyPath, handler);
}

int DemoServer::bindLoopback(int port) {
  constexpr const char* loopback = "127.0.0.1";
  if (port == 0) {
    return bind_to_any_port(loopback);
  }
  return bind_to_port(loopback, port) ? port : -1;
}

void DemoServer::end() {
  {
    const std::lock_guard lock(m_mutex);
    m_ending = true;
  }
  m_ended.notify_all();
  stop();
}

bool DemoServer::process_and_close_socket(socket_t socket) {
  SocketStream stream(socket);
  bool proper = true;
  bool closed = false;
  for (std::size_t left = keepAliveRequests; left > 0 && proper && !closed && waitForRequest(stream);
       --left) {
    proper = process_request(stream, left == 1, closed, [&stream](httplib::Request& request) {
      readBody(stream, unreadBodyLength(request), request.body);
    });
  }
  shutdown(socket, SHUT_RDWR);
  close(socket);
  return proper;
}

bool DemoServer::waitForRequest(const SocketStream& stream) const {
  const auto deadline = std::chrono::steady_clock::now() + keepAlive;
  while (!m_ending && std::chrono::steady_clock::now() < deadline) {
    if (stream.waitReadable(static_cast<int>(pollInterval.count()))) {
      return true;
    }
  }
  return false;
}

void DemoServer::answer(const httplib::Request& request, httplib::Response& response) {
  m_log.write(request);
  if (request.path == stylesheetPath) {
    answerStylesheet(request, response);
  } else if (isPathOrBelow(request.path, "/echo")) {
    answerEcho(request, response);
  } else if (isPathOrBelow(request.path, "/chunked")) {
    answerChunked(request, response);
  } else if (isPathOrBelow(request.path, "/status")) {
    answerStatus(request, response);
  } else {
    answerJson(response, 404, {{"error", "no such service"}, {"path", request.target}});
  }
}

void DemoServer::answerStylesheet(const httplib::Request& request, httplib::Response& response) {
  if (request.method != "GET") {
    answerJson(response, 405, {{"error", "the stylesheet service answers GET only"}});
  } else if (m_options.misbehaviour != Misbehaviour::None) {
    misbehave(response);
  } else {
    response.set_content(stylesheetAnswer(m_options.stylesheet), jsonType);
  }
}

void DemoServer::answerStatus(const httplib::Request& request, httplib::Response& response) {
  const std::optional<int> status = statusInPath(request.path);
  if (!status) {
    answerJson(response, 404, {{"error", "ask for /status/200 to /status/599"}, {"path", request.target}});
    return;
  }
  if (request.path.ends_with("/once")) {
    const std::lock_guard lock(m_mutex);
    if (!m_seenOnce.insert(request.path).second) {
      answerEcho(request, response);
      return;
    }
  }
  if (hasNoBody(*status)) {
    response.status = *status;
  } else {
    answerJson(response, *status, {{"status", *status}});
  }
}

void DemoServer::misbehave(httplib::Response& response) {
  const std::string good = stylesheetAnswer(m_options.stylesheet);
  switch (m_options.misbehaviour) {
  case Misbehaviour::None:
    break;
  case Misbehaviour::Html:
    response.set_content(loginPage, "text/html");
    break;
  case Misbehaviour::HalfJson:
    response.set_content(good.substr(0, good.size() / 2), jsonType);
    break;
  case Misbehaviour::TrailingText:
    response.set_content(good + " and more", jsonType);
    break;
  case Misbehaviour::Empty:
    response.set_content("", jsonType);
    break;
  case Misbehaviour::NoXslt:
    answerJson(response, 200, {{"other", 1}});
    break;
  case Misbehaviour::NoContent:
    answerJson(response, 200, {{"xslt", {{"other", 1}}}});
    break;
  case Misbehaviour::NotText:
    response.set_content(stylesheetAnswer(42), jsonType);
    break;
  case Misbehaviour::NotStylesheet:
    response.set_content(stylesheetAnswer("<page>hello</page>"), jsonType);
    break;
  case Misbehaviour::NotXml:
    response.set_content(stylesheetAnswer("hello"), jsonType);
    break;
  case Misbehaviour::Error403:
    answerJson(response, 403, {{"error", "this context may not read stylesheets"}});
    break;
  case Misbehaviour::Error404:
    answerJson(response, 404, {{"error", "no such service"}});
    break;
  case Misbehaviour::Error500:
    answerJson(response, 500, {{"error", "out of order"}});
    break;
  case Misbehaviour::Error503:
    answerJson(response, 503, {{"error", "try again later"}});
    break;
  case Misbehaviour::Redirect:
    response.set_redirect("/echo");
    break;
  case Misbehaviour::Slow:
    if (pause()) {
      response.set_content(good, jsonType);
    }
    break;
  case Misbehaviour::Stall:
    sendInHalves(response, good, true);
    break;
  case Misbehaviour::Truncated:
    sendInHalves(response, good, false);
    break;
  case Misbehaviour::Endless:
    response.set_chunked_content_provider(jsonType, [this](std::size_t, httplib::DataSink& sink) {
      static const std::string blanks(chunk_bytes * 4096, ' ');
      return !m_ending && sink.write(blanks.data(), blanks.size());
    });
    break;
  }
}

void DemoServer::sendInHalves(httplib::Response& response, const std::string& body, bool secondHalf) {
  response.set_content_provider(
      body.size(), jsonType,
      [this, body, secondHalf](std::size_t offset, std::size_t length, httplib::DataSink& sink) {
        if (offset == 0) {
          return sink.write(body.data(), body.size() / 2);
        }
        return secondHalf && pause() && sink.write(body.data() + offset, length);
      });
}

bool DemoServer::pause() {
  std::unique_lock lock(m_mutex);
  return !m_ended.wait_for(lock, m_options.delay, [this] { return m_ending.load(); });
}
