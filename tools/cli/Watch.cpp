#include "Watch.h"

#include <algorithm>
#include <cstdio>
#include <thread>
#include <vector>

#include "ExitCode.h"

namespace OstrelCli {
namespace {

using Clock = std::chrono::steady_clock;

// Short enough that one wait stays well inside the HTTP client's total
// timeout; each answer costs one request, so longer would save little.
constexpr std::chrono::seconds kLongestNoticeWait(5);
// The least time between two requests that brought no news.
constexpr std::chrono::seconds kRetryPause(1);

void Print(const OstrelLocal::Notification& n) {
  std::printf("%s version %s (%s)\n", n.nameSpace.c_str(), n.version.c_str(),
              n.fromCache ? "from the store" : "downloaded");
  std::fflush(stdout);
}

// Prints the calls as they arrive until end. Only the session's recorded
// calls are read here, which it guards itself.
void PrintUntil(OstrelLocal::LocalSession& session, Clock::time_point end) {
  size_t shown = 0;
  for (;;) {
    const std::vector<OstrelLocal::Notification> all = session.Notifications();
    for (; shown < all.size(); ++shown) Print(all[shown]);
    const Clock::time_point now = Clock::now();
    if (now >= end) return;
    session.WaitForCount(shown + 1,
                         std::chrono::duration_cast<std::chrono::milliseconds>(end - now));
  }
}

}  // namespace

int Watch(OstrelLocal::LocalSession& session, const std::string& nameSpace,
          std::chrono::seconds seconds, std::chrono::seconds timeout) {
  const Clock::time_point end = Clock::now() + seconds;
  session.Listen(nameSpace);
  std::thread printer([&session, end] { PrintUntil(session, end); });
  session.CheckUpdate();
  std::fprintf(stderr, "ostrel-cli: update check %s\n",
               OstrelLocal::CheckOutcomeText(session.WaitForCheck(timeout)));
  // The update check runs once per process; later publications reach the
  // library the way a gateway's notices do. The server holds each request
  // until the app's index moves on from the one named, so a publication is
  // relayed as soon as it happens.
  std::string knownIndexId;
  for (Clock::time_point now = Clock::now(); now < end; now = Clock::now()) {
    const auto left = std::chrono::duration_cast<std::chrono::seconds>(end - now);
    if (left.count() == 0) break;  // the server waits whole seconds only
    const Clock::time_point asked = Clock::now();
    const int wait = static_cast<int>(std::min(left, kLongestNoticeWait).count());
    if (session.RelayGatewayNotice(&knownIndexId, wait)) continue;
    // No news sooner than a second: no server, or one that does not hold
    // requests. Asking again at once would spin.
    const Clock::time_point retry = std::min(asked + kRetryPause, end);
    if (Clock::now() < retry) std::this_thread::sleep_until(retry);
  }
  printer.join();
  return kExitOk;
}

}  // namespace OstrelCli
