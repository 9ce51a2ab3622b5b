// A host HTTP client that answers from a script and records every request.
#ifndef OSTREL_TESTS_SUPPORT_SCRIPTEDHTTPCLIENT_H_
#define OSTREL_TESTS_SUPPORT_SCRIPTEDHTTPCLIENT_H_

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "ostrel/IOHttp.h"

namespace OstrelTest {

struct ScriptedResponse {
  int returnCode = 0;          // what Send returns
  bool setSuccess = true;      // whether SetSuccess is called at all
  bool success = true;
  std::string body;
  bool setBody = true;         // false: SetBody is not called
  bool nullBody = false;       // SetBody(nullptr)
  std::string header;
  int statusCode = 200;
  std::string message;
  std::chrono::milliseconds delay{0};
};

struct RecordedRequest {
  int type;
  std::string url;
  std::string body;
  std::vector<std::string> headers;
  unsigned headerCount;
  std::string extra0, extra1, extra2;
  int64_t option;
};

// Routes by URL: an exact route wins over the longest matching prefix route.
// An unrouted URL is answered with Send returning -1.
class ScriptedHttpClient : public Ostrel::IOHttpClient {
 public:
  int Send(Ostrel::IOHttpRequest* request, Ostrel::IOHttpResponse* response) override;

  void Route(const std::string& url, const ScriptedResponse& response);
  void RoutePrefix(const std::string& prefix, const ScriptedResponse& response);
  void ClearRoutes();

  // Requests whose URL starts with prefix stop in Send, once recorded, until
  // Release(prefix). A held request goes on by itself after ten seconds, so
  // that a failing test cannot hang the library's teardown.
  void Hold(const std::string& prefix);
  void Release(const std::string& prefix);
  // Waits until a request is stopped at prefix.
  bool WaitHeld(const std::string& prefix,
                std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;

  std::vector<RecordedRequest> Requests() const;
  size_t RequestCount() const;
  // Requests whose URL starts with prefix.
  size_t CountPrefix(const std::string& prefix) const;
  bool WaitForRequests(size_t count,
                       std::chrono::milliseconds timeout = std::chrono::seconds(10)) const;

 private:
  void WaitWhileHeld(const std::string& url);

  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::map<std::string, ScriptedResponse> exact_;
  std::map<std::string, ScriptedResponse> prefixes_;
  std::vector<RecordedRequest> requests_;
  // Held prefix to the number of requests stopped there.
  std::map<std::string, int> held_;
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_SUPPORT_SCRIPTEDHTTPCLIENT_H_
