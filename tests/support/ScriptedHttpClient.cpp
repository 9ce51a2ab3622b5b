#include "ScriptedHttpClient.h"

#include <thread>

namespace OstrelTest {
namespace {

std::string Text(const char* text) { return text == nullptr ? std::string() : text; }

}  // namespace

int ScriptedHttpClient::Send(Ostrel::IOHttpRequest* request, Ostrel::IOHttpResponse* response) {
  RecordedRequest recorded;
  recorded.type = request->GetType();
  recorded.url = Text(request->GetUrl());
  const char* body = request->GetBody();
  if (body != nullptr) recorded.body.assign(body, static_cast<size_t>(request->GetBodyLength()));
  unsigned count = 0;
  const char** headers = request->GetHeaders(&count);
  recorded.headerCount = count;
  for (unsigned i = 0; headers != nullptr && i < count; ++i) {
    recorded.headers.push_back(Text(headers[i]));
  }
  recorded.extra0 = Text(request->GetExtra0());
  recorded.extra1 = Text(request->GetExtra1());
  recorded.extra2 = Text(request->GetExtra2());
  recorded.option = request->GetOption();

  ScriptedResponse script;
  bool routed = false;
  {
    std::lock_guard<std::mutex> lock(mutex_);
    requests_.push_back(recorded);
    auto exact = exact_.find(recorded.url);
    if (exact != exact_.end()) {
      script = exact->second;
      routed = true;
    } else {
      size_t best = 0;
      for (const auto& route : prefixes_) {
        if (recorded.url.compare(0, route.first.size(), route.first) == 0 &&
            route.first.size() >= best) {
          best = route.first.size();
          script = route.second;
          routed = true;
        }
      }
    }
  }
  changed_.notify_all();
  WaitWhileHeld(recorded.url);
  if (!routed) return -1;
  if (script.delay.count() > 0) std::this_thread::sleep_for(script.delay);
  if (script.setSuccess) response->SetSuccess(script.success);
  if (script.setBody) response->SetBody(script.nullBody ? nullptr : script.body.c_str());
  response->SetHeader(script.header.c_str());
  response->SetStatusCode(script.statusCode);
  response->SetMessage(script.message.c_str());
  return script.returnCode;
}

void ScriptedHttpClient::WaitWhileHeld(const std::string& url) {
  std::unique_lock<std::mutex> lock(mutex_);
  for (auto& hold : held_) {
    if (url.compare(0, hold.first.size(), hold.first) != 0) continue;
    const std::string prefix = hold.first;
    ++hold.second;
    changed_.notify_all();
    changed_.wait_for(lock, std::chrono::seconds(10), [&] { return held_.count(prefix) == 0; });
    return;
  }
}

void ScriptedHttpClient::Hold(const std::string& prefix) {
  std::lock_guard<std::mutex> lock(mutex_);
  held_[prefix] = 0;
}

void ScriptedHttpClient::Release(const std::string& prefix) {
  {
    std::lock_guard<std::mutex> lock(mutex_);
    held_.erase(prefix);
  }
  changed_.notify_all();
}

bool ScriptedHttpClient::WaitHeld(const std::string& prefix,
                                  std::chrono::milliseconds timeout) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] {
    auto hold = held_.find(prefix);
    return hold != held_.end() && hold->second > 0;
  });
}

void ScriptedHttpClient::Route(const std::string& url, const ScriptedResponse& response) {
  std::lock_guard<std::mutex> lock(mutex_);
  exact_[url] = response;
}

void ScriptedHttpClient::RoutePrefix(const std::string& prefix,
                                     const ScriptedResponse& response) {
  std::lock_guard<std::mutex> lock(mutex_);
  prefixes_[prefix] = response;
}

void ScriptedHttpClient::ClearRoutes() {
  std::lock_guard<std::mutex> lock(mutex_);
  exact_.clear();
  prefixes_.clear();
}

std::vector<RecordedRequest> ScriptedHttpClient::Requests() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return requests_;
}

size_t ScriptedHttpClient::RequestCount() const {
  std::lock_guard<std::mutex> lock(mutex_);
  return requests_.size();
}

size_t ScriptedHttpClient::CountPrefix(const std::string& prefix) const {
  std::lock_guard<std::mutex> lock(mutex_);
  size_t count = 0;
  for (const RecordedRequest& request : requests_) {
    if (request.url.compare(0, prefix.size(), prefix) == 0) ++count;
  }
  return count;
}

bool ScriptedHttpClient::WaitForRequests(size_t count, std::chrono::milliseconds timeout) const {
  std::unique_lock<std::mutex> lock(mutex_);
  return changed_.wait_for(lock, timeout, [&] { return requests_.size() >= count; });
}

}  // namespace OstrelTest
