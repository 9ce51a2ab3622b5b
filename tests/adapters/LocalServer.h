// A cpp-httplib server on a free loopback port, run on its own thread for
// the length of a test, with a record of the requests it saw.
#ifndef OSTREL_TESTS_ADAPTERS_LOCALSERVER_H_
#define OSTREL_TESTS_ADAPTERS_LOCALSERVER_H_

#include <httplib.h>

#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace OstrelTest {

class SelfSignedCertificate;

struct SeenRequest {
  std::string path;
  httplib::Headers headers;
  int remotePort;  // the client's side of the connection
};

class LocalServer {
 public:
  // Serves GET requests; paths without a handler answer 404. With a
  // certificate (not owned; only read here) the server speaks TLS.
  LocalServer();
  explicit LocalServer(const SelfSignedCertificate& certificate);
  // Releases held handlers, stops the server and joins its thread.
  ~LocalServer();
  LocalServer(const LocalServer&) = delete;
  LocalServer& operator=(const LocalServer&) = delete;

  // Registers a fixed answer for path.
  void Serve(const std::string& path, const std::string& body, int status = 200,
             const std::string& contentType = "application/json");
  // Registers a handler that blocks until Release or the server stops.
  void Hold(const std::string& path);
  void Release();
  // Any other handler, for redirects and special headers.
  httplib::Server& server() { return *server_; }

  int port() const { return port_; }
  // "127.0.0.1:<port>"
  std::string Authority() const;
  // "http://127.0.0.1:<port>" + path, or "https://..." with TLS
  std::string Url(const std::string& path) const;

  std::vector<SeenRequest> Requests() const;
  size_t RequestCount() const;
  size_t CountPath(const std::string& path) const;
  bool WaitForPath(const std::string& path, size_t count = 1,
                   std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;

 private:
  LocalServer(std::unique_ptr<httplib::Server> server, std::string scheme);
  size_t CountLocked(const std::string& path) const;

  const std::unique_ptr<httplib::Server> server_;
  const std::string scheme_;
  int port_ = -1;
  std::thread thread_;

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<SeenRequest> requests_;  // guarded by mutex_
  bool released_ = false;              // guarded by mutex_
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_ADAPTERS_LOCALSERVER_H_
