#include "HttpCalls.h"
#include "RawServer.h"
#include "ZEPHResult.h"
#include "ZEPHttpClient.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace {

constexpr unsigned long kKeepConnection = 0x400000;
constexpr unsigned long kCoalesce = 0x40000000;

// A buffer that the client handed out.
struct Buffer {
  Buffer() = default;
  Buffer(const Buffer&) = delete;
  Buffer& operator=(const Buffer&) = delete;
  ~Buffer() { std::free(bytes); }

  std::string Text() const { return bytes == nullptr ? "null" : std::string(bytes, length); }

  char* bytes = nullptr;
  std::size_t length = 12345;
  std::size_t wholeLength = 12345;
};

class HttpLegacyClient : public testing::Test {
protected:
  int Open(const std::string& verb = "GET", unsigned long flags = kKeepConnection) {
    return client.OpenRequest(verb.c_str(), server.Url("/p").c_str(), flags, nullptr);
  }
  void Receive(const std::string& answer, RawServer::Afterwards afterwards = RawServer::Afterwards::Keep) {
    server.Enqueue(answer, afterwards);
    ASSERT_EQ(Open(), 0);
    ASSERT_EQ(client.SendRequest(nullptr, 0), 0);
  }
  void ReceiveBody(const std::string& body) { Receive(RawServer::Whole("HTTP/1.1 200 OK", body)); }
  int Status(Buffer& buffer, unsigned long level = 19) {
    return client.GetResponseHeaders(&buffer.bytes, &buffer.length, &buffer.wholeLength, level, nullptr);
  }
  std::string LineSent(const std::string& start) const { return server.Requests().back().Line(start); }

  // The body piece by piece, each after a "|".
  std::string Pieces(int pieceSize) {
    std::string pieces;
    int finished = 0;
    while (finished == 0) {
      Buffer piece;
      if (client.DownloadEx(pieceSize, &piece.length, &piece.bytes, &finished) < 0) {
        return pieces + "failed";
      }
      if (finished != 0) {
        EXPECT_EQ(piece.length, 0U);
        EXPECT_EQ(piece.bytes, nullptr);
      } else {
        EXPECT_GT(piece.length, 0U);
        EXPECT_LE(piece.length, static_cast<std::size_t>(pieceSize));
        pieces += "|" + piece.Text();
      }
    }
    return pieces;
  }

  RawServer server;
  ZEPHttpClient client{nullptr, 1, 1};
};

TEST_F(HttpLegacyClient, Verbs_AreSentAsTheyStand_TableOfVerbs) {
  struct Row {
    int line;
    std::string verb;
    std::string body;
    std::string lengthLine;
    std::string answer;
  };
  const std::string ok = RawServer::Whole("HTTP/1.1 200 OK", "ok");
  const Row rows[] = {
      Row{__LINE__, "GET", "", "", ok},
      Row{__LINE__, "GET", "{}", "Content-Length: 2", ok},
      Row{__LINE__, "get", "", "", ok},
      Row{__LINE__, "get", "{}", "Content-Length: 2", ok},
      Row{__LINE__, "DELETE", "", "", ok},
      Row{__LINE__, "DELETE", "{}", "Content-Length: 2", ok},
      Row{__LINE__, "PATCH", "", "Content-Length: 0", ok},
      Row{__LINE__, "PUT", "", "Content-Length: 0", ok},
      Row{__LINE__, "POST", "{}", "Content-Length: 2", ok},
      Row{__LINE__, "OPTIONS", "", "", ok},
      Row{__LINE__, "X-Own!", "{}", "Content-Length: 2", ok},
      Row{__LINE__, "HEAD", "", "", "HTTP/1.1 200 OK\r\nContent-Length: 1000000000\r\n\r\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    server.Enqueue(row.answer);
    ASSERT_EQ(Open(row.verb), 0);
    ASSERT_EQ(client.SendRequest(row.body.data(), row.body.size()), 0);
    const RawServer::Request request = server.Requests().back();
    EXPECT_EQ(request.head.substr(0, request.head.find("\r\n")), row.verb + " /p HTTP/1.1");
    EXPECT_EQ(request.Line("Content-Length"), row.lengthLine);
    EXPECT_EQ(request.body, row.body);
    Buffer body;
    EXPECT_EQ(client.Download(&body.length, &body.bytes), 0);
    EXPECT_EQ(body.Text(), row.verb == "HEAD" ? "" : "ok");
  }
}

TEST_F(HttpLegacyClient, Verbs_AreRefused_NotATokenOfHttp) {
  for (const char* const verb :
       {"", " ", "GE T", "GET ", "GET\r\n", "GET /x HTTP/1.1\r\nA:", "G\xC3\x89T", "CONNECT"}) {
    EXPECT_NE(Open(verb), 0) << verb;
    EXPECT_NE(client.SendRequest(nullptr, 0), 0) << verb;
  }
  EXPECT_EQ(server.Requests().size(), 0U);
}

TEST_F(HttpLegacyClient, SendRequest_Fails_HeadWithABody) {
  ASSERT_EQ(Open("HEAD"), 0);
  EXPECT_NE(client.SendRequest("{}", 2), 0);
  EXPECT_EQ(server.Requests().size(), 0U);
}

TEST_F(HttpLegacyClient, Body_MayHoldAnyBytes_NulAmongThem) {
  ASSERT_EQ(Open("POST"), 0);
  const std::string body("a\0\xFF\r\n\r\nb", 9);
  ASSERT_EQ(client.SendRequest(body.data(), body.size()), 0);
  EXPECT_EQ(server.Requests().back().body, body);
}

TEST_F(HttpLegacyClient, Headers_AreJoined_SameNameWithComma) {
  ASSERT_EQ(Open(), 0);
  EXPECT_EQ(client.AddRequestHeaders("X-A: 1\r\n", kCoalesce), 0);
  EXPECT_EQ(client.AddRequestHeaders("x-a:2", kCoalesce), 0);
  EXPECT_EQ(client.AddRequestHeaders("X-B: 3", 0), 0);
  EXPECT_EQ(client.AddRequestHeaders("X-B: 4", 0), 0);
  ASSERT_EQ(client.SendRequest(nullptr, 0), 0);
  EXPECT_EQ(LineSent("X-A:"), "X-A: 1, 2");
  EXPECT_NE(server.Requests().back().head.find("\r\nX-B: 3\r\nX-B: 4\r\n"), std::string::npos);
}

TEST_F(HttpLegacyClient, Headers_AreRefused_NotOneLine) {
  ASSERT_EQ(Open(), 0);
  EXPECT_NE(client.AddRequestHeaders(nullptr, kCoalesce), 0);
  EXPECT_NE(client.AddRequestHeaders("", kCoalesce), 0);
  EXPECT_NE(client.AddRequestHeaders("X-A", kCoalesce), 0);
  EXPECT_NE(client.AddRequestHeaders(": v", kCoalesce), 0);
  EXPECT_NE(client.AddRequestHeaders("X-A: v\r\nX-B: w\r\n", kCoalesce), 0);
  EXPECT_NE(client.AddRequestHeaders("X-A: v", 0x80000000), 0);
  ASSERT_EQ(client.SendRequest(nullptr, 0), 0);
  EXPECT_EQ(LineSent("X-"), "");
}

TEST_F(HttpLegacyClient, Agent_IsTheCallersOwn_NameGiven) {
  ZEPHttpClient named("Orvana/2", 1, 1);
  ASSERT_EQ(named.OpenRequest("GET", server.Url().c_str(), kKeepConnection, nullptr), 0);
  ASSERT_EQ(named.SendRequest(nullptr, 0), 0);
  EXPECT_EQ(LineSent("User-Agent"), "User-Agent: Orvana/2");

  ZEPHttpClient broken("a\r\nX-B: c", 1, 1);
  ASSERT_EQ(broken.OpenRequest("GET", server.Url().c_str(), kKeepConnection, nullptr), 0);
  EXPECT_NE(broken.SendRequest(nullptr, 0), 0);
  EXPECT_EQ(server.Requests().size(), 1U);
}

TEST_F(HttpLegacyClient, Connection_IsClosed_NotAskedToKeepIt) {
  for (int call = 0; call < 2; ++call) {
    ASSERT_EQ(Open("GET", 0), 0);
    ASSERT_EQ(client.SendRequest(nullptr, 0), 0);
    EXPECT_EQ(LineSent("Connection"), "Connection: close");
  }
  EXPECT_EQ(server.ConnectionCount(), 2);
}

TEST_F(HttpLegacyClient, OpenRequest_Fails_ArgumentNotSupported) {
  const char* types[] = {"application/json", nullptr};
  const std::string url = server.Url();
  EXPECT_NE(client.OpenRequest(nullptr, url.c_str(), kKeepConnection, nullptr), 0);
  EXPECT_NE(client.OpenRequest("GET", nullptr, kKeepConnection, nullptr), 0);
  EXPECT_NE(client.OpenRequest("GET", url.c_str(), kKeepConnection | 0x1000, nullptr), 0);
  EXPECT_NE(client.OpenRequest("GET", url.c_str(), kKeepConnection, types), 0);
}

TEST_F(HttpLegacyClient, Operations_Fail_OutOfOrder) {
  Buffer buffer;
  int finished = 7;
  const auto expectNothingToRead = [&] {
    EXPECT_NE(Status(buffer), 0);
    EXPECT_NE(client.Download(&buffer.length, &buffer.bytes), 0);
    EXPECT_LT(client.DownloadEx(4096, &buffer.length, &buffer.bytes, &finished), 0);
    EXPECT_EQ(buffer.bytes, nullptr);
    EXPECT_EQ(buffer.length, 12345U);
    EXPECT_EQ(buffer.wholeLength, 12345U);
    EXPECT_EQ(finished, 7);
  };
  {
    SCOPED_TRACE("nothing opened");
    EXPECT_NE(client.AddRequestHeaders("X-A: v", kCoalesce), 0);
    EXPECT_NE(client.SendRequest(nullptr, 0), 0);
    EXPECT_NE(client.CloseRequest(), 0);
    expectNothingToRead();
  }
  {
    SCOPED_TRACE("opened");
    ASSERT_EQ(Open(), 0);
    expectNothingToRead();
    EXPECT_NE(client.SendRequest(nullptr, 3), 0);
  }
  {
    SCOPED_TRACE("closed without having been sent");
    EXPECT_EQ(client.CloseRequest(), 0);
    EXPECT_NE(client.CloseRequest(), 0);
    EXPECT_NE(client.SendRequest(nullptr, 0), 0);
    expectNothingToRead();
  }
  {
    SCOPED_TRACE("sent without an answer");
    server.Enqueue("", RawServer::Afterwards::Close);
    ASSERT_EQ(Open("POST"), 0);
    EXPECT_NE(client.SendRequest(nullptr, 0), 0);
    EXPECT_NE(client.SendRequest(nullptr, 0), 0);
    EXPECT_NE(client.CloseRequest(), 0);
    expectNothingToRead();
  }
  {
    SCOPED_TRACE("answered");
    ASSERT_EQ(Open(), 0);
    ASSERT_EQ(client.SendRequest(nullptr, 0), 0);
    EXPECT_NE(client.SendRequest(nullptr, 0), 0);
    EXPECT_NE(client.AddRequestHeaders("X-A: v", kCoalesce), 0);
    EXPECT_EQ(client.CloseRequest(), 0);
    EXPECT_NE(client.CloseRequest(), 0);
  }
  {
    SCOPED_TRACE("opened anew");
    ASSERT_EQ(Open(), 0);
    expectNothingToRead();
  }
  EXPECT_EQ(server.Requests().size(), 2U);
}

TEST_F(HttpLegacyClient, Answer_StaysReadable_RequestClosed) {
  ReceiveBody("body");
  ASSERT_EQ(client.CloseRequest(), 0);
  for (int i = 0; i < 2; ++i) {
    Buffer status;
    ASSERT_EQ(Status(status), 0);
    EXPECT_EQ(status.Text(), "200");
    Buffer body;
    ASSERT_EQ(client.Download(&body.length, &body.bytes), 0);
    EXPECT_EQ(body.Text(), "body");
  }
}

TEST_F(HttpLegacyClient, GetResponseHeaders_GivesStatusAndChunking_TableOfAnswers) {
  struct Row {
    int line;
    std::string answer;
    std::string status;
    std::string behind; // up to the zero
  };
  const std::string chunks = "2\r\nab\r\n0\r\n\r\n";
  const Row rows[] = {
      Row{__LINE__, RawServer::Whole("HTTP/1.1 200 OK", "ab"), "200", ""},
      Row{__LINE__, RawServer::Whole("HTTP/1.1 503 Busy", "ab"), "503", ""},
      Row{__LINE__, "HTTP/1.1 204 No Content\r\n\r\n", "204", ""},
      Row{__LINE__, "HTTP/1.1 200 OK\r\nX: Transfer-Encoding: chunked\r\nContent-Length: 0\r\n\r\n", "200",
          ""},
      Row{__LINE__, "HTTP/1.1 200 OK\r\nA: b\r\nTransfer-Encoding: chunked\r\nC: d\r\n\r\n" + chunks, "200",
          "\r\nTransfer-Encoding: chunked\r\n"},
      Row{__LINE__, "HTTP/1.1 404 No\r\ntransfer-encoding: chunked\r\n\r\n" + chunks, "404",
          "\r\ntransfer-encoding: chunked\r\n"},
      Row{__LINE__, "HTTP/1.1 200 OK\r\nTransfer-Encoding:chunked\r\n\r\n" + chunks, "200",
          "\r\nTransfer-Encoding:chunked\r\n"},
      Row{__LINE__, "HTTP/1.1 200 OK\r\nTransfer-Encoding: Chunked\r\n\r\n" + chunks, "200",
          "\r\nTransfer-Encoding: Chunked\r\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    Receive(row.answer);
    Buffer status;
    ASSERT_EQ(Status(status), 0);
    EXPECT_EQ(status.Text(), row.status);
    EXPECT_STREQ(status.bytes, (row.status + row.behind).c_str());
    EXPECT_EQ(status.wholeLength, row.status.size() + row.behind.size());
  }
}

TEST_F(HttpLegacyClient, GetResponseHeaders_FailsAndLeavesTheOutputs_ArgumentNotSupported) {
  ReceiveBody("x");
  Buffer buffer;
  EXPECT_NE(Status(buffer, 20), 0);
  EXPECT_NE(client.GetResponseHeaders(&buffer.bytes, &buffer.length, &buffer.wholeLength, 19, "Date"), 0);
  EXPECT_NE(client.GetResponseHeaders(nullptr, &buffer.length, &buffer.wholeLength, 19, nullptr), 0);
  EXPECT_NE(client.GetResponseHeaders(&buffer.bytes, nullptr, &buffer.wholeLength, 19, nullptr), 0);
  EXPECT_NE(client.GetResponseHeaders(&buffer.bytes, &buffer.length, nullptr, 19, nullptr), 0);
  EXPECT_EQ(buffer.bytes, nullptr);
  EXPECT_EQ(buffer.length, 12345U);
  EXPECT_EQ(buffer.wholeLength, 12345U);
}

TEST_F(HttpLegacyClient, Download_GivesNothingWithSuccess_EmptyBody) {
  ReceiveBody("");
  Buffer body;
  EXPECT_EQ(client.Download(&body.length, &body.bytes), 0);
  EXPECT_EQ(body.length, 0U);
  EXPECT_EQ(Pieces(4096), "");
}

TEST_F(HttpLegacyClient, DownloadEx_CutsBetweenSequences_TableOfBodies) {
  struct Row {
    int line;
    int size;
    std::string body;
    std::string pieces;
  };
  const Row rows[] = {
      Row{__LINE__, 4096, "abc", "|abc"},
      Row{__LINE__, 4, "abcdefgh", "|abcd|efgh"},
      Row{__LINE__, 4, "abcde", "|abcd|e"},
      Row{__LINE__, 4, "abc\u00e9", "|abc|\u00e9"},
      Row{__LINE__, 4, "ab\u00e9\u00e9", "|ab\u00e9|\u00e9"},
      Row{__LINE__, 4, "ab\u65e5x", "|ab|\u65e5x"},
      Row{__LINE__, 4, "abc\u65e5", "|abc|\u65e5"},
      Row{__LINE__, 4, "a\U0001F600b", "|a|\U0001F600|b"},
      Row{__LINE__, 4, "\U0001F600\U0001F601", "|\U0001F600|\U0001F601"},
      Row{__LINE__, 5, "ab\U0001F600", "|ab|\U0001F600"},
      // What is not UTF-8 is given out all the same.
      Row{__LINE__, 4, "\x80\x80\x80\x80\x80\x80", "|\x80\x80\x80\x80|\x80\x80"},
      Row{__LINE__, 4, "\xFF\xFF\xFF\xFF\xFF", "|\xFF\xFF\xFF\xFF|\xFF"},
      Row{__LINE__, 4, "abc\xE6\x97", "|abc|\xE6\x97"},
      Row{__LINE__, 4, "abcd\xE6\x97", "|abcd|\xE6\x97"},
      Row{__LINE__, 4, "\xF0\xF0\xF0\xF0\xF0", "|\xF0\xF0\xF0|\xF0\xF0"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.line);
    ReceiveBody(row.body);
    EXPECT_EQ(Pieces(row.size), row.pieces);
    EXPECT_EQ(Pieces(row.size), "") << "the end does not stay the end";
  }
}

TEST_F(HttpLegacyClient, DownloadEx_DecodesLikeTheWhole_GeneratedBodies) {
  std::mt19937 random(7);
  const std::string interesting = "a\x80\xBF\xC0\xC3\xE0\xE6\xED\xEF\xF0\xF4\xF5\xFF\x97\xA5\x9F\x98";
  for (int run = 0; run < 300; ++run) {
    std::string body(1 + random() % 40, ' ');
    for (char& byte : body) {
      byte = interesting[random() % interesting.size()];
    }
    ReceiveBody(body);
    const int size = 4 + static_cast<int>(random() % 6);
    ZEPUnicodeString joined;
    std::string bytes;
    for (int finished = 0; finished == 0;) {
      Buffer piece;
      ASSERT_EQ(client.DownloadEx(size, &piece.length, &piece.bytes, &finished), 0);
      if (finished == 0) {
        joined.Append(Text({piece.bytes, piece.length}));
        bytes += piece.Text();
      }
    }
    ASSERT_EQ(bytes, body);
    ASSERT_EQ(Bytes(joined), Bytes(Text(body))) << "piece size " << size;
  }
}

TEST_F(HttpLegacyClient, DownloadEx_FailsWithANegativeCode_ArgumentNotSupported) {
  ReceiveBody("abcdef");
  Buffer piece;
  int finished = 7;
  for (const int size : {-1, 0, 3}) {
    EXPECT_LT(client.DownloadEx(size, &piece.length, &piece.bytes, &finished), 0) << size;
  }
  EXPECT_LT(client.DownloadEx(4, nullptr, &piece.bytes, &finished), 0);
  EXPECT_LT(client.DownloadEx(4, &piece.length, nullptr, &finished), 0);
  EXPECT_LT(client.DownloadEx(4, &piece.length, &piece.bytes, nullptr), 0);
  EXPECT_EQ(piece.bytes, nullptr);
  EXPECT_EQ(finished, 7);
  EXPECT_EQ(Pieces(4), "|abcd|ef");
}

TEST_F(HttpLegacyClient, Client_ServesRequestAfterRequest_OneObject) {
  for (const char* const body : {"first", "", "third"}) {
    ReceiveBody(body);
    Buffer received;
    ASSERT_EQ(client.Download(&received.length, &received.bytes), 0);
    EXPECT_EQ(received.Text(), body);
    EXPECT_EQ(client.CloseRequest(), 0);
  }
  EXPECT_EQ(server.ConnectionCount(), 1);
}

} // namespace
