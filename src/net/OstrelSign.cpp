#include "net/OstrelSign.h"

#include <atomic>
#include <mutex>

namespace Ostrel {
namespace {

std::atomic<IOstrelSign*> gInstance{nullptr};
std::mutex gInstanceMutex;

}  // namespace

IOstrelSign* OstrelSign::GetInstance() {
  IOstrelSign* instance = gInstance.load(std::memory_order_acquire);
  if (instance != nullptr) return instance;
  std::lock_guard<std::mutex> lock(gInstanceMutex);
  instance = gInstance.load(std::memory_order_relaxed);
  if (instance == nullptr) {
    instance = CreatePlatformSign().release();
    gInstance.store(instance, std::memory_order_release);
  }
  return instance;
}

IOstrelSign* OstrelSign::Peek() { return gInstance.load(std::memory_order_acquire); }

void OstrelSign::DestroyInstance() {
  IOstrelSign* instance = Peek();
  if (instance == nullptr) return;
  instance->Release();
  std::lock_guard<std::mutex> lock(gInstanceMutex);
  std::unique_ptr<IOstrelSign> owned(gInstance.load(std::memory_order_relaxed));
  gInstance.store(nullptr, std::memory_order_release);
}

}  // namespace Ostrel
