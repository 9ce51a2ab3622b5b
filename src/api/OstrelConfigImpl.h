// The facade behind IOstrelConfig: converts C types and forwards.
#ifndef OSTREL_API_OSTRELCONFIGIMPL_H_
#define OSTREL_API_OSTRELCONFIGIMPL_H_

#include "ostrel/IOstrelConfig.h"

namespace Ostrel {

// Holds no state: every slot fetches the engine or a manager through its
// accessor. Each slot passes the ApiGate and catches everything, so no
// exception and no teardown race reaches the host.
class OstrelConfigImpl final : public IOstrelConfig {
 public:
  static OstrelConfigImpl* GetInstance();

  // getConfig's work, for the getOstrelConfig export: the facade has no
  // state, so the export needs neither the instance nor the vtable. Any
  // thread; the result is the caller's, freed with FreeCString.
  static char* ReadConfig(const char* nameSpace, const char* key, const char* defaultValue);

  OstrelConfigImpl() = default;
  ~OstrelConfigImpl() = default;

  bool init(IOConfig* config) override;
  char* getConfig(const char* nameSpace, const char* key, const char* defaultValue) override;
  bool forceCheckUpdate() override;
  char* getConfigs(const char* nameSpace, int* count) override;
  char* getCustomConfig(const char* nameSpace, const char* defaultValue) override;
  void registerListener(const char* nameSpace, IOConfigListener* listener) override;
  void unregisterListener(const char* nameSpace, IOConfigListener* listener) override;
  void unregisterListeners(const char* nameSpace) override;
  void setHttpClient(IOHttpClient* client) override;
  void setStatistics(IOStatistics* statistics) override;
  void setStorage(IOStorage* storage) override;
  void installLogger(IOLog* logger) override;
  void changeLogLevel(int level) override;
  void freeConfigValue(char* value) override;
  IOIntercept* getIntercept() override;
  void releaseIntercept(IOIntercept* intercept) override;
  void PeskUpdateNamespace(const char* serverId, const char* dataId, char* data,
                           int dataLength) override;
};

}  // namespace Ostrel

#endif  // OSTREL_API_OSTRELCONFIGIMPL_H_
