// A real nginx, serving a folder as a static CDN on a loopback port, with its
// configuration, logs and temporary files in a folder of its own.
#ifndef OSTREL_TESTS_TOOLS_NGINXPROCESS_H_
#define OSTREL_TESTS_TOOLS_NGINXPROCESS_H_

#include <arpa/inet.h>
#include <netinet/in.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "ScratchDir.h"

namespace OstrelToolsTest {

// Not thread-safe; stops nginx when destroyed.
class NginxProcess {
 public:
  NginxProcess() = default;
  ~NginxProcess() { Stop(); }
  NginxProcess(const NginxProcess&) = delete;
  NginxProcess& operator=(const NginxProcess&) = delete;

  // The nginx binary; empty when it is not installed.
  static std::string Binary() {
    for (const char* path : {"/usr/sbin/nginx", "/usr/bin/nginx"}) {
      if (access(path, X_OK) == 0) return path;
    }
    return std::string();
  }

  // Serves root on 127.0.0.1 at a free port and waits until it answers.
  // A port found free can be taken before nginx binds it, so a few ports
  // are tried. False, with the reason, when nginx never answered.
  bool Start(const std::string& root, std::string& error) {
    for (int attempt = 0; attempt < 5; ++attempt) {
      port_ = FreePort();
      if (port_ > 0 && Launch(root) && WaitUntilServing()) return true;
      Stop();
    }
    error = "nginx did not start: " + Read(prefix_.File("error.log"));
    return false;
  }

  int Port() const { return port_; }

  // One line per request served: "GET /path HTTP/1.1 200".
  std::vector<std::string> Requests() const {
    std::vector<std::string> lines;
    std::istringstream log(Read(prefix_.File("access.log")));
    for (std::string line; std::getline(log, line);) lines.push_back(line);
    return lines;
  }

  void Stop() {
    if (pid_ <= 0) return;
    kill(pid_, SIGTERM);
    int status = 0;
    waitpid(pid_, &status, 0);
    pid_ = -1;
  }

 private:
  static int FreePort() {
    const int fd = socket(AF_INET, SOCK_STREAM, 0);
    if (fd < 0) return -1;
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    int port = -1;
    if (bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0 &&
        getsockname(fd, reinterpret_cast<sockaddr*>(&address), &length) == 0) {
      port = ntohs(address.sin_port);
    }
    close(fd);
    return port;
  }

  static std::string Read(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream text;
    text << in.rdbuf();
    return text.str();
  }

  bool Launch(const std::string& root) {
    const std::string prefix = prefix_.path();
    // One process that never changes user, so that it reads the test's
    // private folders; every path it writes lies in its prefix.
    std::ofstream(prefix + "/nginx.conf", std::ios::trunc)
        << "daemon off;\nmaster_process off;\nworker_processes 1;\n"
        << "pid " << prefix << "/nginx.pid;\n"
        << "error_log " << prefix << "/error.log warn;\n"
        << "events { worker_connections 64; }\n"
        << "http {\n"
        << "  log_format requests '$request $status';\n"
        << "  access_log " << prefix << "/access.log requests;\n"
        << "  client_body_temp_path " << prefix << "/body;\n"
        << "  proxy_temp_path " << prefix << "/proxy;\n"
        << "  fastcgi_temp_path " << prefix << "/fastcgi;\n"
        << "  uwsgi_temp_path " << prefix << "/uwsgi;\n"
        << "  scgi_temp_path " << prefix << "/scgi;\n"
        << "  types { application/json json; }\n"
        << "  server { listen 127.0.0.1:" << port_ << "; root " << root << "; }\n"
        << "}\n";
    const std::string binary = Binary();
    const std::string config = prefix + "/nginx.conf";
    const std::string errorLog = prefix + "/error.log";
    std::vector<std::string> args = {binary, "-p", prefix + "/", "-c", config, "-e", errorLog};
    std::vector<char*> argv;
    for (auto& arg : args) argv.push_back(&arg[0]);
    argv.push_back(nullptr);
    return posix_spawn(&pid_, binary.c_str(), nullptr, nullptr, argv.data(), environ) == 0;
  }

  // Polls the port, since nginx gives no other sign that it serves; ends
  // early when nginx has exited (its port taken, say).
  bool WaitUntilServing() {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (std::chrono::steady_clock::now() < deadline) {
      int status = 0;
      if (waitpid(pid_, &status, WNOHANG) == pid_) {
        pid_ = -1;
        return false;
      }
      const int fd = socket(AF_INET, SOCK_STREAM, 0);
      sockaddr_in address{};
      address.sin_family = AF_INET;
      address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
      address.sin_port = htons(static_cast<uint16_t>(port_));
      const bool connected =
          connect(fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) == 0;
      close(fd);
      if (connected) return true;
      std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    return false;
  }

  OstrelTest::ScratchDir prefix_;
  pid_t pid_ = -1;
  int port_ = 0;
};

}  // namespace OstrelToolsTest

#endif  // OSTREL_TESTS_TOOLS_NGINXPROCESS_H_
