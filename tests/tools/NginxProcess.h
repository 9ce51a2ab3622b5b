// A real nginx serving a folder as a static CDN on a loopback port, with its
// configuration, logs and temporary files in a folder of its own.
#ifndef OSTREL_TESTS_TOOLS_NGINXPROCESS_H_
#define OSTREL_TESTS_TOOLS_NGINXPROCESS_H_

#include <httplib.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "ChildProcess.h"
#include "ScratchDir.h"

namespace OstrelToolsTest {

class NginxProcess {
 public:
  // The nginx binary; empty when it is not installed.
  static std::string Binary() {
    for (const char* path : {"/usr/sbin/nginx", "/usr/bin/nginx"}) {
      if (access(path, X_OK) == 0) return path;
    }
    return std::string();
  }

  // Serves root on 127.0.0.1 and waits until it answers. A port found free
  // can be taken before nginx binds it, so a few are tried.
  bool Start(const std::string& root, std::string& error) {
    for (int attempt = 0; attempt < 5; ++attempt) {
      port_ = FreePort();
      std::remove(prefix_.File("error.log").c_str());
      if (port_ > 0 && Launch(root)) return true;
    }
    error = "nginx did not start: " + Read("error.log");
    return false;
  }

  int Port() const { return port_; }

  // One line per request served: "GET /path HTTP/1.1 200".
  std::vector<std::string> Requests() const {
    std::vector<std::string> lines;
    std::istringstream log(Read("access.log"));
    for (std::string line; std::getline(log, line);) lines.push_back(line);
    return lines;
  }

 private:
  std::string Read(const std::string& name) const {
    std::ostringstream text;
    text << std::ifstream(prefix_.File(name)).rdbuf();
    return text.str();
  }

  bool Launch(const std::string& root) {
    const std::string prefix = prefix_.path();
    // One process that never changes user, so that it reads the test's
    // private folders; every path it writes lies in its prefix.
    std::ofstream(prefix + "/nginx.conf", std::ios::trunc)
        << "daemon off;\nmaster_process off;\nworker_processes 1;\n"
        << "pid " << prefix << "/nginx.pid;\nerror_log " << prefix << "/error.log warn;\n"
        << "events { worker_connections 64; }\nhttp {\n"
        << "  log_format requests '$request $status';\n"
        << "  access_log " << prefix << "/access.log requests;\n"
        << "  client_body_temp_path " << prefix << "/body;\n  proxy_temp_path " << prefix
        << "/proxy;\n  fastcgi_temp_path " << prefix << "/fastcgi;\n  uwsgi_temp_path " << prefix
        << "/uwsgi;\n  scgi_temp_path " << prefix << "/scgi;\n"
        << "  types { application/json json; }\n"
        << "  server { listen 127.0.0.1:" << port_ << "; root " << root << ";\n"
        << "    location = /ready { access_log off; return 204; } }\n}\n";
    process_ = std::make_unique<OstrelTest::ChildProcess>(
        Binary(), std::vector<std::string>{"-p", prefix + "/", "-c", prefix + "/nginx.conf", "-e",
                                           prefix + "/error.log"});
    // nginx gives no sign that it serves but its answers; it ends early when
    // its port was taken.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (process_->started() && std::chrono::steady_clock::now() < deadline) {
      if (Read("error.log").find("bind()") != std::string::npos) break;
      if (Answers()) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    process_.reset();
    return false;
  }

  // A port the system hands out, free again once the probe is closed.
  static int FreePort() {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    const bool bound = bind(fd, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
                       getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0;
    close(fd);
    return bound ? ntohs(address.sin_port) : -1;
  }

  // Asks a path that stays out of the request log.
  bool Answers() const {
    return static_cast<bool>(httplib::Client("127.0.0.1", port_).Get("/ready"));
  }

  OstrelTest::ScratchDir prefix_;
  std::unique_ptr<OstrelTest::ChildProcess> process_;
  int port_ = 0;
};

}  // namespace OstrelToolsTest

#endif  // OSTREL_TESTS_TOOLS_NGINXPROCESS_H_
