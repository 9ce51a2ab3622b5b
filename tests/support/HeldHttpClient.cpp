#include "HeldHttpClient.h"

namespace OstrelTest {

int HeldHttpClient::Send(Ostrel::IOHttpRequest* request, Ostrel::IOHttpResponse* response) {
  {
    std::unique_lock<std::mutex> lock(mutex_);
    ++arrivals_;
    changed_.notify_all();
    if (!changed_.wait_for(lock, std::chrono::seconds(10), [this] { return !held_; })) return -1;
  }
  return inner_.Send(request, response);
}

void HeldHttpClient::Hold() {
  std::lock_guard<std::mutex> lock(mutex_);
  held_ = true;
}

void HeldHttpClient::Release() {
  std::lock_guard<std::mutex> lock(mutex_);
  held_ = false;
  changed_.notify_all();
}

bool HeldHttpClient::WaitForArrivals(size_t count, std::chrono::milliseconds timeout) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] { return arrivals_ >= count; });
}

}  // namespace OstrelTest
