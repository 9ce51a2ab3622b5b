// The host's listeners per namespace, and the calls made to them.
#ifndef OSTREL_CENTER_LISTENERREGISTRY_H_
#define OSTREL_CENTER_LISTENERREGISTRY_H_

#include <map>
#include <set>
#include <string>

#include "host/Mutex.h"
#include "ostrel/IOConfigListener.h"

namespace Ostrel {

// No lock is held while a listener runs, so a listener may call back into the
// library (read, register, unregister). Removing a listener from outside any
// listener call waits until calls of it running on other threads have
// returned, so that the host may destroy it right afterwards. From inside a
// listener call it does not wait: two listeners removing each other from
// their callbacks on two threads would otherwise wait for each other.
class ListenerRegistry {
 public:
  // False (and nothing changes) when the listener is already registered for
  // the namespace.
  bool Add(const std::string& nameSpace, IOConfigListener* listener);
  void Remove(const std::string& nameSpace, IOConfigListener* listener);
  void RemoveAll(const std::string& nameSpace);

  // Calls every listener of the namespace, one after the other, on this
  // thread. A listener removed meanwhile is skipped.
  void Notify(const std::string& nameSpace, const std::string& version, bool fromCache);
  // Calls one listener, if it is still registered for the namespace.
  void NotifyOne(const std::string& nameSpace, IOConfigListener* listener,
                 const std::string& version, bool fromCache);

 private:
  bool BeginCall(const std::string& nameSpace, IOConfigListener* listener);
  void EndCall(IOConfigListener* listener);
  void WaitUntilIdle(IOConfigListener* listener) REQUIRES(mutex_);

  Mutex mutex_;
  CondVar callEnded_{&mutex_};
  std::map<std::string, std::set<IOConfigListener*>> listeners_ GUARDED_BY(mutex_);
  // Calls under way per listener, on any thread.
  std::map<IOConfigListener*, int> inFlight_ GUARDED_BY(mutex_);
};

}  // namespace Ostrel

#endif  // OSTREL_CENTER_LISTENERREGISTRY_H_
