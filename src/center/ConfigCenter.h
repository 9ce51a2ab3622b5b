// The engine: start-up, lookups, loading state and listeners.
#ifndef OSTREL_CENTER_CONFIGCENTER_H_
#define OSTREL_CENTER_CONFIGCENTER_H_

#include <atomic>
#include <cstdint>
#include <map>
#include <set>
#include <string>

#include "host/Mutex.h"
#include "host/Settings.h"
#include "ostrel/IOConfigListener.h"

namespace Ostrel {

class ConfigCenter {
 public:
  static ConfigCenter* GetInstance();
  static void DestroyInstance();

  ConfigCenter();
  ~ConfigCenter();

  ConfigCenter(const ConfigCenter&) = delete;
  ConfigCenter& operator=(const ConfigCenter&) = delete;

  // Checks appKey and appVersion, publishes the settings and posts the
  // start-up task "Init" unless start-up already finished. Never waits.
  bool Init(const Settings& settings);

  // Asks for an index update check when start-up has finished.
  void ForceCheckUpdate();

  bool IsInitFinished() const { return initFinished_.load(std::memory_order_acquire); }

  // Lookups. Each refuses an empty or reserved namespace, answers from the
  // config cache and on a miss remembers or starts a load, then answers
  // "nothing" at once.
  // Packed form: pairs as key NUL value NUL ..., caller frees with free().
  char* GetConfigObj(const std::string& nameSpace, int* count);
  // Key/value form.
  bool GetConfigObj(const std::string& nameSpace, std::map<std::string, std::string>& out);
  // Whole-text form.
  bool GetConfigObj(const std::string& nameSpace, std::string& out);
  // One value of the key/value form, without copying the namespace.
  bool GetConfigValue(const std::string& nameSpace, const std::string& key, std::string& out);

  void RegisterListener(const std::string& nameSpace, IOConfigListener* listener);
  void UnregisterListener(const std::string& nameSpace, IOConfigListener* listener);
  void UnregisterListeners(const std::string& nameSpace);

  // True when nameSpace is being loaded; otherwise, when mark is true, marks
  // it as loading now.
  bool CheckLoading(const std::string& nameSpace, bool mark);

  // Snapshots for tests and diagnostics.
  std::set<std::string> WaitingNamespaces();
  size_t ListenerCount(const std::string& nameSpace);

 private:
  // The start-up task.
  void RunStartUp();
  // Shared checks of every lookup form; false when the name is refused.
  bool CheckLookupName(const std::string& nameSpace);
  // What a lookup does on a miss.
  void HandleMiss(const std::string& nameSpace);
  void AddWaiting(const std::string& nameSpace);

  // Lock order: each mutex below guards its own table and is held only for a
  // single find, insert, erase or copy; none is held while another is taken
  // or while a host object is called.
  Mutex loadingMutex_;
  std::map<std::string, int64_t> loadingNamespaces_ GUARDED_BY(loadingMutex_);

  Mutex waitingMutex_;
  std::set<std::string> waitingNamespaces_ GUARDED_BY(waitingMutex_);

  Mutex listenersMutex_;
  std::map<std::string, std::set<IOConfigListener*>> listeners_ GUARDED_BY(listenersMutex_);

  std::atomic<bool> initFinished_{false};
};

}  // namespace Ostrel

#endif  // OSTREL_CENTER_CONFIGCENTER_H_
