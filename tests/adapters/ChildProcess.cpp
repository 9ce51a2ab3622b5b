#include "ChildProcess.h"

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <fcntl.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#endif

namespace OstrelTest {

#ifdef _WIN32

namespace {

std::wstring Widen(const std::string& text) { return std::wstring(text.begin(), text.end()); }

std::wstring BesideSelf(const std::string& program) {
  wchar_t self[MAX_PATH];
  const DWORD length = GetModuleFileNameW(nullptr, self, MAX_PATH);
  std::wstring path(self, length);
  return path.substr(0, path.find_last_of(L"\\/") + 1) + Widen(program) + L".exe";
}

}  // namespace

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& args) {
  SECURITY_ATTRIBUTES inheritable{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  HANDLE read = nullptr;
  HANDLE write = nullptr;
  if (!CreatePipe(&read, &write, &inheritable, 0)) return;
  SetHandleInformation(read, HANDLE_FLAG_INHERIT, 0);
  const std::wstring path = BesideSelf(program);
  std::wstring command = L"\"" + path + L"\"";
  for (const std::string& arg : args) command += L" \"" + Widen(arg) + L"\"";
  STARTUPINFOW startup{};
  startup.cb = sizeof startup;
  startup.dwFlags = STARTF_USESTDHANDLES;
  startup.hStdOutput = write;
  startup.hStdError = GetStdHandle(STD_ERROR_HANDLE);
  PROCESS_INFORMATION info{};
  started_ = CreateProcessW(path.c_str(), command.data(), nullptr, nullptr, TRUE, 0, nullptr,
                            nullptr, &startup, &info) != 0;
  CloseHandle(write);
  output_ = read;
  if (!started_) return;
  CloseHandle(info.hThread);
  process_ = info.hProcess;
}

ChildProcess::~ChildProcess() {
  Kill();
  if (output_ != nullptr) CloseHandle(output_);
}

bool ChildProcess::ReadLine(std::string* line) {
  for (;;) {
    const size_t end = pending_.find('\n');
    if (end != std::string::npos) {
      *line = pending_.substr(0, end);
      if (!line->empty() && line->back() == '\r') line->pop_back();
      pending_.erase(0, end + 1);
      return true;
    }
    char buffer[256];
    DWORD got = 0;
    if (output_ == nullptr || !ReadFile(output_, buffer, sizeof buffer, &got, nullptr) || got == 0) {
      return false;
    }
    pending_.append(buffer, got);
  }
}

void ChildProcess::Kill() {
  if (process_ == nullptr || ended_) return;
  TerminateProcess(process_, 9);
  WaitForSingleObject(process_, INFINITE);
  CloseHandle(process_);
  process_ = nullptr;
  ended_ = true;
}

#else

namespace {

std::string BesideSelf(const std::string& program) {
  char self[PATH_MAX];
  const ssize_t length = ::readlink("/proc/self/exe", self, sizeof self - 1);
  if (length <= 0) return program;
  const std::string path(self, static_cast<size_t>(length));
  return path.substr(0, path.rfind('/') + 1) + program;
}

}  // namespace

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& args) {
  int pipe[2];
  if (::pipe2(pipe, O_CLOEXEC) != 0) return;
  const std::string path = BesideSelf(program);
  std::vector<char*> argv;
  argv.push_back(const_cast<char*>(path.c_str()));
  for (const std::string& arg : args) argv.push_back(const_cast<char*>(arg.c_str()));
  argv.push_back(nullptr);
  pid_ = ::fork();
  if (pid_ == 0) {
    ::dup2(pipe[1], STDOUT_FILENO);
    ::execv(path.c_str(), argv.data());
    ::_exit(127);
  }
  ::close(pipe[1]);
  output_ = pipe[0];
  started_ = pid_ > 0;
}

ChildProcess::~ChildProcess() {
  Kill();
  if (output_ >= 0) ::close(output_);
}

bool ChildProcess::ReadLine(std::string* line) {
  for (;;) {
    const size_t end = pending_.find('\n');
    if (end != std::string::npos) {
      *line = pending_.substr(0, end);
      pending_.erase(0, end + 1);
      return true;
    }
    char buffer[256];
    const ssize_t got = output_ >= 0 ? ::read(output_, buffer, sizeof buffer) : -1;
    if (got <= 0) return false;
    pending_.append(buffer, static_cast<size_t>(got));
  }
}

void ChildProcess::Kill() {
  if (pid_ <= 0 || ended_) return;
  ::kill(pid_, SIGKILL);
  int status = 0;
  while (::waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
  }
  ended_ = true;
}

#endif

}  // namespace OstrelTest
