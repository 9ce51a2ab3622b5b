// The init-parameter object.
#ifndef OSTREL_IOCONFIG_H_
#define OSTREL_IOCONFIG_H_

#include <cwchar>

#include "ostrel/IOConfigListener.h"

namespace Ostrel {

// Obtained from CreateIOConfig, filled through the fluent setters, handed to
// IOstrelConfig::init and released with DestroyIOConfig. init copies every
// field, so the object may be destroyed right after it. Not thread-safe: fill
// it on one thread. Every setter returns the object itself; a null string
// counts as empty.
class IOConfig {
 public:
  // Slot 0. Environment: 0 online, 1 pre-release, 2 daily (the default).
  virtual IOConfig* setEnv(int env) = 0;
  // Slot 1. Which of the two default host tables build() uses: 0 or 1.
  virtual IOConfig* setHostGroup(int hostGroup) = 0;
  // Slot 2. Application key. Mandatory.
  virtual IOConfig* setAppKey(const char* appKey) = 0;
  // Slot 3. Application version. Mandatory; also the attribute "app_ver".
  virtual IOConfig* setAppVersion(const char* appVersion) = 0;
  // Slot 4. Device id: sent with requests, hashed into "did_hash".
  virtual IOConfig* setDeviceId(const char* deviceId) = 0;
  // Slot 5. Stored and copied by init; not read otherwise.
  virtual IOConfig* setExtraId1(const char* extraId1) = 0;
  // Slot 6. Stored and copied by init; not read otherwise.
  virtual IOConfig* setExtraId2(const char* extraId2) = 0;
  // Slot 7. API host. When left empty, build() fills in the default.
  virtual IOConfig* setHost(const char* host) = 0;
  // Slot 8. Attribute "os_ver".
  virtual IOConfig* setOsVersion(const char* osVersion) = 0;
  // Slot 9. Attribute "m_fac".
  virtual IOConfig* setManufacturer(const char* manufacturer) = 0;
  // Slot 10. Attribute "m_brand".
  virtual IOConfig* setBrand(const char* brand) = 0;
  // Slot 11. Attribute "m_model".
  virtual IOConfig* setModel(const char* model) = 0;
  // Slot 12. Normalises env and hostGroup (out of range becomes 0) and fills
  // an empty host from the default table. init does not call it.
  virtual IOConfig* build() = 0;
  // Slot 13. Directory from which the request-signing library is loaded.
  virtual IOConfig* setSignLibraryPath(const wchar_t* path) = 0;
  // Slot 14. Told once when start-up has finished. Not owned.
  virtual IOConfig* setInitListener(IOInitListener* listener) = 0;

 protected:
  ~IOConfig() = default;
};

}  // namespace Ostrel

#endif  // OSTREL_IOCONFIG_H_
