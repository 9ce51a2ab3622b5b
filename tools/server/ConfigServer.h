// The reference config server for local development: serves what Publisher
// made of a data folder over plain HTTP, the way the service's CDN and API
// hosts do, and checks the development signature of the API requests.
#ifndef OSTREL_TOOLS_SERVER_CONFIGSERVER_H_
#define OSTREL_TOOLS_SERVER_CONFIGSERVER_H_

#include <condition_variable>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "Publisher.h"

namespace httplib {
class Server;
class Request;
class Response;
}  // namespace httplib

namespace OstrelServer {

struct ServerOptions {
  // publish.cdn may stay empty: the documents then name this server's own
  // host:port, and it serves the CDN paths itself.
  PublishOptions publish;
  // The scheme clients use for the CDN, which the notices carry.
  std::string cdnProtocol = "http";
  // Requests served at once. A long-poll of the notice holds one for its
  // whole wait, and idle keep-alive connections hold one each.
  size_t threads = 16;
};

class ConfigServer {
 public:
  // Receives one line per request and per publication, each beginning with
  // the UTC time ("2026-11-23T14:05:09.120Z "); may be empty. Called from
  // the serving threads, one line at a time.
  using LogSink = std::function<void(const std::string&)>;

  // Requests whose o-timestamp is further than this from the server's clock
  // are refused, so that a captured request cannot be replayed later.
  static constexpr long long kMaxClockSkewSeconds = 300;

  // A long-poll of the notice waits at most this long.
  static constexpr int kMaxNoticeWaitSeconds = 60;

  ConfigServer(std::string dataDir, LogSink log = nullptr);
  ConfigServer(ServerOptions options, LogSink log);
  ~ConfigServer();  // stops the server
  ConfigServer(const ConfigServer&) = delete;
  ConfigServer& operator=(const ConfigServer&) = delete;

  // Binds host:port (port 0 picks a free one), publishes the data folder and
  // serves on a thread of its own. False when the data folder is not a
  // folder or the address cannot be bound.
  bool Start(const std::string& host, int port);
  // The bound port, valid after a successful Start.
  int Port() const { return port_; }
  // Stops serving, ends the long-polls and waits for the serving thread.
  // Idempotent.
  void Stop();

  // Re-reads the data folder, as POST /admin/publish does, and answers the
  // long-polls whose application got a new index.
  PublishReport Publish();

 private:
  // Checks the o- headers and the signature of a request on path. On success
  // stores the caller's app key; otherwise answers res with the reason.
  bool Authenticate(const httplib::Request& req, httplib::Response& res, std::string& appKey);
  void CheckUpdate(const httplib::Request& req, httplib::Response& res);
  void DownloadResource(const httplib::Request& req, httplib::Response& res);
  // GET /admin/notice; see docs/local-development.md for the long-poll.
  void GatewayNotice(const httplib::Request& req, httplib::Response& res);
  void Log(const std::string& line) const;

  ServerOptions options_;  // constant once Start has filled in the CDN
  const LogSink log_;
  std::unique_ptr<httplib::Server> http_;
  std::unique_ptr<Publisher> publisher_;  // created by Start, once the port is known
  std::thread thread_;
  int port_ = 0;

  // Long-polls wait on published_ until a publication or Stop.
  std::mutex waitMutex_;
  std::condition_variable published_;
  bool stopping_ = false;           // guarded by waitMutex_
  unsigned long publications_ = 0;  // guarded by waitMutex_
};

}  // namespace OstrelServer

#endif  // OSTREL_TOOLS_SERVER_CONFIGSERVER_H_
