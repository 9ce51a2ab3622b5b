// Shared set-up of the network tests: a capturing logger at level 0, a
// scripted client, fixed settings and clock, and a fresh signing object.
#ifndef OSTREL_TESTS_NET_NETFIXTURE_H_
#define OSTREL_TESTS_NET_NETFIXTURE_H_

#include <gtest/gtest.h>

#include <string>

#include "CapturingLogger.h"
#include "ScriptedHttpClient.h"
#include "host/Clock.h"
#include "host/LogManager.h"
#include "host/Settings.h"
#include "net/NetworkManager.h"
#include "net/OstrelSign.h"

namespace OstrelTest {

// 2023-11-14T22:13:20.123Z: requests are stamped with 1700000000.
constexpr int64_t kNowMillis = 1700000000123;
constexpr char kNowSeconds[] = "1700000000";

inline int64_t FixedNow() { return kNowMillis; }

inline std::wstring Widen(const std::string& ascii) {
  return std::wstring(ascii.begin(), ascii.end());
}

class NetFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    Ostrel::LogManager::GetInstance()->SetLogger(&logger);
    Ostrel::LogManager::GetInstance()->SetLevel(0);
    Ostrel::NetworkManager::GetInstance()->SetHttpClient(&http);
    Ostrel::Clock::SetSystemClockForTest(&FixedNow);
    settings.env = 0;
    settings.appKey = "app-key";
    settings.appVersion = "1.0.0";
    settings.deviceId = "device-1";
    settings.host = "api.example.test";
#ifdef OSTREL_TEST_SIGN_DIR
    settings.signLibraryPath = Widen(OSTREL_TEST_SIGN_DIR);
#endif
    Ostrel::EngineSettings::Replace(settings);
  }

  void TearDown() override {
    Ostrel::OstrelSign::DestroyInstance();
    Ostrel::EngineSettings::Reset();
    Ostrel::Clock::SetSystemClockForTest(nullptr);
    Ostrel::NetworkManager::GetInstance()->SetHttpClient(nullptr);
    Ostrel::LogManager::GetInstance()->SetLogger(nullptr);
  }

  // Replaces the published settings after a test changed the copy.
  void Publish() { Ostrel::EngineSettings::Replace(settings); }

  // The one error line of a failed call, "method|text" for exact comparison.
  std::string ErrorLine(const std::string& tag) const {
    std::string found;
    for (const LogLine& line : logger.Lines()) {
      if (line.level != Ostrel::kLogError || line.tag != tag) continue;
      if (!found.empty()) return "more than one error line";
      found = line.method + "|" + line.text;
    }
    return found;
  }

  CapturingLogger logger;
  ScriptedHttpClient http;
  Ostrel::Settings settings;
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_NET_NETFIXTURE_H_
