// The watch command: listener calls of one namespace as they happen.
#ifndef OSTREL_TOOLS_CLI_WATCH_H_
#define OSTREL_TOOLS_CLI_WATCH_H_

#include <chrono>
#include <string>

#include "LocalSession.h"

namespace OstrelCli {

// Prints on stdout every listener call for nameSpace during seconds: the
// stored value, what the update check downloads, then each publication,
// learnt from the server's long-poll /admin/notice and relayed to the
// library. timeout bounds the update check. Returns the exit code (0).
// Runs on the main thread, which owns session; a second thread only prints.
int Watch(OstrelLocal::LocalSession& session, const std::string& nameSpace,
          std::chrono::seconds seconds, std::chrono::seconds timeout);

}  // namespace OstrelCli

#endif  // OSTREL_TOOLS_CLI_WATCH_H_
