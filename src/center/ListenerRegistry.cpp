#include "center/ListenerRegistry.h"

#include <vector>

#include "host/LogManager.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("Ostrel.ConfigCenter");

// How many listener calls are running on this thread.
thread_local int tCallDepth = 0;

}  // namespace

bool ListenerRegistry::Add(const std::string& nameSpace, IOConfigListener* listener) {
  MutexLock lock(&mutex_);
  return listeners_[nameSpace].insert(listener).second;
}

void ListenerRegistry::Remove(const std::string& nameSpace, IOConfigListener* listener) {
  MutexLock lock(&mutex_);
  auto it = listeners_.find(nameSpace);
  if (it == listeners_.end()) return;
  if (it->second.erase(listener) == 0) return;
  if (it->second.empty()) listeners_.erase(it);
  WaitUntilIdle(listener);
}

void ListenerRegistry::RemoveAll(const std::string& nameSpace) {
  MutexLock lock(&mutex_);
  auto it = listeners_.find(nameSpace);
  if (it == listeners_.end()) return;
  const std::set<IOConfigListener*> removed = std::move(it->second);
  listeners_.erase(it);
  for (IOConfigListener* listener : removed) WaitUntilIdle(listener);
}

void ListenerRegistry::WaitUntilIdle(IOConfigListener* listener) {
  if (tCallDepth > 0) return;
  while (inFlight_.count(listener) != 0) callEnded_.Wait();
}

bool ListenerRegistry::BeginCall(const std::string& nameSpace, IOConfigListener* listener) {
  MutexLock lock(&mutex_);
  auto it = listeners_.find(nameSpace);
  if (it == listeners_.end() || it->second.count(listener) == 0) return false;
  ++inFlight_[listener];
  return true;
}

void ListenerRegistry::EndCall(IOConfigListener* listener) {
  {
    MutexLock lock(&mutex_);
    auto it = inFlight_.find(listener);
    if (it != inFlight_.end() && --it->second == 0) inFlight_.erase(it);
  }
  callEnded_.SignalAll();
}

void ListenerRegistry::NotifyOne(const std::string& nameSpace, IOConfigListener* listener,
                                 const std::string& version, bool fromCache) {
  if (!BeginCall(nameSpace, listener)) return;
  ++tCallDepth;
  try {
    listener->onConfigUpdate(nameSpace.c_str(), version.c_str(), fromCache);
  } catch (...) {
    LogError("NotifyListeners", kTag, "listener of " + nameSpace + " threw");
  }
  --tCallDepth;
  EndCall(listener);
}

void ListenerRegistry::Notify(const std::string& nameSpace, const std::string& version,
                              bool fromCache) {
  std::vector<IOConfigListener*> targets;
  {
    MutexLock lock(&mutex_);
    auto it = listeners_.find(nameSpace);
    if (it == listeners_.end()) return;
    targets.assign(it->second.begin(), it->second.end());
  }
  for (IOConfigListener* listener : targets) NotifyOne(nameSpace, listener, version, fromCache);
}

}  // namespace Ostrel
