#include "RawHttpServer.h"

#include <winsock2.h>
#include <ws2tcpip.h>

#include <algorithm>
#include <cctype>

namespace OstrelTest {
namespace {

std::string Lower(std::string text) {
  for (char& c : text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return text;
}

bool SendAll(SOCKET socket, const std::string& bytes) {
  size_t sent = 0;
  while (sent < bytes.size()) {
    const int chunk = ::send(socket, bytes.data() + sent, static_cast<int>(bytes.size() - sent), 0);
    if (chunk <= 0) return false;
    sent += static_cast<size_t>(chunk);
  }
  return true;
}

}  // namespace

std::string RawHttpServer::SeenRequest::Header(const std::string& name) const {
  const std::string wanted = "\r\n" + Lower(name) + ":";
  const std::string lowered = Lower(head);
  const size_t at = lowered.find(wanted);
  if (at == std::string::npos) return "<none>";
  size_t start = at + wanted.size();
  while (start < head.size() && head[start] == ' ') ++start;
  return head.substr(start, head.find("\r\n", start) - start);
}

RawHttpServer::RawHttpServer() : listener_(INVALID_SOCKET) {
  WSADATA data;
  if (WSAStartup(MAKEWORD(2, 2), &data) != 0) return;
  const SOCKET listener = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
  if (listener == INVALID_SOCKET) return;
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  int length = sizeof address;
  if (::bind(listener, reinterpret_cast<sockaddr*>(&address), length) != 0 ||
      ::listen(listener, 64) != 0 ||
      ::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
    ::closesocket(listener);
    return;
  }
  listener_ = listener;
  port_ = ntohs(address.sin_port);
  acceptor_ = std::thread([this] { AcceptLoop(); });
}

RawHttpServer::~RawHttpServer() {
  std::vector<std::thread> workers;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    stopping_ = true;
    // Ends blocked accepts and receives; the workers close their sockets.
    for (const uintptr_t connection : connections_) ::shutdown(connection, SD_BOTH);
    changed_.notify_all();
  }
  if (listener_ != INVALID_SOCKET) {
    // A connection wakes the accept loop, which then sees stopping_.
    const SOCKET waker = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(port_);
    ::connect(waker, reinterpret_cast<sockaddr*>(&address), sizeof address);
    if (acceptor_.joinable()) acceptor_.join();
    ::closesocket(waker);
    ::closesocket(listener_);
  }
  {
    std::lock_guard<std::mutex> lock(mutex_);
    workers.swap(workers_);
  }
  for (std::thread& worker : workers) worker.join();
  WSACleanup();
}

void RawHttpServer::Answer(const std::string& path, const std::string& bytes) {
  std::lock_guard<std::mutex> lock(mutex_);
  routes_[path] = Route{bytes, false};
}

void RawHttpServer::Hold(const std::string& path, const std::string& bytes) {
  std::lock_guard<std::mutex> lock(mutex_);
  routes_[path] = Route{bytes, true};
}

std::string RawHttpServer::Response(int status, const std::string& reason, const std::string& body,
                                    const std::vector<std::string>& headers) {
  std::string text = "HTTP/1.1 " + std::to_string(status) + " " + reason + "\r\n";
  for (const std::string& header : headers) text += header + "\r\n";
  text += "Content-Length: " + std::to_string(body.size()) + "\r\nConnection: close\r\n\r\n";
  return text + body;
}

std::string RawHttpServer::Url(const std::string& path) const {
  return "http://127.0.0.1:" + std::to_string(port_) + path;
}

std::vector<RawHttpServer::SeenRequest> RawHttpServer::Requests() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return requests_;
}

bool RawHttpServer::WaitForPath(const std::string& path, size_t count,
                                std::chrono::milliseconds timeout) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] {
    return static_cast<size_t>(std::count_if(requests_.begin(), requests_.end(),
                                             [&](const SeenRequest& seen) {
                                               return seen.target.substr(
                                                          0, seen.target.find('?')) == path;
                                             })) >= count;
  });
}

void RawHttpServer::AcceptLoop() {
  for (;;) {
    const SOCKET connection = ::accept(listener_, nullptr, nullptr);
    if (connection == INVALID_SOCKET) return;
    std::lock_guard<std::mutex> lock(mutex_);
    if (stopping_) {
      ::closesocket(connection);
      return;
    }
    connections_.push_back(connection);
    workers_.emplace_back([this, connection] { Serve(connection); });
  }
}

void RawHttpServer::Serve(uintptr_t connection) {
  std::string head;
  char buffer[4096];
  while (head.find("\r\n\r\n") == std::string::npos) {
    const int got = ::recv(connection, buffer, sizeof buffer, 0);
    if (got <= 0) break;
    head.append(buffer, static_cast<size_t>(got));
  }
  const size_t headEnd = head.find("\r\n\r\n");
  if (headEnd != std::string::npos) {
    head.resize(headEnd + 2);
    const size_t targetStart = head.find(' ') + 1;
    const std::string target = head.substr(targetStart, head.find(' ', targetStart) - targetStart);
    Route route{Response(404, "Not Found", ""), false};
    {
      std::lock_guard<std::mutex> lock(mutex_);
      requests_.push_back(SeenRequest{target, head});
      changed_.notify_all();
      const auto found = routes_.find(target.substr(0, target.find('?')));
      if (found != routes_.end()) route = found->second;
    }
    SendAll(connection, route.bytes);
    if (route.hold) {
      std::unique_lock<std::mutex> lock(mutex_);
      changed_.wait(lock, [this] { return stopping_; });
    }
  }
  {
    // Off the list first, so that the destructor never shuts a socket
    // number down that the system has handed out again.
    std::lock_guard<std::mutex> lock(mutex_);
    connections_.erase(std::remove(connections_.begin(), connections_.end(), connection),
                       connections_.end());
  }
  ::shutdown(connection, SD_SEND);
  ::closesocket(connection);
}

}  // namespace OstrelTest
