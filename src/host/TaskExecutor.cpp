#include "host/TaskExecutor.h"

#include <algorithm>
#include <exception>

#include "host/LogManager.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("Ostrel.TaskExecutor");

thread_local bool tIsWorkerThread = false;

}  // namespace

TaskExecutor::TaskExecutor(uint32_t minThreads, uint32_t maxThreads)
    : minThreads_(minThreads), maxThreads_(std::max({minThreads, maxThreads, 1u})) {}

TaskExecutor::~TaskExecutor() { Shutdown(); }

bool TaskExecutor::IsWorkerThread() { return tIsWorkerThread; }

bool TaskExecutor::Post(Task task, std::string name) {
  MutexLock lock(&mutex_);
  if (stopped_) return false;
  if (tasks_.size() >= tasks_.max_size()) {
    LogError("Post", kTag, "list too long");
    return false;
  }
  try {
    tasks_.emplace_back(std::move(task), std::move(name));
  } catch (const std::exception& e) {
    LogError("Post", kTag, std::string("post failed: ") + e.what());
    return false;
  }
  ++taskCount_;
  try {
    if (threadCount_ < minThreads_ ||
        (taskCount_ > idleCount_ && threadCount_ < maxThreads_)) {
      StartWorkerLocked();
    }
  } catch (const std::exception& e) {
    // No thread could be started. A running worker still takes the task;
    // without one it would wait in the queue for ever, so it is taken back.
    if (threadCount_ == 0) {
      tasks_.pop_back();
      --taskCount_;
      LogError("Post", kTag, std::string("post failed: ") + e.what());
      return false;
    }
    LogError("Post", kTag, std::string("no extra worker started: ") + e.what());
  }
  taskAvailable_.Signal();
  return true;
}

void TaskExecutor::StartWorkerLocked() {
  workers_.emplace_back([this] { WorkerLoop(); });
  ++threadCount_;
}

void TaskExecutor::WorkerLoop() {
  tIsWorkerThread = true;
  mutex_.Lock();
  for (;;) {
    ++idleCount_;
    while (!stopped_ && tasks_.empty()) taskAvailable_.Wait();
    --idleCount_;
    if (stopped_) break;
    std::pair<Task, std::string> next = std::move(tasks_.front());
    tasks_.pop_front();
    --taskCount_;
    mutex_.Unlock();
    RunTask(next.first, next.second);
    // Release what the task captured before taking the lock again.
    next = {};
    mutex_.Lock();
  }
  --threadCount_;
  mutex_.Unlock();
}

void TaskExecutor::RunTask(const Task& task, const std::string& name) {
  try {
    task();
  } catch (const std::exception& e) {
    LogError("RunTask", kTag, "task " + name + " threw: " + e.what());
  } catch (...) {
    LogError("RunTask", kTag, "task " + name + " threw an unknown exception");
  }
}

void TaskExecutor::Shutdown() {
  MutexLock exitLock(&exitSync_);
  std::vector<std::thread> workers;
  std::list<std::pair<Task, std::string>> dropped;
  {
    MutexLock lock(&mutex_);
    stopped_ = true;
    dropped.swap(tasks_);
    taskCount_ = 0;
    workers.swap(workers_);
  }
  taskAvailable_.SignalAll();
  for (std::thread& worker : workers) {
    if (worker.get_id() == std::this_thread::get_id()) {
      // A task tearing down its own executor cannot join itself.
      worker.detach();
    } else if (worker.joinable()) {
      worker.join();
    }
  }
  // Queued tasks are destroyed here, outside the lock, after the workers left.
}

}  // namespace Ostrel
