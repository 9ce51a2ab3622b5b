#include "ReadCommand.h"

#include <cstdio>
#include <optional>
#include <set>
#include <string>

#include "ExitCode.h"
#include "PublishedIndex.h"

namespace OstrelCli {
namespace {

using OstrelLocal::CheckOutcome;

// What is known about the namespace before it is read.
enum class Source {
  kChecked,      // the update check ran; the index lists it
  kUnpublished,  // the update check ran; the server's index does not list it
  kStoreOnly,    // --cached: no request at all
  kNoServer,     // the check found no server; the store may still hold it
  kCheckFailed,  // the check failed otherwise (signature, index)
};

// The update check before a read, then, for a namespace this store never
// held, its first download. A failure still leaves the stored values.
Source Refresh(OstrelLocal::LocalSession& session, const std::string& nameSpace,
               std::chrono::milliseconds timeout) {
  session.Listen(nameSpace);  // makes the namespace wanted, so that it is loaded
  session.CheckUpdate();
  const CheckOutcome outcome = session.WaitForCheck(timeout);
  if (outcome != CheckOutcome::kUpdated && outcome != CheckOutcome::kUpToDate) {
    std::fprintf(stderr, "ostrel-cli: update check %s; showing what the store holds\n",
                 OstrelLocal::CheckOutcomeText(outcome));
    return outcome == CheckOutcome::kUnreachable || outcome == CheckOutcome::kTimedOut
               ? Source::kNoServer
               : Source::kCheckFailed;
  }
  if (session.client().GetCustomText(nameSpace)) return Source::kChecked;
  // Ask the server's index rather than wait out a download that an
  // unpublished namespace (or an unknown app) never gets.
  const std::optional<std::set<std::string>> published = PublishedIndex::Namespaces(session);
  if (published && published->count(nameSpace) == 0) return Source::kUnpublished;
  // Loaded in the background once the index lists it.
  if (!session.WaitForDownload(nameSpace, "", timeout)) {
    std::fprintf(stderr, "ostrel-cli: %s was not downloaded within %lld s\n", nameSpace.c_str(),
                 static_cast<long long>(timeout.count() / 1000));
  }
  return Source::kChecked;
}

// Why a namespace that is not loaded is not, as an exit code.
int NamespaceMissing(Source source, const std::string& nameSpace, const std::string& appKey) {
  switch (source) {
    case Source::kUnpublished:
      std::fprintf(stderr, "ostrel-cli: %s is not published for %s\n", nameSpace.c_str(),
                   appKey.c_str());
      return kExitNotPublished;
    case Source::kStoreOnly:
      std::fprintf(stderr, "ostrel-cli: the store does not hold %s\n", nameSpace.c_str());
      return kExitNotPublished;
    case Source::kNoServer:
      std::fprintf(stderr, "ostrel-cli: no server, and the store does not hold %s\n",
                   nameSpace.c_str());
      return kExitUnreachable;
    case Source::kChecked:
    case Source::kCheckFailed:
      break;
  }
  std::fprintf(stderr, "ostrel-cli: %s is not loaded\n", nameSpace.c_str());
  return kExitFailed;
}

}  // namespace

int RunRead(OstrelLocal::LocalSession& session, const CommandLine& line) {
  const std::string& nameSpace = line.arguments[0];
  const std::string& appKey = line.session.appKey;
  const Source source =
      line.cached ? Source::kStoreOnly : Refresh(session, nameSpace, line.timeout);
  const Ostrel::Client& client = session.client();
  const std::optional<std::string> text = client.GetCustomText(nameSpace);
  if (!text) return NamespaceMissing(source, nameSpace, appKey);
  if (line.command == "text") {
    std::printf("%s\n", text->c_str());
    return kExitOk;
  }
  if (line.command == "dump") {
    const auto pairs = client.GetAll(nameSpace);
    if (pairs.empty()) {
      std::fprintf(stderr, "ostrel-cli: %s holds no pairs\n", nameSpace.c_str());
      return kExitKeyMissing;
    }
    for (const auto& pair : pairs) std::printf("%s=%s\n", pair.first.c_str(), pair.second.c_str());
    return kExitOk;
  }
  const std::string& key = line.arguments[1];
  const auto value = client.GetDetail<std::string>(nameSpace, key, "");
  if (value.reason != Ostrel::Reason::kFound) {
    std::fprintf(stderr, "ostrel-cli: %s.%s: %s\n", nameSpace.c_str(), key.c_str(),
                 Ostrel::ReasonText(value.reason));
    return kExitKeyMissing;
  }
  std::printf("%s\n", value.value.c_str());
  return kExitOk;
}

}  // namespace OstrelCli
