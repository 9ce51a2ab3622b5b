// One run of the SDK against a local ostrel-server, with the ready host
// adapters of the platform (PlatformAdapters.h) and a stream logger.
// The CLI and the demo host drive the library through it; it uses the C++
// layer of include/ostrel/ostrel.hpp and the adapters only, as any host does.
#ifndef OSTREL_TOOLS_SESSION_LOCALSESSION_H_
#define OSTREL_TOOLS_SESSION_LOCALSESSION_H_

#include <chrono>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "ostrel/ostrel.hpp"

namespace OstrelLocal {

struct SessionOptions {
  std::string server = "127.0.0.1:8686";  // host:port of ostrel-server
  std::string appKey;
  std::string appVersion = "1.0.0";
  std::string deviceId = "local-device";
  // Client attributes that candidates may match on: m_brand, m_model,
  // os_ver, m_fac.
  std::string brand;
  std::string model;
  std::string osVersion;
  std::string manufacturer;
  // The store, created when absent: an SQLite file, or on Windows a folder.
  std::string storePath;
  // Folder of the signing library (libKelsafeProxy.so, or on Windows
  // KelsafePath64.dll beside KelsafeProxy.dll); empty: beside the program.
  std::string signDir;
  // No network at all: every request the library makes is refused (and
  // counted), so that only what the store holds can be read.
  bool offline = false;
  FILE* log = stderr;
  int logLevel = 2;  // 0 debug, 1 info, 2 warnings, 3 errors
};

// A listener call as the library made it.
struct Notification {
  std::string nameSpace;
  std::string version;
  bool fromCache = false;
};

// How the last update check ended, as the library's log tells it.
enum class CheckOutcome {
  kUpdated,      // a new index was applied and its changed namespaces downloaded
  kUpToDate,     // the server had nothing newer
  kFailed,       // a refused signature, or an index that could not be used
  kUnreachable,  // the check's request to the server found no server
  kRateLimited,  // this process already checked within the last twelve hours
  kTimedOut,     // still running when the wait ended
};
const char* CheckOutcomeText(CheckOutcome outcome);

// The value of name in a notice in key=value form ("cdn=...&resourceId=..."),
// empty when it has none.
std::string NoticeField(const std::string& notice, const std::string& name);

// The library is process-wide, so one session runs at a time. Not
// thread-safe itself; the notifications may arrive on any thread.
class LocalSession {
 public:
  using Duration = std::chrono::milliseconds;

  LocalSession();
  ~LocalSession();  // Stop()
  LocalSession(const LocalSession&) = delete;
  LocalSession& operator=(const LocalSession&) = delete;

  // Opens the store, starts an Ostrel::Client with the services and waits
  // (at most timeout) until start-up has finished, which includes restoring
  // the stored configs. False, with the reason in error, otherwise.
  bool Start(const SessionOptions& options, std::string& error,
             Duration timeout = std::chrono::seconds(10));
  // Shuts the HTTP client down, so that no request in flight holds up the
  // teardown, then tears the library down and closes the store. Idempotent.
  void Stop();

  // The running client, for reads; only between a successful Start and Stop.
  const Ostrel::Client& client() const { return *client_; }
  // The app key of the last Start.
  const std::string& appKey() const { return appKey_; }

  // Shorthands of the client's reads that answer "nothing" when no session
  // runs: the value, else defaultValue; every pair of a STANDARD namespace;
  // the namespace as one text (false when it is not loaded).
  std::string Get(const std::string& nameSpace, const std::string& key,
                  const std::string& defaultValue) const;
  std::map<std::string, std::string> GetAll(const std::string& nameSpace) const;
  bool GetText(const std::string& nameSpace, std::string& text) const;

  // Subscribes the session to nameSpace, once; the calls are recorded.
  void Listen(const std::string& nameSpace);
  // forceCheckUpdate: at most one check per twelve hours and process.
  void CheckUpdate();
  // Waits for the end of the check that CheckUpdate started. The library
  // downloads the namespaces a new index changed within the check, so when
  // this returns kUpdated their listeners have been told.
  CheckOutcome WaitForCheck(Duration timeout);
  // Fetches the server's current notice from /admin/notice and hands it to
  // the library's gateway interceptor, as a host relays gateway responses.
  // Unlike the update check this may run any number of times: the library
  // drops a notice it has already applied. False when nothing was relayed.
  // With knownIndexId, the server holds the answer up to waitSeconds while
  // the app's index is still *knownIndexId; a notice of that same index is
  // not relayed, and a relayed one's index id is stored there.
  bool RelayGatewayNotice(std::string* knownIndexId = nullptr, int waitSeconds = 0);
  // GET http://<server>/<target> with the session's HTTP client, outside
  // the library. False (and nothing in body) unless a 2xx answer came.
  bool FetchFromServer(const std::string& target, std::string& body);
  // Waits until a notification for nameSpace arrives that is not from the
  // cache and, when version is not empty, carries a different version.
  bool WaitForDownload(const std::string& nameSpace, const std::string& notVersion,
                       Duration timeout, Notification* found = nullptr);
  // Waits until at least count notifications have arrived, in total.
  bool WaitForCount(size_t count, Duration timeout);
  std::vector<Notification> Notifications() const;
  // Requests refused because the session is offline.
  size_t RefusedRequests() const;

 private:
  class Services;
  // Stop releases them from the bottom up: the library borrows the services
  // until the client has torn it down.
  std::unique_ptr<Services> services_;
  std::unique_ptr<Ostrel::Client> client_;
  std::map<std::string, Ostrel::Subscription> subscriptions_;
  Ostrel::IOIntercept* intercept_ = nullptr;  // owned; released before teardown
  std::string server_;
  std::string appKey_;
};

}  // namespace OstrelLocal

#endif  // OSTREL_TOOLS_SESSION_LOCALSESSION_H_
