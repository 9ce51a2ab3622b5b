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
// ReadSection. Sections nest. Each reading thread owns a counter on a cache
// line of its own, so readers on different threads never write a shared
// line, and entering is a plain store: the ordering that a store followed by
// a load of published data would need from the reader (a locked instruction
// on x86) is paid instead by the rare writer, with a process-wide barrier
// (membarrier on Linux, FlushProcessWriteBuffers on Windows) that makes every
// reader's earlier stores visible before the writer counts. Where the
// platform has no such barrier, readers enter with an atomic increment.
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
  // returns the counter to hand to Leave. Every load the caller makes after
  // Enter returns is ordered after the entry, for a writer that counts
  // through TryAdvance or AnyReaderInside.
  static Counter* Enter();
  static void Leave(Counter* counter);

  static uint64_t CurrentEpoch();
  // Advances the epoch when no reader that entered before the current epoch
  // is still inside. Returns the epoch after the attempt. Any thread; a
  // reader that entered before the caller's last store to published data is
  // counted, or sees that store.
  static uint64_t TryAdvance();
  // True while any reader of either epoch parity is inside; as TryAdvance, it
  // counts every reader that could have missed the caller's earlier stores.
  static bool AnyReaderInside();

 private:
  Counter* const counter_;
};

namespace read_section_internal {

// Two counters, one per epoch parity, on a cache line of their own. A slot
// is either owned by one thread, the only one that writes its counters, or
// shared by several (when more threads read at once than there are slots),
// which then count with atomic increments and decrements.
struct alignas(64) Slot {
  std::atomic<int64_t> inside[2] = {{0}, {0}};
  std::atomic<bool> owned{false};  // owned slots only
};

constexpr int kOwnedSlotCount = 128;
constexpr int kSharedSlotCount = 16;
extern Slot gOwnedSlots[kOwnedSlotCount];
extern Slot gSharedSlots[kSharedSlotCount];
extern std::atomic<uint64_t> gEpoch;
// The calling thread's counters and how it updates them, together so that
// a section reaches them through one thread-local address.
struct ThreadReader {
  Slot* slot;  // null until the thread's first section
  bool owned;  // the slot is this thread's alone
  // Owned, and writers pass the process-wide barrier: the thread enters
  // with a plain store.
  bool plainEntry;
};
extern OSTREL_FAST_TLS OSTREL_THREAD_LOCAL ThreadReader tReader;
// Fills tReader; returns its slot.
Slot* AssignSlot();

}  // namespace read_section_internal

// Inline: it runs on every host call.
//
// Plain entry: only this thread writes the counter, so a load and a store
// replace the increment. The signal fence keeps the compiler from moving the
// caller's later loads above the store; the processor may still do so (a
// store waits in its store buffer), which is what the writers' process-wide
// barrier settles: it runs after their unpublishing store and before they
// count, and on return every reader thread has passed a full barrier. So a
// reader's entry is either visible to the count, or its later loads come
// after the barrier and see what the writer stored.
//
// Atomic entry: the sequentially consistent increment precedes every read of
// published data, and the writers count with sequentially consistent loads
// after their unpublishing store.
//
// The epoch is read relaxed: the parity only spreads readers over two
// counters so that an advance is not held up by readers that came later; an
// object is freed after two advances, which between them wait for both
// parities, so a reader is waited for whichever counter it chose.
//
// Leaving only has to publish the reader's last reads: a release store.
inline ReadSection::Counter* ReadSection::Enter() {
  using namespace read_section_internal;
  ThreadReader& reader = tReader;
  Slot* slot = reader.slot;
  if (slot == nullptr) slot = AssignSlot();
  Counter* counter = &slot->inside[gEpoch.load(std::memory_order_relaxed) & 1];
  if (reader.plainEntry) {
    counter->store(counter->load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
    std::atomic_signal_fence(std::memory_order_seq_cst);
  } else {
    counter->fetch_add(1, std::memory_order_seq_cst);
  }
  return counter;
}

inline void ReadSection::Leave(Counter* counter) {
  using namespace read_section_internal;
  if (tReader.owned) {
    counter->store(counter->load(std::memory_order_relaxed) - 1, std::memory_order_release);
  } else {
    counter->fetch_sub(1, std::memory_order_release);
  }
}

}  // namespace Ostrel

#endif  // OSTREL_HOST_READSECTION_H_
