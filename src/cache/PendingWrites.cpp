#include "cache/PendingWrites.h"

namespace Ostrel {

void PendingWrites::Schedule(const std::string& key, Write write, const std::string& taskName) {
  bool alreadyQueued = false;
  {
    MutexLock lock(&mutex_);
    auto it = waiting_.find(key);
    alreadyQueued = it != waiting_.end();
    if (alreadyQueued) {
      it->second = std::move(write);
    } else {
      waiting_.emplace(key, std::move(write));
    }
  }
  if (alreadyQueued) return;  // the task already posted will take the newest write
  std::weak_ptr<PendingWrites> self = shared_from_this();
  executor_->Post(
      [self, key] {
        if (auto writes = self.lock()) writes->RunOne(key);
      },
      taskName);
}

void PendingWrites::RunOne(const std::string& key) {
  Write write;
  {
    MutexLock lock(&mutex_);
    auto it = waiting_.find(key);
    if (it == waiting_.end()) return;  // flushed already
    write = std::move(it->second);
    waiting_.erase(it);
  }
  write();
}

void PendingWrites::Flush() {
  std::map<std::string, Write> writes;
  {
    MutexLock lock(&mutex_);
    writes.swap(waiting_);
  }
  for (auto& entry : writes) entry.second();
}

}  // namespace Ostrel
