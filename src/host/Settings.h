// The process-wide copy of the init parameters, written by ConfigCenter::Init
// and read everywhere.
#ifndef OSTREL_HOST_SETTINGS_H_
#define OSTREL_HOST_SETTINGS_H_

#include <memory>
#include <string>

#include "ostrel/IOConfigListener.h"

namespace Ostrel {

struct Settings {
  int env = 2;
  std::string appKey;
  std::string appVersion;
  std::string extraId1;
  std::string reservedId;
  std::string extraId2;
  std::string host;
  std::string deviceId;
  std::string osVersion;
  std::string manufacturer;
  std::string brand;
  std::string model;
  std::wstring signLibraryPath;
  IOInitListener* initListener = nullptr;  // not owned

  // Signed requests go over plain HTTP in the daily environment only.
  bool UsePlainHttp() const { return env == 2; }
};

// Each Replace publishes a new immutable snapshot, so a reader holding the
// previous one is never disturbed by a second init.
class EngineSettings {
 public:
  // Never null; empty settings before the first init.
  static std::shared_ptr<const Settings> Current();
  static void Replace(const Settings& settings);
  // Back to empty settings and no index identity (teardown).
  static void Reset();

  // The index-identity string sent as "o-user-info":
  // <appKey>|<appVersion>|<appIndexVersion>|<versionIndexVersion>. Before any
  // index has been restored or cached the two versions are 0.
  static std::string IndexIdentity();
  static void SetIndexVersions(const std::string& appIndexVersion,
                               const std::string& versionIndexVersion);
};

}  // namespace Ostrel

#endif  // OSTREL_HOST_SETTINGS_H_
