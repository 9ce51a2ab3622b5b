// The platform's HTTP client (libcurl's, or WinHTTP's on Windows) against a
// loopback server: both keep one contract, so the cases are shared and only
// the transport's own words differ.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <future>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "CapturingLogger.h"
#include "RawHttpServer.h"
#include "ostrel/IOHttp.h"
#include "ostrel_host/HttpGetRequest.h"
#ifdef _WIN32
#include "ostrel_host/WinHttpClient.h"
#else
#include <curl/curl.h>

#include "ostrel_host/CurlHttpClient.h"
#endif

namespace OstrelTest {
namespace {

#ifdef _WIN32
#define ON_EACH(curl, winhttp) winhttp
using Client = OstrelHost::WinHttpClient;
using Options = OstrelHost::WinHttpOptions;
// Loopback only: no proxy may see test traffic. WinHTTP logs nothing.
Options Loopback(Ostrel::IOLog* = nullptr) {
  Options options;
  options.proxy = Options::Proxy::kNone;
  return options;
}
// A server that sends nothing more is given up after 300 ms.
void GiveUpOnStalls(Options* options) { options->receiveTimeoutMs = 300; }
#else
#define ON_EACH(curl, winhttp) curl
using Client = OstrelHost::CurlHttpClient;
using Options = OstrelHost::CurlHttpOptions;
Options Loopback(Ostrel::IOLog* log = nullptr) {
  Options options;
  options.proxy = std::string();
  options.log = log;
  return options;
}
void GiveUpOnStalls(Options* options) { options->lowSpeedSeconds = 1; }
#endif
constexpr bool kLogs = ON_EACH(true, false);
constexpr bool kAlwaysAsksForGzip = ON_EACH(true, false);
const std::string kShutDown = ON_EACH("the client is shut down", "client shut down");
using Raw = RawHttpServer;

// Records every setter; "unset" marks a field the client never filled.
struct TestResponse : Ostrel::IOHttpResponse {
  void SetSuccess(bool value) override { success = value ? "true" : "false"; }
  void SetBody(const char* value) override { body = value != nullptr ? value : "<null>"; }
  void SetHeader(const char* value) override { header = value != nullptr ? value : "<null>"; }
  void SetStatusCode(int value) override { statusCode = value; }
  void SetMessage(const char* value) override { message = value != nullptr ? value : "<null>"; }
  std::string success = "unset", body = "unset", header = "unset", message = "unset";
  int statusCode = -1;
};

struct Sent {
  int result;
  TestResponse response;
};

Sent Send(Client& client, const std::string& url, const std::vector<std::string>& headers = {}) {
  OstrelHost::HttpGetRequest request(url, headers);
  Sent sent;
  sent.result = client.Send(&request, &sent.response);
  return sent;
}

// text matches pattern, in which '*' stands for any run of characters.
bool Matches(const std::string& pattern, const std::string& text) {
  const size_t star = pattern.find('*');
  if (star == std::string::npos) return pattern == text;
  if (text.compare(0, star, pattern, 0, star) != 0) return false;
  for (size_t at = star; at <= text.size(); ++at) {
    if (Matches(pattern.substr(star + 1), text.substr(at))) return true;
  }
  return false;
}

// Any HTTP answer completes the exchange (0); only 2xx is a success. The
// fragment never leaves, the query leaves as written, and a log line never
// shows the query, which may hold signed parameters.
TEST(HttpClient, AnyAnswerCompletesTheExchangeAndOnly2xxSucceeds) {
  Raw server;
  std::string large;
  for (int i = 0; large.size() < (300u << 10); ++i) large += std::to_string(i) + ",";
  const std::string nul("before\0after", 12);
  // {"k":"zipped"} compressed by gzip: a static CDN compresses JSON for
  // clients that ask, and the library must be handed the decoded text.
  const std::string zipped(
      "\x1f\x8b\x08\x00\x00\x00\x00\x00\x02\x03\xab\x56\xca\x56\xb2\x52\xaa\xca\x2c\x28\x48\x4d"
      "\x51\xaa\x05\x00\x19\x0f\x46\xe8\x0e\x00\x00\x00",
      34);
  const struct {
    std::string path, answer;
    int status;
    std::string success, body, message;
  } cases[] = {
      {"/doc", Raw::Response(200, "OK", "{\"k\":\"v\"}\nline", {"X-Served-By: local"}), 200, "true",
       "{\"k\":\"v\"}\nline", ""},
      {"/created", Raw::Response(201, "Created", "made"), 201, "true", "made", ""},
      {"/missing", "", 404, "false", "", "HTTP 404"},
      // A redirect without a place to go is an answer like any other.
      {"/nowhere", Raw::Response(302, "Found", "stay"), 302, "false", "stay", "HTTP 302"},
      {"/choices", Raw::Response(300, "Multiple Choices", "pick"), 300, "false", "pick",
       "HTTP 300"},
      {"/error", Raw::Response(500, "Internal Server Error", "broken"), 500, "false", "broken",
       "HTTP 500"},
      // The library takes a NUL-terminated body.
      {"/nul", Raw::Response(200, "OK", nul), 200, "true", "before", ""},
      {"/large", Raw::Response(200, "OK", large), 200, "true", large, ""},
      {"/zipped", Raw::Response(200, "OK", zipped, {"Content-Encoding: gzip"}), 200, "true",
       "{\"k\":\"zipped\"}", ""},
  };
  for (const auto& c : cases) {
    if (!c.answer.empty()) server.Answer(c.path, c.answer);
  }
  CapturingLogger log;
  Client client(Loopback(&log));
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path);
    log.Clear();
    const Sent sent = Send(client, server.Url(c.path) + "?id=a%2Fb&sign=s#part",
                           {"o-sign: 0a1b2c", "X-Spaced: two  words"});
    EXPECT_EQ(sent.result, 0) << sent.response.message;
    EXPECT_EQ(sent.response.statusCode, c.status);
    EXPECT_EQ(sent.response.success, c.success);
    EXPECT_EQ(sent.response.message, c.message);
    EXPECT_TRUE(
        Matches("HTTP/1.1 " + std::to_string(c.status) + " *\r\n\r\n", sent.response.header))
        << sent.response.header;
    EXPECT_EQ(sent.response.header.find("\r\nX-Served-By: local\r\n") != std::string::npos,
              c.path == "/doc");
    ASSERT_EQ(server.Requests().size(), static_cast<size_t>(&c - cases + 1));
    const Raw::SeenRequest seen = server.Requests().back();
    EXPECT_TRUE(Matches("GET " + c.path + "?id=a%2Fb&sign=s HTTP/1.1\r\n*", seen.head));
    EXPECT_EQ(seen.Header("o-sign"), "0a1b2c");
    EXPECT_EQ(seen.Header("X-Spaced"), "two  words");
    EXPECT_EQ(seen.Header("User-Agent"), "OstrelSdk-host/1");
    // A server compresses only for a client that asks. libcurl always asks;
    // WinHTTP asks where the system can decode, which wine cannot.
    const bool asksForGzip = seen.Header("Accept-Encoding").find("gzip") != std::string::npos;
    EXPECT_TRUE(asksForGzip || !kAlwaysAsksForGzip);
    if (asksForGzip || c.path != "/zipped") {
      EXPECT_EQ(sent.response.body, c.body);
    }
    if (!kLogs) continue;
    const std::vector<LogLine> lines = log.Lines();
    ASSERT_EQ(lines.size(), c.message.empty() ? 0u : 1u);
    if (lines.empty()) continue;
    EXPECT_EQ(lines[0].text, "GET " + server.Url(c.path) + ": " + c.message);
    EXPECT_EQ(lines[0].level, 2);
    EXPECT_EQ(lines[0].tag, "OstrelHost.CurlHttpClient");
    EXPECT_EQ(lines[0].method, "Send");
  }
}

TEST(HttpClient, TransportFailuresReturnNonZeroWithTheTransportsReason) {
  Raw server;
  server.Hold("/silent");
  server.Answer("/large", Raw::Response(200, "OK", std::string(4096, 'x')));
  server.Answer("/loop", Raw::Response(301, "Moved Permanently", "", {"Location: loop"}));
  const std::string port = std::to_string(server.port());
  const struct {
    std::string name, url;
    int totalTimeoutMs;
    bool giveUpOnStalls;
    int code;
    std::string message;
  } cases[] = {
      // Nothing listens on port 1.
      {"refused", "http://127.0.0.1:1/doc", 20000, false, ON_EACH(CURLE_COULDNT_CONNECT, -1),
       ON_EACH("Failed to connect to 127.0.0.1 port 1*",
               "request to 127.0.0.1:1 failed: WinHTTP error 12029 (cannot connect)")},
      {"exchange too long", server.Url("/silent"), 300, false,
       ON_EACH(CURLE_OPERATION_TIMEDOUT, -1),
       ON_EACH("Operation timed out after *",
               "request to 127.0.0.1:" + port + " timed out after 300 ms")},
      // Windows reports 12002, wine the socket's 10060.
      {"stalled", server.Url("/silent"), 20000, true, ON_EACH(CURLE_OPERATION_TIMEDOUT, -1),
       ON_EACH("Operation too slow. Less than 100 bytes/sec transferred the last 1 seconds",
               "request to 127.0.0.1:" + port + " failed: WinHTTP error * (timed out)")},
      {"too large", server.Url("/large"), 20000, false, ON_EACH(CURLE_WRITE_ERROR, -1),
       "response body exceeds 1024 bytes"},
      {"other scheme", "ftp://127.0.0.1/doc", 20000, false, ON_EACH(CURLE_UNSUPPORTED_PROTOCOL, -1),
       ON_EACH("Protocol \"ftp\" not supported*",
               "unsupported scheme in ftp://127.0.0.1/doc")},
      {"redirect loop", server.Url("/loop"), 20000, false, ON_EACH(CURLE_TOO_MANY_REDIRECTS, -1),
       "more than 5 redirects"},
  };
  CapturingLogger log;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Options options = Loopback(&log);
    options.totalTimeoutMs = c.totalTimeoutMs;
    options.maxBodyBytes = 1024;
    if (c.giveUpOnStalls) GiveUpOnStalls(&options);
    Client client(options);
    log.Clear();
    const auto start = std::chrono::steady_clock::now();
    const Sent sent = Send(client, c.url + "?sign=s#part");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(sent.result, c.code);
    EXPECT_TRUE(Matches(c.message, sent.response.message)) << sent.response.message;
    EXPECT_EQ(sent.response.success, "false");
    EXPECT_EQ(sent.response.body, "unset");
    if (kLogs) {
      EXPECT_EQ(log.Lines().size(), 1u);
      EXPECT_EQ(log.Find(" failed: ").text, "GET " + c.url + " failed: " + sent.response.message);
    }
  }
  EXPECT_EQ(server.CountPath("/loop"), 6u) << "the first request and five redirects";
}

TEST(HttpClient, RefusesWhatItCannotSend) {
  Client client(Loopback());
  TestResponse response;
  OstrelHost::HttpGetRequest post("http://127.0.0.1:1/doc", {}, 1);
  EXPECT_EQ(client.Send(&post, &response), -1);
  EXPECT_EQ(response.message, "unsupported request type 1");
  OstrelHost::HttpGetRequest empty("");
  EXPECT_EQ(client.Send(&empty, &response), -1);
  EXPECT_EQ(response.message, "empty URL");
  EXPECT_EQ(client.Send(nullptr, &response), -1);
  EXPECT_EQ(client.Send(&empty, nullptr), -1);
}

// Header lines carry a signed request's signature, which only its own
// origin may see; a download carries none and may follow anywhere. After a
// redirect the header text is the final answer's alone.
TEST(HttpClient, ARequestWithHeadersNeverLeavesItsOrigin) {
  Raw origin;
  Raw other;
  origin.Answer("/old", Raw::Response(302, "Found", "", {"Location: /doc"}));
  origin.Answer("/doc", Raw::Response(200, "OK", "origin doc"));
  origin.Answer("/away", Raw::Response(307, "Temporary Redirect", "",
                                       {"Location: " + other.Url("/doc?sign=s")}));
  other.Answer("/doc", Raw::Response(200, "OK", "other doc"));
  const std::vector<std::string> signedLines = {"o-sign: 0a1b2c"};
  const std::string refusal =
      "redirect of a request with headers to " + other.Url("/doc") + " refused";
  const struct {
    std::string name, path;
    std::vector<std::string> headers;
    int maxRedirects, status;
    std::string body, message;
  } cases[] = {
      {"signed, same origin", "/old", signedLines, 5, 200, "origin doc", ""},
      {"signed, other origin", "/away", signedLines, 5, 307, "", refusal},
      {"download, other origin", "/away", {}, 5, 200, "other doc", ""},
      {"not following", "/old", {}, 0, 302, "", "HTTP 302"},
  };
  CapturingLogger log;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Options options = Loopback(&log);
    options.maxRedirects = c.maxRedirects;
    Client client(options);
    log.Clear();
    const Sent sent = Send(client, origin.Url(c.path), c.headers);
    ASSERT_EQ(sent.result, 0) << sent.response.message;
    EXPECT_EQ(sent.response.statusCode, c.status);
    EXPECT_EQ(sent.response.message, c.message);
    EXPECT_EQ(sent.response.success, c.message.empty() ? "true" : "false");
    EXPECT_EQ(sent.response.body, c.body);
    EXPECT_TRUE(Matches("HTTP/1.1 " + std::to_string(c.status) + " *", sent.response.header));
    EXPECT_EQ(sent.response.header.find("Location:") != std::string::npos, c.status / 100 == 3);
    if (kLogs && c.message == refusal) {
      EXPECT_EQ(log.Find(refusal).text, "GET " + origin.Url("/away") + ": " + refusal);
    }
  }
  ASSERT_EQ(other.Requests().size(), 1u) << "the download alone";
  EXPECT_EQ(other.Requests()[0].Header("o-sign"), "<none>");
  ASSERT_TRUE(origin.WaitForPath("/doc", 1, std::chrono::seconds(0)));
  EXPECT_EQ(origin.Requests()[1].Header("o-sign"), "0a1b2c") << "same-origin keeps the headers";
}

// The library sends from several threads at once through one client.
TEST(HttpClient, ConcurrentSendsEachGetTheirOwnAnswer) {
  constexpr int kThreads = 4;
  constexpr int kRounds = 5;
  Raw server;
  for (int t = 0; t < kThreads; ++t) {
    server.Answer("/item/" + std::to_string(t),
                  Raw::Response(200, "OK", "item " + std::to_string(t)));
  }
  Client client(Loopback());
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      for (int round = 0; round < kRounds; ++round) {
        const Sent sent = Send(client, server.Url("/item/" + std::to_string(t)));
        if (sent.result != 0 || sent.response.body != "item " + std::to_string(t)) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong.load(), 0);
  EXPECT_EQ(server.Requests().size(), static_cast<size_t>(kThreads * kRounds));
}

// Shut down while the head is awaited, and while the body trickles in: each
// exchange ends within a second, and a shut client sends nothing more.
TEST(HttpClient, ShutdownEndsSlowResponsesWithinASecond) {
  constexpr int kSenders = 3;
  Raw server;
  server.Hold("/no-head");
  server.Hold("/slow-body", "HTTP/1.1 200 OK\r\nContent-Length: 100\r\n\r\nfirst part");
  for (const std::string path : {"/no-head", "/slow-body"}) {
    SCOPED_TRACE(path);
    CapturingLogger log;
    Client client(Loopback(&log));
    std::vector<std::future<Sent>> senders;
    for (int i = 0; i < kSenders; ++i) {
      senders.push_back(
          std::async(std::launch::async, [&] { return Send(client, server.Url(path)); }));
    }
    ASSERT_TRUE(server.WaitForPath(path, kSenders));
    const auto start = std::chrono::steady_clock::now();
    client.Shutdown();
    for (auto& sender : senders) {
      ASSERT_EQ(sender.wait_until(start + std::chrono::seconds(1)), std::future_status::ready);
      const Sent sent = sender.get();
      EXPECT_EQ(sent.result, ON_EACH(CURLE_ABORTED_BY_CALLBACK, -1));
      EXPECT_EQ(sent.response.message, kShutDown);
      EXPECT_EQ(sent.response.success, "false");
    }
    const Sent later = Send(client, server.Url(path));
    EXPECT_EQ(later.result, ON_EACH(CURLE_ABORTED_BY_CALLBACK, -1));
    EXPECT_EQ(later.response.message, kShutDown);
    EXPECT_EQ(server.CountPath(path), static_cast<size_t>(kSenders));
    if (kLogs) {
      EXPECT_EQ(log.Count("GET " + server.Url(path) + " failed: " + kShutDown), 4u);
    }
    client.Shutdown();  // again: no effect, no harm
  }
}

#ifdef _WIN32
// The client may go while a Send is under way: it ends the Send and waits
// for it. A destructor that never returns ends the test run at once.
TEST(HttpClient, DestroyingTheClientEndsAndAwaitsTheSendsUnderWay) {
  constexpr size_t kSenders = 3;
  Raw server;
  server.Hold("/slow");
  // The Sends and the destructor meet in varying order; some rounds need
  // the last Send's word to wake the destructor.
  for (size_t round = 1; round <= 10; ++round) {
    auto client = std::make_unique<Client>(Loopback());
    Client* const raw = client.get();
    std::vector<std::future<Sent>> sent;
    for (size_t i = 0; i < kSenders; ++i) {
      sent.push_back(
          std::async(std::launch::async, [&] { return Send(*raw, server.Url("/slow")); }));
    }
    ASSERT_TRUE(server.WaitForPath("/slow", round * kSenders));
    std::promise<void> gone;
    std::thread destroyer([&] {
      client.reset();
      gone.set_value();
    });
    if (gone.get_future().wait_for(std::chrono::seconds(5)) != std::future_status::ready) {
      std::fprintf(stderr, "the client's destructor never returned\n");
      std::_Exit(1);
    }
    destroyer.join();
    for (auto& each : sent) EXPECT_EQ(each.get().response.message, kShutDown);
  }
}

// With an explicit proxy the request goes to the proxy, in absolute form.
TEST(HttpClient, AnExplicitProxyCarriesTheRequest) {
  Raw proxy;
  // With or without the scheme's own port, as the WinHTTP version writes it.
  for (const std::string target : {"http://config.example/doc", "http://config.example:80/doc"}) {
    proxy.Answer(target, Raw::Response(200, "OK", "through the proxy"));
  }
  Options options;
  options.proxy = Options::Proxy::kExplicit;
  options.proxyServer = proxy.Authority();
  options.proxyBypass = "";
  Client client(options);
  const Sent sent = Send(client, "http://config.example/doc", {"o-sign: 0a1b2c"});
  ASSERT_EQ(sent.result, 0) << sent.response.message;
  EXPECT_EQ(sent.response.body, "through the proxy");
  ASSERT_EQ(proxy.Requests().size(), 1u);
  EXPECT_EQ(proxy.Requests()[0].Header("o-sign"), "0a1b2c");

  // A proxy that asks for credentials gets them, in a scheme it offers;
  // its refusal of them is the answer.
  Raw asking;
  for (const std::string target : {"http://config.example/doc", "http://config.example:80/doc"}) {
    asking.Answer(target, Raw::Response(407, "Proxy Authentication Required", "",
                                        {"Proxy-Authenticate: Basic realm=\"test\""}));
  }
  options.proxyServer = asking.Authority();
  options.proxyUser = "user";
  options.proxyPassword = "pass";
  Client authenticating(options);
  const Sent refused = Send(authenticating, "http://config.example/doc");
  ASSERT_EQ(refused.result, 0) << refused.response.message;
  EXPECT_EQ(refused.response.statusCode, 407);
  // Wine's WinHTTP asks once more without credentials on its own.
  std::vector<std::string> credentials;
  for (const Raw::SeenRequest& seen : asking.Requests()) {
    credentials.push_back(seen.Header("Proxy-Authorization"));
  }
  ASSERT_GE(credentials.size(), 2u);
  credentials.resize(std::unique(credentials.begin(), credentials.end()) - credentials.begin());
  EXPECT_EQ(credentials, (std::vector<std::string>{"<none>", "Basic dXNlcjpwYXNz"}))
      << "base64 of user:pass from openssl";
}
#else
// Sequential requests through the pool ride one connection; without the
// pool each pays for its own.
TEST(HttpClient, PooledHandlesReuseTheirConnections) {
  constexpr int kRequests = 5;
  Raw server;
  server.Answer("/doc", Raw::Response(200, "OK", "doc"));
  const struct { size_t maxIdleHandles, connections; } cases[] = {{4, 1}, {1, 1}, {0, kRequests}};
  for (const auto& c : cases) {
    Options options = Loopback();
    options.maxIdleHandles = c.maxIdleHandles;
    Client client(options);
    const size_t before = server.Requests().size();
    for (int i = 0; i < kRequests; ++i) ASSERT_EQ(Send(client, server.Url("/doc")).result, 0);
    const std::vector<Raw::SeenRequest> seen = server.Requests();
    std::set<int> ports;
    for (size_t i = before; i < seen.size(); ++i) ports.insert(seen[i].peerPort);
    EXPECT_EQ(ports.size(), c.connections) << "maxIdleHandles " << c.maxIdleHandles;
  }
}
#endif

}  // namespace
}  // namespace OstrelTest
