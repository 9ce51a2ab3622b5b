#include "ServerCommandLine.h"

#include <cstdlib>

namespace OstrelServer {
namespace {

// A whole number within [low, high]; false for anything else.
bool ParseNumber(const std::string& text, long low, long high, long& value) {
  char* end = nullptr;
  value = std::strtol(text.c_str(), &end, 10);
  return !text.empty() && *end == '\0' && value >= low && value <= high;
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

const char* ServerCommandLine::Usage() {
  return "usage: ostrel-server --data <folder> [--port N] [--bind 127.0.0.1] [--threads N]\n"
         "                     [--cdn <url>] [--export <folder>] [--max-file-bytes N]\n"
         "  --data            folder holding <appKey>/<namespace>.json files (required)\n"
         "  --port            port to listen on; 0 (the default) picks a free one\n"
         "  --bind            address to listen on (default 127.0.0.1, loopback only)\n"
         "  --threads         requests served at once (default 16)\n"
         "  --cdn             where clients download the resources, http://host:port[/path]\n"
         "                    or https://...; default: this server\n"
         "  --export          also write every publication to this folder, as the\n"
         "                    tree a static server behind --cdn serves\n"
         "  --max-file-bytes  refuse namespace files above this size (default 4194304)\n";
}

bool ServerCommandLine::Parse(const std::vector<std::string>& args, std::string& error) {
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& option = args[i];
    if (option == "-h" || option == "--help") {
      help = true;
      return true;
    }
    if (i + 1 == args.size()) {
      error = option + " needs a value";
      return false;
    }
    const std::string& value = args[++i];
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
      good = ParseNumber(value, 0, 65535, number);
      port = static_cast<int>(number);
    } else if (option == "--threads") {
      good = ParseNumber(value, 1, 1024, number);
      options.threads = static_cast<size_t>(number);
    } else if (option == "--max-file-bytes") {
      good = ParseNumber(value, 1, 1L << 30, number);
      options.publish.maxFileBytes = static_cast<size_t>(number);
    } else {
      error = "unknown option " + option;
      return false;
    }
    if (!good) {
      error = "bad value for " + option + ": " + value;
      return false;
    }
  }
  if (options.publish.dataDir.empty()) {
    error = "--data is required";
    return false;
  }
  return true;
}

}  // namespace OstrelServer
