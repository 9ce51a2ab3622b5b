// ostrel-cli: reads configuration through the SDK from a local ostrel-server,
// with the store and signing a real host would use.
//
//   ostrel-cli [options] get <ns> <key> | dump <ns> | text <ns>
//                        | watch <ns> [seconds] | check | cache
//
// get, dump and text first ask the server for a newer index (unless
// --cached), so that a change published a moment ago is seen; they then print
// what the library holds. The store keeps everything between runs. The exit
// codes (ExitCode.h) are part of the interface: scripts act on them.
#include <cstdio>
#include <new>
#include <string>
#include <vector>

#include "CommandLine.h"
#include "ExitCode.h"
#include "LocalSession.h"
#include "ReadCommand.h"
#include "SignerFolder.h"
#include "StoreListing.h"
#include "Watch.h"

namespace {

using OstrelCli::CommandLine;
using OstrelLocal::CheckOutcome;

int ListStore(const std::string& path) {
  OstrelCli::StoreListing listing;
  std::string error;
  if (!OstrelCli::StoreListing::Read(path, listing, error)) {
    std::fprintf(stderr, "ostrel-cli: cannot read the store %s: %s\n", path.c_str(), error.c_str());
    return OstrelCli::kExitFailed;
  }
  if (listing.records.empty()) std::fprintf(stderr, "ostrel-cli: the store holds no records\n");
  std::fputs(listing.Format().c_str(), stdout);
  return OstrelCli::kExitOk;
}

int Check(OstrelLocal::LocalSession& session, std::chrono::seconds timeout) {
  session.CheckUpdate();
  const CheckOutcome outcome = session.WaitForCheck(timeout);
  std::printf("update check: %s\n", OstrelLocal::CheckOutcomeText(outcome));
  switch (outcome) {
    case CheckOutcome::kUpdated:
    case CheckOutcome::kUpToDate:
      return OstrelCli::kExitOk;
    case CheckOutcome::kUnreachable:
    case CheckOutcome::kTimedOut:
      return OstrelCli::kExitUnreachable;
    case CheckOutcome::kFailed:
    case CheckOutcome::kRateLimited:
      break;
  }
  return OstrelCli::kExitFailed;
}

int Run(const std::vector<std::string>& args) {
  CommandLine line;
  std::string error;
  if (!CommandLine::Parse(args, line, error)) {
    std::fprintf(stderr, "ostrel-cli: %s\n(ostrel-cli --help lists the commands and options)\n",
                 error.c_str());
    return OstrelCli::kExitUsage;
  }
  if (line.action == CommandLine::Action::kHelp) {
    std::fputs(CommandLine::Usage(), stdout);
    return OstrelCli::kExitOk;
  }
  if (line.action == CommandLine::Action::kVersion) {
    std::printf("ostrel-cli %s\n", OSTREL_CLI_VERSION);
    return OstrelCli::kExitOk;
  }
  if (line.command == "cache") return ListStore(line.session.storePath);
  if (line.session.signDir.empty()) line.session.signDir = OstrelCli::DefaultSignerFolder();

  OstrelLocal::LocalSession session;
  if (!session.Start(line.session, error, line.timeout)) {
    std::fprintf(stderr, "ostrel-cli: %s\n", error.c_str());
    return OstrelCli::kExitFailed;
  }
  if (line.command == "check") return Check(session, line.timeout);
  if (line.command == "watch") {
    return OstrelCli::Watch(session, line.arguments[0], std::chrono::seconds(line.watchSeconds),
                            line.timeout);
  }
  return OstrelCli::RunRead(session, line);
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run(std::vector<std::string>(argv + 1, argv + argc));
  } catch (const std::bad_alloc&) {
    std::fprintf(stderr, "ostrel-cli: out of memory\n");
    return OstrelCli::kExitFailed;
  } catch (const std::exception& e) {
    std::fprintf(stderr, "ostrel-cli: %s\n", e.what());
    return OstrelCli::kExitFailed;
  }
}
