// Lock-free read sections, and deferred reclamation for the data they read.
#ifndef OSTREL_HOST_READSECTION_H_
#define OSTREL_HOST_READSECTION_H_

#include <atomic>
#include <cstdint>

// Thread-locals read on every host call use the initial-exec model where the
// platform has it: one load from the thread pointer instead of a call into
// the dynamic loader for each access.
#if defined(__GNUC__) && !defined(_WIN32) && !defined(__APPLE__)
#define OSTREL_FAST_TLS __attribute__((tls_model("initial-exec")))
#else
#define OSTREL_FAST_TLS
#endif

// A plain-data thread-local that other translation units can read inline,
// without the initialisation wrapper C++ thread_local needs across units.
#if defined(__GNUC__)
#define OSTREL_THREAD_LOCAL __thread
#else
#define OSTREL_THREAD_LOCAL thread_local
#endif

namespace Ostrel {

// A reader marks the time it spends reading published data by holding a
// ReadSection. Entering and leaving cost one uncontended atomic increment and
// decrement on a counter of the thread's own cache line, so readers on
// different threads never write a shared line. Sections nest.
//
// Writers never wait for readers. They retire what they unpublished at the
// current epoch and free it once the epoch has advanced twice; an advance is
// possible only when no reader of the previous epoch is left. So an object
// retired at epoch e is unreachable for every reader once the epoch is e + 2.
class ReadSection {
 public:
  using Counter = std::atomic<int64_t>;

  ReadSection() : counter_(Enter()) {}
  ~ReadSection() { Leave(counter_); }
  ReadSection(const ReadSection&) = delete;
  ReadSection& operator=(const ReadSection&) = delete;

  // The raw form, for callers that cannot use the scope (ApiGate): Enter
  // returns the counter to hand to Leave.
  static Counter* Enter();
  static void Leave(Counter* counter);

  static uint64_t CurrentEpoch();
  // Advances the epoch when no reader that entered before the current epoch
  // is still inside. Returns the epoch after the attempt. Any thread.
  static uint64_t TryAdvance();
  // True while any reader of either epoch parity is inside.
  static bool AnyReaderInside();

 private:
  Counter* const counter_;
};

namespace read_section_internal {

// Two counters, one per epoch parity, on a cache line of their own. A slot
// is either owned by one thread, which then leaves with a plain store, or
// shared by several (when more threads read at once than there are slots),
// which then leave with an atomic decrement.
struct alignas(64) Slot {
  std::atomic<int64_t> inside[2] = {{0}, {0}};
  std::atomic<bool> owned{false};  // owned slots only
};

constexpr int kOwnedSlotCount = 128;
constexpr int kSharedSlotCount = 16;
extern Slot gOwnedSlots[kOwnedSlotCount];
extern Slot gSharedSlots[kSharedSlotCount];
extern std::atomic<uint64_t> gEpoch;
extern OSTREL_FAST_TLS OSTREL_THREAD_LOCAL Slot* tSlot;
extern OSTREL_FAST_TLS OSTREL_THREAD_LOCAL bool tSlotOwned;
Slot* AssignSlot();

}  // namespace read_section_internal

// Inline: it runs on every host call. The increment is sequentially
// consistent and precedes every read of published data; TryAdvance counts
// with sequentially consistent loads after the writer's unpublishing store:
// a reader either is counted, or entered after the store and cannot see what
// was unpublished. Leaving only has to publish the reader's last reads
// (release); on an owned slot a plain store does that.
inline ReadSection::Counter* ReadSection::Enter() {
  using namespace read_section_internal;
  Slot* slot = tSlot;
  if (slot == nullptr) slot = AssignSlot();
  Counter* counter = &slot->inside[gEpoch.load(std::memory_order_acquire) & 1];
  counter->fetch_add(1, std::memory_order_seq_cst);
  return counter;
}

inline void ReadSection::Leave(Counter* counter) {
  using namespace read_section_internal;
  if (tSlotOwned) {
    counter->store(counter->load(std::memory_order_relaxed) - 1, std::memory_order_release);
  } else {
    counter->fetch_sub(1, std::memory_order_release);
  }
}

}  // namespace Ostrel

#endif  // OSTREL_HOST_READSECTION_H_
