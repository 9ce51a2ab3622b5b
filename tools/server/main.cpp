// ostrel-server: the reference config server for local development.
//
//   ostrel-server --data <folder> [--port N] [--bind 127.0.0.1] [--threads N]
//                 [--cdn <url>] [--export <folder>] [--max-file-bytes N]
//
// Publishes <folder>/<appKey>/<namespace>.json, prints "listening on
// <host>:<port>" once it serves, logs every request with its time,
// re-publishes on POST /admin/publish and stops on SIGINT or SIGTERM.
#include <signal.h>

#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "ConfigServer.h"
#include "ServerCommandLine.h"

int main(int argc, char** argv) {
  OstrelServer::ServerCommandLine line;
  std::string error;
  if (!line.Parse(std::vector<std::string>(argv + 1, argv + argc), error)) {
    std::fprintf(stderr, "ostrel-server: %s\n%s", error.c_str(),
                 OstrelServer::ServerCommandLine::Usage());
    return 2;
  }
  if (line.help) {
    std::fputs(OstrelServer::ServerCommandLine::Usage(), stdout);
    return 0;
  }

  // Signals are taken by sigwait below; blocked before any thread starts, so
  // that no serving thread is interrupted by them.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);

  std::mutex outputMutex;
  const std::string dataDir = line.options.publish.dataDir;
  OstrelServer::ConfigServer server(line.options, [&outputMutex](const std::string& text) {
    std::lock_guard<std::mutex> lock(outputMutex);
    std::printf("%s\n", text.c_str());
    std::fflush(stdout);
  });
  if (!server.Start(line.bind, line.port)) {
    std::fprintf(stderr, "ostrel-server: cannot start: no folder %s, or %s:%d cannot be bound\n",
                 dataDir.c_str(), line.bind.c_str(), line.port);
    return 1;
  }
  {
    std::lock_guard<std::mutex> lock(outputMutex);
    std::printf("listening on %s:%d\n", line.bind.c_str(), server.Port());
    std::fflush(stdout);
  }
  int signal = 0;
  sigwait(&signals, &signal);
  server.Stop();
  std::printf("stopped (%s)\n", signal == SIGINT ? "SIGINT" : "SIGTERM");
  return 0;
}
