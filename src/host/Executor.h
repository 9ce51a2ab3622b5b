// Where background work runs.
#ifndef OSTREL_HOST_EXECUTOR_H_
#define OSTREL_HOST_EXECUTOR_H_

#include <functional>
#include <string>

namespace Ostrel {

// The library runs its background work on TaskExecutors; a part that posts
// work receives the executor to use at construction, so a test can hand it
// one that runs tasks inline or when the test says so.
class Executor {
 public:
  using Task = std::function<void()>;

  virtual ~Executor() = default;

  // Queues task under name (used for logging only). False, without queuing,
  // once the executor takes no more work.
  virtual bool Post(Task task, std::string name) = 0;
};

}  // namespace Ostrel

#endif  // OSTREL_HOST_EXECUTOR_H_
