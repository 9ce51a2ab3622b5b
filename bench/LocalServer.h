// A cpp-httplib TLS server on a free loopback port, run on its own thread for
// the life of the object; the benchmark adds its routes through server().
#ifndef OSTREL_BENCH_LOCALSERVER_H_
#define OSTREL_BENCH_LOCALSERVER_H_

#include <httplib.h>

#include <string>
#include <thread>

namespace OstrelTest {

class SelfSignedCertificate;

class LocalServer {
 public:
  // The certificate is only read here, not kept.
  explicit LocalServer(const SelfSignedCertificate& certificate);
  // Stops the server and joins its thread.
  ~LocalServer();
  LocalServer(const LocalServer&) = delete;
  LocalServer& operator=(const LocalServer&) = delete;

  httplib::Server& server() { return server_; }
  // "127.0.0.1:<port>"
  std::string Authority() const { return "127.0.0.1:" + std::to_string(port_); }

 private:
  httplib::SSLServer server_;
  int port_ = -1;
  std::thread thread_;
};

}  // namespace OstrelTest

#endif  // OSTREL_BENCH_LOCALSERVER_H_
