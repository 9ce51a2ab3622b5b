// Storage writes queued for the task pool, coalesced per key.
#ifndef OSTREL_CACHE_PENDINGWRITES_H_
#define OSTREL_CACHE_PENDINGWRITES_H_

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "host/Executor.h"
#include "host/Mutex.h"

namespace Ostrel {

// A cache hands each write to the pool as "write the latest value of this
// key". Only the newest write of a key is kept while it waits, so the newer
// document is always the last one stored however the pool orders its tasks,
// and whatever the pool dropped at shutdown is written by Flush.
class PendingWrites : public std::enable_shared_from_this<PendingWrites> {
 public:
  // A write: persists something, or removes the key. Runs on a pool thread,
  // or in Flush.
  using Write = std::function<void()>;

  // executor: runs the writes; not owned, and must take no more work (or
  // be gone) only after the writes' owner has flushed them.
  static std::shared_ptr<PendingWrites> Create(Executor* executor) {
    return std::shared_ptr<PendingWrites>(new PendingWrites(executor));
  }

  // Replaces any write of key still waiting and makes sure one task named
  // taskName will run it. If the executor refuses the task (shutting down),
  // the write stays for Flush.
  void Schedule(const std::string& key, Write write, const std::string& taskName);

  // Runs every waiting write on this thread, in key order.
  void Flush();

 private:
  explicit PendingWrites(Executor* executor) : executor_(executor) {}
  void RunOne(const std::string& key);

  // Constant after construction.
  Executor* const executor_;  // not owned

  Mutex mutex_;
  std::map<std::string, Write> waiting_ GUARDED_BY(mutex_);
};

}  // namespace Ostrel

#endif  // OSTREL_CACHE_PENDINGWRITES_H_
