#include "host/ReadSection.h"

#include <atomic>
#include <mutex>

namespace Ostrel {
namespace read_section_internal {

Slot gOwnedSlots[kOwnedSlotCount];
Slot gSharedSlots[kSharedSlotCount];
std::atomic<uint64_t> gEpoch{2};
OSTREL_FAST_TLS OSTREL_THREAD_LOCAL Slot* tSlot = nullptr;
OSTREL_FAST_TLS OSTREL_THREAD_LOCAL bool tSlotOwned = false;

namespace {

OSTREL_FAST_TLS OSTREL_THREAD_LOCAL bool tThreadEnding = false;

// Gives the thread's owned slot back when the thread ends; its counters are
// zero then, as every section is scoped.
struct SlotRelease {
  ~SlotRelease() {
    if (tSlotOwned) tSlot->owned.store(false, std::memory_order_release);
    tSlot = nullptr;
    tSlotOwned = false;
    tThreadEnding = true;
  }
};

Slot* AssignSharedSlot() {
  static std::atomic<unsigned> nextShared{0};
  tSlot = &gSharedSlots[nextShared.fetch_add(1, std::memory_order_relaxed) % kSharedSlotCount];
  tSlotOwned = false;
  return tSlot;
}

}  // namespace

Slot* AssignSlot() {
  // A call from another thread-local's destructor, after ours ran: a shared
  // slot needs nothing released.
  if (tThreadEnding) return AssignSharedSlot();
  thread_local SlotRelease release;
  (void)&release;  // constructed on first use, so that it runs at thread exit
  for (Slot& slot : gOwnedSlots) {
    bool expected = false;
    if (!slot.owned.load(std::memory_order_relaxed) &&
        slot.owned.compare_exchange_strong(expected, true, std::memory_order_acquire)) {
      tSlot = &slot;
      tSlotOwned = true;
      return tSlot;
    }
  }
  // More threads read at once than there are owned slots.
  return AssignSharedSlot();
}

}  // namespace read_section_internal

namespace {

using read_section_internal::gEpoch;
using read_section_internal::gOwnedSlots;
using read_section_internal::gSharedSlots;
using read_section_internal::Slot;

std::mutex gAdvanceMutex;

int64_t CountInside(int parity) {
  int64_t total = 0;
  for (Slot& slot : gOwnedSlots) total += slot.inside[parity].load(std::memory_order_seq_cst);
  for (Slot& slot : gSharedSlots) total += slot.inside[parity].load(std::memory_order_seq_cst);
  return total;
}

}  // namespace

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
