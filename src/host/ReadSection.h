// Lock-free read sections, and deferred reclamation for the data they read.
#ifndef OSTREL_HOST_READSECTION_H_
#define OSTREL_HOST_READSECTION_H_

#include <cstdint>

// Thread-locals read on every host call use the initial-exec model where the
// platform has it: one load from the thread pointer instead of a call into
// the dynamic loader for each access.
#if defined(__GNUC__) && !defined(_WIN32) && !defined(__APPLE__)
#define OSTREL_FAST_TLS __attribute__((tls_model("initial-exec")))
#else
#define OSTREL_FAST_TLS
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
  ReadSection() : parity_(Enter()) {}
  ~ReadSection() { Leave(parity_); }
  ReadSection(const ReadSection&) = delete;
  ReadSection& operator=(const ReadSection&) = delete;

  // The raw form, for callers that cannot use the scope (ApiGate).
  static int Enter();
  static void Leave(int parity);

  static uint64_t CurrentEpoch();
  // Advances the epoch when no reader that entered before the current epoch
  // is still inside. Returns the epoch after the attempt. Any thread.
  static uint64_t TryAdvance();
  // True while any reader of either epoch parity is inside.
  static bool AnyReaderInside();

 private:
  const int parity_;
};

}  // namespace Ostrel

#endif  // OSTREL_HOST_READSECTION_H_
