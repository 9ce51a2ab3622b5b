// A host that drives the library through include/ only, with fake services.
#ifndef OSTREL_TESTS_SUPPORT_SDKHOST_H_
#define OSTREL_TESTS_SUPPORT_SDKHOST_H_

#include <functional>
#include <string>

#include "CapturingLogger.h"
#include "MemoryStorage.h"
#include "Recorders.h"
#include "ScriptedHttpClient.h"
#include "ostrel/OstrelSdk.h"

namespace OstrelTest {

// Construction obtains the facade and installs every fake (logger first, at
// level 0 so that every line is captured); destruction tears the library
// down, so each test starts from a fresh library state.
class SdkHost {
 public:
  SdkHost();
  ~SdkHost();
  SdkHost(const SdkHost&) = delete;
  SdkHost& operator=(const SdkHost&) = delete;

  // Calls init with a fresh parameter object. fill may set further fields;
  // the app key "app-key" and version "1.0.0" are set before it runs.
  bool Init(const std::function<void(Ostrel::IOConfig*)>& fill = nullptr);
  // Init, then waits until start-up has finished. False on failure or timeout.
  bool InitAndWait(const std::function<void(Ostrel::IOConfig*)>& fill = nullptr);

  // getConfig through the C export, freed through the C export.
  std::string Get(const std::string& nameSpace, const std::string& key,
                  const std::string& defaultValue = "<default>");

  Ostrel::IOstrelConfig* sdk = nullptr;
  CapturingLogger logger;
  MemoryStorage storage;
  ScriptedHttpClient http;
  StatisticsRecorder statistics;
  RecordingInitListener initListener;
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_SUPPORT_SDKHOST_H_
