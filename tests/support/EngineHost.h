// Shared set-up of the engine tests: a host with the fakes, a stored or
// served index, and the URLs the library is expected to ask for.
#ifndef OSTREL_TESTS_SUPPORT_ENGINEHOST_H_
#define OSTREL_TESTS_SUPPORT_ENGINEHOST_H_

#include <string>
#include <vector>

#include "Documents.h"
#include "SdkHost.h"

namespace OstrelTest {

constexpr char kCdn[] = "cdn.test";
constexpr char kApiHost[] = "api.test";

inline std::wstring Widen(const std::string& text) { return std::wstring(text.begin(), text.end()); }

// The CDN URL of a resource (the fetch scheme starts as https).
inline std::string CdnUrl(const std::string& resourceId) {
  return std::string("https://") + kCdn + "/" + resourceId;
}
// The signed fallback of a resource (env 2, the default, is plain http).
inline std::string SignedUrl(const std::string& resourceId) {
  return std::string("http://") + kApiHost + "/downloadResource?resourceId=" + resourceId;
}

inline ScriptedResponse Body(const std::string& body) {
  ScriptedResponse response;
  response.body = body;
  return response;
}
inline ScriptedResponse Failure() {
  ScriptedResponse response;
  response.returnCode = -1;
  return response;
}

// Init with the test host and, where the tests build it, the stand-in
// signing library.
inline bool InitEngine(SdkHost& host, const std::string& brand = "acme") {
  return host.InitAndWait([&](Ostrel::IOConfig* config) {
    config->setHost(kApiHost)->setBrand(brand.c_str())->setModel("m1")->setOsVersion("10.0");
#ifdef OSTREL_TEST_SIGN_DIR
    config->setSignLibraryPath(Widen(OSTREL_TEST_SIGN_DIR).c_str());
#endif
  });
}

// Stores an index and, for each namespace given a content, its config.
inline void StoreIndex(SdkHost& host, const std::vector<NamespaceSpec>& namespaces,
                       const std::string& id = "index-1", const std::string& version = "1") {
  host.storage.PutRaw("ostrel.index", Frame(IndexJson(id, version, kCdn, namespaces)));
}

// Serves the STANDARD config of ns from the CDN and returns its body.
inline std::string ServeConfig(SdkHost& host, const NamespaceSpec& ns,
                               const std::map<std::string, std::string>& content) {
  const std::string body = ConfigJson(ns.name, ns.version, content, ResourceIdOf(ns));
  host.http.Route(CdnUrl(ResourceIdOf(ns)), Body(body));
  return body;
}

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_SUPPORT_ENGINEHOST_H_
