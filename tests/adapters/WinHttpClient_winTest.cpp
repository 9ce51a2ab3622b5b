#include "ostrel_host/WinHttpClient.h"

#include <winsock2.h>

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <future>
#include <string>
#include <thread>
#include <vector>

#include "HttpExchange.h"
#include "RawHttpServer.h"

namespace OstrelTest {
namespace {

using OstrelHost::WinHttpClient;
using OstrelHost::WinHttpOptions;

// Loopback only: a proxy of the system must not see test traffic.
WinHttpOptions LocalOptions() {
  WinHttpOptions options;
  options.proxy = WinHttpOptions::Proxy::kNone;
  return options;
}

// A loopback port that is bound but never listens, so connecting to it is
// refused; holding the socket keeps the port from being reused meanwhile.
class RefusingPort {
 public:
  RefusingPort() {
    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
    socket_ = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    int length = sizeof address;
    if (::bind(socket_, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
        ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
      port_ = ntohs(address.sin_port);
    }
  }
  ~RefusingPort() {
    ::closesocket(socket_);
    WSACleanup();
  }
  int port() const { return port_; }

 private:
  SOCKET socket_;
  int port_ = 0;
};

TEST(WinHttpClient, SendsTheHeaderLinesAndReturnsTheAnswer) {
  RawHttpServer server;
  ASSERT_NE(server.port(), 0);
  server.Answer("/doc", RawHttpServer::Response(200, "OK", "{\"k\":\"v\"}\nsecond line",
                                                {"X-Served-By: local"}));
  WinHttpClient client(LocalOptions());
  ASSERT_EQ(client.error(), "");
  TestRequest request(server.Url("/doc?resourceId=a%2Fb&v=2#part"),
                      {"o-sign: 0a1b2c", "o-user-info: app|1.0|0|0", "X-Spaced: two  words"});
  TestResponse response;

  ASSERT_EQ(client.Send(&request, &response), 0) << response.message;
  EXPECT_EQ(response.statusCode, 200);
  EXPECT_EQ(response.success, "true");
  EXPECT_EQ(response.body, "{\"k\":\"v\"}\nsecond line");
  EXPECT_EQ(response.message, "");
  EXPECT_EQ(response.header.rfind("HTTP/1.1 200 OK\r\n", 0), 0u) << response.header;
  EXPECT_NE(response.header.find("\r\nX-Served-By: local\r\n"), std::string::npos)
      << response.header;

  const std::vector<RawHttpServer::SeenRequest> seen = server.Requests();
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].head.rfind("GET /doc?resourceId=a%2Fb&v=2 HTTP/1.1\r\n", 0), 0u)
      << seen[0].head;
  EXPECT_EQ(seen[0].Header("o-sign"), "0a1b2c");
  EXPECT_EQ(seen[0].Header("o-user-info"), "app|1.0|0|0");
  EXPECT_EQ(seen[0].Header("X-Spaced"), "two  words");
  EXPECT_EQ(seen[0].Header("User-Agent"), "OstrelSdk-host/1");
}

// Any HTTP answer is a completed exchange (0); only 2xx counts as success.
TEST(WinHttpClient, StatusDecidesSuccessButNotTheReturnCode) {
  RawHttpServer server;
  server.Answer("/created", RawHttpServer::Response(201, "Created", "made"));
  server.Answer("/error", RawHttpServer::Response(500, "Internal Server Error", "broken"));
  server.Answer("/nul", RawHttpServer::Response(200, "OK", std::string("before\0after", 12)));
  std::string large;
  for (int i = 0; large.size() < (300u << 10); ++i) large += std::to_string(i) + ",";
  server.Answer("/large", RawHttpServer::Response(200, "OK", large));
  WinHttpClient client(LocalOptions());
  const struct {
    std::string path;
    int status;
    std::string success;
    std::string body;
    std::string message;
  } cases[] = {
      {"/created", 201, "true", "made", ""},
      {"/missing", 404, "false", "", "HTTP 404"},
      {"/error", 500, "false", "broken", "HTTP 500"},
      // The library takes a NUL-terminated body.
      {"/nul", 200, "true", "before", ""},
      {"/large", 200, "true", large, ""},
  };
  for (const auto& c : cases) {
    TestRequest request(server.Url(c.path));
    TestResponse response;
    EXPECT_EQ(client.Send(&request, &response), 0) << c.path << ": " << response.message;
    EXPECT_EQ(response.statusCode, c.status) << c.path;
    EXPECT_EQ(response.success, c.success) << c.path;
    EXPECT_EQ(response.message, c.message) << c.path;
    EXPECT_EQ(response.body, c.body) << c.path;
  }
}

TEST(WinHttpClient, TransportFailuresReturnNonZeroWithTheWinHttpError) {
  RefusingPort refusing;
  ASSERT_NE(refusing.port(), 0);
  RawHttpServer server;
  server.Hold("/silent");
  server.Answer("/large", RawHttpServer::Response(200, "OK", std::string(4096, 'x')));
  WinHttpOptions options = LocalOptions();
  options.receiveTimeoutMs = 300;
  options.maxBodyBytes = 1024;
  WinHttpClient client(options);
  WinHttpOptions shortTotal = LocalOptions();
  shortTotal.totalTimeoutMs = 300;
  WinHttpClient impatient(shortTotal);
  const std::string local = "request to 127.0.0.1:";
  const struct {
    std::string name;
    WinHttpClient* client;
    std::string url;
    std::string message;
  } cases[] = {
      {"refused", &client, "http://127.0.0.1:" + std::to_string(refusing.port()) + "/doc",
       local + std::to_string(refusing.port()) + " failed: WinHTTP error 12029 (cannot connect)"},
      // Windows reports 12002, wine the socket's 10060.
      {"never answers", &client, server.Url("/silent"),
       local + std::to_string(server.port()) + " failed: WinHTTP error * (timed out)"},
      {"whole exchange too long", &impatient, server.Url("/silent"),
       local + std::to_string(server.port()) + " timed out after 300 ms"},
      {"too large", &client, server.Url("/large"), "response body exceeds 1024 bytes"},
      {"other scheme", &client, "ftp://127.0.0.1/doc", "unsupported scheme in ftp://127.0.0.1/doc"},
      {"no host", &client, "http://", "invalid URL http://"},
  };
  for (const auto& c : cases) {
    TestRequest request(c.url);
    TestResponse response;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_NE(c.client->Send(&request, &response), 0) << c.name;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << c.name;
    EXPECT_EQ(response.success, "false") << c.name;
    const size_t number = c.message.find('*');
    if (number == std::string::npos) {
      EXPECT_EQ(response.message, c.message) << c.name;
    } else {
      EXPECT_EQ(response.message.substr(0, number), c.message.substr(0, number)) << c.name;
      const std::string end = c.message.substr(number + 1);
      EXPECT_TRUE(response.message.size() > c.message.size() &&
                  response.message.compare(response.message.size() - end.size(), end.size(),
                                           end) == 0)
          << c.name << ": " << response.message;
    }
    EXPECT_EQ(response.body, "unset") << c.name;
  }
}

TEST(WinHttpClient, RefusesWhatItCannotSend) {
  WinHttpClient client(LocalOptions());
  TestResponse response;
  TestRequest post("http://127.0.0.1:1/doc", {}, 1);
  EXPECT_EQ(client.Send(&post, &response), -1);
  EXPECT_EQ(response.message, "unsupported request type 1");
  TestRequest empty("");
  EXPECT_EQ(client.Send(&empty, &response), -1);
  EXPECT_EQ(response.message, "empty URL");
  EXPECT_EQ(client.Send(nullptr, &response), -1);
  EXPECT_EQ(client.Send(&empty, nullptr), -1);
}

// After a redirect the header text is the final answer's alone. A request
// with header lines stays in its origin; one without may leave it.
TEST(WinHttpClient, FollowsRedirectsButKeepsSignedRequestsInTheirOrigin) {
  RawHttpServer first;
  RawHttpServer other;
  first.Answer("/old", RawHttpServer::Response(302, "Found", "", {"Location: /doc"}));
  first.Answer("/doc", RawHttpServer::Response(200, "OK", "moved here"));
  first.Answer("/away", RawHttpServer::Response(307, "Temporary Redirect", "",
                                                {"Location: " + other.Url("/doc")}));
  first.Answer("/loop", RawHttpServer::Response(301, "Moved Permanently", "", {"Location: loop"}));
  other.Answer("/doc", RawHttpServer::Response(200, "OK", "from the other origin"));
  WinHttpClient client(LocalOptions());
  const std::vector<std::string> signedLines = {"o-sign: 0a1b2c"};

  TestRequest same(first.Url("/old"), signedLines);
  TestResponse response;
  ASSERT_EQ(client.Send(&same, &response), 0) << response.message;
  EXPECT_EQ(response.statusCode, 200);
  EXPECT_EQ(response.body, "moved here");
  EXPECT_EQ(response.header.find("302"), std::string::npos) << response.header;
  ASSERT_EQ(first.Requests().size(), 2u);
  EXPECT_EQ(first.Requests()[1].target, "/doc");
  EXPECT_EQ(first.Requests()[1].Header("o-sign"), "0a1b2c");

  TestRequest away(first.Url("/away"), signedLines);
  TestResponse awayResponse;
  ASSERT_EQ(client.Send(&away, &awayResponse), 0) << awayResponse.message;
  EXPECT_EQ(awayResponse.statusCode, 307);
  EXPECT_EQ(awayResponse.success, "false");
  EXPECT_EQ(awayResponse.message,
            "redirect of a request with headers to " + other.Url("/doc") + " refused");
  EXPECT_EQ(first.Requests()[2].Header("o-sign"), "0a1b2c");
  EXPECT_TRUE(other.Requests().empty());

  TestRequest download(first.Url("/away"));
  TestResponse downloadResponse;
  ASSERT_EQ(client.Send(&download, &downloadResponse), 0) << downloadResponse.message;
  EXPECT_EQ(downloadResponse.statusCode, 200);
  EXPECT_EQ(downloadResponse.body, "from the other origin");
  ASSERT_EQ(other.Requests().size(), 1u);

  TestRequest loop(first.Url("/loop"));
  TestResponse loopResponse;
  EXPECT_NE(client.Send(&loop, &loopResponse), 0);
  EXPECT_EQ(loopResponse.message, "more than 5 redirects");
  EXPECT_TRUE(first.WaitForPath("/loop", 6, std::chrono::seconds(1)));
  EXPECT_FALSE(first.WaitForPath("/loop", 7, std::chrono::milliseconds(0)));

  WinHttpOptions noRedirects = LocalOptions();
  noRedirects.maxRedirects = 0;
  WinHttpClient literal(noRedirects);
  TestRequest asIs(first.Url("/old"));
  TestResponse asIsResponse;
  ASSERT_EQ(literal.Send(&asIs, &asIsResponse), 0) << asIsResponse.message;
  EXPECT_EQ(asIsResponse.statusCode, 302);
  EXPECT_EQ(asIsResponse.message, "HTTP 302");
  EXPECT_NE(asIsResponse.header.find("\r\nLocation: /doc\r\n"), std::string::npos);
}

// Shut down while the head is awaited, and while the body trickles in.
TEST(WinHttpClient, ShutdownEndsASlowResponseWithinASecond) {
  RawHttpServer server;
  server.Hold("/no-head");
  server.Hold("/slow-body", "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nfirst part");
  for (const std::string path : {"/no-head", "/slow-body"}) {
    WinHttpClient client(LocalOptions());
    TestResponse response;
    std::future<int> sent = std::async(std::launch::async, [&] {
      TestRequest request(server.Url(path));
      return client.Send(&request, &response);
    });
    ASSERT_TRUE(server.WaitForPath(path, 1, std::chrono::seconds(10))) << path;
    const auto start = std::chrono::steady_clock::now();
    client.Shutdown();
    ASSERT_EQ(sent.wait_for(std::chrono::seconds(1)), std::future_status::ready) << path;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1)) << path;
    EXPECT_NE(sent.get(), 0) << path;
    EXPECT_EQ(response.message, "client shut down") << path;
    EXPECT_EQ(response.success, "false") << path;

    TestRequest later(server.Url(path));
    TestResponse laterResponse;
    EXPECT_NE(client.Send(&later, &laterResponse), 0) << path;
    EXPECT_EQ(laterResponse.message, "client shut down") << path;
    EXPECT_TRUE(server.WaitForPath(path, 1, std::chrono::seconds(0)));
    EXPECT_FALSE(server.WaitForPath(path, 2, std::chrono::seconds(0)))
        << "a shut client sends nothing";
  }
}

// Where the system decodes compressed bodies it asks for them, and the
// library gets the decoded text.
TEST(WinHttpClient, CompressedBodiesArriveDecoded) {
  static const char kGzip[] =
      "\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\xab\x56\xca\x56\xb2\x52\x4a\xaf\xca\x2c"
      "\x28\x48\x4d\x51\xaa\x05\x00\x4e\x89\x40\x9c\x0f\x00\x00\x00";
  RawHttpServer server;
  server.Answer("/gz", RawHttpServer::Response(200, "OK", std::string(kGzip, sizeof kGzip - 1),
                                               {"Content-Encoding: gzip"}));
  WinHttpClient client(LocalOptions());
  TestRequest request(server.Url("/gz"));
  TestResponse response;
  ASSERT_EQ(client.Send(&request, &response), 0) << response.message;
  ASSERT_EQ(server.Requests().size(), 1u);
  const std::string accepted = server.Requests()[0].Header("Accept-Encoding");
  if (accepted.find("gzip") == std::string::npos) {
    GTEST_SKIP() << "this system's WinHTTP does not decode; it sent Accept-Encoding " << accepted;
  }
  EXPECT_EQ(response.body, "{\"k\":\"gzipped\"}");
}

// The library sends from several threads at once through one client.
TEST(WinHttpClient, ConcurrentSendsEachGetTheirOwnAnswer) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 5;
  RawHttpServer server;
  for (int t = 0; t < kThreads; ++t) {
    const std::string path = "/item/" + std::to_string(t);
    server.Answer(path, RawHttpServer::Response(200, "OK", "item " + std::to_string(t)));
  }
  WinHttpClient client(LocalOptions());
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < kRounds; ++round) {
        TestRequest request(server.Url("/item/" + std::to_string(t)));
        TestResponse response;
        const int result = client.Send(&request, &response);
        if (result != 0 || response.body != "item " + std::to_string(t)) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong.load(), 0);
  EXPECT_EQ(server.Requests().size(), static_cast<size_t>(kThreads * kRounds));
}

// With an explicit proxy the request goes to the proxy, in absolute form.
TEST(WinHttpClient, AnExplicitProxyCarriesTheRequest) {
  RawHttpServer proxy;
  // With or without the scheme's own port, as the WinHTTP version writes it.
  for (const std::string target : {"http://config.example/doc", "http://config.example:80/doc"}) {
    proxy.Answer(target, RawHttpServer::Response(200, "OK", "through the proxy"));
  }
  WinHttpOptions options;
  options.proxy = WinHttpOptions::Proxy::kExplicit;
  options.proxyServer = "127.0.0.1:" + std::to_string(proxy.port());
  options.proxyBypass = "";
  WinHttpClient client(options);
  ASSERT_EQ(client.error(), "");
  TestRequest request("http://config.example/doc", {"o-sign: 0a1b2c"});
  TestResponse response;
  ASSERT_EQ(client.Send(&request, &response), 0) << response.message;
  EXPECT_EQ(response.body, "through the proxy");
  ASSERT_EQ(proxy.Requests().size(), 1u);
  const std::string target = proxy.Requests()[0].target;
  EXPECT_TRUE(target == "http://config.example/doc" || target == "http://config.example:80/doc")
      << target;
  EXPECT_EQ(proxy.Requests()[0].Header("o-sign"), "0a1b2c");
}

}  // namespace
}  // namespace OstrelTest
