#include "host/ReadSection.h"

#include <atomic>

#if defined(_WIN32)
#include <windows.h>
#elif defined(__linux__)
#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

#include "host/Mutex.h"

namespace Ostrel {
namespace read_section_internal {

Slot gOwnedSlots[kOwnedSlotCount];
Slot gSharedSlots[kSharedSlotCount];
std::atomic<uint64_t> gEpoch{2};
OSTREL_FAST_TLS OSTREL_THREAD_LOCAL ThreadReader tReader = {nullptr, false, false};

namespace {

// Whether writers can make every reader thread pass a full barrier. Decided
// once, before the first reader takes a slot or the first writer counts, and
// never changed: a reader that entered with a plain store relies on every
// later count being preceded by the barrier.
bool ProcessBarrierAvailable() {
#if defined(_WIN32)
  return true;
#elif defined(__linux__) && defined(__NR_membarrier)
  static const bool available = [] {
    const long commands = syscall(__NR_membarrier, MEMBARRIER_CMD_QUERY, 0);
    if (commands < 0 || (commands & MEMBARRIER_CMD_PRIVATE_EXPEDITED) == 0) return false;
    // The expedited command needs the process to register first (once).
    return syscall(__NR_membarrier, MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED, 0) == 0;
  }();
  return available;
#else
  return false;
#endif
}

// Every thread of the process passes a full memory barrier before this
// returns: a store a reader made before that point is visible to the
// caller's later loads, and a load the reader makes after it sees the
// caller's earlier stores. Nothing to do when readers enter atomically.
void PassProcessBarrier() {
  if (!ProcessBarrierAvailable()) return;
#if defined(_WIN32)
  FlushProcessWriteBuffers();
#elif defined(__linux__) && defined(__NR_membarrier)
  // Cannot fail once registered: the command was reported and accepted.
  syscall(__NR_membarrier, MEMBARRIER_CMD_PRIVATE_EXPEDITED, 0);
#endif
}

OSTREL_FAST_TLS OSTREL_THREAD_LOCAL bool tThreadEnding = false;

// Owns the thread's slot and gives it back when the thread ends; its
// counters are zero then, as every section is scoped. The slot is kept here
// and not only in tReader: where __thread variables are emulated
// (mingw-w64), their storage can be released before this destructor runs,
// and tReader then reads as never set.
struct SlotRelease {
  Slot* slot = nullptr;
  ~SlotRelease() {
    if (slot != nullptr) slot->owned.store(false, std::memory_order_release);
    slot = nullptr;
    tReader = {nullptr, false, false};
    tThreadEnding = true;
  }
};

Slot* AssignSharedSlot() {
  static std::atomic<unsigned> nextShared{0};
  Slot* slot = &gSharedSlots[nextShared.fetch_add(1, std::memory_order_relaxed) % kSharedSlotCount];
  tReader = {slot, false, false};
  return slot;
}

}  // namespace

Slot* AssignSlot() {
  // A call from another thread-local's destructor, after ours ran: a shared
  // slot needs nothing released.
  if (tThreadEnding) return AssignSharedSlot();
  thread_local SlotRelease release;
  if (release.slot == nullptr) {
    for (Slot& slot : gOwnedSlots) {
      bool expected = false;
      if (!slot.owned.load(std::memory_order_relaxed) &&
          slot.owned.compare_exchange_strong(expected, true, std::memory_order_acquire)) {
        release.slot = &slot;
        break;
      }
    }
    // More threads read at once than there are owned slots.
    if (release.slot == nullptr) return AssignSharedSlot();
  }
  tReader = {release.slot, true, ProcessBarrierAvailable()};
  return release.slot;
}

}  // namespace read_section_internal

namespace {

using read_section_internal::gEpoch;
using read_section_internal::PassProcessBarrier;
using read_section_internal::gOwnedSlots;
using read_section_internal::gSharedSlots;
using read_section_internal::Slot;

// Serialises epoch advances: two writers counting at once could both see
// the previous parity empty and advance twice.
Mutex gAdvanceMutex;

// Callers pass the process barrier first, so that readers that entered with a
// plain store are counted.
int64_t CountInside(int parity) {
  int64_t total = 0;
  for (Slot& slot : gOwnedSlots) total += slot.inside[parity].load(std::memory_order_seq_cst);
  for (Slot& slot : gSharedSlots) total += slot.inside[parity].load(std::memory_order_seq_cst);
  return total;
}

}  // namespace

uint64_t ReadSection::CurrentEpoch() { return gEpoch.load(std::memory_order_seq_cst); }

uint64_t ReadSection::TryAdvance() {
  MutexLock lock(&gAdvanceMutex);
  const uint64_t epoch = gEpoch.load(std::memory_order_seq_cst);
  // Readers of the previous epoch share its parity with the next epoch; they
  // must be gone before new readers start counting there.
  const int previousParity = static_cast<int>((epoch + 1) & 1);
  PassProcessBarrier();
  if (CountInside(previousParity) != 0) return epoch;
  gEpoch.store(epoch + 1, std::memory_order_seq_cst);
  return epoch + 1;
}

bool ReadSection::AnyReaderInside() {
  PassProcessBarrier();
  return CountInside(0) != 0 || CountInside(1) != 0;
}

}  // namespace Ostrel
