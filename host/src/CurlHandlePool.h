// The easy handles of one HTTP client, kept between transfers, and the one
// switch that stops every transfer in flight.
#ifndef OSTREL_HOST_SRC_CURLHANDLEPOOL_H_
#define OSTREL_HOST_SRC_CURLHANDLEPOOL_H_

#include <curl/curl.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "CurlShare.h"

namespace OstrelHost {

// Each pooled handle is an easy handle driven through a multi handle of its
// own. The multi handle keeps the connections of the handle's past
// transfers, so a handle taken from the pool talks to a host it reached
// before over the same TCP and TLS connection, and it can be woken from
// another thread, which is how Shutdown stops a transfer at once.
//
// Thread-safe: Acquire, Perform (each on its own lease), Shutdown and the
// leases' release may run on any threads at once.
class CurlHandlePool {
 public:
  struct Handle {
    Handle(CURL* easyHandle, CURLM* multiHandle) : easy(easyHandle), multi(multiHandle) {}
    ~Handle();
    Handle(const Handle&) = delete;
    Handle& operator=(const Handle&) = delete;
    CURL* const easy;    // owned
    CURLM* const multi;  // owned; holds the handle's connections
  };

  // A handle on loan for one exchange; goes back to its pool when the lease
  // ends. Moveable, not copyable.
  class Lease {
   public:
    Lease() = default;
    Lease(CurlHandlePool* pool, std::unique_ptr<Handle> handle)
        : pool_(pool), handle_(std::move(handle)) {}
    Lease(Lease&&) = default;
    Lease& operator=(Lease&&) = delete;
    ~Lease();
    explicit operator bool() const { return handle_ != nullptr; }
    Handle& operator*() const { return *handle_; }
    Handle* operator->() const { return handle_.get(); }

   private:
    CurlHandlePool* pool_ = nullptr;
    std::unique_ptr<Handle> handle_;
  };

  // maxIdle handles are kept between transfers; 0 makes every transfer run
  // on fresh handles with nothing shared, as if each were the first.
  explicit CurlHandlePool(size_t maxIdle);
  // No lease may be outstanding.
  ~CurlHandlePool() = default;
  CurlHandlePool(const CurlHandlePool&) = delete;
  CurlHandlePool& operator=(const CurlHandlePool&) = delete;

  // A handle, the most recently used idle one first; it may still hold the
  // options of its last transfer, so the caller resets it. Empty after Shutdown or when libcurl cannot make a
  // handle; why then says which.
  Lease Acquire(std::string* why);
  // The share the pool's handles should use; null when nothing is shared.
  CURLSH* share() const { return share_ ? share_->get() : nullptr; }

  // Runs the configured transfer of handle to its end. Returns libcurl's
  // result; when the pool was shut down meanwhile, or the multi interface
  // itself failed, CURLE_ABORTED_BY_CALLBACK or CURLE_FAILED_INIT with the
  // reason in *why.
  CURLcode Perform(Handle& handle, std::string* why);

  // Stops every transfer in flight (each Perform returns at once) and makes
  // every later Acquire fail. Idle handles are closed. Irreversible.
  void Shutdown();
  bool IsShutDown() const { return shutDown_.load(); }

 private:
  void Release(std::unique_ptr<Handle> handle);

  // Constant after construction. share_ comes first so that it outlives
  // every handle that uses it.
  const std::unique_ptr<CurlShare> share_;
  const size_t maxIdle_;

  std::atomic<bool> shutDown_{false};  // written under mutex_
  std::mutex mutex_;
  std::vector<std::unique_ptr<Handle>> idle_;  // guarded by mutex_
  std::vector<Handle*> lent_;                  // guarded by mutex_
};

}  // namespace OstrelHost

#endif  // OSTREL_HOST_SRC_CURLHANDLEPOOL_H_
