#include "host/StorageManager.h"

#include <gtest/gtest.h>

#include "ScopedLogCapture.h"
#include "MemoryStorage.h"
#include "host/Md5.h"

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

TEST_F(StorageManagerTest, PersistWritesDigestLineFeedAndValue) {
  ASSERT_TRUE(manager.Persist("ns", "abc"));
  EXPECT_EQ(storage.Raw("ns"), "900150983cd24fb0d6963f7d28e17f72\nabc");

  ASSERT_TRUE(manager.Persist("empty", ""));
  EXPECT_EQ(storage.Raw("empty"), "d41d8cd98f00b204e9800998ecf8427e\n");
  EXPECT_EQ(manager.Restore("empty"), "");
}

TEST_F(StorageManagerTest, RestoreReturnsValuesWithLineFeedsUnchanged) {
  const std::string value = "line one\nline two\n\nend";
  ASSERT_TRUE(manager.Persist("multi", value));
  EXPECT_EQ(manager.Restore("multi"), value);
  EXPECT_EQ(storage.outstandingBuffers, 0) << "every Load buffer is handed back";
}

TEST_F(StorageManagerTest, RestoreRejectsDamagedRecords) {
  const std::string digest = Md5Hex(std::string("value"));
  std::string upper = digest;
  for (char& c : upper) c = static_cast<char>(toupper(c));
  const struct {
    const char* name;
    std::string record;
    const char* message;
  } kCases[] = {
      {"no line feed", digest + "value", "content format error"},
      {"31 digits", digest.substr(1) + "\nvalue", "content is broken"},
      {"upper case digest", upper + "\nvalue", "content is broken"},
      {"altered value", digest + "\nvalue!", "content is broken"},
      {"truncated value", digest + "\nvalu", "content is broken"},
      {"garbage", "\x01\x02garbage", "content format error"},
  };
  for (const auto& c : kCases) {
    logger.Clear();
    storage.PutRaw("key", c.record);
    EXPECT_EQ(manager.Restore("key"), "") << c.name;
    const OstrelTest::LogLine line = logger.Find(c.message);
    EXPECT_EQ(line.text, c.message) << c.name;
    EXPECT_EQ(line.tag, "StorageManager") << c.name;
    EXPECT_EQ(line.method, "Restore") << c.name;
    EXPECT_EQ(line.level, 3) << c.name;
    EXPECT_TRUE(storage.Has("key")) << "a bad record is left in place: " << c.name;
  }
}

TEST_F(StorageManagerTest, AbsentKeyIsNotAnError) {
  EXPECT_EQ(manager.Restore("missing"), "");
  EXPECT_TRUE(logger.Lines().empty());
}

TEST_F(StorageManagerTest, WithoutStoreOrKeyNothingReachesTheHost) {
  EXPECT_FALSE(manager.Persist("", "v"));
  EXPECT_EQ(manager.Restore(""), "");
  EXPECT_FALSE(manager.Remove(""));
  manager.SetStorage(nullptr);
  EXPECT_FALSE(manager.Persist("k", "v"));
  EXPECT_EQ(manager.Restore("k"), "");
  EXPECT_FALSE(manager.Remove("k"));
  EXPECT_FALSE(manager.Clear());
  EXPECT_EQ(storage.saveCalls + storage.loadCalls + storage.removeCalls + storage.clearCalls, 0);
  EXPECT_TRUE(logger.Lines().empty());
}

TEST_F(StorageManagerTest, HostFailuresBecomeFalse) {
  storage.failSave = true;
  EXPECT_FALSE(manager.Persist("k", "v"));
  storage.failRemove = true;
  EXPECT_FALSE(manager.Remove("k"));
  storage.failLoad = true;
  EXPECT_EQ(manager.Restore("k"), "");
}

TEST_F(StorageManagerTest, RemoveAndClearReachTheirHostSlots) {
  ASSERT_TRUE(manager.Persist("a", "1"));
  ASSERT_TRUE(manager.Persist("b", "2"));
  EXPECT_TRUE(manager.Remove("a"));
  EXPECT_FALSE(storage.Has("a"));
  EXPECT_TRUE(manager.Clear());
  EXPECT_TRUE(storage.Records().empty());
  EXPECT_EQ(storage.reservedCalls, 0);
}

}  // namespace
}  // namespace Ostrel
