// The engine: start-up, lookups, namespace downloads, index application and
// listeners.
#ifndef OSTREL_CENTER_CONFIGCENTER_H_
#define OSTREL_CENTER_CONFIGCENTER_H_

#include <atomic>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>

#include "cache/ConfigCache.h"
#include "cache/IndexCache.h"
#include "center/ListenerRegistry.h"
#include "center/LoadTracker.h"
#include "host/Settings.h"
#include "model/NamespaceDO.h"
#include "ostrel/IOConfigListener.h"
#include "update/IndexUpdateHandler.h"

namespace Ostrel {

// Host threads call the lookups and the listener operations; everything that
// touches the network runs on the task pool or in the start-up task. Reads
// never wait: the config cache publishes immutable snapshots, the other
// tables are held by their mutex for a single operation only.
class ConfigCenter {
 public:
  static ConfigCenter* GetInstance();
  // The engine if one exists; never creates one.
  static ConfigCenter* PeekInstance();
  static void DestroyInstance();

  ConfigCenter();
  ~ConfigCenter();

  ConfigCenter(const ConfigCenter&) = delete;
  ConfigCenter& operator=(const ConfigCenter&) = delete;

  // Checks appKey and appVersion, publishes the settings and posts the
  // start-up task "Init" unless start-up already finished. Never waits.
  bool Init(const Settings& settings);
  // Start-up restore; run by the start-up task.
  void LoadCaches();
  // Asks for an index update check when start-up has finished.
  void ForceCheckUpdate();
  bool IsInitFinished() const { return initFinished_.load(std::memory_order_acquire); }
  // Teardown has begun: start-up, index application and retries stop before
  // their next request, so teardown waits for one request at most. What they
  // did not reach is simply not loaded. Irreversible for this engine.
  void Stop() { stopping_.store(true, std::memory_order_release); }

  // Lookups. Each refuses an empty or reserved namespace, answers from the
  // config cache and on a miss remembers or starts a load, then answers
  // "nothing" at once.
  // Packed form: pairs as key NUL value NUL ..., malloc'd, freed with free().
  char* GetConfigObj(const std::string& nameSpace, int* count);
  // Whole-text form: a CUSTOM namespace's text, a STANDARD namespace's
  // content as a compact JSON object.
  bool GetConfigObj(const std::string& nameSpace, std::string& out);
  // One value of a STANDARD namespace, for a caller that holds a ReadSection
  // (a host call's gate pass): value points into the cached document and
  // stays valid until the caller leaves the section. Copies nothing.
  bool FindConfigValue(std::string_view nameSpace, std::string_view key,
                       std::string_view* value);

  // Brings one namespace up to date; synchronous, on the calling thread.
  void LoadConfig(std::shared_ptr<NamespaceDO> ns);
  void LoadConfigLazy(const std::string& nameSpace);
  // Loads every waiting namespace again.
  void RetryFailRequests();
  // A push message: one namespace descriptor as JSON text, loaded at once.
  void LoadPushedNamespace(const std::string& text);

  // Applies an accepted index update notice: fetch, cache, drop what the
  // index no longer lists, download what changed. Runs on the calling thread.
  void UpdateIndex(const IndexUpdateHandler::IndexUpdateInfo& info);
  bool LoadIndex(const IndexUpdateHandler::IndexUpdateInfo& info);

  void RegisterListener(const std::string& nameSpace, IOConfigListener* listener);
  void UnregisterListener(const std::string& nameSpace, IOConfigListener* listener);
  void UnregisterListeners(const std::string& nameSpace);

 private:
  void RunStartUp();
  bool Stopping() const { return stopping_.load(std::memory_order_acquire); }
  // After a load of loaded: the descriptor to load next, or null. markKept
  // says that a reload was asked for during the load (requested, its
  // descriptor) and the loading mark is still held; whatever is answered,
  // the mark is held exactly when the answer is not null.
  std::shared_ptr<NamespaceDO> NextLoad(const std::shared_ptr<NamespaceDO>& loaded, bool markKept,
                                        std::shared_ptr<NamespaceDO> requested);
  // Shared checks of every lookup form; false when the name is refused.
  bool CheckLookupName(std::string_view nameSpace);
  // The cached document for a lookup, inside the caller's read section; on a
  // miss, remembers or starts a load and answers null. Inline, as every host
  // read hits here. The cache answers nothing for an empty or a reserved
  // name, so a hit needs no check: such a name is refused on a miss.
  const ConfigDO* FindDocument(std::string_view nameSpace) {
    const ConfigDO* document = configCache_->Peek(nameSpace);
    if (document == nullptr) OnLookupMiss(nameSpace);
    return document;
  }
  // FindDocument's miss: logs and refuses the name, or asks for a load.
  void OnLookupMiss(std::string_view nameSpace);
  // A lookup or registration found nothing cached: remember the namespace,
  // or post one lazy load under taskName.
  void RequestLoad(const std::string& nameSpace, const char* taskName);
  // LoadConfig's work while the namespace is marked as loading: decides,
  // downloads and checks. The document to cache, or null.
  std::shared_ptr<ConfigDO> DownloadConfig(const std::shared_ptr<NamespaceDO>& ns);
  // A failed download: remember the namespace and count the failure.
  void RecordLoadFailure(const std::string& nameSpace, const char* reason,
                         const std::string& resourceId);

  // Constant after construction. The caches call back into the engine only
  // through the hooks given here.
  std::shared_ptr<IndexCache> indexCache_;
  std::shared_ptr<ConfigCache> configCache_;

  LoadTracker tracker_;
  ListenerRegistry listeners_;
  std::atomic<bool> initFinished_{false};
  std::atomic<bool> stopping_{false};
};

}  // namespace Ostrel

#endif  // OSTREL_CENTER_CONFIGCENTER_H_
