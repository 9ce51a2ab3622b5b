// The init parameters as the engine keeps them.
#ifndef OSTREL_HOST_SETTINGS_H_
#define OSTREL_HOST_SETTINGS_H_

#include <string>

#include "ostrel/IOConfigListener.h"

namespace Ostrel {

// Copied from the parameter object at init and published as an immutable
// snapshot: a request or a start-up step that holds one is never disturbed by
// a second init.
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

}  // namespace Ostrel

#endif  // OSTREL_HOST_SETTINGS_H_
