// ostrel-server: the reference config server for local development.
//
//   ostrel-server --data <folder> [--port N] [--bind 127.0.0.1] [--threads N]
//                 [--cdn <url>] [--export <folder>] [--max-file-bytes N]
//
// Publishes <folder>/<appKey>/<namespace>.json, prints "listening on
// <host>:<port>" once it serves, logs every request with its time, re-publishes
// on POST /admin/publish and stops on SIGINT or SIGTERM.
#include <signal.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>

#include "ConfigServer.h"

namespace {

void Usage(FILE* out) {
  std::fprintf(out,
               "usage: ostrel-server --data <folder> [--port N] [--bind 127.0.0.1] [--threads N]\n"
               "                     [--cdn <url>] [--export <folder>] [--max-file-bytes N]\n"
               "  --data            folder holding <appKey>/<namespace>.json files (required)\n"
               "  --port            port to listen on; 0 (the default) picks a free one\n"
               "  --bind            address to listen on (default 127.0.0.1, loopback only)\n"
               "  --threads         requests served at once (default 16)\n"
               "  --cdn             where clients download the resources, http://host:port[/path]\n"
               "                    or https://...; default: this server\n"
               "  --export          also write every publication to this folder, as the\n"
               "                    tree a static server behind --cdn serves\n"
               "  --max-file-bytes  refuse namespace files above this size (default 4194304)\n");
}

// A whole number within [low, high]; false for anything else.
bool ParseNumber(const char* text, long low, long high, long& value) {
  char* end = nullptr;
  value = std::strtol(text, &end, 10);
  return end != text && *end == '\0' && value >= low && value <= high;
}

// "http://host:port/path" -> protocol "http", cdn "host:port/path"; a text
// without a scheme is taken as plain HTTP. False for another scheme or no host.
bool ParseCdn(std::string text, std::string& protocol, std::string& cdn) {
  protocol = "http";
  const size_t scheme = text.find("://");
  if (scheme != std::string::npos) {
    protocol = text.substr(0, scheme);
    text = text.substr(scheme + 3);
  }
  while (!text.empty() && text.back() == '/') text.pop_back();
  cdn = text;
  return (protocol == "http" || protocol == "https") && !cdn.empty() && cdn[0] != '/';
}

}  // namespace

int main(int argc, char** argv) {
  OstrelServer::ServerOptions options;
  std::string bind = "127.0.0.1";
  long port = 0;
  for (int i = 1; i < argc; ++i) {
    const std::string option = argv[i];
    if (option == "-h" || option == "--help") {
      Usage(stdout);
      return 0;
    }
    if (i + 1 >= argc) {
      std::fprintf(stderr, "ostrel-server: %s needs a value\n", option.c_str());
      Usage(stderr);
      return 2;
    }
    const char* value = argv[++i];
    long number = 0;
    bool good = true;
    if (option == "--data") {
      options.publish.dataDir = value;
    } else if (option == "--bind") {
      bind = value;
    } else if (option == "--export") {
      options.publish.exportDir = value;
    } else if (option == "--cdn") {
      good = ParseCdn(value, options.cdnProtocol, options.publish.cdn);
    } else if (option == "--port") {
      good = ParseNumber(value, 0, 65535, port);
    } else if (option == "--threads") {
      good = ParseNumber(value, 1, 1024, number);
      options.threads = static_cast<size_t>(number);
    } else if (option == "--max-file-bytes") {
      good = ParseNumber(value, 1, 1L << 30, number);
      options.publish.maxFileBytes = static_cast<size_t>(number);
    } else {
      std::fprintf(stderr, "ostrel-server: unknown option %s\n", option.c_str());
      Usage(stderr);
      return 2;
    }
    if (!good) {
      std::fprintf(stderr, "ostrel-server: bad value for %s: %s\n", option.c_str(), value);
      return 2;
    }
  }
  if (options.publish.dataDir.empty()) {
    std::fprintf(stderr, "ostrel-server: --data is required\n");
    Usage(stderr);
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
  const std::string dataDir = options.publish.dataDir;
  OstrelServer::ConfigServer server(std::move(options), [&outputMutex](const std::string& line) {
    std::lock_guard<std::mutex> lock(outputMutex);
    std::printf("%s\n", line.c_str());
    std::fflush(stdout);
  });
  if (!server.Start(bind, static_cast<int>(port))) {
    std::fprintf(stderr, "ostrel-server: no folder %s, or cannot listen on %s:%ld\n",
                 dataDir.c_str(), bind.c_str(), port);
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
