// The demo host: the SDK against a running ostrel-server, with the
// platform's ready adapters (libcurl and an SQLite file; on Windows WinHTTP
// and a file-store folder) and the development signing library. Each step
// is one run of the program, the way an application would start again:
//
//   ostrel_demo first   --server H:P --store STORE --sign-dir D
//       defaults before any index, then the update check, the listener calls
//       and the downloaded values;
//   ostrel_demo update  (same options; run after a namespace file changed
//       and the server published it) values restored from the store, the
//       update check, the listener call for the change and the new value;
//   ostrel_demo offline (same options) values from the store alone, with
//       every request refused.
//
// The library checks for a new index at most once per twelve hours in a
// process, which is one more reason for a process per step.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "LocalSession.h"

namespace {

using OstrelLocal::LocalSession;
using OstrelLocal::Notification;
using OstrelLocal::SessionOptions;

const char* const kNamespaces[] = {"ui", "features", "welcome"};
constexpr std::chrono::seconds kWait(15);

void Say(const char* text) { std::printf("\n== %s\n", text); }

void Show(const char* name, const Ostrel::Detail<std::string>& value) {
  std::printf("  %-18s = %s (%s)\n", name, value.value.c_str(), Ostrel::ReasonText(value.reason));
}

void Show(const char* name, const Ostrel::Detail<int64_t>& value) {
  std::printf("  %-18s = %lld (%s)\n", name, static_cast<long long>(value.value),
              Ostrel::ReasonText(value.reason));
}

// Typed reads with their defaults, and why each value came out as it did.
void ShowValues(const LocalSession& session) {
  const Ostrel::Client& client = session.client();
  Show("ui.theme", client.GetDetail<std::string>("ui", "theme", "light"));
  Show("ui.fontSize", client.GetDetail<int64_t>("ui", "fontSize", 12));
  Show("features.newEditor", client.GetDetail<std::string>("features", "newEditor", "off"));
  Show("features.maxTabs", client.GetDetail<int64_t>("features", "maxTabs", 4));
  const std::optional<std::string> welcome = client.GetCustomText("welcome");
  std::printf("  %-18s = %s\n", "welcome (text)", welcome ? welcome->c_str() : "(not loaded yet)");
}

void ShowNotifications(const LocalSession& session, size_t from) {
  const std::vector<Notification> all = session.Notifications();
  for (size_t i = from; i < all.size(); ++i) {
    std::printf("  listener: %-9s version %s (%s)\n", all[i].nameSpace.c_str(),
                all[i].version.c_str(), all[i].fromCache ? "from the store" : "downloaded");
  }
}

bool StartSession(LocalSession& session, const SessionOptions& options) {
  std::string error;
  if (!session.Start(options, error)) {
    std::printf("  start failed: %s\n", error.c_str());
    return false;
  }
  std::printf("  started: app %s %s, brand %s, server %s, store %s\n", options.appKey.c_str(),
              options.appVersion.c_str(), options.brand.c_str(),
              options.offline ? "(none: offline)" : options.server.c_str(),
              options.storePath.c_str());
  return true;
}

bool First(const SessionOptions& options) {
  LocalSession session;
  Say("1. start the library: nothing is stored yet and no index is known");
  std::printf("  (so the library reports that it could not load a stored index)\n");
  if (!StartSession(session, options)) return false;

  Say("2. read at once: the defaults come back, reads never wait for the network");
  ShowValues(session);

  Say("3. listen to ui, features and welcome, then ask the server for a new index");
  for (const char* name : kNamespaces) session.Listen(name);
  session.CheckUpdate();
  for (const char* name : kNamespaces) {
    if (!session.WaitForDownload(name, "", kWait)) {
      std::printf("  no download of %s within %lld s\n", name,
                  static_cast<long long>(kWait.count()));
      return false;
    }
  }
  ShowNotifications(session, 0);

  Say("4. read again: the downloaded values (features took the candidate for brand acme)");
  ShowValues(session);
  return true;
}

bool Update(const SessionOptions& options) {
  LocalSession session;
  Say("6. start again: the stored configs are restored before the network is asked");
  if (!StartSession(session, options)) return false;
  for (const char* name : kNamespaces) session.Listen(name);
  ShowNotifications(session, 0);
  ShowValues(session);
  std::string uiVersion;
  for (const Notification& n : session.Notifications()) {
    if (n.nameSpace == "ui") uiVersion = n.version;
  }

  Say("7. force the update check: the server answers with the new index");
  const size_t before = session.Notifications().size();
  session.CheckUpdate();
  Notification update;
  if (!session.WaitForDownload("ui", uiVersion, kWait, &update)) {
    std::printf("  no new version of ui within %lld s\n", static_cast<long long>(kWait.count()));
    return false;
  }
  ShowNotifications(session, before);
  ShowValues(session);
  return true;
}

bool Offline(SessionOptions options) {
  options.offline = true;
  LocalSession session;
  Say("8. start once more without any network: the values come from the store alone");
  if (!StartSession(session, options)) return false;
  ShowValues(session);
  std::printf("  requests the library tried and was refused: %zu\n", session.RefusedRequests());
  return true;
}

int Usage() {
  std::fprintf(stderr,
               "usage: ostrel_demo first|update|offline --server H:P --store STORE "
               "[--sign-dir D] [-v]\n"
               "  STORE: an SQLite file, or on Windows a folder; created when absent\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return Usage();
  const std::string step = argv[1];
  SessionOptions options;
  options.appKey = "demo-app";
  options.appVersion = "2.4.1";
  options.deviceId = "demo-device-42";
  options.brand = "acme";
  options.model = "laptop-7";
  options.osVersion = "12";
  options.log = stdout;
  options.logLevel = 3;  // errors only: the steps print what matters
  for (int i = 2; i < argc; ++i) {
    const std::string option = argv[i];
    if (option == "-v") {
      options.logLevel = 1;
    } else if (i + 1 < argc && option == "--server") {
      options.server = argv[++i];
    } else if (i + 1 < argc && option == "--store") {
      options.storePath = argv[++i];
    } else if (i + 1 < argc && option == "--sign-dir") {
      options.signDir = argv[++i];
    } else {
      return Usage();
    }
  }
  bool ok = false;
  if (step == "first") {
    ok = First(options);
  } else if (step == "update") {
    ok = Update(options);
  } else if (step == "offline") {
    ok = Offline(options);
  } else {
    return Usage();
  }
  std::fflush(stdout);
  return ok ? 0 : 1;
}
