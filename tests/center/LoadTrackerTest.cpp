#include "center/LoadTracker.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

namespace Ostrel {
namespace {

std::shared_ptr<NamespaceDO> Descriptor(const std::string& version, const std::string& id) {
  auto ns = std::make_shared<NamespaceDO>();
  ns->name = "a";
  ns->version = version;
  ns->resourceId = id;
  return ns;
}

// Requests that reach a loading namespace are kept, only the one of the
// highest version (the first of equal ones), and handed to the loader once
// when it finishes; the mark goes when nothing more was asked for.
TEST(LoadTracker, RequestsDuringALoadLeaveTheNewestForOneMoreRun) {
  const struct {
    const char* first;
    const char* second;
    const char* kept;  // which descriptor is handed over
  } kCases[] = {{"3", "2", "first"}, {"2", "3", "second"}, {"3", "3", "first"}, {"x", "1", "second"}};
  for (const auto& c : kCases) {
    LoadTracker tracker;
    ASSERT_TRUE(tracker.MarkLoadingOrRequestReload(Descriptor("1", "loading")));
    EXPECT_TRUE(tracker.CheckLoading("a", false));
    EXPECT_FALSE(tracker.MarkLoadingOrRequestReload(Descriptor(c.first, "first")));
    EXPECT_FALSE(tracker.MarkLoadingOrRequestReload(Descriptor(c.second, "second")));
    std::shared_ptr<NamespaceDO> requested;
    ASSERT_TRUE(tracker.FinishLoading("a", &requested)) << c.first << " " << c.second;
    ASSERT_NE(requested, nullptr);
    EXPECT_EQ(requested->resourceId, c.kept) << c.first << " " << c.second;
    EXPECT_TRUE(tracker.CheckLoading("a", false)) << "still loading, for the extra run";
    requested.reset();
    EXPECT_FALSE(tracker.FinishLoading("a", &requested));
    EXPECT_EQ(requested, nullptr);
    EXPECT_FALSE(tracker.CheckLoading("a", false));
  }
}

}  // namespace
}  // namespace Ostrel
