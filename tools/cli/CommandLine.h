// ostrel-cli's command line: the command, its arguments and the session's
// options, checked strictly so that a script learns of its mistake.
#ifndef OSTREL_TOOLS_CLI_COMMANDLINE_H_
#define OSTREL_TOOLS_CLI_COMMANDLINE_H_

#include <chrono>
#include <string>
#include <vector>

#include "LocalSession.h"

namespace OstrelCli {

// A value type; no threads involved.
class CommandLine {
 public:
  enum class Action { kRun, kHelp, kVersion };

  // Reads args (argv without the program name). False, with what was wrong
  // in error (one line, no program name), when the words make no command.
  static bool Parse(const std::vector<std::string>& args, CommandLine& parsed, std::string& error);
  // The --help text: commands, options and exit codes.
  static const char* Usage();

  Action action = Action::kRun;
  // What the session starts with; signDir stays empty unless --sign-dir.
  OstrelLocal::SessionOptions session;
  std::chrono::seconds timeout{5};
  bool cached = false;
  std::string command;                 // get, dump, text, watch, check or cache
  std::vector<std::string> arguments;  // the command's words after its name
  long watchSeconds = 30;

 private:
  bool TakeOption(const std::vector<std::string>& args, size_t& at, std::string& error);
  bool CheckCommand(std::string& error);
};

}  // namespace OstrelCli

#endif  // OSTREL_TOOLS_CLI_COMMANDLINE_H_
