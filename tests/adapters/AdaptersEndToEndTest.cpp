// The shipped library driven by the ready adapters against a local server:
// what a real host gets when it plugs them in.
#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <functional>
#include <memory>
#include <sstream>
#include <string>
#include <thread>

#include "Documents.h"
#include "LocalServer.h"
#include "Recorders.h"
#include "ScratchDir.h"
#include "ostrel/OstrelSdk.h"
#include "ostrel_host/CurlHttpClient.h"
#include "ostrel_host/LogStatistics.h"
#include "ostrel_host/SqliteStorage.h"
#include "ostrel_host/StreamLogger.h"

namespace OstrelTest {
namespace {

using OstrelHost::CurlHttpClient;
using OstrelHost::CurlHttpOptions;
using OstrelHost::LogStatistics;
using OstrelHost::SqliteStorage;
using OstrelHost::StreamLogger;

// Polls a state that has no notification of its own, such as the SQLite
// file, until it holds or the time is up.
bool WaitUntil(const std::function<bool()>& holds,
               std::chrono::milliseconds timeout = std::chrono::seconds(10)) {
  const auto deadline = std::chrono::steady_clock::now() + timeout;
  while (!holds()) {
    if (std::chrono::steady_clock::now() >= deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

std::string Read(const std::string& nameSpace, const std::string& key) {
  char* value = getOstrelConfig(nameSpace.c_str(), key.c_str(), "<default>");
  std::string text = value != nullptr ? value : "<null>";
  freeOstrelConfigValue(value);
  return text;
}

std::string Stored(SqliteStorage& storage, const char* key) {
  char* value = storage.Load(key);
  std::string text = value != nullptr ? value : "<null>";
  storage.Free(value);
  return text;
}

// One start of the library with the adapters, torn down at the end.
class AdaptedSdk {
 public:
  AdaptedSdk(const std::string& databasePath, const std::string& logPath,
             const std::string& apiHost) {
    CurlHttpOptions options;
    options.proxy = std::string();  // loopback only
    http = std::make_unique<CurlHttpClient>(options);
    std::string error;
    storage = SqliteStorage::Open(databasePath, &error);
    logger = StreamLogger::OpenFile(logPath, &error);
    if (!storage || !logger) return;
    statistics = std::make_unique<LogStatistics>(logger.get());

    sdk = GetIOstrelConfig();
    sdk->installLogger(logger.get());
    sdk->changeLogLevel(0);
    sdk->setStorage(storage.get());
    sdk->setHttpClient(http.get());
    sdk->setStatistics(statistics.get());
    Ostrel::IOConfig* config = CreateIOConfig();
    config->setAppKey(kAppKey)->setAppVersion(kAppVersion)->setDeviceId("device-1");
    config->setHost(apiHost.c_str())->setInitListener(&initListener);
    started = sdk->init(config) && initListener.WaitForCall();
    DestroyIOConfig(config);
  }
  ~AdaptedSdk() { DestroyIOstrelConfig(); }
  AdaptedSdk(const AdaptedSdk&) = delete;
  AdaptedSdk& operator=(const AdaptedSdk&) = delete;

  std::unique_ptr<CurlHttpClient> http;
  std::unique_ptr<SqliteStorage> storage;
  std::unique_ptr<StreamLogger> logger;
  std::unique_ptr<LogStatistics> statistics;
  RecordingInitListener initListener;
  Ostrel::IOstrelConfig* sdk = nullptr;
  bool started = false;
};

TEST(AdaptersEndToEnd, ValueDownloadedOnceIsServedFromTheDatabaseAfterRestart) {
  ScratchDir scratch;
  ASSERT_FALSE(scratch.path().empty());
  const std::string database = scratch.File("ostrel.db");
  const std::string log = scratch.File("sdk.log");
  LocalServer server;
  NamespaceSpec ui{"ui", "1"};
  const std::string config = ConfigJson("ui", "1", {{"theme", "dark"}}, ResourceIdOf(ui));
  ui.md5 = Md5Of(config);
  server.Serve("/" + ResourceIdOf(ui), config);
  server.Serve("/index-file", IndexJson("index-1", "1", server.Authority(), {ui}));

  {
    AdaptedSdk first(database, log, server.Authority());
    ASSERT_TRUE(first.started) << "see " << log;
    RecordingListener listener;
    first.sdk->registerListener("ui", &listener);
    Ostrel::IOIntercept* intercept = first.sdk->getIntercept();
    intercept->OnOstrelResponse(
        ("cdn=" + server.Authority() + "&resourceId=index-file&protocol=http").c_str());
    first.sdk->releaseIntercept(intercept);

    ASSERT_TRUE(listener.WaitForCount(1)) << "see " << log;
    EXPECT_EQ(listener.Notifications()[0].version, "1");
    EXPECT_FALSE(listener.Notifications()[0].fromCache);
    EXPECT_EQ(Read("ui", "theme"), "dark");
    EXPECT_EQ(server.CountPath("/index-file"), 1u);
    EXPECT_EQ(server.CountPath("/" + ResourceIdOf(ui)), 1u);

    // The record is written in the background: digest, line feed, document.
    ASSERT_TRUE(WaitUntil([&] {
      const std::string record = Stored(*first.storage, "ui");
      return record != "<null>" && record.find("dark") != std::string::npos;
    }));
    const std::string record = Stored(*first.storage, "ui");
    ASSERT_GT(record.size(), 33u);
    EXPECT_EQ(record, Frame(record.substr(33)));
    EXPECT_NE(Stored(*first.storage, "ostrel.index"), "<null>");
    first.sdk->unregisterListener("ui", &listener);
  }

  const size_t requestsBefore = server.RequestCount();
  {
    AdaptedSdk second(database, log, server.Authority());
    ASSERT_TRUE(second.started) << "see " << log;
    EXPECT_EQ(Read("ui", "theme"), "dark");
    EXPECT_EQ(server.RequestCount(), requestsBefore) << "served from the database alone";
  }

  // The log file holds the library's own lines in the adapter's format.
  std::ifstream in(log);
  std::stringstream text;
  text << in.rdbuf();
  EXPECT_NE(text.str().find("Z I Ostrel.Statistics CommitSuccess: OstrelConfig config_rate"),
            std::string::npos);
}

}  // namespace
}  // namespace OstrelTest
