#include "ChildProcess.h"

#ifdef _WIN32
#include <windows.h>
#else
#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>

extern char** environ;
#endif

namespace OstrelTest {
namespace {

#ifdef _WIN32
std::string SelfPath() {
  char self[MAX_PATH];
  return std::string(self, GetModuleFileNameA(nullptr, self, MAX_PATH));
}
const char kExtension[] = ".exe";
#else
std::string SelfPath() {
  char self[PATH_MAX];
  const ssize_t length = ::readlink("/proc/self/exe", self, sizeof self);
  return length > 0 ? std::string(self, static_cast<size_t>(length)) : std::string();
}
const char kExtension[] = "";
#endif

std::string Resolve(const std::string& program) {
  if (program.find_first_of("/\\") != std::string::npos) return program;
  const std::string self = SelfPath();
  return self.substr(0, self.find_last_of("/\\") + 1) + program + kExtension;
}

}  // namespace

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& args) {
  const std::string path = Resolve(program);
#ifdef _WIN32
  SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE out[2] = {};
  HANDLE err[2] = {};
  if (!CreatePipe(&out[0], &out[1], &inheritable, 0)) return;
  if (!CreatePipe(&err[0], &err[1], &inheritable, 0)) return;
  SetHandleInformation(out[0], HANDLE_FLAG_INHERIT, 0);
  SetHandleInformation(err[0], HANDLE_FLAG_INHERIT, 0);
  std::string command = "\"" + path + "\"";
  for (const std::string& arg : args) command += " \"" + arg + "\"";
  STARTUPINFOA startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = out[1];
  startup.hStdError = err[1];
  PROCESS_INFORMATION info{};
  started_ = CreateProcessA(path.c_str(), &command[0], nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                            &startup, &info) != 0;
  CloseHandle(out[1]);
  CloseHandle(err[1]);
  if (started_) {
    CloseHandle(info.hThread);
    process_ = reinterpret_cast<intptr_t>(info.hProcess);
  }
  const intptr_t outRead = reinterpret_cast<intptr_t>(out[0]);
  const intptr_t errRead = reinterpret_cast<intptr_t>(err[0]);
#else
  int out[2];
  int err[2];
  if (::pipe2(out, O_CLOEXEC) != 0) return;
  if (::pipe2(err, O_CLOEXEC) != 0) return;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
  posix_spawn_file_actions_adddup2(&actions, err[1], STDERR_FILENO);
  std::vector<char*> argv{const_cast<char*>(path.c_str())};
  for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  pid_t pid = -1;
  started_ = posix_spawn(&pid, path.c_str(), &actions, nullptr, argv.data(), environ) == 0;
  posix_spawn_file_actions_destroy(&actions);
  ::close(out[1]);
  ::close(err[1]);
  process_ = pid;
  const intptr_t outRead = out[0];
  const intptr_t errRead = err[0];
#endif
  closed_ = 0;
  exited_ = !started_;
  threads_.emplace_back([this, outRead] { Drain(outRead, &stdout_); });
  threads_.emplace_back([this, errRead] { Drain(errRead, &stderr_); });
  if (started_) threads_.emplace_back([this] { Await(); });
}

ChildProcess::~ChildProcess() {
  Kill();
  for (std::thread& thread : threads_) thread.join();
#ifdef _WIN32
  if (started_) CloseHandle(reinterpret_cast<HANDLE>(process_));
#endif
}

void ChildProcess::Drain(intptr_t pipe, std::string* into) {
  char buffer[4096];
  for (;;) {
#ifdef _WIN32
    DWORD got = 0;
    if (!ReadFile(reinterpret_cast<HANDLE>(pipe), buffer, sizeof buffer, &got, nullptr) ||
        got == 0) {
      break;
    }
#else
    const ssize_t got = ::read(static_cast<int>(pipe), buffer, sizeof buffer);
    if (got < 0 && errno == EINTR) continue;
    if (got <= 0) break;
#endif
    std::lock_guard<std::mutex> lock(mutex_);
    into->append(buffer, static_cast<size_t>(got));
    changed_.notify_all();
  }
#ifdef _WIN32
  CloseHandle(reinterpret_cast<HANDLE>(pipe));
#else
  ::close(static_cast<int>(pipe));
#endif
  std::lock_guard<std::mutex> lock(mutex_);
  ++closed_;
  changed_.notify_all();
}

void ChildProcess::Await() {
#ifdef _WIN32
  const HANDLE process = reinterpret_cast<HANDLE>(process_);
  WaitForSingleObject(process, INFINITE);
  DWORD status = 0;
  const int code = GetExitCodeProcess(process, &status) ? static_cast<int>(status) : -1;
#else
  int status = 0;
  while (::waitpid(static_cast<pid_t>(process_), &status, 0) < 0 && errno == EINTR) {
  }
  const int code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#endif
  std::lock_guard<std::mutex> lock(mutex_);
  exitCode_ = killed_ ? -1 : code;
  exited_ = true;
  changed_.notify_all();
}

bool ChildProcess::WaitForStdout(const std::string& text, std::chrono::milliseconds timeout) {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] { return stdout_.find(text) != std::string::npos; });
}

void ChildProcess::Kill() {
  std::unique_lock<std::mutex> lock(mutex_);
  if (!exited_) {
    killed_ = true;
#ifdef _WIN32
    TerminateProcess(reinterpret_cast<HANDLE>(process_), 9);
#else
    ::kill(static_cast<pid_t>(process_), SIGKILL);
#endif
  }
  changed_.wait(lock, [this] { return exited_; });
}

int ChildProcess::Finish(std::chrono::milliseconds timeout) {
  {
    std::unique_lock<std::mutex> lock(mutex_);
    if (changed_.wait_for(lock, timeout, [this] { return exited_ && closed_ == 2; })) {
      return exitCode_;
    }
  }
  Kill();
  std::unique_lock<std::mutex> lock(mutex_);
  changed_.wait(lock, [this] { return closed_ == 2; });
  return -1;
}

std::string ChildProcess::Stdout() {
  std::lock_guard<std::mutex> lock(mutex_);
  return stdout_;
}

std::string ChildProcess::Stderr() {
  std::lock_guard<std::mutex> lock(mutex_);
  return stderr_;
}

}  // namespace OstrelTest
