// A program run as a child process, its stdout and stderr captured as they
// arrive, so that a test can wait for a line and then read the exit code.
#ifndef OSTREL_TESTS_TOOLS_CHILDPROCESS_H_
#define OSTREL_TESTS_TOOLS_CHILDPROCESS_H_

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

extern char** environ;

namespace OstrelToolsTest {

// Start once; the other members may be called from the test's thread while
// the readers fill the output. The destructor kills a child still running.
class ChildProcess {
 public:
  ChildProcess() = default;
  ~ChildProcess() {
    if (pid_ > 0) {
      kill(pid_, SIGKILL);
      Finish(std::chrono::seconds(10));
    }
    for (std::thread& thread : threads_) {
      if (thread.joinable()) thread.join();
    }
  }
  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  // Runs program with args; false when it could not be started.
  bool Start(const std::string& program, const std::vector<std::string>& args) {
    int out[2];
    int err[2];
    if (pipe(out) != 0) return false;
    if (pipe(err) != 0) {
      close(out[0]);
      close(out[1]);
      return false;
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
    posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
    for (int fd : {out[0], out[1], err[0], err[1]}) posix_spawn_file_actions_addclose(&actions, fd);
    std::vector<std::string> words{program};
    words.insert(words.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& word : words) argv.push_back(&word[0]);
    argv.push_back(nullptr);
    const int spawned =
        posix_spawn(&pid_, program.c_str(), &actions, nullptr, argv.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    close(out[1]);
    close(err[1]);
    if (spawned != 0) {
      pid_ = -1;
      close(out[0]);
      close(err[0]);
      return false;
    }
    threads_.emplace_back([this, fd = out[0]] { Drain(fd, stdout_); });
    threads_.emplace_back([this, fd = err[0]] { Drain(fd, stderr_); });
    threads_.emplace_back([this, pid = pid_] {
      int status = 0;
      const int code =
          waitpid(pid, &status, 0) == pid && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
      std::lock_guard<std::mutex> lock(mutex_);
      exitCode_ = code;
      exited_ = true;
      changed_.notify_all();
    });
    return true;
  }

  // Waits until stdout holds text, at most timeout.
  bool WaitForStdout(const std::string& text, std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, timeout,
                             [&] { return stdout_.find(text) != std::string::npos; });
  }

  // Waits for the exit and both streams' end; the exit code, or -1 when the
  // child was killed, died of a signal or outlived timeout (then killed).
  int Finish(std::chrono::milliseconds timeout) {
    std::unique_lock<std::mutex> lock(mutex_);
    if (!changed_.wait_for(lock, timeout, [&] { return exited_ && closed_ == 2; })) {
      if (pid_ > 0 && !exited_) kill(pid_, SIGKILL);
      changed_.wait(lock, [&] { return exited_ && closed_ == 2; });
      exitCode_ = -1;
    }
    pid_ = -1;
    return exitCode_;
  }

  std::string Stdout() {
    std::lock_guard<std::mutex> lock(mutex_);
    return stdout_;
  }
  std::string Stderr() {
    std::lock_guard<std::mutex> lock(mutex_);
    return stderr_;
  }

 private:
  void Drain(int fd, std::string& into) {
    char buffer[4096];
    for (ssize_t got; (got = read(fd, buffer, sizeof(buffer))) != 0;) {
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) break;
      std::lock_guard<std::mutex> lock(mutex_);
      into.append(buffer, static_cast<size_t>(got));
      changed_.notify_all();
    }
    close(fd);
    std::lock_guard<std::mutex> lock(mutex_);
    ++closed_;
    changed_.notify_all();
  }

  pid_t pid_ = -1;
  std::vector<std::thread> threads_;
  std::mutex mutex_;
  std::condition_variable changed_;
  std::string stdout_;   // guarded by mutex_
  std::string stderr_;   // guarded by mutex_
  int closed_ = 0;       // guarded by mutex_: streams at their end
  bool exited_ = false;  // guarded by mutex_
  int exitCode_ = -1;    // guarded by mutex_
};

}  // namespace OstrelToolsTest

#endif  // OSTREL_TESTS_TOOLS_CHILDPROCESS_H_
