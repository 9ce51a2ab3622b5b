// Executors that let a test decide when background work runs. Only for tests
// that link the internal library.
#ifndef OSTREL_TESTS_SUPPORT_TESTEXECUTORS_H_
#define OSTREL_TESTS_SUPPORT_TESTEXECUTORS_H_

#include <deque>
#include <string>
#include <utility>

#include "host/Executor.h"

namespace OstrelTest {

// Runs each task at once, on the posting thread.
class InlineExecutor : public Ostrel::Executor {
 public:
  bool Post(Task task, std::string name) override {
    names.push_back(std::move(name));
    task();
    return true;
  }

  std::deque<std::string> names;  // of every task posted, in order
};

// Keeps tasks until the test runs them; refuses them while closed. Single
// thread only.
class ManualExecutor : public Ostrel::Executor {
 public:
  bool Post(Task task, std::string name) override {
    if (closed) return false;
    tasks_.emplace_back(std::move(task), std::move(name));
    return true;
  }

  // Runs what is queued, in posting order, including what those tasks post.
  void RunAll() {
    while (!tasks_.empty()) {
      Task task = std::move(tasks_.front().first);
      tasks_.pop_front();
      task();
    }
  }

  size_t Queued() const { return tasks_.size(); }

  bool closed = false;

 private:
  std::deque<std::pair<Task, std::string>> tasks_;
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_SUPPORT_TESTEXECUTORS_H_
