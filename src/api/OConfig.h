// The init-parameter object behind IOConfig.
#ifndef OSTREL_API_OCONFIG_H_
#define OSTREL_API_OCONFIG_H_

#include <string>

#include "host/Settings.h"
#include "ostrel/IOConfig.h"

namespace Ostrel {

// A plain value holder: the setters validate nothing (build() normalises),
// init checks the two mandatory fields and copies everything.
class OConfig final : public IOConfig {
 public:
  OConfig() = default;
  ~OConfig() = default;

  IOConfig* setEnv(int env) override;
  IOConfig* setHostGroup(int hostGroup) override;
  IOConfig* setAppKey(const char* appKey) override;
  IOConfig* setAppVersion(const char* appVersion) override;
  IOConfig* setDeviceId(const char* deviceId) override;
  IOConfig* setExtraId1(const char* extraId1) override;
  IOConfig* setExtraId2(const char* extraId2) override;
  IOConfig* setHost(const char* host) override;
  IOConfig* setOsVersion(const char* osVersion) override;
  IOConfig* setManufacturer(const char* manufacturer) override;
  IOConfig* setBrand(const char* brand) override;
  IOConfig* setModel(const char* model) override;
  IOConfig* build() override;
  IOConfig* setSignLibraryPath(const wchar_t* path) override;
  IOConfig* setInitListener(IOInitListener* listener) override;

  // The settings that init publishes.
  Settings ToSettings() const;

  int env() const { return env_; }
  int hostGroup() const { return hostGroup_; }
  const std::string& host() const { return host_; }

 private:
  std::string appKey_;
  std::string reservedId_;  // no setter; copied by init and never read again
  std::string appVersion_;
  std::string deviceId_;
  std::string extraId1_;
  std::string extraId2_;
  std::string host_;
  std::string osVersion_;
  std::string manufacturer_;
  std::string brand_;
  std::string model_;
  std::wstring signLibraryPath_;
  int env_ = 2;
  int hostGroup_ = 0;
  IOInitListener* initListener_ = nullptr;  // not owned
};

}  // namespace Ostrel

#endif  // OSTREL_API_OCONFIG_H_
