#include "Documents.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace OstrelTest {
namespace {

using Writer = rapidjson::Writer<rapidjson::StringBuffer>;

void Member(Writer& writer, const char* key, const std::string& value) {
  writer.Key(key);
  writer.String(value.data(), static_cast<rapidjson::SizeType>(value.size()));
}

void ConfigHeader(Writer& writer, const std::string& appKey, const std::string& appVersion,
                  const std::string& name, const std::string& resourceId,
                  const std::string& type, const std::string& version) {
  Member(writer, "appKey", appKey);
  Member(writer, "appVersion", appVersion);
  Member(writer, "id", "id-" + name);
  Member(writer, "name", name);
  Member(writer, "resourceId", resourceId.empty() ? name + "-v" + version : resourceId);
  Member(writer, "type", type);
  Member(writer, "loadLevel", "DEFAULT");
  Member(writer, "version", version);
  Member(writer, "createTime", "1700000000");
}

void WriteNamespace(Writer& writer, const NamespaceSpec& ns) {
  writer.StartObject();
  Member(writer, "loadLevel", ns.loadLevel);
  Member(writer, "md5", ns.md5);
  Member(writer, "name", ns.name);
  Member(writer, "resourceId", ResourceIdOf(ns));
  Member(writer, "version", ns.version);
  Member(writer, "type", ns.type);
  if (!ns.candidates.empty()) {
    writer.Key("candidates");
    writer.StartArray();
    for (const CandidateSpec& candidate : ns.candidates) {
      writer.StartObject();
      Member(writer, "resourceId", candidate.resourceId);
      Member(writer, "md5", candidate.md5);
      Member(writer, "match", candidate.match);
      Member(writer, "version", candidate.version);
      writer.EndObject();
    }
    writer.EndArray();
  }
  writer.EndObject();
}

}  // namespace

std::string ResourceIdOf(const NamespaceSpec& ns) {
  return ns.resourceId.empty() ? ns.name + "-v" + ns.version : ns.resourceId;
}

std::string ConfigJson(const std::string& name, const std::string& version,
                       const std::map<std::string, std::string>& content,
                       const std::string& resourceId, const std::string& appKey,
                       const std::string& appVersion) {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  writer.StartObject();
  ConfigHeader(writer, appKey, appVersion, name, resourceId, "STANDARD", version);
  writer.Key("content");
  writer.StartObject();
  for (const auto& pair : content) Member(writer, pair.first.c_str(), pair.second);
  writer.EndObject();
  writer.EndObject();
  return buffer.GetString();
}

std::string CustomJson(const std::string& name, const std::string& version,
                       const std::string& text, const std::string& resourceId) {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  writer.StartObject();
  ConfigHeader(writer, kAppKey, "*", name, resourceId, "CUSTOM", version);
  Member(writer, "content", text);
  writer.EndObject();
  return buffer.GetString();
}

std::string IndexJson(const std::string& id, const std::string& version, const std::string& cdn,
                      const std::vector<NamespaceSpec>& namespaces, const std::string& appKey,
                      const std::string& appVersion) {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  writer.StartObject();
  Member(writer, "appKey", appKey);
  Member(writer, "appVersion", appVersion);
  Member(writer, "id", id);
  Member(writer, "cdn", cdn);
  Member(writer, "version", version);
  Member(writer, "appIndexVersion", "3");
  Member(writer, "versionIndexVersion", "4");
  writer.Key("mergedNamespaces");
  writer.StartArray();
  for (const NamespaceSpec& ns : namespaces) WriteNamespace(writer, ns);
  writer.EndArray();
  writer.EndObject();
  return buffer.GetString();
}

std::string NamespaceJson(const NamespaceSpec& ns) {
  rapidjson::StringBuffer buffer;
  Writer writer(buffer);
  WriteNamespace(writer, ns);
  return buffer.GetString();
}

std::string Frame(const std::string& value) { return Md5Of(value) + "\n" + value; }

}  // namespace OstrelTest
