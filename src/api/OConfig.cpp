#include "api/OConfig.h"

#include "api/HostTable.h"

namespace Ostrel {
namespace {

// Setters take host strings; null counts as empty rather than crashing.
void Assign(std::string& field, const char* value) {
  if (value == nullptr) {
    field.clear();
  } else {
    field.assign(value);
  }
}

}  // namespace

IOConfig* OConfig::setEnv(int env) {
  env_ = env;
  return this;
}

IOConfig* OConfig::setHostGroup(int hostGroup) {
  hostGroup_ = hostGroup;
  return this;
}

IOConfig* OConfig::setAppKey(const char* appKey) {
  Assign(appKey_, appKey);
  return this;
}

IOConfig* OConfig::setAppVersion(const char* appVersion) {
  Assign(appVersion_, appVersion);
  return this;
}

IOConfig* OConfig::setDeviceId(const char* deviceId) {
  Assign(deviceId_, deviceId);
  return this;
}

IOConfig* OConfig::setExtraId1(const char* extraId1) {
  Assign(extraId1_, extraId1);
  return this;
}

IOConfig* OConfig::setExtraId2(const char* extraId2) {
  Assign(extraId2_, extraId2);
  return this;
}

IOConfig* OConfig::setHost(const char* host) {
  Assign(host_, host);
  return this;
}

IOConfig* OConfig::setOsVersion(const char* osVersion) {
  Assign(osVersion_, osVersion);
  return this;
}

IOConfig* OConfig::setManufacturer(const char* manufacturer) {
  Assign(manufacturer_, manufacturer);
  return this;
}

IOConfig* OConfig::setBrand(const char* brand) {
  Assign(brand_, brand);
  return this;
}

IOConfig* OConfig::setModel(const char* model) {
  Assign(model_, model);
  return this;
}

IOConfig* OConfig::build() {
  // Out of range falls back to online (0), not to the constructor's daily
  // default: an unknown environment must never talk to a test service.
  if (env_ < 0 || env_ >= kEnvCount) env_ = kEnvOnline;
  if (hostGroup_ < 0 || hostGroup_ >= kHostGroupCount) hostGroup_ = 0;
  if (host_.empty()) host_ = DefaultApiHost(hostGroup_, env_);
  return this;
}

IOConfig* OConfig::setSignLibraryPath(const wchar_t* path) {
  if (path == nullptr) {
    signLibraryPath_.clear();
  } else {
    signLibraryPath_.assign(path);
  }
  return this;
}

IOConfig* OConfig::setInitListener(IOInitListener* listener) {
  initListener_ = listener;
  return this;
}

Settings OConfig::ToSettings() const {
  Settings settings;
  settings.env = env_;
  settings.appKey = appKey_;
  settings.appVersion = appVersion_;
  settings.extraId1 = extraId1_;
  settings.reservedId = reservedId_;
  settings.extraId2 = extraId2_;
  settings.host = host_;
  settings.deviceId = deviceId_;
  settings.osVersion = osVersion_;
  settings.manufacturer = manufacturer_;
  settings.brand = brand_;
  settings.model = model_;
  settings.signLibraryPath = signLibraryPath_;
  settings.initListener = initListener_;
  return settings;
}

}  // namespace Ostrel
