// Listener interfaces implemented by the host.
#ifndef OSTREL_IOCONFIGLISTENER_H_
#define OSTREL_IOCONFIGLISTENER_H_

namespace Ostrel {

// Told when a namespace's configuration changes. Called on a host thread
// (inside registerListener, for what is already cached) or on a library
// thread (after a download), possibly concurrently with its own registration
// or removal. The host keeps it alive until it unregisters it. No destructor
// slot: the library never deletes a listener.
class IOConfigListener {
 public:
  // Slot 0. fromCache is true for values restored from storage or delivered
  // at registration, false after a download. The strings are valid only
  // during the call. The listener may call back into the facade.
  virtual void onConfigUpdate(const char* nameSpace, const char* version,
                              bool fromCache) = 0;

 protected:
  ~IOConfigListener() = default;
};

// Told once when start-up has finished (on a library thread).
class IOInitListener {
 public:
  // Slot 0.
  virtual void onInitFinished() = 0;

 protected:
  ~IOInitListener() = default;
};

}  // namespace Ostrel

#endif  // OSTREL_IOCONFIGLISTENER_H_
