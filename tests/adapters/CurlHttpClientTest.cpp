#include "ostrel_host/CurlHttpClient.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <future>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "CapturingLogger.h"
#include "HttpExchange.h"
#include "LocalServer.h"
#include "ScratchDir.h"
#include "SelfSignedCertificate.h"

namespace OstrelTest {
namespace {

using OstrelHost::CurlHttpClient;
using OstrelHost::CurlHttpOptions;

// Loopback only: a proxy from the environment must not see test traffic.
CurlHttpOptions LocalOptions() {
  CurlHttpOptions options;
  options.proxy = std::string();
  return options;
}

// A loopback port that is bound but never listens, so connecting to it is
// refused; holding the socket keeps the port from being reused meanwhile.
class RefusingPort {
 public:
  RefusingPort() : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    if (::bind(socket_, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
        ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
      port_ = ntohs(address.sin_port);
    }
  }
  ~RefusingPort() { ::close(socket_); }
  int port() const { return port_; }

 private:
  int socket_;
  int port_ = 0;
};

TEST(CurlHttpClient, SendsTheHeaderLinesAndReturnsTheAnswer) {
  LocalServer server;
  server.server().Get("/doc", [](const httplib::Request&, httplib::Response& res) {
    res.set_header("X-Served-By", "local");
    res.set_content("{\"k\":\"v\"}\nsecond line", "application/json");
  });
  CurlHttpClient client(LocalOptions());
  TestRequest request(server.Url("/doc"),
                      {"X-Ostrel-Sign: 0a1b2c", "X-Ostrel-App: app-key", "X-Spaced: two  words"});
  TestResponse response;

  ASSERT_EQ(client.Send(&request, &response), 0) << response.message;
  EXPECT_EQ(response.statusCode, 200);
  EXPECT_EQ(response.success, "true");
  EXPECT_EQ(response.body, "{\"k\":\"v\"}\nsecond line");
  EXPECT_EQ(response.message, "");
  EXPECT_EQ(response.header.rfind("HTTP/1.1 200 OK\r\n", 0), 0u) << response.header;
  EXPECT_NE(response.header.find("\r\nX-Served-By: local\r\n"), std::string::npos);

  const std::vector<SeenRequest> seen = server.Requests();
  ASSERT_EQ(seen.size(), 1u);
  EXPECT_EQ(seen[0].path, "/doc");
  const httplib::Headers& headers = seen[0].headers;
  EXPECT_EQ(headers.count("X-Ostrel-Sign"), 1u);
  EXPECT_EQ(headers.find("X-Ostrel-Sign")->second, "0a1b2c");
  EXPECT_EQ(headers.find("X-Ostrel-App")->second, "app-key");
  EXPECT_EQ(headers.find("X-Spaced")->second, "two  words");
  EXPECT_EQ(headers.find("User-Agent")->second, "OstrelSdk-host/1");
}

// Any HTTP answer is a completed exchange (0); only 2xx counts as success.
TEST(CurlHttpClient, StatusDecidesSuccessButNotTheReturnCode) {
  LocalServer server;
  server.Serve("/created", "made", 201);
  server.Serve("/error", "broken", 500);
  server.Serve("/choices", "pick one", 300);
  CapturingLogger log;
  CurlHttpOptions options = LocalOptions();
  options.log = &log;
  CurlHttpClient client(options);
  const struct {
    std::string path;
    int status;
    std::string success;
    std::string body;
    std::string message;
  } cases[] = {
      {"/created", 201, "true", "made", ""},
      {"/missing", 404, "false", "", "HTTP 404"},
      {"/choices", 300, "false", "pick one", "HTTP 300"},
      {"/error", 500, "false", "broken", "HTTP 500"},
  };
  for (const auto& c : cases) {
    log.Clear();
    TestRequest request(server.Url(c.path) + "?sign=secret");
    TestResponse response;
    EXPECT_EQ(client.Send(&request, &response), 0) << c.path;
    EXPECT_EQ(response.statusCode, c.status) << c.path;
    EXPECT_EQ(response.success, c.success) << c.path;
    EXPECT_EQ(response.message, c.message) << c.path;
    if (c.status != 404) {
      EXPECT_EQ(response.body, c.body) << c.path;
    }
    // A failed status is logged without the query; a success is not logged.
    const std::vector<LogLine> lines = log.Lines();
    if (c.message.empty()) {
      EXPECT_TRUE(lines.empty()) << c.path;
    } else {
      ASSERT_EQ(lines.size(), 1u) << c.path;
      EXPECT_EQ(lines[0].text, "GET " + server.Url(c.path) + ": " + c.message);
      EXPECT_EQ(lines[0].level, 2);
      EXPECT_EQ(lines[0].tag, "OstrelHost.CurlHttpClient");
      EXPECT_EQ(lines[0].method, "Send");
    }
  }
}

// After a redirect the header text is the final response's alone.
TEST(CurlHttpClient, FollowsRedirectsAndKeepsTheFinalHeader) {
  LocalServer server;
  server.Serve("/doc", "moved here");
  server.server().Get("/old", [](const httplib::Request&, httplib::Response& res) {
    res.set_redirect("/doc");
  });
  CurlHttpClient client(LocalOptions());
  TestRequest request(server.Url("/old"));
  TestResponse response;

  ASSERT_EQ(client.Send(&request, &response), 0) << response.message;
  EXPECT_EQ(response.statusCode, 200);
  EXPECT_EQ(response.body, "moved here");
  EXPECT_EQ(response.header.find("302"), std::string::npos) << response.header;
  EXPECT_EQ(server.CountPath("/old"), 1u);
  EXPECT_EQ(server.CountPath("/doc"), 1u);
}

TEST(CurlHttpClient, TransportFailuresReturnNonZeroWithLibcurlsTextAndLogIt) {
  RefusingPort refusing;
  ASSERT_NE(refusing.port(), 0);
  LocalServer server;
  server.Hold("/slow");
  server.Serve("/large", std::string(4096, 'x'));
  server.server().Get("/loop", [](const httplib::Request&, httplib::Response& res) {
    res.set_redirect("/loop");
  });

  CapturingLogger log;
  const struct {
    std::string name;
    std::string url;
    long totalTimeoutMs;
    long lowSpeedSeconds;
    int code;
    std::string messageFragment;
  } cases[] = {
      {"refused", "http://127.0.0.1:" + std::to_string(refusing.port()) + "/doc", 20000, 10,
       CURLE_COULDNT_CONNECT,
       "Failed to connect to 127.0.0.1 port " + std::to_string(refusing.port())},
      {"timeout", server.Url("/slow"), 300, 10, CURLE_OPERATION_TIMEDOUT,
       "Operation timed out after"},
      {"stalled", server.Url("/slow"), 20000, 1, CURLE_OPERATION_TIMEDOUT,
       "Operation too slow. Less than 100 bytes/sec transferred the last 1 seconds"},
      {"too large", server.Url("/large"), 20000, 10, CURLE_WRITE_ERROR,
       "response body exceeds 1024 bytes"},
      {"other scheme", "file:///etc/hostname", 20000, 10, CURLE_UNSUPPORTED_PROTOCOL,
       "Protocol \"file\" not supported"},
      {"redirect loop", server.Url("/loop"), 20000, 10, CURLE_TOO_MANY_REDIRECTS,
       "more than 5 redirects"},
  };
  for (const auto& c : cases) {
    CurlHttpOptions options = LocalOptions();
    options.totalTimeoutMs = c.totalTimeoutMs;
    options.lowSpeedSeconds = c.lowSpeedSeconds;
    options.maxBodyBytes = 1024;
    options.log = &log;
    CurlHttpClient client(options);
    log.Clear();
    TestRequest request(c.url + "?sign=secret#part");
    TestResponse response;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(client.Send(&request, &response), c.code) << c.name;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << c.name;
    EXPECT_EQ(response.success, "false") << c.name;
    EXPECT_NE(response.message.find(c.messageFragment), std::string::npos)
        << c.name << ": " << response.message;
    EXPECT_EQ(response.body, "unset") << c.name;
    const std::vector<LogLine> lines = log.Lines();
    ASSERT_EQ(lines.size(), 1u) << c.name;
    EXPECT_EQ(lines[0].text, "GET " + c.url + " failed: " + response.message) << c.name;
  }
  EXPECT_EQ(server.CountPath("/loop"), 6u) << "the first request and five redirects";
}

TEST(CurlHttpClient, RefusesWhatItCannotSend) {
  CurlHttpClient client(LocalOptions());
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

// The library sends from several threads at once through one client.
TEST(CurlHttpClient, ConcurrentSendsEachGetTheirOwnAnswer) {
  constexpr int kThreads = 8;
  constexpr int kRounds = 10;
  LocalServer server;
  server.server().Get(R"(/item/(\d+))", [](const httplib::Request& req, httplib::Response& res) {
    res.set_content("item " + req.matches[1].str() + " " + req.get_header_value("X-Round"),
                    "text/plain");
  });
  CurlHttpClient client(LocalOptions());
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < kRounds; ++round) {
        TestRequest request(server.Url("/item/" + std::to_string(t)),
                            {"X-Round: " + std::to_string(round)});
        TestResponse response;
        const int result = client.Send(&request, &response);
        const std::string expected = "item " + std::to_string(t) + " " + std::to_string(round);
        if (result != 0 || response.body != expected) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong.load(), 0);
  EXPECT_EQ(server.RequestCount(), static_cast<size_t>(kThreads * kRounds));
}

// Signed requests carry their signature in headers, which must never reach
// another server; downloads carry none and may follow anywhere but down to
// plain http.
TEST(CurlHttpClient, RedirectsKeepHeadersInTheirOriginAndNeverLeaveHttps) {
  SelfSignedCertificate certificate;
  ScratchDir scratch;
  ASSERT_FALSE(scratch.path().empty());
  ASSERT_TRUE(certificate.WritePem(scratch.File("ca.pem")));
  LocalServer origin;
  LocalServer other;
  LocalServer secure(certificate);
  origin.Serve("/doc", "origin doc");
  other.Serve("/doc", "other doc");
  secure.Serve("/doc", "secure doc");
  const std::string otherDoc = other.Url("/doc");
  const std::string plainDoc = origin.Url("/doc");
  const std::string secureDoc = secure.Url("/doc");
  origin.server().Get("/same", [](const httplib::Request&, httplib::Response& res) {
    res.set_redirect("/doc?page=2");
  });
  origin.server().Get("/away", [otherDoc](const httplib::Request&, httplib::Response& res) {
    res.set_redirect(otherDoc + "?sign=secret");
  });
  origin.server().Get("/up", [secureDoc](const httplib::Request&, httplib::Response& res) {
    res.set_redirect(secureDoc);
  });
  secure.server().Get("/down", [plainDoc](const httplib::Request&, httplib::Response& res) {
    res.set_redirect(plainDoc, 301);
  });

  CapturingLogger log;
  CurlHttpOptions options = LocalOptions();
  options.caBundlePath = scratch.File("ca.pem");
  options.log = &log;
  CurlHttpClient client(options);
  const std::vector<std::string> signedHeaders = {"o-sign: 0a1b", "o-app-key: app"};
  const struct {
    std::string name;
    std::string url;
    std::vector<std::string> headers;
    int status;
    std::string body;
    std::string message;
  } cases[] = {
      {"signed, same origin", origin.Url("/same"), signedHeaders, 200, "origin doc", ""},
      {"signed, other origin", origin.Url("/away"), signedHeaders, 302, "",
       "redirect of a request with headers to " + otherDoc + " refused"},
      {"signed, http to https", origin.Url("/up"), signedHeaders, 302, "",
       "redirect of a request with headers to " + secureDoc + " refused"},
      {"download, other origin", origin.Url("/away"), {}, 200, "other doc", ""},
      {"download, http to https", origin.Url("/up"), {}, 200, "secure doc", ""},
      {"download, https to http", secure.Url("/down"), {}, 301, "",
       "redirect from https to " + plainDoc + " refused"},
  };
  for (const auto& c : cases) {
    log.Clear();
    TestRequest request(c.url, c.headers);
    TestResponse response;
    ASSERT_EQ(client.Send(&request, &response), 0) << c.name << ": " << response.message;
    EXPECT_EQ(response.statusCode, c.status) << c.name;
    EXPECT_EQ(response.success, c.message.empty() ? "true" : "false") << c.name;
    EXPECT_EQ(response.message, c.message) << c.name;
    if (c.message.empty()) {
      EXPECT_EQ(response.body, c.body) << c.name;
      EXPECT_TRUE(log.Lines().empty()) << c.name;
    } else {
      EXPECT_EQ(log.Find(c.message).text, "GET " + c.url + ": " + c.message) << c.name;
    }
  }
  // The origin saw its own redirect with the headers; the other server saw
  // the download alone, and nothing signed.
  for (const SeenRequest& seen : origin.Requests()) {
    if (seen.path == "/doc") {
      EXPECT_EQ(seen.headers.count("o-sign"), 1u);
    }
  }
  ASSERT_EQ(other.Requests().size(), 1u);
  EXPECT_EQ(other.Requests()[0].headers.count("o-sign"), 0u);
  EXPECT_EQ(origin.CountPath("/doc"), 1u) << "https never falls back to http";
}

TEST(CurlHttpClient, ShutdownEndsEveryExchangeInFlightAndRefusesLaterOnes) {
  constexpr int kSenders = 3;
  LocalServer server;
  server.Hold("/slow");
  server.Serve("/doc", "doc");
  CapturingLogger log;
  CurlHttpOptions options = LocalOptions();
  options.log = &log;
  CurlHttpClient client(options);
  struct Outcome {
    int result;
    std::string message;
  };
  std::vector<std::future<Outcome>> senders;
  for (int i = 0; i < kSenders; ++i) {
    senders.push_back(std::async(std::launch::async, [&] {
      TestRequest request(server.Url("/slow"));
      TestResponse response;
      const int result = client.Send(&request, &response);
      return Outcome{result, response.message};
    }));
  }
  ASSERT_TRUE(server.WaitForPath("/slow", kSenders));

  const auto start = std::chrono::steady_clock::now();
  client.Shutdown();
  for (auto& sender : senders) {
    ASSERT_EQ(sender.wait_until(start + std::chrono::seconds(1)), std::future_status::ready);
    const Outcome outcome = sender.get();
    EXPECT_EQ(outcome.result, CURLE_ABORTED_BY_CALLBACK);
    EXPECT_EQ(outcome.message, "the client is shut down");
  }

  TestRequest later(server.Url("/doc"));
  TestResponse response;
  EXPECT_EQ(client.Send(&later, &response), CURLE_ABORTED_BY_CALLBACK);
  EXPECT_EQ(response.message, "the client is shut down");
  EXPECT_EQ(server.CountPath("/doc"), 0u);
  EXPECT_EQ(log.Count("GET " + server.Url("/doc") + " failed: the client is shut down"), 1u);
  client.Shutdown();  // again: no effect, no harm
}

// Sequential requests through the pool ride one connection; without the
// pool each pays for its own.
TEST(CurlHttpClient, PooledHandlesReuseTheirConnections) {
  constexpr int kRequests = 5;
  LocalServer server;
  server.Serve("/doc", "doc");
  const struct {
    size_t maxIdleHandles;
    size_t connections;
  } cases[] = {{4, 1}, {1, 1}, {0, kRequests}};
  for (const auto& c : cases) {
    CurlHttpOptions options = LocalOptions();
    options.maxIdleHandles = c.maxIdleHandles;
    CurlHttpClient client(options);
    const size_t before = server.RequestCount();
    for (int i = 0; i < kRequests; ++i) {
      TestRequest request(server.Url("/doc"));
      TestResponse response;
      ASSERT_EQ(client.Send(&request, &response), 0) << response.message;
      EXPECT_EQ(response.body, "doc");
    }
    const std::vector<SeenRequest> seen = server.Requests();
    std::set<int> ports;
    for (size_t i = before; i < seen.size(); ++i) ports.insert(seen[i].remotePort);
    EXPECT_EQ(ports.size(), c.connections) << "maxIdleHandles " << c.maxIdleHandles;
  }
}

}  // namespace
}  // namespace OstrelTest
