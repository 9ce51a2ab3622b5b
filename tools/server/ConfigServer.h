// The reference config server for local development: serves what Publisher
// made of a data folder over plain HTTP, the way the service's CDN and API
// hosts do, and checks the development signature of the API requests.
#ifndef OSTREL_TOOLS_SERVER_CONFIGSERVER_H_
#define OSTREL_TOOLS_SERVER_CONFIGSERVER_H_

#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "Publisher.h"

namespace httplib {
class Server;
class Request;
class Response;
}  // namespace httplib

namespace OstrelServer {

class ConfigServer {
 public:
  // Receives one line per request and per publication; may be empty.
  using LogSink = std::function<void(const std::string&)>;

  // Requests whose o-timestamp is further than this from the server's clock
  // are refused, so that a captured request cannot be replayed later.
  static constexpr long long kMaxClockSkewSeconds = 300;

  ConfigServer(std::string dataDir, LogSink log = nullptr);
  ~ConfigServer();  // stops the server
  ConfigServer(const ConfigServer&) = delete;
  ConfigServer& operator=(const ConfigServer&) = delete;

  // Binds host:port (port 0 picks a free one), publishes the data folder and
  // serves on a thread of its own. False when the address cannot be bound.
  bool Start(const std::string& host, int port);
  // The bound port, valid after a successful Start.
  int Port() const { return port_; }
  // Stops serving and waits for the serving thread. Idempotent.
  void Stop();

  // Re-reads the data folder, as POST /admin/publish does.
  PublishReport Publish();

 private:
  // Checks the o- headers and the signature of a request on path. On success
  // stores the caller's app key; otherwise answers res with the reason.
  bool Authenticate(const httplib::Request& req, httplib::Response& res, std::string& appKey);
  void CheckUpdate(const httplib::Request& req, httplib::Response& res);
  void DownloadResource(const httplib::Request& req, httplib::Response& res);
  void Log(const std::string& line) const;

  const std::string dataDir_;
  const LogSink log_;
  std::unique_ptr<httplib::Server> http_;
  std::unique_ptr<Publisher> publisher_;  // created by Start, once the port is known
  std::thread thread_;
  int port_ = 0;
};

}  // namespace OstrelServer

#endif  // OSTREL_TOOLS_SERVER_CONFIGSERVER_H_
