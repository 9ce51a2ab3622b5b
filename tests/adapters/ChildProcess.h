// A test's helper program, started from beside the test executable, whose
// output lines the test reads and which the test may kill at any moment.
#ifndef OSTREL_TESTS_ADAPTERS_CHILDPROCESS_H_
#define OSTREL_TESTS_ADAPTERS_CHILDPROCESS_H_

#include <string>
#include <vector>

namespace OstrelTest {

class ChildProcess {
 public:
  // Starts program (".exe" is added on Windows) with args; started() tells
  // whether that worked.
  ChildProcess(const std::string& program, const std::vector<std::string>& args);
  // Kills the child when it still runs.
  ~ChildProcess();
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  bool started() const { return started_; }
  // The next line of the child's standard output, without its line feed;
  // false once the output has ended.
  bool ReadLine(std::string* line);
  // Ends the child at once, as a crash or a power cut would, and waits
  // until it is gone.
  void Kill();

 private:
  bool started_ = false;
  bool ended_ = false;
  std::string pending_;  // output read past the last line
#ifdef _WIN32
  void* process_ = nullptr;
  void* output_ = nullptr;
#else
  int pid_ = -1;
  int output_ = -1;
#endif
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_ADAPTERS_CHILDPROCESS_H_
