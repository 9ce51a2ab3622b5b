// A program run as a child process of a test, its standard output and error
// captured as they arrive, so that a test can wait for a line, kill the
// child at any moment as a crash would, or read its exit code.
#ifndef OSTREL_TESTS_ADAPTERS_CHILDPROCESS_H_
#define OSTREL_TESTS_ADAPTERS_CHILDPROCESS_H_

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace OstrelTest {

class ChildProcess {
 public:
  // A program named without a folder is the one beside the test executable
  // (".exe" added on Windows). started() tells whether it runs.
  ChildProcess(const std::string& program, const std::vector<std::string>& args);
  ~ChildProcess();  // kills a child still running
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  bool started() const { return started_; }
  bool WaitForStdout(const std::string& text, std::chrono::milliseconds timeout);
  // Ends the child at once and waits until it is gone.
  void Kill();
  // The exit code once the child has ended and closed its output; -1 when
  // it was killed, or outlived timeout (then it is killed).
  int Finish(std::chrono::milliseconds timeout);
  std::string Stdout();
  std::string Stderr();

 private:
  void Drain(intptr_t pipe, std::string* into);
  void Await();

  bool started_ = false;
  intptr_t process_ = -1;  // a pid, or a process HANDLE on Windows
  std::vector<std::thread> threads_;
  std::mutex mutex_;
  std::condition_variable changed_;
  // Guarded by mutex_.
  std::string stdout_;
  std::string stderr_;
  int closed_ = 2;  // streams at their end
  bool exited_ = true;
  bool killed_ = false;
  int exitCode_ = -1;
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_ADAPTERS_CHILDPROCESS_H_
