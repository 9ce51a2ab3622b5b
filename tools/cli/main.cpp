// ostrel-cli: reads configuration through the SDK from a local ostrel-server,
// with the store and signing a real host would use.
//
//   ostrel-cli [options] get <ns> <key> | dump <ns> | text <ns>
//                        | watch <ns> [seconds] | check
//
// get, dump and text first ask the server for a newer index (unless
// --cached), so that a change published a moment ago is seen; they then print
// what the library holds. The store keeps everything between runs.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "LocalSession.h"

namespace {

using OstrelLocal::CheckOutcome;
using OstrelLocal::LocalSession;
using OstrelLocal::Notification;
using OstrelLocal::SessionOptions;

constexpr long kMaxWatchSeconds = 24 * 3600;

int Usage() {
  std::fprintf(
      stderr,
      "usage: ostrel-cli [options] <command>\n"
      "commands:\n"
      "  get <ns> <key>         one value (exit 3, saying why, when there is none)\n"
      "  dump <ns>              every key=value of a STANDARD namespace\n"
      "  text <ns>              the namespace as one text (CUSTOM text, STANDARD as JSON)\n"
      "  watch <ns> [seconds]   print listener calls for that long (default 30)\n"
      "  check                  force an update check and say how it ended\n"
      "options:\n"
      "  --server host:port     ostrel-server (default 127.0.0.1:8686)\n"
      "  --app-key key          application key (default demo-app)\n"
      "  --app-version v        application version (default 1.0.0)\n"
      "  --device-id id         device id (default local-device)\n"
      "  --brand b --model m    client attributes that candidates match on\n"
      "  --store file.db        SQLite store (default ostrel-cli.db)\n"
      "  --sign-dir dir         folder of libKelsafeProxy.so (default: devsign/ beside\n"
      "                         ostrel-cli when there, else ostrel-cli's folder)\n"
      "  --timeout seconds      how long to wait for the server (default 5)\n"
      "  --cached               no update check: only what the store holds\n"
      "  -v                     the library's log down to info lines\n");
  return 2;
}

// In the build tree the development signing library lies in devsign/ beside
// the program; elsewhere the library's own default, the program's folder.
std::string DefaultSignDir(const char* argv0) {
  const std::string program = argv0;
  const size_t slash = program.rfind('/');
  const std::string folder =
      (slash == std::string::npos ? std::string(".") : program.substr(0, slash)) + "/devsign";
  return access((folder + "/libKelsafeProxy.so").c_str(), R_OK) == 0 ? folder : std::string();
}

// The options that set a text of the session.
bool TakeText(SessionOptions& options, const std::string& option, const char* value) {
  static const struct {
    const char* name;
    std::string SessionOptions::*field;
  } kOptions[] = {
      {"--server", &SessionOptions::server},
      {"--app-key", &SessionOptions::appKey},
      {"--app-version", &SessionOptions::appVersion},
      {"--device-id", &SessionOptions::deviceId},
      {"--brand", &SessionOptions::brand},
      {"--model", &SessionOptions::model},
      {"--store", &SessionOptions::storePath},
      {"--sign-dir", &SessionOptions::signDir},
  };
  for (const auto& known : kOptions) {
    if (option == known.name) {
      options.*known.field = value;
      return true;
    }
  }
  return false;
}

void PrintNotification(const Notification& n) {
  std::printf("%s version %s (%s)\n", n.nameSpace.c_str(), n.version.c_str(),
              n.fromCache ? "from the store" : "downloaded");
  std::fflush(stdout);
}

// The update check before a read, then, for a namespace this store never
// held, its first download. A failure still leaves the stored values.
void Refresh(LocalSession& session, const std::string& nameSpace,
             std::chrono::milliseconds timeout) {
  session.Listen(nameSpace);  // makes the namespace wanted, so that it is loaded
  session.CheckUpdate();
  const CheckOutcome outcome = session.WaitForCheck(timeout);
  if (outcome != CheckOutcome::kUpdated && outcome != CheckOutcome::kUpToDate) {
    std::fprintf(stderr, "ostrel-cli: update check %s; showing what the store holds\n",
                 OstrelLocal::CheckOutcomeText(outcome));
    return;
  }
  if (session.client().GetCustomText(nameSpace)) return;
  // Loaded in the background once the index lists it.
  if (!session.WaitForDownload(nameSpace, "", timeout)) {
    std::fprintf(stderr, "ostrel-cli: %s was not downloaded within %lld s; is it published?\n",
                 nameSpace.c_str(), static_cast<long long>(timeout.count() / 1000));
  }
}

int Watch(LocalSession& session, const std::string& nameSpace, long seconds,
          std::chrono::milliseconds timeout) {
  session.Listen(nameSpace);
  size_t shown = 0;
  auto showNew = [&] {
    const std::vector<Notification> all = session.Notifications();
    for (; shown < all.size(); ++shown) PrintNotification(all[shown]);
  };
  showNew();
  session.CheckUpdate();
  std::fprintf(stderr, "ostrel-cli: update check %s\n",
               OstrelLocal::CheckOutcomeText(session.WaitForCheck(timeout)));
  // The update check runs once per process; later publications reach the
  // library the way a gateway's notices do, polled once a second.
  const std::chrono::milliseconds kPollInterval(1000);
  const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
  auto nextPoll = std::chrono::steady_clock::now();
  for (auto now = nextPoll; now < end; now = std::chrono::steady_clock::now()) {
    showNew();
    if (now >= nextPoll) {
      session.RelayGatewayNotice();
      nextPoll = now + kPollInterval;
    }
    const auto wait =
        std::chrono::duration_cast<std::chrono::milliseconds>(std::min(end, nextPoll) - now);
    session.WaitForCount(shown + 1, wait);
  }
  showNew();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  SessionOptions options;
  options.appKey = "demo-app";
  options.storePath = "ostrel-cli.db";
  options.signDir = DefaultSignDir(argv[0]);
  long timeoutSeconds = 5;
  bool cached = false;
  std::vector<std::string> words;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    const bool hasValue = i + 1 < argc;
    if (arg == "-h" || arg == "--help") {
      Usage();
      return 0;
    } else if (arg == "-v") {
      options.logLevel = 1;
    } else if (arg == "--cached") {
      cached = true;
    } else if (hasValue && TakeText(options, arg, argv[i + 1])) {
      ++i;
    } else if (hasValue && arg == "--timeout") {
      timeoutSeconds = std::strtol(argv[++i], nullptr, 10);
      if (timeoutSeconds <= 0) return Usage();
    } else if (!arg.empty() && arg[0] == '-') {
      return Usage();
    } else {
      words.push_back(arg);
    }
  }
  if (words.empty()) return Usage();
  const std::string& command = words[0];
  const size_t arguments = words.size() - 1;
  const bool known = (command == "get" && arguments == 2) ||
                     ((command == "dump" || command == "text") && arguments == 1) ||
                     (command == "watch" && (arguments == 1 || arguments == 2)) ||
                     (command == "check" && arguments == 0);
  if (!known) return Usage();
  long watchSeconds = 30;
  if (command == "watch" && arguments == 2) {
    watchSeconds = std::strtol(words[2].c_str(), nullptr, 10);
    if (watchSeconds <= 0 || watchSeconds > kMaxWatchSeconds) return Usage();
  }
  const std::chrono::milliseconds timeout(timeoutSeconds * 1000);

  LocalSession session;
  std::string error;
  if (!session.Start(options, error, timeout)) {
    std::fprintf(stderr, "ostrel-cli: %s\n", error.c_str());
    return 1;
  }
  if (command == "check") {
    session.CheckUpdate();
    const CheckOutcome outcome = session.WaitForCheck(timeout);
    std::printf("update check: %s\n", OstrelLocal::CheckOutcomeText(outcome));
    return outcome == CheckOutcome::kUpdated || outcome == CheckOutcome::kUpToDate ? 0 : 1;
  }
  const std::string& nameSpace = words[1];
  if (command == "watch") return Watch(session, nameSpace, watchSeconds, timeout);
  if (!cached) Refresh(session, nameSpace, timeout);
  const Ostrel::Client& client = session.client();
  if (command == "get") {
    const auto value = client.GetDetail<std::string>(nameSpace, words[2], "");
    if (value.reason != Ostrel::Reason::kFound) {
      std::fprintf(stderr, "ostrel-cli: %s.%s: %s\n", nameSpace.c_str(), words[2].c_str(),
                   Ostrel::ReasonText(value.reason));
      return 3;
    }
    std::printf("%s\n", value.value.c_str());
  } else if (command == "dump") {
    const auto pairs = client.GetAll(nameSpace);
    if (pairs.empty()) {
      std::fprintf(stderr, "ostrel-cli: %s holds no pairs\n", nameSpace.c_str());
      return 3;
    }
    for (const auto& pair : pairs) {
      std::printf("%s=%s\n", pair.first.c_str(), pair.second.c_str());
    }
  } else {
    const std::optional<std::string> text = client.GetCustomText(nameSpace);
    if (!text) {
      std::fprintf(stderr, "ostrel-cli: %s is not loaded\n", nameSpace.c_str());
      return 3;
    }
    std::printf("%s\n", text->c_str());
  }
  return 0;
}
