// A text placed right before an inaccessible page: a read past its end
// faults, with or without a sanitizer.
#ifndef OSTREL_TESTS_SUPPORT_GUARDEDPAGE_H_
#define OSTREL_TESTS_SUPPORT_GUARDEDPAGE_H_

#include <cstring>
#include <string>
#include <string_view>

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>
#else
#include <sys/mman.h>
#include <unistd.h>
#endif

namespace OstrelTest {

class GuardedPage {
 public:
  GuardedPage() {
#ifdef _WIN32
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    size_ = info.dwPageSize;
    base_ = static_cast<char*>(
        VirtualAlloc(nullptr, 2 * size_, MEM_RESERVE | MEM_COMMIT, PAGE_READWRITE));
    DWORD previous;
    VirtualProtect(base_ + size_, size_, PAGE_NOACCESS, &previous);
#else
    size_ = static_cast<size_t>(sysconf(_SC_PAGESIZE));
    base_ = static_cast<char*>(
        mmap(nullptr, 2 * size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    mprotect(base_ + size_, size_, PROT_NONE);
#endif
  }
  ~GuardedPage() {
#ifdef _WIN32
    VirtualFree(base_, 0, MEM_RELEASE);
#else
    munmap(base_, 2 * size_);
#endif
  }
  GuardedPage(const GuardedPage&) = delete;
  GuardedPage& operator=(const GuardedPage&) = delete;

  // A copy of text, at most a page long, ending at the inaccessible page.
  std::string_view Place(const std::string& text) {
    char* at = base_ + size_ - text.size();
    std::memcpy(at, text.data(), text.size());
    return std::string_view(at, text.size());
  }

 private:
  size_t size_;
  char* base_;
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_SUPPORT_GUARDEDPAGE_H_
