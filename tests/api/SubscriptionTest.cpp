// Subscriptions of the C++ layer: delivered until ended, contained when they
// throw, safe to end after their client.
#include <stdexcept>

#include "ClientFixture.h"

namespace OstrelTest {
namespace {

using Ostrel::Client;
using Ostrel::Subscription;

class SubscriptionTest : public ClientFixture {};

TEST_F(SubscriptionTest, DeliversUntilItEndsAndMayOutliveItsClient) {
  Subscription survivor;
  {
    Client client(Options());
    ASSERT_TRUE(client.WaitUntilReady(std::chrono::seconds(10)));
    ChangeLog cached;
    const Subscription atOnce = client.Subscribe("std", cached.Callback());
    ASSERT_EQ(1u, cached.Changes().size()) << "told before Subscribe returned";
    EXPECT_EQ("std", cached.Changes()[0].nameSpace);
    EXPECT_EQ("1", cached.Changes()[0].version);
    EXPECT_TRUE(cached.Changes()[0].fromCache);
    const Subscription throwing =
        client.Subscribe("std", [](const Ostrel::Change&) { throw std::runtime_error("host"); });
    EXPECT_TRUE(throwing.Active());
    EXPECT_FALSE(logger.Contains("listener of std threw")) << "the layer stops what it throws";

    ServeRemote();
    http.Hold("");
    ChangeLog kept, ended;
    Subscription first = client.Subscribe("remote", kept.Callback());
    Subscription second = client.Subscribe("remote", ended.Callback());
    Subscription moved = std::move(first);
    EXPECT_FALSE(first.Active());
    second.Reset();
    EXPECT_FALSE(second.Active());
    http.Release("");
    ASSERT_TRUE(kept.WaitForCount(1));
    EXPECT_EQ("2", kept.Changes()[0].version);
    EXPECT_FALSE(kept.Changes()[0].fromCache);
    EXPECT_TRUE(ended.Changes().empty()) << "listeners are told in one pass";
    EXPECT_TRUE(moved.Active());
    EXPECT_FALSE(client.Subscribe("std", nullptr).Active());
    survivor = std::move(moved);
  }
  survivor.Reset();  // after teardown: calls nothing in the library
  EXPECT_FALSE(survivor.Active());
}

}  // namespace
}  // namespace OstrelTest
