#include "LocalServer.h"

#include <stdexcept>
#include <utility>

#include "SelfSignedCertificate.h"

namespace OstrelTest {

LocalServer::LocalServer() : LocalServer(std::make_unique<httplib::Server>(), "http") {}

LocalServer::LocalServer(const SelfSignedCertificate& certificate)
    : LocalServer(
          std::make_unique<httplib::SSLServer>(certificate.certificate(), certificate.key()),
          "https") {}

LocalServer::LocalServer(std::unique_ptr<httplib::Server> server, std::string scheme)
    : server_(std::move(server)), scheme_(std::move(scheme)) {
  if (!server_->is_valid()) throw std::runtime_error("cannot set the server's TLS up");
  // Recorded before routing, so a request is on record before its answer
  // leaves the server.
  server_->set_pre_routing_handler([this](const httplib::Request& request, httplib::Response&) {
    std::lock_guard<std::mutex> lock(mutex_);
    requests_.push_back({request.path, request.headers, request.remote_port});
    changed_.notify_all();
    return httplib::Server::HandlerResponse::Unhandled;
  });
  // Headers and body leave in separate writes: without this, Nagle's
  // algorithm and the client's delayed ACK hold an answer on a reused
  // connection back by 40 ms.
  server_->set_tcp_nodelay(true);
  port_ = server_->bind_to_any_port("127.0.0.1");
  if (port_ <= 0) throw std::runtime_error("cannot bind a loopback port");
  // The socket listens from bind on, so clients may connect at once; the
  // accept loop picks their connections up when it starts.
  thread_ = std::thread([this] { server_->listen_after_bind(); });
  // stop() is lost when it comes before the loop runs, so wait for the loop.
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
  while (!server_->is_running() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::yield();
  }
}

LocalServer::~LocalServer() {
  Release();
  server_->stop();
  thread_.join();
}

void LocalServer::Serve(const std::string& path, const std::string& body, int status,
                        const std::string& contentType) {
  server_->Get(path, [body, status, contentType](const httplib::Request&, httplib::Response& res) {
    res.status = status;
    res.set_content(body, contentType.c_str());
  });
}

void LocalServer::Hold(const std::string& path) {
  server_->Get(path, [this](const httplib::Request&, httplib::Response& res) {
    std::unique_lock<std::mutex> lock(mutex_);
    changed_.wait_for(lock, std::chrono::seconds(30), [this] { return released_; });
    res.set_content("late", "text/plain");
  });
}

void LocalServer::Release() {
  std::lock_guard<std::mutex> lock(mutex_);
  released_ = true;
  changed_.notify_all();
}

std::string LocalServer::Authority() const { return "127.0.0.1:" + std::to_string(port_); }

std::string LocalServer::Url(const std::string& path) const {
  return scheme_ + "://" + Authority() + path;
}

std::vector<SeenRequest> LocalServer::Requests() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return requests_;
}

size_t LocalServer::RequestCount() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return requests_.size();
}

size_t LocalServer::CountPath(const std::string& path) const {
  std::lock_guard<std::mutex> lock(mutex_);
  return CountLocked(path);
}

size_t LocalServer::CountLocked(const std::string& path) const {
  size_t count = 0;
  for (const SeenRequest& request : requests_) count += request.path == path ? 1 : 0;
  return count;
}

bool LocalServer::WaitForPath(const std::string& path, size_t count,
                              std::chrono::milliseconds timeout) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] { return CountLocked(path) >= count; });
}

}  // namespace OstrelTest
