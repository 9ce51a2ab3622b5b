// A host HTTP client that holds every request until the test lets it pass,
// so that a test decides when a download (and its listener calls) happens.
#ifndef OSTREL_TESTS_SUPPORT_HELDHTTPCLIENT_H_
#define OSTREL_TESTS_SUPPORT_HELDHTTPCLIENT_H_

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "ostrel/IOHttp.h"

namespace OstrelTest {

// Forwards to inner once released. A held request gives up after ten
// seconds and fails, so that a broken test cannot hang the library.
class HeldHttpClient : public Ostrel::IOHttpClient {
 public:
  explicit HeldHttpClient(Ostrel::IOHttpClient& inner) : inner_(inner) {}

  int Send(Ostrel::IOHttpRequest* request, Ostrel::IOHttpResponse* response) override;

  void Hold();
  void Release();
  // Waits until at least count requests have arrived (held or not).
  bool WaitForArrivals(size_t count,
                       std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;

 private:
  Ostrel::IOHttpClient& inner_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  bool held_ = false;     // guarded by mutex_
  size_t arrivals_ = 0;   // guarded by mutex_
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_SUPPORT_HELDHTTPCLIENT_H_
