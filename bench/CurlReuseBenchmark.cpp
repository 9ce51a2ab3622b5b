// An index update that changes 50 namespaces, applied by the library over
// HTTPS on loopback through the curl client: pooled handles that keep their
// connections and share TLS sessions, against a fresh handle (a new TCP
// connection and a full TLS handshake) per request.
#include <benchmark/benchmark.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>
#include <stdexcept>
#include <string>
#include <vector>

#include "Documents.h"
#include "LocalServer.h"
#include "MemoryStorage.h"
#include "Recorders.h"
#include "ScratchDir.h"
#include "SelfSignedCertificate.h"
#include "ostrel/OstrelSdk.h"
#include "ostrel_host/CurlHttpClient.h"
#include "ostrel_host/HttpGetRequest.h"

namespace {

constexpr int kNamespaces = 50;

// Keeps only the status of a direct download; the body is not looked at.
class StatusResponse final : public Ostrel::IOHttpResponse {
 public:
  void SetSuccess(bool) override {}
  void SetBody(const char*) override {}
  void SetHeader(const char*) override {}
  void SetStatusCode(int value) override { statusCode = value; }
  void SetMessage(const char*) override {}
  int statusCode = -1;
};

// Hands each request to the client the running benchmark chose, so that one
// start of the library serves both variants.
class SwitchableClient : public Ostrel::IOHttpClient {
 public:
  int Send(Ostrel::IOHttpRequest* request, Ostrel::IOHttpResponse* response) override {
    return current.load()->Send(request, response);
  }
  std::atomic<Ostrel::IOHttpClient*> current{nullptr};
};

// Counts the notifications that carry the version being waited for.
class VersionListener : public Ostrel::IOConfigListener {
 public:
  void onConfigUpdate(const char*, const char* version, bool) override {
    std::lock_guard<std::mutex> lock(mutex_);
    if (version != nullptr && expected_ == version) ++count_;
    changed_.notify_all();
  }
  void Expect(const std::string& version) {
    std::lock_guard<std::mutex> lock(mutex_);
    expected_ = version;
    count_ = 0;
  }
  bool WaitFor(int count) {
    std::unique_lock<std::mutex> lock(mutex_);
    return changed_.wait_for(lock, std::chrono::seconds(30), [&] { return count_ >= count; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  std::string expected_;  // guarded by mutex_
  int count_ = 0;         // guarded by mutex_
};

// The TLS server, the library and both clients, made once for the process.
class UpdateBench {
 public:
  UpdateBench() : server_(certificate_) {
    if (scratch_.path().empty() || !certificate_.WritePem(scratch_.File("ca.pem"))) {
      throw std::runtime_error("cannot write the certificate");
    }
    server_.server().Get(R"(/(.+))", [this](const httplib::Request& req, httplib::Response& res) {
      std::lock_guard<std::mutex> lock(mutex_);
      auto found = documents_.find(req.matches[1].str());
      if (found == documents_.end()) {
        res.status = 404;
        return;
      }
      res.set_content(found->second, "application/json");
    });
    OstrelHost::CurlHttpOptions options;
    options.proxy = std::string();
    options.caBundlePath = scratch_.File("ca.pem");
    reusing_ = std::make_unique<OstrelHost::CurlHttpClient>(options);
    options.maxIdleHandles = 0;
    fresh_ = std::make_unique<OstrelHost::CurlHttpClient>(options);
    client_.current = reusing_.get();

    sdk_ = GetIOstrelConfig();
    sdk_->setStorage(&storage_);
    sdk_->setHttpClient(&client_);
    Ostrel::IOConfig* config = CreateIOConfig();
    config->setAppKey(OstrelTest::kAppKey)->setAppVersion(OstrelTest::kAppVersion);
    config->setDeviceId("bench")->setHost(server_.Authority().c_str());
    config->setInitListener(&initListener_);
    const bool started = sdk_->init(config) && initListener_.WaitForCall();
    DestroyIOConfig(config);
    if (!started) throw std::runtime_error("the library did not start");
    for (int n = 0; n < kNamespaces; ++n) {
      sdk_->registerListener(("ns" + std::to_string(n)).c_str(), &listener_);
    }
    if (!ApplyUpdate()) throw std::runtime_error("the first update did not arrive");
  }

  // Publishes the next version of every namespace, relays its notice and
  // waits until the library has told every listener.
  bool ApplyUpdate() {
    const std::string version = std::to_string(++version_);
    const std::string indexId = "index-" + version;
    std::vector<OstrelTest::NamespaceSpec> namespaces;
    {
      std::lock_guard<std::mutex> lock(mutex_);
      documents_.clear();
      for (int n = 0; n < kNamespaces; ++n) {
        OstrelTest::NamespaceSpec descriptor("ns" + std::to_string(n), version);
        const std::string config = OstrelTest::ConfigJson(
            descriptor.name, version, {{"key", "value " + version}}, OstrelTest::ResourceIdOf(descriptor));
        descriptor.md5 = OstrelTest::Md5Of(config);
        documents_[OstrelTest::ResourceIdOf(descriptor)] = config;
        namespaces.push_back(descriptor);
      }
      documents_[indexId] =
          OstrelTest::IndexJson(indexId, version, server_.Authority(), namespaces);
    }
    listener_.Expect(version);
    Ostrel::IOIntercept* intercept = sdk_->getIntercept();
    const std::string notice =
        "cdn=" + server_.Authority() + "&resourceId=" + indexId + "&protocol=https";
    intercept->OnOstrelResponse(notice.c_str());
    sdk_->releaseIntercept(intercept);
    return listener_.WaitFor(kNamespaces);
  }

  void Use(bool reuse) { client_.current = reuse ? reusing_.get() : fresh_.get(); }

  // The same 50 downloads one after another through the client alone,
  // without the library's own work around them.
  bool Download(bool reuse) {
    Ostrel::IOHttpClient* client = reuse ? reusing_.get() : fresh_.get();
    for (int n = 0; n < kNamespaces; ++n) {
      OstrelTest::NamespaceSpec descriptor("ns" + std::to_string(n), std::to_string(version_));
      OstrelHost::HttpGetRequest request(
          "https://" + server_.Authority() + "/" + OstrelTest::ResourceIdOf(descriptor));
      StatusResponse response;
      if (client->Send(&request, &response) != 0 || response.statusCode != 200) return false;
    }
    return true;
  }

 private:
  OstrelTest::SelfSignedCertificate certificate_;
  OstrelTest::ScratchDir scratch_;
  OstrelTest::LocalServer server_;
  std::mutex mutex_;
  std::map<std::string, std::string> documents_;  // guarded by mutex_
  std::unique_ptr<OstrelHost::CurlHttpClient> reusing_;
  std::unique_ptr<OstrelHost::CurlHttpClient> fresh_;
  SwitchableClient client_;
  OstrelTest::MemoryStorage storage_;
  OstrelTest::RecordingInitListener initListener_;
  VersionListener listener_;
  Ostrel::IOstrelConfig* sdk_ = nullptr;
  int version_ = 0;
};

// Never destroyed: the library's teardown at exit is not what is measured.
UpdateBench& Bench() {
  static UpdateBench* bench = new UpdateBench();
  return *bench;
}

void BM_UpdateOf50Namespaces(benchmark::State& state, bool reuse) {
  UpdateBench& bench = Bench();
  bench.Use(reuse);
  for (auto _ : state) {
    if (!bench.ApplyUpdate()) {
      state.SkipWithError("the update did not arrive");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations() * kNamespaces);
}

void BM_Download50Namespaces(benchmark::State& state, bool reuse) {
  UpdateBench& bench = Bench();
  for (auto _ : state) {
    if (!bench.Download(reuse)) {
      state.SkipWithError("a download failed");
      break;
    }
  }
  state.SetItemsProcessed(state.iterations() * kNamespaces);
}

BENCHMARK_CAPTURE(BM_Download50Namespaces, fresh_handle_per_request, false)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_Download50Namespaces, pooled_handles, true)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_UpdateOf50Namespaces, fresh_handle_per_request, false)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(BM_UpdateOf50Namespaces, pooled_handles, true)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

}  // namespace

BENCHMARK_MAIN();
