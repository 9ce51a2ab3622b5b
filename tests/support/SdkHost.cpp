#include "SdkHost.h"

namespace OstrelTest {

SdkHost::SdkHost() {
  sdk = GetIOstrelConfig();
  sdk->installLogger(&logger);
  sdk->changeLogLevel(0);
  sdk->setStorage(&storage);
  sdk->setHttpClient(&http);
  sdk->setStatistics(&statistics);
}

SdkHost::~SdkHost() { DestroyIOstrelConfig(); }

bool SdkHost::Init(const std::function<void(Ostrel::IOConfig*)>& fill) {
  Ostrel::IOConfig* config = CreateIOConfig();
  config->setAppKey("app-key")->setAppVersion("1.0.0")->setDeviceId("device-1");
  config->setInitListener(&initListener);
  if (fill) fill(config);
  const bool accepted = sdk->init(config);
  DestroyIOConfig(config);
  return accepted;
}

bool SdkHost::InitAndWait(const std::function<void(Ostrel::IOConfig*)>& fill) {
  return Init(fill) && initListener.WaitForCall();
}

std::string SdkHost::Get(const std::string& nameSpace, const std::string& key,
                         const std::string& defaultValue) {
  char* value = getOstrelConfig(nameSpace.c_str(), key.c_str(), defaultValue.c_str());
  std::string result = value == nullptr ? std::string("<null>") : std::string(value);
  freeOstrelConfigValue(value);
  return result;
}

}  // namespace OstrelTest
