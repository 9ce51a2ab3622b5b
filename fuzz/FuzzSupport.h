// What the fuzz targets share: input splitting, a logger that composes every
// message and drops it, and a check that stops the run.
#ifndef OSTREL_FUZZ_FUZZSUPPORT_H_
#define OSTREL_FUZZ_FUZZSUPPORT_H_

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <utility>

#include "host/LogManager.h"
#include "candidate/ClientAttributes.h"
#include "host/Settings.h"
#include "model/CheckDO.h"
#include "ostrel/IOLog.h"

namespace OstrelFuzz {

// A failed property is a finding: abort so that libFuzzer keeps the input.
inline void Require(bool holds) {
  if (!holds) std::abort();
}

// Two C strings from one input, as the comparators receive them: the bytes
// before the first NUL and those between it and the next.
inline std::pair<std::string, std::string> SplitAtNul(const uint8_t* data, size_t size) {
  const std::string all(reinterpret_cast<const char*>(data), size);
  const size_t nul = all.find('\0');
  if (nul == std::string::npos) return {all, std::string()};
  return {all.substr(0, nul), std::string(all.c_str() + nul + 1)};
}

class DroppingLogger : public Ostrel::IOLog {
 public:
  void Log(int, const char*, const char*, const char*) override {}
};

// Every log line gets composed (and dropped).
inline void SetUpLibrary() {
  static DroppingLogger logger;
  Ostrel::LogManager::GetInstance()->SetLogger(&logger);
  Ostrel::LogManager::GetInstance()->SetLevel(Ostrel::kLogDebug);
}

// Documents are checked against a fixed application and client.
inline Ostrel::Settings ClientSettings() {
  Ostrel::Settings settings;
  settings.appKey = "key1";
  settings.appVersion = "2.0";
  settings.brand = "acme";
  settings.deviceId = "device-1";
  return settings;
}

inline const Ostrel::AppScope& App() {
  static const Ostrel::AppScope app{ClientSettings().appKey, ClientSettings().appVersion};
  return app;
}

inline const Ostrel::ClientAttributes& Attributes() {
  static const auto attributes = Ostrel::ClientAttributes::Build(ClientSettings());
  return *attributes;
}

}  // namespace OstrelFuzz

#endif  // OSTREL_FUZZ_FUZZSUPPORT_H_
