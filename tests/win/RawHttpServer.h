// A loopback HTTP server for Windows tests, on winsock: it reads each
// request's head and answers with the exact bytes a route gives, so that a
// test controls every byte (NUL bytes, lengths, redirects) and the timing
// (an answer held back until the test ends).
#ifndef OSTREL_TESTS_WIN_RAWHTTPSERVER_H_
#define OSTREL_TESTS_WIN_RAWHTTPSERVER_H_

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace OstrelTest {

class RawHttpServer {
 public:
  struct SeenRequest {
    std::string target;  // as on the request line: path and query
    std::string head;    // the request line and header lines, CRLF each
    // The value of the header name (compared without case); "<none>" when absent.
    std::string Header(const std::string& name) const;
  };

  // Listens on a free port of 127.0.0.1; port() is 0 when that failed.
  RawHttpServer();
  // Releases held answers, closes every connection and joins the threads.
  ~RawHttpServer();
  RawHttpServer(const RawHttpServer&) = delete;
  RawHttpServer& operator=(const RawHttpServer&) = delete;

  // Answers requests for path (without query) with bytes and closes.
  void Answer(const std::string& path, const std::string& bytes);
  // Sends bytes (possibly none), then holds the connection open until the
  // server ends.
  void Hold(const std::string& path, const std::string& bytes = std::string());

  // A whole answer with Content-Length and "Connection: close".
  static std::string Response(int status, const std::string& reason, const std::string& body,
                              const std::vector<std::string>& headers = {});

  uint16_t port() const { return port_; }
  // "http://127.0.0.1:<port>" + path
  std::string Url(const std::string& path) const;

  std::vector<SeenRequest> Requests() const;
  // Waits until count requests for path have arrived; false after timeout.
  bool WaitForPath(const std::string& path, size_t count, std::chrono::milliseconds timeout) const;

 private:
  struct Route {
    std::string bytes;
    bool hold = false;
  };
  void AcceptLoop();
  void Serve(uintptr_t connection);

  uintptr_t listener_;
  uint16_t port_ = 0;
  std::thread acceptor_;

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  // Guarded by mutex_.
  bool stopping_ = false;
  std::map<std::string, Route> routes_;
  std::vector<SeenRequest> requests_;
  std::vector<uintptr_t> connections_;
  std::vector<std::thread> workers_;
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_WIN_RAWHTTPSERVER_H_
