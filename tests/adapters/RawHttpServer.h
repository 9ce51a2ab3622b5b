// A loopback HTTP server for the HTTP clients' tests on every platform. It
// answers each request with the exact bytes a route gives, so that a test
// controls every byte (NUL bytes, lengths, redirects) and the timing (an
// answer held back until the server ends).
#ifndef OSTREL_TESTS_ADAPTERS_RAWHTTPSERVER_H_
#define OSTREL_TESTS_ADAPTERS_RAWHTTPSERVER_H_

#ifdef _WIN32
#include <winsock2.h>
#include <ws2tcpip.h>
#else
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>
#define closesocket close
#endif

#include <algorithm>
#include <cctype>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace OstrelTest {

class RawHttpServer {
#ifdef _WIN32
  using Socket = SOCKET;
  static constexpr int kSendFlags = 0;
  static constexpr bool kKeepAlive = false;
#else
  using Socket = int;
  static constexpr int kSendFlags = MSG_NOSIGNAL;
  static constexpr bool kKeepAlive = true;
#endif

 public:
  struct SeenRequest {
    std::string target;  // path and query, as on the request line
    std::string head;    // the request line and header lines, CRLF each
    int peerPort;        // the client's end of the connection
    // The header's value (name without case); "<none>" when absent.
    std::string Header(std::string name) const {
      std::string lower = head;
      for (std::string* text : {&lower, &name}) {
        for (char& c : *text) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
      }
      const size_t at = lower.find("\r\n" + name + ":");
      if (at == std::string::npos) return "<none>";
      const size_t start = head.find_first_not_of(' ', at + name.size() + 3);
      return head.substr(start, head.find("\r\n", start) - start);
    }
  };

  // Listens on a free port of 127.0.0.1; port() is 0 when that failed.
  RawHttpServer() {
#ifdef _WIN32
    WSADATA data;
    WSAStartup(MAKEWORD(2, 2), &data);
#endif
    listener_ = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
    sockaddr_in address = Loopback(0);
    socklen_t length = sizeof address;
    if (::bind(listener_, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
        ::listen(listener_, 64) == 0 &&
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
      port_ = ntohs(address.sin_port);
      acceptor_ = std::thread([this] { AcceptLoop(); });
    }
  }

  ~RawHttpServer() {
    {
      std::lock_guard<std::mutex> lock(mutex_);
      stopping_ = true;
      for (const auto connection : connections_) ::shutdown(connection, 2);
      changed_.notify_all();
    }
    if (acceptor_.joinable()) {
      // A connection wakes the accept loop, which then sees stopping_.
      const auto waker = ::socket(AF_INET, SOCK_STREAM, IPPROTO_TCP);
      const sockaddr_in address = Loopback(port_);
      ::connect(waker, reinterpret_cast<const sockaddr*>(&address), sizeof address);
      acceptor_.join();
      closesocket(waker);
    }
    closesocket(listener_);
    for (std::thread& worker : workers_) worker.join();
#ifdef _WIN32
    WSACleanup();
#endif
  }
  RawHttpServer(const RawHttpServer&) = delete;
  RawHttpServer& operator=(const RawHttpServer&) = delete;

  // Answers requests for path (without its query) with bytes. The
  // connection stays open for the next request, but on Windows, where a
  // shutdown does not wake a receive under way, each answer closes it.
  void Answer(const std::string& path, const std::string& bytes) { Route(path, bytes, false); }
  // Sends bytes (possibly none), then holds the connection until the end.
  void Hold(const std::string& path, const std::string& bytes = "") { Route(path, bytes, true); }

  static std::string Response(int status, const std::string& reason, const std::string& body,
                              const std::vector<std::string>& headers = {}) {
    std::string text = "HTTP/1.1 " + std::to_string(status) + " " + reason + "\r\n";
    for (const std::string& header : headers) text += header + "\r\n";
    if (!kKeepAlive) text += "Connection: close\r\n";
    return text + "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
  }

  int port() const { return port_; }
  std::string Authority() const { return "127.0.0.1:" + std::to_string(port_); }
  std::string Url(const std::string& path) const { return "http://" + Authority() + path; }

  std::vector<SeenRequest> Requests() const {
    std::lock_guard<std::mutex> lock(mutex_);
    return requests_;
  }
  size_t CountPath(const std::string& path) const { return Count(path, 0, {}); }
  // Waits until count requests for path have arrived; false after timeout.
  bool WaitForPath(const std::string& path, size_t count = 1,
                   std::chrono::milliseconds timeout = std::chrono::seconds(10)) const {
    return Count(path, count, timeout) >= count;
  }

 private:
  static sockaddr_in Loopback(int port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(port));
    return address;
  }

  void Route(const std::string& path, const std::string& bytes, bool hold) {
    std::lock_guard<std::mutex> lock(mutex_);
    routes_[path] = {bytes, hold};
  }

  size_t Count(const std::string& path, size_t wanted, std::chrono::milliseconds timeout) const {
    std::unique_lock<std::mutex> lock(mutex_);
    size_t count = 0;
    changed_.wait_for(lock, timeout, [&] {
      count = static_cast<size_t>(
          std::count_if(requests_.begin(), requests_.end(), [&](const SeenRequest& seen) {
            return seen.target.substr(0, seen.target.find('?')) == path;
          }));
      return count >= wanted;
    });
    return count;
  }

  void AcceptLoop() {
    for (;;) {
      sockaddr_in peer{};
      socklen_t length = sizeof peer;
      const Socket connection = ::accept(listener_, reinterpret_cast<sockaddr*>(&peer), &length);
      std::lock_guard<std::mutex> lock(mutex_);
      if (stopping_) {
        closesocket(connection);
        return;
      }
      connections_.push_back(connection);
      workers_.emplace_back(
          [this, connection, port = ntohs(peer.sin_port)] { Serve(connection, port); });
    }
  }

  void Serve(Socket connection, int peerPort) {
    std::string pending;
    char buffer[4096];
    for (bool open = true; open;) {
      size_t end;
      int got = 1;
      while ((end = pending.find("\r\n\r\n")) == std::string::npos && got > 0) {
        got = static_cast<int>(::recv(connection, buffer, sizeof buffer, 0));
        if (got > 0) pending.append(buffer, static_cast<size_t>(got));
      }
      if (end == std::string::npos) break;
      const std::string head = pending.substr(0, end + 2);
      pending.erase(0, end + 4);
      const size_t start = head.find(' ') + 1;
      const std::string target = head.substr(start, head.find(' ', start) - start);
      std::pair<std::string, bool> route{Response(404, "Not Found", ""), false};
      {
        std::lock_guard<std::mutex> lock(mutex_);
        requests_.push_back({target, head, peerPort});
        changed_.notify_all();
        const auto found = routes_.find(target.substr(0, target.find('?')));
        if (found != routes_.end()) route = found->second;
      }
      const std::string& bytes = route.first;
      for (size_t sent = 0, chunk = 1; sent < bytes.size() && chunk > 0; sent += chunk) {
        const int wrote = static_cast<int>(::send(
            connection, bytes.data() + sent, static_cast<int>(bytes.size() - sent), kSendFlags));
        chunk = wrote > 0 ? static_cast<size_t>(wrote) : 0;
      }
      if (route.second) {
        std::unique_lock<std::mutex> lock(mutex_);
        changed_.wait(lock, [this] { return stopping_; });
      }
      open = kKeepAlive && !route.second;
    }
    // Off the list before the close, so that the destructor never shuts
    // down a socket number the system has handed out again.
    {
      std::lock_guard<std::mutex> lock(mutex_);
      connections_.erase(std::find(connections_.begin(), connections_.end(), connection));
    }
    closesocket(connection);
  }

  Socket listener_;
  int port_ = 0;
  std::thread acceptor_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  // Guarded by mutex_.
  bool stopping_ = false;
  std::map<std::string, std::pair<std::string, bool>> routes_;  // bytes, held
  std::vector<SeenRequest> requests_;
  std::vector<Socket> connections_;
  std::vector<std::thread> workers_;
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_ADAPTERS_RAWHTTPSERVER_H_
