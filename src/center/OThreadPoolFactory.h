// The process-wide executors that run all background work.
#ifndef OSTREL_CENTER_OTHREADPOOLFACTORY_H_
#define OSTREL_CENTER_OTHREADPOOLFACTORY_H_

#include <cstdint>
#include <memory>

#include "center/EngineServices.h"
#include "host/TaskExecutor.h"

namespace Ostrel {

// Two executors of one worker each for the network work, and one for storage
// writes. Shut down first at teardown, so no task outlives the engine it
// touches.
class OThreadPoolFactory {
 public:
  static OThreadPoolFactory* GetInstance();
  // The pool if it exists; never creates one.
  static OThreadPoolFactory* PeekInstance();
  static void DestroyInstance();

  OThreadPoolFactory();
  virtual ~OThreadPoolFactory();  // Shutdown()

  // Which executor runs which task. The primary executor receives the
  // start-up task and the lazy loads, the secondary one the rest of the
  // network work. Storage writes have a worker of their own, so that a
  // document is stored as soon as it is cached rather than after the
  // downloads queued before it.
  EngineExecutors Route();

  // Lets running tasks finish, drops what is queued and refuses new work.
  // Idempotent. Not from one of the pool's own workers.
  void Shutdown();

 private:
  // Each executor runs one worker: tasks of one executor never overlap.
  static constexpr uint32_t kMinThreads = 1;
  static constexpr uint32_t kMaxThreads = 1;

  // Constant after construction.
  const std::unique_ptr<TaskExecutor> primary_;
  const std::unique_ptr<TaskExecutor> secondary_;
  const std::unique_ptr<TaskExecutor> storage_;
};

}  // namespace Ostrel

#endif  // OSTREL_CENTER_OTHREADPOOLFACTORY_H_
