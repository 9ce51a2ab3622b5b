// ostrel-server: the reference config server for local development.
//
//   ostrel-server --data <folder> [--port N] [--bind 127.0.0.1]
//
// Publishes <folder>/<appKey>/<namespace>.json, prints "listening on
// <host>:<port>" once it serves, logs every request, re-publishes on
// POST /admin/publish and stops on SIGINT or SIGTERM.
#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include "ConfigServer.h"

namespace {

void Usage() {
  std::fprintf(stderr,
               "usage: ostrel-server --data <folder> [--port N] [--bind 127.0.0.1]\n"
               "  --data   folder holding <appKey>/<namespace>.json files\n"
               "  --port   port to listen on; 0 (the default) picks a free one\n"
               "  --bind   address to listen on (default 127.0.0.1, loopback only)\n");
}

bool ParsePort(const char* text, int& port) {
  char* end = nullptr;
  const long value = std::strtol(text, &end, 10);
  if (end == text || *end != '\0' || value < 0 || value > 65535) return false;
  port = static_cast<int>(value);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  std::string data;
  std::string bind = "127.0.0.1";
  int port = 0;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    if (option == "-h" || option == "--help") {
      Usage();
      return 0;
    }
    if (i + 1 >= argc) {
      Usage();
      return 2;
    }
    const char* value = argv[++i];
    if (option == "--data") {
      data = value;
    } else if (option == "--bind") {
      bind = value;
    } else if (option == "--port") {
      if (!ParsePort(value, port)) {
        std::fprintf(stderr, "ostrel-server: bad port %s\n", value);
        return 2;
      }
    } else {
      Usage();
      return 2;
    }
  }
  if (data.empty()) {
    Usage();
    return 2;
  }

  // Signals are taken by sigwait below; blocked before any thread starts, so
  // that no serving thread is interrupted by them.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  std::mutex outputMutex;
  OstrelServer::ConfigServer server(data, [&outputMutex](const std::string& line) {
    std::lock_guard<std::mutex> lock(outputMutex);
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
  });
  if (!server.Start(bind, port)) {
    std::fprintf(stderr, "ostrel-server: cannot listen on %s:%d\n", bind.c_str(), port);
    return 1;
  }
  {
    std::lock_guard<std::mutex> lock(outputMutex);
    std::printf("listening on %s:%d\n", bind.c_str(), server.Port());
    std::fflush(stdout);
  }
  int signal = 0;
  sigwait(&signals, &signal);
  server.Stop();
  std::printf("stopped (%s)\n", signal == SIGINT ? "SIGINT" : "SIGTERM");
  return 0;
}
