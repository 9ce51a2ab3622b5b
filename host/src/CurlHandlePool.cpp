#include "CurlHandlePool.h"

#include <algorithm>
#include <utility>

namespace OstrelHost {
namespace {

// libcurl shortens the wait to its own next timer (connect or total
// timeout), and Shutdown wakes the wait, so this only bounds an idle loop.
constexpr int kPollCapMs = 1000;

}  // namespace

// Both calls accept null, for a handle whose making half failed.
CurlHandlePool::Handle::~Handle() {
  curl_easy_cleanup(easy);
  curl_multi_cleanup(multi);
}

CurlHandlePool::Lease::~Lease() {
  if (handle_) pool_->Release(std::move(handle_));
}

CurlHandlePool::CurlHandlePool(size_t maxIdle)
    : share_(maxIdle > 0 ? std::make_unique<CurlShare>() : nullptr), maxIdle_(maxIdle) {}

CurlHandlePool::Lease CurlHandlePool::Acquire(std::string* why) {
  std::unique_ptr<Handle> handle;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    if (shutDown_.load()) {
      *why = "the client is shut down";
      return Lease();
    }
    if (!idle_.empty()) {
      handle = std::move(idle_.back());
      idle_.pop_back();
      lent_.push_back(handle.get());
    }
  }
  if (handle) return Lease(this, std::move(handle));
  // Made outside the lock: creating a multi handle opens its wake-up socket.
  handle = std::make_unique<Handle>(curl_easy_init(), curl_multi_init());
  if (handle->easy == nullptr || handle->multi == nullptr) {
    *why = "libcurl could not make a handle";
    return Lease();
  }
  std::lock_guard<std::mutex> lock(mutex_);
  // A Shutdown that came meanwhile must not miss this handle.
  if (shutDown_.load()) {
    *why = "the client is shut down";
    return Lease();
  }
  lent_.push_back(handle.get());
  return Lease(this, std::move(handle));
}

void CurlHandlePool::Release(std::unique_ptr<Handle> handle) {
  std::lock_guard<std::mutex> lock(mutex_);
  lent_.erase(std::remove(lent_.begin(), lent_.end(), handle.get()), lent_.end());
  if (!shutDown_.load() && idle_.size() < maxIdle_) idle_.push_back(std::move(handle));
  // Otherwise the handle closes here, with its connections.
}

CURLcode CurlHandlePool::Perform(Handle& handle, std::string* why) {
  if (curl_multi_add_handle(handle.multi, handle.easy) != CURLM_OK) {
    *why = "libcurl could not start the transfer";
    return CURLE_FAILED_INIT;
  }
  CURLcode result = CURLE_OK;
  for (;;) {
    if (shutDown_.load()) {
      *why = "the client is shut down";
      result = CURLE_ABORTED_BY_CALLBACK;
      break;
    }
    int running = 0;
    CURLMcode step = curl_multi_perform(handle.multi, &running);
    if (step == CURLM_OK && running == 0) {
      int queued = 0;
      CURLMsg* message = curl_multi_info_read(handle.multi, &queued);
      result = message != nullptr && message->msg == CURLMSG_DONE ? message->data.result
                                                                  : CURLE_FAILED_INIT;
      break;
    }
    if (step == CURLM_OK) step = curl_multi_poll(handle.multi, nullptr, 0, kPollCapMs, nullptr);
    if (step != CURLM_OK) {
      *why = curl_multi_strerror(step);
      result = CURLE_FAILED_INIT;
      break;
    }
  }
  curl_multi_remove_handle(handle.multi, handle.easy);
  return result;
}

void CurlHandlePool::Shutdown() {
  std::vector<std::unique_ptr<Handle>> closing;
  std::lock_guard<std::mutex> lock(mutex_);
  shutDown_.store(true);
  // A wake-up reaches a poll in progress, or the next one, so no transfer
  // that was lent before this point can keep waiting.
  for (Handle* handle : lent_) curl_multi_wakeup(handle->multi);
  closing.swap(idle_);
}

}  // namespace OstrelHost
