// The reading commands, get, dump and text: bring the namespace up to date,
// then print what the library holds, with an exit code a script can act on.
#ifndef OSTREL_TOOLS_CLI_READCOMMAND_H_
#define OSTREL_TOOLS_CLI_READCOMMAND_H_

#include "CommandLine.h"
#include "LocalSession.h"

namespace OstrelCli {

// Runs line's command (get, dump or text) on a started session; the value
// goes to stdout, why there is none to stderr. Returns the exit code.
// Main thread only, as the session.
int RunRead(OstrelLocal::LocalSession& session, const CommandLine& line);

}  // namespace OstrelCli

#endif  // OSTREL_TOOLS_CLI_READCOMMAND_H_
