// The cache command's listing of the Windows file store: records written by
// FileStorage itself, read back under their keys with their digests checked
// through CNG, and every other file of the folder left out.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "ScratchDir.h"
#include "StoreListing.h"
#include "ostrel_host/FileStorage.h"

namespace OstrelTest {
namespace {

using OstrelCli::StoreListing;

constexpr char kUiDocument[] = "{\"name\":\"ui\",\"version\":\"17\"}";
constexpr char kUiDigest[] = "dd33ecf17ce76e651acb5b50c4eba925";

// Larger than one read of the file, so that the record is put together.
std::string BigDocument() {
  return "{\"version\":\"5\",\"pad\":\"" + std::string(20000, 'x') + "\"}";
}

void WriteFile(const std::string& path, const std::string& bytes) {
  std::ofstream out(path, std::ios::binary);
  out << bytes;
  ASSERT_TRUE(out.good()) << path;
}

TEST(StoreListing, ListsTheFileStoreByKeyWithEachDigestChecked) {
  ScratchDir folder;
  ASSERT_FALSE(folder.path().empty());
  const std::string store = folder.File("store");
  {
    std::string error;
    auto storage = OstrelHost::FileStorage::Open(store, &error);
    ASSERT_TRUE(storage) << error;
    const std::string ui = std::string(kUiDigest) + "\n" + kUiDocument;
    const struct {
      std::string key;
      std::string value;
    } kRecords[] = {
        {"ostrel.index",
         "027b1d699ee2889c892c1899a6a71a96\n{\"version\":\"9\",\"mergedNamespaces\":[]}"},
        {"ui", ui},
        // Every plain character's edge stays as it is; a capital, a space,
        // a separator, two UTF-8 bytes and the hex digits' edges escaped.
        {"A:0_9)az- \xC3\x84/", ui},
        {"big", "eb0f52162fd961579c2e6e14edef76c0\n" + BigDocument()},
        // The same document under a digest in capitals, and another's digest.
        {"upper", "DD33ECF17CE76E651ACB5B50C4EBA925\n" + std::string(kUiDocument)},
        {"tampered", std::string(kUiDigest) + "\n{\"name\":\"ui\",\"version\":\"18\"}"},
        {"bare", "{\"version\":\"3\"}"},
        {"noversion", "99914b932bd37a50b983c5e7c90ae93b\n{}"},
    };
    for (const auto& record : kRecords) {
      ASSERT_EQ(storage->Save(record.key.c_str(), record.value.c_str()), 0) << record.key;
    }
  }
  // Names FileStorage never writes for any key, each holding a record that
  // would verify: a temporary file, a plain byte escaped, lower-case or cut
  // hex, a capital letter, another suffix; and a folder with a record's name.
  const std::string verifying = std::string(kUiDigest) + "\n" + kUiDocument;
  for (const char* name : {"t-12-0.tmp", "k-%61.rec", "k-%2e.rec", "k-%2.rec", "k-A.rec",
                           "k-ui.rec.bak", "notes.txt"}) {
    WriteFile(store + "/" + name, verifying);
  }
  ASSERT_TRUE(std::filesystem::create_directory(store + "/k-sub.rec"));

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
            "upper          17  digest does not match\n");
}

TEST(StoreListing, AMissingStoreIsAnErrorAndIsNotCreated) {
  ScratchDir folder;
  ASSERT_FALSE(folder.path().empty());
  const std::string missing = folder.File("none");
  StoreListing listing;
  std::string error;
  EXPECT_FALSE(StoreListing::Read(missing, listing, error));
  EXPECT_EQ(error.rfind("error 3 (", 0), 0u) << error;
  EXPECT_FALSE(std::filesystem::exists(missing));
}

}  // namespace
}  // namespace OstrelTest
