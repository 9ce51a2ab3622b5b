// Reads index update notices, drops repeats and hands new ones to the engine;
// runs the rate-limited update check.
#ifndef OSTREL_UPDATE_INDEXUPDATEHANDLER_H_
#define OSTREL_UPDATE_INDEXUPDATEHANDLER_H_

#include <cstdint>
#include <string>

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

  // At most one update check per this many milliseconds per process.
  static constexpr int64_t kCheckIntervalMs = 43200000;

  // Parses text (JSON when isJson, else "&"-joined key=value items), drops
  // it when it names the index accepted last, records the fetch scheme and
  // hands the notice to the engine. Any thread; the engine's work runs on the
  // caller's thread.
  static void UpdateIndex(const std::string& text, bool isJson);

  // Fills info from text. The key=value form always succeeds; the JSON form
  // needs the four members as strings and logs the first one that fails.
  static bool ParseIndexUpdInfo(const std::string& text, bool isJson, IndexUpdateInfo& info);

  // "https" or "http": the scheme of the next CDN fetch, chosen by the last
  // accepted notice ("https" until one arrives).
  static std::string FetchScheme();

  // Posts one signed "/checkUpdate" request when more than twelve hours have
  // passed since the last accepted call (the first call of a process always
  // passes); otherwise logs and does nothing. The two versions of the cached
  // index are sent as the request's parameters.
  static void CheckIndexUpdate(int64_t appIndexVersion, int64_t versionIndexVersion);

  // Forgets the last accepted notice and the fetch scheme (teardown, tests).
  // The time of the last check is process-wide and survives.
  static void Reset();
  // Forgets the time of the last check as well (tests only).
  static void ResetCheckTimeForTest();
};

}  // namespace Ostrel

#endif  // OSTREL_UPDATE_INDEXUPDATEHANDLER_H_
