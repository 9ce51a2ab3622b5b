// One published immutable object that readers take without a lock.
#ifndef OSTREL_HOST_SNAPSHOTCELL_H_
#define OSTREL_HOST_SNAPSHOTCELL_H_

#include <atomic>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "host/ReadSection.h"

namespace Ostrel {

// Readers call Read() inside a ReadSection and may use the object until they
// leave it. Writers must be serialised by the owner (one writer at a time);
// Publish never waits for readers: the replaced object is freed by a later
// Publish, or by the destructor, once no reader can still hold it.
template <typename T>
class SnapshotCell {
 public:
  explicit SnapshotCell(std::unique_ptr<T> initial) : current_(initial.release()) {}

  // No reader may be inside any more.
  ~SnapshotCell() { delete current_.load(std::memory_order_acquire); }

  SnapshotCell(const SnapshotCell&) = delete;
  SnapshotCell& operator=(const SnapshotCell&) = delete;

  // Never null. Valid until the calling reader leaves its ReadSection, or,
  // for the writer, until its next Publish.
  const T* Read() const { return current_.load(std::memory_order_acquire); }

  void Publish(std::unique_ptr<T> next) {
    const T* previous = current_.exchange(next.release(), std::memory_order_seq_cst);
    retired_.emplace_back(ReadSection::CurrentEpoch(), std::unique_ptr<const T>(previous));
    ReadSection::TryAdvance();
    const uint64_t epoch = ReadSection::TryAdvance();
    size_t kept = 0;
    for (auto& entry : retired_) {
      if (entry.first + 2 > epoch) retired_[kept++] = std::move(entry);
    }
    retired_.resize(kept);
  }

  // Objects replaced but not yet freed (for tests).
  size_t RetiredCount() const { return retired_.size(); }

 private:
  std::atomic<const T*> current_;
  std::vector<std::pair<uint64_t, std::unique_ptr<const T>>> retired_;  // writer only
};

}  // namespace Ostrel

#endif  // OSTREL_HOST_SNAPSHOTCELL_H_
