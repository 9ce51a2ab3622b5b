// The shipped library over the curl client against servers that misbehave:
// one that never answers, one that redirects signed requests elsewhere.
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <string>

#include "CapturingLogger.h"
#include "Documents.h"
#include "LocalServer.h"
#include "MemoryStorage.h"
#include "Recorders.h"
#include "ostrel/OstrelSdk.h"
#include "ostrel_host/CurlHttpClient.h"

namespace OstrelTest {
namespace {

using OstrelHost::CurlHttpClient;
using OstrelHost::CurlHttpOptions;

CurlHttpOptions LoopbackOptions(Ostrel::IOLog* log) {
  CurlHttpOptions options;
  options.proxy = std::string();
  options.log = log;
  return options;
}

// One start of the library with the curl client, signing with the tests'
// deterministic library and talking plain http (the daily environment) to
// apiHost. Torn down at the end unless the test did it.
class CurlSdk {
 public:
  CurlSdk(const std::string& apiHost, CurlHttpClient* http, Ostrel::IOLog* log) {
    sdk = GetIOstrelConfig();
    sdk->installLogger(log);
    sdk->changeLogLevel(0);
    sdk->setStorage(&storage);
    sdk->setHttpClient(http);
    const std::string signDir = OSTREL_TEST_SIGN_DIR;
    const std::wstring wideSignDir(signDir.begin(), signDir.end());
    Ostrel::IOConfig* config = CreateIOConfig();
    config->setAppKey(kAppKey)->setAppVersion(kAppVersion)->setDeviceId("device-1");
    config->setEnv(2)->setHost(apiHost.c_str())->setSignLibraryPath(wideSignDir.c_str());
    config->setInitListener(&initListener);
    started = sdk->init(config) && initListener.WaitForCall();
    DestroyIOConfig(config);
  }
  ~CurlSdk() { DestroyIOstrelConfig(); }
  CurlSdk(const CurlSdk&) = delete;
  CurlSdk& operator=(const CurlSdk&) = delete;

  void RelayNotice(const std::string& notice) {
    Ostrel::IOIntercept* intercept = sdk->getIntercept();
    intercept->OnOstrelResponse(notice.c_str());
    sdk->releaseIntercept(intercept);
  }

  MemoryStorage storage;
  RecordingInitListener initListener;
  Ostrel::IOstrelConfig* sdk = nullptr;
  bool started = false;
};

TEST(AdaptersHostileServer, TeardownAfterShutdownDoesNotWaitForASilentServer) {
  LocalServer silent;
  silent.Hold("/index-file");
  CapturingLogger log;
  CurlHttpClient http(LoopbackOptions(&log));
  CurlSdk sdk(silent.Authority(), &http, &log);
  ASSERT_TRUE(sdk.started);
  sdk.RelayNotice("cdn=" + silent.Authority() + "&resourceId=index-file&protocol=http");
  ASSERT_TRUE(silent.WaitForPath("/index-file")) << "a download is in flight";

  const auto start = std::chrono::steady_clock::now();
  http.Shutdown();
  auto teardown = std::async(std::launch::async, [] { DestroyIOstrelConfig(); });
  EXPECT_EQ(teardown.wait_until(start + std::chrono::seconds(1)), std::future_status::ready);
  EXPECT_EQ(log.Count("GET " + silent.Url("/index-file") + " failed: the client is shut down"),
            1u);
}

// A hostile API server sends the signed update check to a second origin
// that answers with a notice of its own; neither the signature nor that
// answer may cross.
TEST(AdaptersHostileServer, SignedCheckIsNotRedirectedToAnotherOrigin) {
  LocalServer api;
  LocalServer hostile;
  NamespaceSpec ui{"ui", "2"};
  const std::string config = ConfigJson("ui", "2", {{"theme", "hostile"}}, ResourceIdOf(ui));
  ui.md5 = Md5Of(config);
  const std::string index = IndexJson("index-hostile", "2", hostile.Authority(), {ui});
  hostile.Serve("/" + ResourceIdOf(ui), config);
  hostile.Serve("/index-hostile", index);
  hostile.Serve("/checkUpdate", "{\"cdn\":\"" + hostile.Authority() + "\",\"md5\":\"" +
                                    Md5Of(index) +
                                    "\",\"protocol\":\"http\",\"resourceId\":\"index-hostile\"}");
  const std::string hostileCheck = hostile.Url("/checkUpdate");
  api.server().Get("/checkUpdate", [hostileCheck](const httplib::Request&,
                                                  httplib::Response& res) {
    res.set_redirect(hostileCheck + "?appIndexVersion=0&versionIndexVersion=0");
  });
  CapturingLogger log;
  CurlHttpClient http(LoopbackOptions(&log));
  CurlSdk sdk(api.Authority(), &http, &log);
  ASSERT_TRUE(sdk.started);
  RecordingListener listener;
  sdk.sdk->registerListener("ui", &listener);

  ASSERT_TRUE(sdk.sdk->forceCheckUpdate());
  EXPECT_TRUE(log.WaitFor("auth request back null,download index failed"));
  ASSERT_EQ(api.CountPath("/checkUpdate"), 1u);
  EXPECT_EQ(api.Requests()[0].headers.count("o-sign"), 1u) << "the check was signed";
  for (const SeenRequest& seen : hostile.Requests()) {
    for (const auto& header : seen.headers) {
      EXPECT_NE(header.first.rfind("o-", 0), 0u) << seen.path << " got " << header.first;
    }
  }
  EXPECT_EQ(hostile.CountPath("/index-hostile"), 0u);
  EXPECT_EQ(log.Count("GET " + api.Url("/checkUpdate") +
                      ": redirect of a request with headers to " + hostileCheck + " refused"),
            1u);
  char* theme = sdk.sdk->getConfig("ui", "theme", "<default>");
  EXPECT_STREQ(theme, "<default>");
  sdk.sdk->freeConfigValue(theme);
  EXPECT_EQ(listener.Count(), 0u);
  sdk.sdk->unregisterListener("ui", &listener);
}

}  // namespace
}  // namespace OstrelTest
