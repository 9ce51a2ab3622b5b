// The process-wide pair of task executors that run all background work.
#ifndef OSTREL_CENTER_OTHREADPOOLFACTORY_H_
#define OSTREL_CENTER_OTHREADPOOLFACTORY_H_

#include <cstdint>
#include <memory>

#include "center/TaskExecutor.h"

namespace Ostrel {

// Two executors of one worker each. The primary one receives the start-up task
// "Init" and the lazy loads "ConfigCenter::GetConfigObj"; the other network
// work goes to the secondary one. Storage writes have a worker of their own,
// so that a document is stored as soon as it is cached rather than after the
// downloads queued before it. Destroyed first at teardown, so no task outlives
// the engine it touches.
class OThreadPoolFactory {
 public:
  static OThreadPoolFactory* GetInstance();
  static void DestroyInstance();

  OThreadPoolFactory();
  virtual ~OThreadPoolFactory();

  TaskExecutor& Primary() { return *primary_; }
  TaskExecutor& Secondary() { return *secondary_; }
  TaskExecutor& Storage() { return *storage_; }

  // Convenience for the rest of the library: post to an executor of the
  // process-wide pool. False when the pool is shutting down.
  static bool PostPrimary(TaskExecutor::Task task, std::string name);
  static bool PostSecondary(TaskExecutor::Task task, std::string name);
  static bool PostStorage(TaskExecutor::Task task, std::string name);

 private:
  // Each executor runs one worker: tasks of one executor never overlap.
  static constexpr uint32_t kMinThreads = 1;
  static constexpr uint32_t kMaxThreads = 1;
  std::unique_ptr<TaskExecutor> primary_;
  std::unique_ptr<TaskExecutor> secondary_;
  std::unique_ptr<TaskExecutor> storage_;
};

}  // namespace Ostrel

#endif  // OSTREL_CENTER_OTHREADPOOLFACTORY_H_
