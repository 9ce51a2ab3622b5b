// What ostrel-cli's exit status tells a script.
#ifndef OSTREL_TOOLS_CLI_EXITCODE_H_
#define OSTREL_TOOLS_CLI_EXITCODE_H_

namespace OstrelCli {

enum ExitCode : int {
  kExitOk = 0,
  kExitFailed = 1,        // the store, the start-up, a refused signature, a stalled download
  kExitUsage = 2,         // the command line is wrong
  kExitKeyMissing = 3,    // the namespace is there, the key (or any pair) is not
  kExitNotPublished = 4,  // the server's index does not list the namespace
  kExitUnreachable = 5,   // no server answered within the timeout
};

}  // namespace OstrelCli

#endif  // OSTREL_TOOLS_CLI_EXITCODE_H_
