#include "ostrel_host/CurlHttpClient.h"

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "HttpExchange.h"
#include "LocalServer.h"

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
}

// Any HTTP answer is a completed exchange (0); only 2xx counts as success.
TEST(CurlHttpClient, StatusDecidesSuccessButNotTheReturnCode) {
  LocalServer server;
  server.Serve("/created", "made", 201);
  server.Serve("/error", "broken", 500);
  CurlHttpClient client(LocalOptions());
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
  };
  for (const auto& c : cases) {
    TestRequest request(server.Url(c.path));
    TestResponse response;
    EXPECT_EQ(client.Send(&request, &response), 0) << c.path;
    EXPECT_EQ(response.statusCode, c.status) << c.path;
    EXPECT_EQ(response.success, c.success) << c.path;
    EXPECT_EQ(response.message, c.message) << c.path;
    if (c.status != 404) {
      EXPECT_EQ(response.body, c.body) << c.path;
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

TEST(CurlHttpClient, TransportFailuresReturnNonZeroWithLibcurlsText) {
  RefusingPort refusing;
  ASSERT_NE(refusing.port(), 0);
  LocalServer server;
  server.Hold("/slow");
  server.Serve("/large", std::string(4096, 'x'));

  CurlHttpOptions options = LocalOptions();
  options.totalTimeoutMs = 300;
  options.maxBodyBytes = 1024;
  CurlHttpClient client(options);
  const struct {
    std::string name;
    std::string url;
    std::string messageFragment;
  } cases[] = {
      {"refused", "http://127.0.0.1:" + std::to_string(refusing.port()) + "/doc",
       "Failed to connect to 127.0.0.1 port " + std::to_string(refusing.port())},
      {"timeout", server.Url("/slow"), "Operation timed out after"},
      {"too large", server.Url("/large"), "response body exceeds 1024 bytes"},
      {"other scheme", "file:///etc/hostname", "Protocol \"file\" not supported"},
  };
  for (const auto& c : cases) {
    TestRequest request(c.url);
    TestResponse response;
    const auto start = std::chrono::steady_clock::now();
    EXPECT_NE(client.Send(&request, &response), 0) << c.name;
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5)) << c.name;
    EXPECT_EQ(response.success, "false") << c.name;
    EXPECT_NE(response.message.find(c.messageFragment), std::string::npos)
        << c.name << ": " << response.message;
    EXPECT_EQ(response.body, "unset") << c.name;
  }
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

}  // namespace
}  // namespace OstrelTest
