// The configuration facade.
#ifndef OSTREL_IOSTRELCONFIG_H_
#define OSTREL_IOSTRELCONFIG_H_

#include "ostrel/IOConfig.h"
#include "ostrel/IOConfigListener.h"
#include "ostrel/IOHttp.h"
#include "ostrel/IOIntercept.h"
#include "ostrel/IOLog.h"
#include "ostrel/IOStatistics.h"
#include "ostrel/IOStorage.h"

namespace Ostrel {

// The process-wide facade returned by GetIOstrelConfig. Every operation may be
// called from any host thread and none waits for the network. Host services
// (slots 8 to 11) stay owned by the host, which keeps them alive until
// DestroyIOstrelConfig returns; handing in null clears the service. Strings
// returned by slots 1, 3 and 4 are owned by the caller and released with
// freeConfigValue (slot 13) or freeOstrelConfigValue.
class IOstrelConfig {
 public:
  // Slot 0. Checks appKey and appVersion (false when either is empty), copies
  // every parameter and starts loading in the background. Returns at once.
  virtual bool init(IOConfig* config) = 0;
  // Slot 1. The value of key in nameSpace, else a copy of defaultValue, else
  // null. Null nameSpace or key gives null. A namespace that is not loaded
  // yet gives the default at once and starts one background load.
  virtual char* getConfig(const char* nameSpace, const char* key,
                          const char* defaultValue) = 0;
  // Slot 2. Asks for an index update check (rate-limited to one per twelve
  // hours per process). Always true; the outcome is not reported.
  virtual bool forceCheckUpdate() = 0;
  // Slot 3. Every pair of a STANDARD namespace packed as
  // key NUL value NUL key NUL value NUL ..., in key order; *count receives the
  // number of pairs. Null with *count 0 when nothing is there.
  virtual char* getConfigs(const char* nameSpace, int* count) = 0;
  // Slot 4. The namespace's content as one text (a CUSTOM namespace's text, a
  // STANDARD namespace as a compact JSON object), else a copy of
  // defaultValue, else null.
  virtual char* getCustomConfig(const char* nameSpace,
                                const char* defaultValue) = 0;
  // Slot 5. Registers listener for nameSpace (once per pointer). When the
  // namespace is cached the listener is told at once, on this thread, with
  // fromCache true; otherwise a load is started.
  virtual void registerListener(const char* nameSpace,
                                IOConfigListener* listener) = 0;
  // Slot 6. Removes that one listener of the namespace.
  virtual void unregisterListener(const char* nameSpace,
                                  IOConfigListener* listener) = 0;
  // Slot 7. Removes every listener of the namespace.
  virtual void unregisterListeners(const char* nameSpace) = 0;
  // Slot 8.
  virtual void setHttpClient(IOHttpClient* client) = 0;
  // Slot 9.
  virtual void setStatistics(IOStatistics* statistics) = 0;
  // Slot 10.
  virtual void setStorage(IOStorage* storage) = 0;
  // Slot 11. Install the logger first, so that start-up is logged.
  virtual void installLogger(IOLog* logger) = 0;
  // Slot 12. Threshold: messages below it are dropped (default 2, warnings).
  virtual void changeLogLevel(int level) = 0;
  // Slot 13. Releases a string returned by the library. Null is ignored.
  virtual void freeConfigValue(char* value) = 0;
  // Slot 14. A new gateway interceptor, owned by the caller.
  virtual IOIntercept* getIntercept() = 0;
  // Slot 15. Deletes an interceptor from getIntercept. Null is ignored.
  virtual void releaseIntercept(IOIntercept* intercept) = 0;
  // Slot 16. A push message: when serverId is "ostrel", data holds
  // dataLength bytes of one namespace descriptor (JSON, not necessarily
  // NUL-terminated) whose config is then loaded in the background. The
  // library neither frees nor changes data.
  virtual void PeskUpdateNamespace(const char* serverId, const char* dataId,
                                   char* data, int dataLength) = 0;

 protected:
  ~IOstrelConfig() = default;
};

}  // namespace Ostrel

#endif  // OSTREL_IOSTRELCONFIG_H_
