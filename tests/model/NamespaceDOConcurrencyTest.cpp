// The matched candidate is chosen by whichever thread loads a namespace while
// others read it, each with the client table it was handed.
#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

#include "model/NamespaceDO.h"

namespace Ostrel {
namespace {

TEST(NamespaceDOConcurrency, ChoosersAndReadersRace) {
  auto ns = std::make_shared<NamespaceDO>();
  ns->resourceId = "own";
  ns->version = "1";
  for (const char* match : {"m_brand=acme", "m_brand~=ac"}) {
    auto candidate = std::make_shared<CandidateDO>();
    candidate->resourceId = match;
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
  for (int t = 0; t < 2; ++t) {
    threads.emplace_back([&, t] {
      for (int i = 0; i < kRounds; ++i) {
        ns->UpdateCandidate((i + t) % 2 == 0 ? *acme : nobody);
        ns->CheckValid(nullptr, (i + t) % 3 == 0 ? *acme : nobody);
      }
    });
  }
  threads.emplace_back([&] {
    for (int i = 0; i < kRounds; ++i) {
      // Only the first candidate can ever win; the second always loses to it.
      const auto chosen = ns->MatchedCandidate();
      if (chosen != nullptr && chosen != ns->candidates[0]) ++unexpected;
      if (ns->ChosenResourceId().empty()) ++unexpected;
    }
  });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(0, unexpected.load());
}

}  // namespace
}  // namespace Ostrel
