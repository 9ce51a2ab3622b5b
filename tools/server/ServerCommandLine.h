// The command line of ostrel-server, read into the server's options.
#ifndef OSTREL_TOOLS_SERVER_SERVERCOMMANDLINE_H_
#define OSTREL_TOOLS_SERVER_SERVERCOMMANDLINE_H_

#include <string>
#include <vector>

#include "ConfigServer.h"

namespace OstrelServer {

struct ServerCommandLine {
  ServerOptions options;
  std::string bind = "127.0.0.1";
  int port = 0;       // 0 picks a free one
  bool help = false;  // --help or -h: print the usage, nothing else

  // Reads the arguments after the program's name. False, with one line in
  // error, for an unknown option, a missing or malformed value, or no --data.
  bool Parse(const std::vector<std::string>& args, std::string& error);

  // The usage text, one option a line.
  static const char* Usage();
};

}  // namespace OstrelServer

#endif  // OSTREL_TOOLS_SERVER_SERVERCOMMANDLINE_H_
