#include "model/CheckDO.h"

#include "host/Settings.h"

namespace Ostrel {

bool CheckDO::IsForThisApp(const std::string& appKey, const std::string& appVersion) {
  const std::shared_ptr<const Settings> settings = EngineSettings::Current();
  return (appVersion == "*" || appVersion == settings->appVersion) &&
         appKey == settings->appKey;
}

}  // namespace Ostrel
