// Records in the host's store: digest line, then the value; damaged ones are
// treated as absent.
#include "host/StorageManager.h"

#include <gtest/gtest.h>

#include <cctype>
#include <stdexcept>
#include <string>

#include "Documents.h"
#include "ScopedLogCapture.h"
#include "MemoryStorage.h"

namespace Ostrel {
namespace {

class StorageManagerTest : public OstrelTest::LoggerFixture {
 protected:
  void SetUp() override {
    LoggerFixture::SetUp();
    manager.SetStorage(&storage);
  }

  StorageManager manager;
  OstrelTest::MemoryStorage storage;
};

TEST_F(StorageManagerTest, PersistedRecordsAreDigestLineFeedValueAndReadBack) {
  for (const std::string value : {"abc", "", "line one\nline two\n\nend"}) {
    ASSERT_TRUE(manager.Persist("k", value));
    EXPECT_EQ(OstrelTest::Md5Of(value) + "\n" + value, storage.Raw("k"));
    EXPECT_EQ(storage.Raw("k"), StorageManager::FrameRecord(value));
    EXPECT_EQ(value, manager.Restore("k"));
  }
  EXPECT_EQ("900150983cd24fb0d6963f7d28e17f72\nabc", StorageManager::FrameRecord("abc"));
  EXPECT_EQ(0, storage.outstandingBuffers) << "every Load buffer is handed back";
  EXPECT_TRUE(logger.Lines().empty());
}

TEST_F(StorageManagerTest, RestoreRefusesDamagedRecordsAndLeavesThem) {
  const std::string digest = OstrelTest::Md5Of("value");
  std::string upper = digest;
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  const struct {
    const char* name;
    std::string record;
    const char* message;
  } kCases[] = {
      {"no line feed", digest + "value", "content format error"},
      {"upper case digest", upper + "\nvalue", "content is broken"},
      {"altered value", digest + "\nvalue!", "content is broken"},
  };
  for (const auto& c : kCases) {
    logger.Clear();
    storage.PutRaw("key", c.record);
    EXPECT_EQ("", manager.Restore("key")) << c.name;
    ASSERT_EQ(1u, logger.Lines().size()) << c.name;
    const OstrelTest::LogLine line = logger.Lines()[0];
    EXPECT_EQ(c.message, line.text) << c.name;
    EXPECT_EQ("StorageManager", line.tag) << c.name;
    EXPECT_EQ("Restore", line.method) << c.name;
    EXPECT_EQ(kLogError, line.level) << c.name;
    EXPECT_TRUE(storage.Has("key")) << c.name;
  }
}

TEST_F(StorageManagerTest, WithoutStoreOrKeyOrOnHostFailureNothingSucceeds) {
  EXPECT_EQ("", manager.Restore("missing"));
  EXPECT_FALSE(manager.Persist("", "v"));
  EXPECT_EQ("", manager.Restore(""));
  EXPECT_FALSE(manager.Remove(""));
  EXPECT_EQ(1, storage.saveCalls + storage.loadCalls + storage.removeCalls + storage.clearCalls)
      << "only the load of the missing key reaches the host";
  storage.failSave = true;
  storage.failRemove = true;
  storage.failLoad = true;
  storage.PutRaw("k", OstrelTest::Frame("v"));
  EXPECT_FALSE(manager.Persist("k", "v"));
  EXPECT_FALSE(manager.Remove("k"));
  EXPECT_EQ("", manager.Restore("k"));
  manager.SetStorage(nullptr);
  EXPECT_FALSE(manager.Persist("k", "v"));
  EXPECT_EQ("", manager.Restore("k"));
  EXPECT_FALSE(manager.Remove("k"));
  EXPECT_FALSE(manager.Clear());
  EXPECT_TRUE(logger.Lines().empty());
}

// A host store that throws from every slot: each operation fails and the
// exception stays inside the library.
TEST_F(StorageManagerTest, AHostStoreThatThrowsMakesEveryOperationFail) {
  struct ThrowingStorage : IOStorage {
    int Save(const char*, const char*) override { throw std::runtime_error("save"); }
    char* Load(const char*) override { throw std::runtime_error("load"); }
    int Remove(const char*) override { throw std::runtime_error("remove"); }
    int Reserved() override { throw std::runtime_error("reserved"); }
    int Clear() override { throw std::runtime_error("clear"); }
    void Free(char*) override { throw std::runtime_error("free"); }
  } throwing;
  manager.SetStorage(&throwing);
  EXPECT_FALSE(manager.Persist("k", "v"));
  EXPECT_EQ("", manager.Restore("k"));
  EXPECT_FALSE(manager.Remove("k"));
  EXPECT_FALSE(manager.Clear());
  manager.SetStorage(nullptr);
}

TEST_F(StorageManagerTest, RemoveAndClearReachTheirHostSlots) {
  ASSERT_TRUE(manager.Persist("a", "1"));
  ASSERT_TRUE(manager.Persist("b", "2"));
  EXPECT_TRUE(manager.Remove("a"));
  EXPECT_FALSE(storage.Has("a"));
  EXPECT_TRUE(storage.Has("b"));
  EXPECT_TRUE(manager.Clear());
  EXPECT_TRUE(storage.Records().empty());
  EXPECT_EQ(0, storage.reservedCalls);
}

}  // namespace
}  // namespace Ostrel
