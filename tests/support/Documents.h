// Builders of the service's documents and of stored records, for tests.
#ifndef OSTREL_TESTS_SUPPORT_DOCUMENTS_H_
#define OSTREL_TESTS_SUPPORT_DOCUMENTS_H_

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace OstrelTest {

constexpr char kAppKey[] = "app-key";
constexpr char kAppVersion[] = "1.0.0";

struct CandidateSpec {
  std::string resourceId;
  std::string md5;
  std::string match;
  std::string version;
};

struct NamespaceSpec {
  NamespaceSpec(std::string nameArg = "", std::string versionArg = "1")
      : name(std::move(nameArg)), version(std::move(versionArg)) {}

  std::string name;
  std::string version = "1";
  std::string resourceId;      // defaults to name + "-v" + version
  std::string md5;             // the digest of the body served for it, or empty
  std::string type = "STANDARD";
  std::string loadLevel = "DEFAULT";
  std::vector<CandidateSpec> candidates;
};

// A STANDARD config document.
std::string ConfigJson(const std::string& name, const std::string& version,
                       const std::map<std::string, std::string>& content,
                       const std::string& resourceId = "", const std::string& appKey = kAppKey,
                       const std::string& appVersion = "*");
// A CUSTOM config document.
std::string CustomJson(const std::string& name, const std::string& version,
                       const std::string& text, const std::string& resourceId = "");

// An index document; namespaces get their default resource ids.
std::string IndexJson(const std::string& id, const std::string& version, const std::string& cdn,
                      const std::vector<NamespaceSpec>& namespaces,
                      const std::string& appKey = kAppKey, const std::string& appVersion = "*");
// One namespace descriptor alone (a push message).
std::string NamespaceJson(const NamespaceSpec& ns);

std::string ResourceIdOf(const NamespaceSpec& ns);

// The lowercase hexadecimal MD5 of bytes.
std::string Md5Of(const std::string& bytes);
// A stored record as the host's store holds it: digest, line feed, value.
std::string Frame(const std::string& value);

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_SUPPORT_DOCUMENTS_H_
