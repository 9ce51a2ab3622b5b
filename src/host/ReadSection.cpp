#include "host/ReadSection.h"

#include <atomic>
#include <mutex>

namespace Ostrel {
namespace {

constexpr int kStripeCount = 16;

// Two counters per stripe, one per epoch parity.
struct alignas(64) Stripe {
  std::atomic<int64_t> inside[2] = {{0}, {0}};
};

Stripe gStripes[kStripeCount];
std::atomic<uint64_t> gEpoch{2};
std::atomic<unsigned> gNextStripe{0};
std::mutex gAdvanceMutex;

OSTREL_FAST_TLS thread_local int tStripe = -1;

Stripe& MyStripe() {
  if (tStripe < 0) {
    tStripe = static_cast<int>(gNextStripe.fetch_add(1, std::memory_order_relaxed) %
                               kStripeCount);
  }
  return gStripes[tStripe];
}

int64_t CountInside(int parity) {
  int64_t total = 0;
  for (Stripe& stripe : gStripes) total += stripe.inside[parity].load(std::memory_order_seq_cst);
  return total;
}

}  // namespace

// The increment is sequentially consistent and precedes every read of
// published data, and TryAdvance counts with sequentially consistent loads
// after the writer's unpublishing store: a reader either is counted, or
// entered after the store and cannot see what was unpublished.
int ReadSection::Enter() {
  const int parity = static_cast<int>(gEpoch.load(std::memory_order_acquire) & 1);
  MyStripe().inside[parity].fetch_add(1, std::memory_order_seq_cst);
  return parity;
}

void ReadSection::Leave(int parity) {
  MyStripe().inside[parity].fetch_sub(1, std::memory_order_release);
}

uint64_t ReadSection::CurrentEpoch() { return gEpoch.load(std::memory_order_seq_cst); }

uint64_t ReadSection::TryAdvance() {
  std::lock_guard<std::mutex> lock(gAdvanceMutex);
  const uint64_t epoch = gEpoch.load(std::memory_order_seq_cst);
  // Readers of the previous epoch share its parity with the next epoch; they
  // must be gone before new readers start counting there.
  const int previousParity = static_cast<int>((epoch + 1) & 1);
  if (CountInside(previousParity) != 0) return epoch;
  gEpoch.store(epoch + 1, std::memory_order_seq_cst);
  return epoch + 1;
}

bool ReadSection::AnyReaderInside() { return CountInside(0) != 0 || CountInside(1) != 0; }

}  // namespace Ostrel
