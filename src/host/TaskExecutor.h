// A FIFO queue of named tasks served by a bounded set of worker threads.
#ifndef OSTREL_HOST_TASKEXECUTOR_H_
#define OSTREL_HOST_TASKEXECUTOR_H_

#include <cstdint>
#include <functional>
#include <list>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "host/Executor.h"
#include "host/Mutex.h"

namespace Ostrel {

// Tasks run outside the lock, one per worker at a time, in posting order. With
// one worker (as the library always builds them) tasks never overlap. A task
// that throws is logged and never kills its worker. Shutdown lets the running
// tasks finish, drops what is still queued and joins the workers; posting is
// refused from then on.
class TaskExecutor final : public Executor {
 public:
  TaskExecutor(uint32_t minThreads, uint32_t maxThreads);
  ~TaskExecutor() override;  // Shutdown()

  TaskExecutor(const TaskExecutor&) = delete;
  TaskExecutor& operator=(const TaskExecutor&) = delete;

  // Queues task under name (used for logging only). False, without queuing,
  // once the executor is stopped.
  bool Post(Task task, std::string name) override;

  // Idempotent. Must not be called from one of this executor's own workers.
  void Shutdown();

  // True on a worker thread of any executor.
  static bool IsWorkerThread();

 private:
  void WorkerLoop() EXCLUDES(mutex_);
  void StartWorkerLocked() REQUIRES(mutex_);
  static void RunTask(const Task& task, const std::string& name);

  // Constant after construction.
  const uint32_t minThreads_;
  const uint32_t maxThreads_;

  Mutex mutex_;
  bool stopped_ GUARDED_BY(mutex_) = false;
  uint32_t threadCount_ GUARDED_BY(mutex_) = 0;
  uint32_t idleCount_ GUARDED_BY(mutex_) = 0;
  CondVar taskAvailable_{&mutex_};
  std::list<std::pair<Task, std::string>> tasks_ GUARDED_BY(mutex_);
  uint64_t taskCount_ GUARDED_BY(mutex_) = 0;
  std::vector<std::thread> workers_ GUARDED_BY(mutex_);

  // Serialises Shutdown calls; held while joining, never with mutex_.
  Mutex exitSync_;
};

}  // namespace Ostrel

#endif  // OSTREL_HOST_TASKEXECUTOR_H_
