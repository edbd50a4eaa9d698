#pragma once

#include "RequestLog.h"

#include <httplib.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <set>
#include <string>

// How the stylesheet service behaves.
enum class Misbehaviour {
  None,
  Html,          // a login page instead of JSON
  HalfJson,      // the first half of the answer, as if it were whole
  TrailingText,  // something behind the JSON document
  Empty,         // an empty body
  NoXslt,        // JSON without the member "xslt"
  NoContent,     // "xslt" without the member "content"
  NotText,       // "content" is a number
  NotStylesheet, // "content" is XML but no stylesheet
  NotXml,        // "content" is no XML
  Error403,
  Error404,
  Error500,
  Error503,
  Redirect,  // 302 to another service
  Slow,      // nothing at all before the delay is over
  Stall,     // half of the answer, the rest after the delay
  Truncated, // half of the announced length, then the connection is closed
  Endless,   // a body without an end
};

// The names for the command line, with their meaning in the order of the enumeration.
const std::map<std::string, Misbehaviour>& misbehaviourNames();

struct DemoServerOptions {
  std::string stylesheet; // UTF-8
  Misbehaviour misbehaviour = Misbehaviour::None;
  std::chrono::milliseconds delay{30'000};
};

// A small PLM server: the stylesheet service, echo services and status services.
class DemoServer : public httplib::Server {
public:
  DemoServer(DemoServerOptions options, RequestLog& log);

  // Binds 127.0.0.1 and nothing else; 0 for any free port. The port in use, or -1.
  int bindLoopback(int port);
  // Ends the service at once, waiting answers included.
  void end();

private:
  bool process_and_close_socket(socket_t socket) override;
  bool waitForRequest(const class SocketStream& stream) const;

  void answer(const httplib::Request& request, httplib::Response& response);
  void answerStylesheet(const httplib::Request& request, httplib::Response& response);
  void answerStatus(const httplib::Request& request, httplib::Response& response);
  void misbehave(httplib::Response& response);
  void sendInHalves(httplib::Response& response, const std::string& body, bool secondHalf);
  // False when the server ended meanwhile.
  bool pause();

  DemoServerOptions m_options;
  RequestLog& m_log;
  std::atomic<bool> m_ending = false;
  std::mutex m_mutex;
  std::condition_variable m_ended;
  std::set<std::string> m_seenOnce; // paths of ".../once" that were asked for
};
