// The config cache's published documents and the index host reads use.
#include "cache/PublishedDocuments.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "host/ReadSection.h"

namespace Ostrel {
namespace {

std::shared_ptr<ConfigDO> Document(const std::string& name) {
  auto document = std::make_shared<ConfigDO>();
  document->name = name;
  return document;
}

std::unique_ptr<PublishedDocuments::Map> MapOf(int count, const std::string& prefix) {
  auto map = std::make_unique<PublishedDocuments::Map>();
  for (int i = 0; i < count; ++i) {
    const std::string name = prefix + std::to_string(i);
    (*map)[name] = Document(name);
  }
  return map;
}

TEST(PublishedDocuments, StartsEmpty) {
  PublishedDocuments documents;
  ReadSection section;
  EXPECT_TRUE(documents.Read()->empty());
  EXPECT_EQ(documents.Find("a"), nullptr);
  EXPECT_EQ(documents.Find(""), nullptr);
}

TEST(PublishedDocuments, FindsEveryPublishedNameAndNoOther) {
  PublishedDocuments documents;
  // Sizes around the index's growth steps, so that probes wrap and collide.
  for (int count : {1, 2, 3, 5, 17, 300}) {
    documents.Publish(MapOf(count, "ns."));
    ReadSection section;
    ASSERT_EQ(documents.Read()->size(), static_cast<size_t>(count));
    for (int i = 0; i < count; ++i) {
      const std::string name = "ns." + std::to_string(i);
      const ConfigDO* found = documents.Find(name);
      ASSERT_NE(found, nullptr) << name << " of " << count;
      EXPECT_EQ(found->name, name);
      EXPECT_EQ(found, documents.Read()->at(name).get());
    }
    EXPECT_EQ(documents.Find("ns." + std::to_string(count)), nullptr);
    EXPECT_EQ(documents.Find("ns."), nullptr);
    EXPECT_EQ(documents.Find("ns.0 "), nullptr);
  }
}

TEST(PublishedDocuments, APublicationReplacesTheWholeIndex) {
  PublishedDocuments documents;
  documents.Publish(MapOf(3, "old."));
  documents.Publish(MapOf(2, "new."));
  ReadSection section;
  EXPECT_EQ(documents.Find("old.0"), nullptr);
  ASSERT_NE(documents.Find("new.1"), nullptr);
  EXPECT_EQ(documents.Find("new.1")->name, "new.1");
}

// Lookups refuse these names before anything else, so the index never
// answers for them, whatever the map holds (a record in storage may name
// its document so).
TEST(PublishedDocuments, NamesNoLookupMayAskForAreNotFound) {
  struct Case {
    const char* name;
  };
  const Case cases[] = {{""}, {"ostrel"}, {"ostrel.index"}};
  for (const Case& c : cases) {
    PublishedDocuments documents;
    auto map = MapOf(2, "ns.");
    (*map)[c.name] = Document(c.name);
    documents.Publish(std::move(map));
    ReadSection section;
    EXPECT_EQ(documents.Find(c.name), nullptr) << "\"" << c.name << "\"";
    EXPECT_EQ(documents.Read()->count(c.name), 1u) << "the map itself keeps it";
    EXPECT_NE(documents.Find("ns.1"), nullptr);
  }
}

TEST(PublishedDocuments, ANullDocumentReadsAsAbsent) {
  PublishedDocuments documents;
  auto map = MapOf(1, "ns.");
  (*map)["empty"] = nullptr;
  documents.Publish(std::move(map));
  ReadSection section;
  EXPECT_EQ(documents.Find("empty"), nullptr);
  EXPECT_NE(documents.Find("ns.0"), nullptr);
}

}  // namespace
}  // namespace Ostrel
