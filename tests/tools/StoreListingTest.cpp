// The cache command's listing of the platform's store (an SQLite file, or on
// Windows the file-store folder): records written by the store itself, read
// back under their keys, each digest checked with the platform's MD5, and
// nothing else of the store listed.
#include "StoreListing.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

#include "ScratchDir.h"
#ifdef _WIN32
#include "ostrel_host/FileStorage.h"
#else
#include "ostrel_host/SqliteStorage.h"
#endif

namespace OstrelTest {
namespace {

using OstrelCli::StoreListing;

TEST(StoreListing, ListsEachRecordWithItsVersionAndDigest) {
  ScratchDir folder;
  const std::string store = folder.File("store");
  const std::string ui = "dd33ecf17ce76e651acb5b50c4eba925\n{\"name\":\"ui\",\"version\":\"17\"}";
  const struct {
    std::string key, value;
  } kRecords[] = {
      {"ostrel.index",
       "027b1d699ee2889c892c1899a6a71a96\n{\"version\":\"9\",\"mergedNamespaces\":[]}"},
      {"ui", ui},
      // Every plain character's edge stays as it is in a file name; a
      // capital, a space, a separator, UTF-8 and the hex digits' edges not.
      {"A:0_9)az- \xC3\x84/", ui},
      // Larger than one read of a file.
      {"big", "eb0f52162fd961579c2e6e14edef76c0\n{\"version\":\"5\",\"pad\":\"" +
                  std::string(20000, 'x') + "\"}"},
      // The same document under a digest in capitals, and another's digest.
      {"upper", "DD33ECF17CE76E651ACB5B50C4EBA925\n{\"name\":\"ui\",\"version\":\"17\"}"},
      {"tampered", "dd33ecf17ce76e651acb5b50c4eba925\n{\"name\":\"ui\",\"version\":\"18\"}"},
      {"bare", "{\"version\":\"3\"}"},
      {"noversion", "99914b932bd37a50b983c5e7c90ae93b\n{}"},
  };
#ifdef _WIN32
  {
    auto storage = OstrelHost::FileStorage::Open(store);
    for (const auto& r : kRecords) ASSERT_EQ(storage->Save(r.key.c_str(), r.value.c_str()), 0);
  }
  const std::string scoped;
#else
  {
    auto storage = OstrelHost::SqliteStorage::Open(store);
    for (const auto& r : kRecords) ASSERT_EQ(storage->Save(r.key.c_str(), r.value.c_str()), 0);
    ASSERT_EQ(OstrelHost::SqliteStorage::Open(store, {"other|2", nullptr})->Save("ui", ui.c_str()),
              0);
  }
  const std::string scoped = "ui             17  digest ok  (scope other|2)\n";
#endif
  StoreListing listing;
  std::string error;
  ASSERT_TRUE(StoreListing::Read(store, listing, error)) << error;
  EXPECT_EQ(listing.Format(),
            "A:0_9)az- \xC3\x84/  17  digest ok\n"
            "bare           3   no digest line\n"
            "big            5   digest ok\n"
            "noversion      -   digest ok\n"
            "ostrel.index   9   digest ok\n"
            "tampered       18  digest does not match\n"
            "ui             17  digest ok\n"
            "upper          17  digest does not match\n" +
                scoped);
}

TEST(StoreListing, AMissingStoreIsAnErrorAndIsNotCreated) {
  ScratchDir folder;
  const std::string missing = folder.File("none");
  StoreListing listing;
  std::string error;
  EXPECT_FALSE(StoreListing::Read(missing, listing, error));
#ifdef _WIN32
  EXPECT_EQ(error.rfind(missing + ": error ", 0), 0u) << error;
#else
  EXPECT_EQ(error, "unable to open database file");
#endif
  EXPECT_FALSE(std::filesystem::exists(missing));
  // No path names no store either.
  EXPECT_FALSE(StoreListing::Read("", listing, error));
}

}  // namespace
}  // namespace OstrelTest
