// The matched candidate is chosen by whichever thread loads a namespace while
// others read it, and the attribute table may be replaced meanwhile.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "model/NamespaceDO.h"

namespace Ostrel {
namespace {

TEST(CandidateChoiceConcurrency, ChoosersReadersAndTableSwapsRace) {
  auto ns = std::make_shared<NamespaceDO>();
  ns->version = "1";
  for (const char* match : {"m_brand=acme", "m_brand~=ac"}) {
    auto candidate = std::make_shared<CandidateDO>();
    candidate->resourceId = "r";
    candidate->match = match;
    candidate->version = "2";
    ns->candidates.push_back(candidate);
  }
  Settings settings;
  settings.brand = "acme";
  const auto acme = ClientAttributes::Build(settings);
  const ClientAttributes nobody;

  constexpr int kRounds = 2000;
  std::atomic<int> unexpected{0};
  std::vector<std::thread> threads;
  // Two clients: one the first candidate matches, one nothing matches.
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back([&, t] {
      const ClientAttributes& attributes = t == 0 ? *acme : nobody;
      for (int i = 0; i < kRounds; ++i) {
        ns->UpdateCandidate(attributes);
        ns->CheckValid(nullptr, attributes);
      }
    });
  }
  threads.emplace_back([&] {
    for (int i = 0; i < kRounds; ++i) {
      const auto chosen = ns->MatchedCandidate();
      if (chosen != nullptr && chosen != ns->candidates[0]) ++unexpected;
    }
  });
  for (std::thread& thread : threads) thread.join();
  // Only the first candidate can ever win; the second always loses to it.
  EXPECT_EQ(0, unexpected.load());
}

}  // namespace
}  // namespace Ostrel
