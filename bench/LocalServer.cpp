#include "LocalServer.h"

#include <chrono>
#include <stdexcept>

#include "SelfSignedCertificate.h"

namespace OstrelTest {

LocalServer::LocalServer(const SelfSignedCertificate& certificate)
    : server_(certificate.certificate(), certificate.key()) {
  if (!server_.is_valid()) throw std::runtime_error("cannot set the server's TLS up");
  // Headers and body leave in separate writes: without this, Nagle's
  // algorithm and the client's delayed ACK hold an answer on a reused
  // connection back by 40 ms.
  server_.set_tcp_nodelay(true);
  port_ = server_.bind_to_any_port("127.0.0.1");
  if (port_ <= 0) throw std::runtime_error("cannot bind a loopback port");
  thread_ = std::thread([this] { server_.listen_after_bind(); });
  // stop() is lost when it comes before the loop runs, so wait for the loop.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!server_.is_running() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::yield();
  }
}

LocalServer::~LocalServer() {
  server_.stop();
  thread_.join();
}

}  // namespace OstrelTest
