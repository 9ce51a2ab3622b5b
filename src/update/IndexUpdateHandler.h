// Reads index update notices, drops repeats and hands new ones to the engine;
// runs the rate-limited update check.
#ifndef OSTREL_UPDATE_INDEXUPDATEHANDLER_H_
#define OSTREL_UPDATE_INDEXUPDATEHANDLER_H_

#include <cstdint>
#include <string>

#include "host/Executor.h"
#include "host/Mutex.h"
#include "net/ServiceRequests.h"
#include "update/UpdateCheckGate.h"

namespace Ostrel {

class IndexUpdateHandler {
 public:
  // Where a new index file lies and how to fetch it, read from an update
  // notice: the answer to an update check (JSON), a gateway response or a
  // push message (key=value text).
  class IndexUpdateInfo {
   public:
    virtual ~IndexUpdateInfo() = default;

    // Enough to fetch something: a CDN address and a resource id. The md5
    // may be empty (the key=value form has no required keys); the fetch then
    // skips the digest check.
    bool CheckValid() const { return !cdn.empty() && !resourceId.empty(); }

    std::string cdn;
    std::string resourceId;
    std::string md5;
    std::string protocol;
  };

  // What accepted notices are handed to: the engine, which applies them on
  // the calling thread.
  class Target {
   public:
    virtual void UpdateIndex(const IndexUpdateInfo& info) = 0;

   protected:
    ~Target() = default;
  };

  // Nothing is owned; all four outlive the handler. checks runs the update
  // checks and takes no more work before the handler is destroyed.
  IndexUpdateHandler(Target* target, ServiceRequests* requests, Executor* checks,
                     UpdateCheckGate* gate);

  IndexUpdateHandler(const IndexUpdateHandler&) = delete;
  IndexUpdateHandler& operator=(const IndexUpdateHandler&) = delete;

  // Parses text (JSON when isJson, else "&"-joined key=value items), drops
  // it when it names the index accepted last, sets the fetch scheme of the
  // requests and hands the notice to the target. Any thread; the target's
  // work runs on the caller's thread.
  void UpdateIndex(const std::string& text, bool isJson);

  // Fills info from text. The key=value form always succeeds; the JSON form
  // needs the four members as strings and logs the first one that fails.
  static bool ParseIndexUpdInfo(const std::string& text, bool isJson, IndexUpdateInfo& info);

  // Posts one signed "/checkUpdate" request when the gate lets it pass;
  // otherwise logs and does nothing. The two versions of the cached index
  // are sent as the request's parameters. An answer that names an index is
  // read as a notice.
  void CheckIndexUpdate(int64_t appIndexVersion, int64_t versionIndexVersion);

 private:
  void RunUpdateCheck(int64_t appIndexVersion, int64_t versionIndexVersion);

  // Constant after construction; none owned.
  Target* const target_;
  ServiceRequests* const requests_;
  Executor* const checks_;
  UpdateCheckGate* const gate_;

  Mutex mutex_;
  IndexUpdateInfo lastAccepted_ GUARDED_BY(mutex_);
};

}  // namespace Ostrel

#endif  // OSTREL_UPDATE_INDEXUPDATEHANDLER_H_
