// The config cache's published documents and the index host reads use.
#include "cache/PublishedDocuments.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "host/ReadSection.h"

namespace Ostrel {
namespace {

std::shared_ptr<ConfigDO> Document(const std::string& name) {
  auto document = std::make_shared<ConfigDO>();
  document->name = name;
  return document;
}

ConfigContent ContentOf(const std::map<std::string, std::string>& pairs) {
  ConfigContent::Builder builder;
  for (const auto& pair : pairs) builder.Add(pair.first, pair.second);
  return builder.Finish();
}

std::unique_ptr<PublishedDocuments::Map> MapOf(int count, const std::string& prefix) {
  auto map = std::make_unique<PublishedDocuments::Map>();
  for (int i = 0; i < count; ++i) {
    const std::string name = prefix + std::to_string(i);
    (*map)[name] = Document(name);
  }
  return map;
}

// Each publication also holds a null document and names that lookups refuse
// before anything else (a record in storage may name its document so): the
// map keeps them, the index never answers for them.
TEST(PublishedDocuments, FindsEveryPublishedNameAndNoOther) {
  const char* const kNeverFound[] = {"", "ostrel", "ostrel.index", "null"};
  PublishedDocuments documents;
  {
    ReadSection section;
    EXPECT_TRUE(documents.Read()->empty());
    EXPECT_EQ(documents.Find("a"), nullptr);
  }
  std::string previous;
  // Sizes around the index's growth steps, so that probes wrap and collide.
  for (int count : {1, 2, 3, 5, 17, 300}) {
    const std::string prefix = "ns" + std::to_string(count) + ".";
    auto map = MapOf(count, prefix);
    for (const char* name : kNeverFound) (*map)[name] = Document(name);
    (*map)["null"] = nullptr;
    documents.Publish(std::move(map));
    ReadSection section;
    ASSERT_EQ(documents.Read()->size(), static_cast<size_t>(count) + 4);
    for (int i = 0; i < count; ++i) {
      const std::string name = prefix + std::to_string(i);
      const ConfigDO* found = documents.Find(name);
      ASSERT_NE(found, nullptr) << name << " of " << count;
      EXPECT_EQ(found->name, name);
      EXPECT_EQ(found, documents.Read()->at(name).get());
    }
    for (const char* name : kNeverFound) EXPECT_EQ(documents.Find(name), nullptr) << name;
    EXPECT_EQ(documents.Find(prefix + std::to_string(count)), nullptr);
    EXPECT_EQ(documents.Find(prefix), nullptr);
    EXPECT_EQ(documents.Find(prefix + "0 "), nullptr);
    EXPECT_EQ(documents.Find(previous), nullptr) << "a publication replaces the whole index";
    previous = prefix + "0";
  }
}

// The view copied into the index must reach the same content as the
// document: every key of documents small and large, and keys they lack.
TEST(PublishedDocuments, FindValueAnswersFromTheDocumentsContent) {
  auto map = std::make_unique<PublishedDocuments::Map>();
  std::map<std::string, std::string> large;
  for (int i = 0; i < 500; ++i) large["key." + std::to_string(i)] = "v" + std::to_string(i);
  (*map)["large"] = Document("large");
  (*map)["large"]->content = ContentOf(large);
  (*map)["short"] = Document("short");
  // Short enough for the string's inline buffer, which moves with it.
  (*map)["short"]->content = ContentOf({{"a", "1"}, {"", "empty key"}});
  (*map)["custom"] = Document("custom");  // no key/value content
  PublishedDocuments documents;
  documents.Publish(std::move(map));
  using Lookup = PublishedDocuments::ValueLookup;
  struct Case {
    const char* name;
    std::string key;
    Lookup expected;
    const char* value;
  };
  const Case cases[] = {
      {"large", "key.0", Lookup::kFound, "v0"},
      {"large", "key.499", Lookup::kFound, "v499"},
      {"large", "key.500", Lookup::kNoKey, ""},
      {"short", "a", Lookup::kFound, "1"},
      {"short", "", Lookup::kFound, "empty key"},
      {"short", "b", Lookup::kNoKey, ""},
      {"custom", "a", Lookup::kNoKey, ""},
      {"custom", "", Lookup::kNoKey, ""},
      {"absent", "a", Lookup::kNoDocument, ""},
      {"", "a", Lookup::kNoDocument, ""},
  };
  ReadSection section;
  for (const Case& c : cases) {
    std::string_view value = "untouched";
    EXPECT_EQ(documents.FindValue(c.name, c.key, &value), c.expected) << c.name << "/" << c.key;
    if (c.expected == Lookup::kFound) {
      EXPECT_EQ(value, c.value) << c.name << "/" << c.key;
    } else {
      EXPECT_EQ(value, "untouched") << c.name << "/" << c.key;
    }
  }
  for (const auto& pair : large) {
    std::string_view value;
    ASSERT_EQ(documents.FindValue("large", pair.first, &value), Lookup::kFound) << pair.first;
    EXPECT_EQ(value, pair.second);
  }
}

}  // namespace
}  // namespace Ostrel
