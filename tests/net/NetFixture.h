// Shared set-up of the network tests: a capturing logger at level 0, a
// network over a scripted client, fixed settings and clock, and a fixed
// signer, or a platform signer of the test's own.
#ifndef OSTREL_TESTS_NET_NETFIXTURE_H_
#define OSTREL_TESTS_NET_NETFIXTURE_H_

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "EngineHost.h"
#include "FixedSigner.h"
#include "ScopedLogCapture.h"
#include "ScriptedHttpClient.h"
#include "host/Clock.h"
#include "host/LogManager.h"
#include "host/Settings.h"
#include "net/NetworkManager.h"
#include "net/OstrelSign.h"
#include "net/RequestContext.h"

namespace OstrelTest {

// 2023-11-14T22:13:20.123Z: requests are stamped with 1700000000.
constexpr int64_t kNowMillis = 1700000000123;
constexpr char kNowSeconds[] = "1700000000";

inline int64_t FixedNow() { return kNowMillis; }

class NetFixture : public LoggerFixture {
 protected:
  void SetUp() override {
    network.SetHttpClient(&http);
    settings.env = 0;
    settings.appKey = "app-key";
    settings.appVersion = "1.0.0";
    settings.deviceId = "device-1";
    settings.host = "api.example.test";
  }

  // A fresh, unstarted platform signer that looks in folder; requests made
  // from now on are signed by it.
  void NewSigner(const std::string& folder) {
    platformSigner = Ostrel::CreatePlatformSign();
    platformSigner->SetLibraryFolder(Widen(folder));
    signer = platformSigner.get();
  }

  // What a request made now is sent with: the settings as the test left them.
  Ostrel::RequestContext Context() const {
    Ostrel::RequestContext context;
    context.network = const_cast<Ostrel::NetworkManager*>(&network);
    context.signer = signer;
    context.settings = std::make_shared<const Ostrel::Settings>(settings);
    context.userInfo = userInfo;
    context.now = &FixedNow;
    return context;
  }

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

  ScriptedHttpClient http;
  Ostrel::NetworkManager network;
  FixedSigner fixedSigner;
  std::unique_ptr<Ostrel::IOstrelSign> platformSigner;
  Ostrel::IOstrelSign* signer = &fixedSigner;
  Ostrel::Settings settings;
  std::string userInfo = "app-key|1.0.0|0|0";
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_NET_NETFIXTURE_H_
