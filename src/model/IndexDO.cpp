#include "model/IndexDO.h"

#include "host/LogManager.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("Ostrel.IndexDO");

const StringField<IndexDO> kMembers[] = {
    {"appKey", "appKey format error!!!", &IndexDO::appKey},
    {"appVersion", "appVersion format error!!!", &IndexDO::appVersion},
    {"id", "id format error!!!", &IndexDO::id},
    {"cdn", "cdn format error!!!", &IndexDO::cdn},
    {"version", "version format error!!!", &IndexDO::version},
    {"appIndexVersion", "appIndexVersion format error!!!", &IndexDO::appIndexVersion},
    {"versionIndexVersion", "versionIndexVersion format error!!!",
     &IndexDO::versionIndexVersion},
};

std::shared_ptr<IndexDO> Fail(const char* message) {
  LogError("ParseFormJson", kTag, message);
  return nullptr;
}

}  // namespace

std::shared_ptr<IndexDO> IndexDO::ParseFormJson(const std::string& text) {
  if (text.empty()) return Fail("IndexDO::ParseFormJson parameter empty error!!!");
  rapidjson::Document document;
  ParseJsonText(text, &document);
  auto index = std::make_shared<IndexDO>();
  if (const char* failure = ReadStringFields(document, kMembers, index.get())) {
    return Fail(failure);
  }
  const auto member = document.FindMember("mergedNamespaces");
  if (member == document.MemberEnd() || !member->value.IsArray()) {
    return Fail("mergedNamespaces format error!!!");
  }
  for (const rapidjson::Value& element : member->value.GetArray()) {
    std::shared_ptr<NamespaceDO> ns = NamespaceDO::ParseFromJson(element);
    if (ns == nullptr) return Fail("data in mergedNamespaces format error!!!");
    index->mergedNamespaces.push_back(std::move(ns));
  }
  return index;
}

bool IndexDO::CheckValid(const AppScope& app) const {
  if (appKey.empty() || appVersion.empty() || appIndexVersion.empty() ||
      versionIndexVersion.empty() || id.empty() || cdn.empty() || version.empty() ||
      mergedNamespaces.empty()) {
    return false;
  }
  if (IsForApp(app, appKey, appVersion)) return true;
  LogError("CheckValid", kTag, "index invaild");
  return false;
}

std::string IndexDO::ToJson() const {
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  writer.StartObject();
  WriteStringFields(writer, kMembers, *this);
  writer.Key("mergedNamespaces");
  writer.StartArray();
  for (const std::shared_ptr<NamespaceDO>& ns : mergedNamespaces) {
    // A null entry cannot come from a parse and could not be read back.
    if (ns != nullptr) ns->WriteJson(writer);
  }
  writer.EndArray();
  writer.EndObject();
  return std::string(buffer.GetString(), buffer.GetSize());
}

}  // namespace Ostrel
