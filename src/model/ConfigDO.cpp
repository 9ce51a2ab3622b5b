#include "model/ConfigDO.h"

#include "host/LogManager.h"
#include "model/CandidateDO.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("Ostrel.ConfigDO");
const char kParseMethod[] = "ParseFromJson";

// Read before the type test.
const StringField<ConfigDO> kLeadingMembers[] = {
    {"appKey", "appKey data format error", &ConfigDO::appKey},
    {"appVersion", "appVersion data format error", &ConfigDO::appVersion},
    {"id", "id data format error", &ConfigDO::id},
    {"name", "name data format error", &ConfigDO::name},
    {"resourceId", "resourceId data format error", &ConfigDO::resourceId},
    {"type", "type data format error", &ConfigDO::type},
};

// Read after it.
const StringField<ConfigDO> kTrailingMembers[] = {
    {"loadLevel", "loadLevel data format error", &ConfigDO::loadLevel},
    {"version", "version data format error", &ConfigDO::version},
    {"createTime", "createTime data format error", &ConfigDO::createTime},
};

}  // namespace

std::shared_ptr<ConfigDO> ConfigDO::ParseFromJson(const std::string& text) {
  // Parsed in place in a copy of the text, which then becomes the storage of
  // the content: keys and values are never copied a second time, which
  // matters for namespaces of many thousand keys.
  std::string buffer = text;
  rapidjson::Document document;
  ParseJsonInPlace(&buffer, &document);
  auto config = std::make_shared<ConfigDO>();
  if (!config->ParseHeader(document, "STANDARD", "type is not standard format error", kTag)) {
    return nullptr;
  }
  const auto member = document.FindMember("content");
  if (member == document.MemberEnd() || !member->value.IsObject()) {
    LogError(kParseMethod, kTag, "content data format error");
    return nullptr;
  }
  const rapidjson::Value& content = member->value;
  ConfigContent::Builder builder;
  builder.Reserve(content.MemberCount(), 0);
  const char* base = buffer.data();
  for (auto it = content.MemberBegin(); it != content.MemberEnd(); ++it) {
    if (!it->name.IsString() || !it->value.IsString()) {
      LogError(kParseMethod, kTag, "data in content format error");
      return nullptr;
    }
    builder.AddAt(static_cast<size_t>(it->name.GetString() - base), it->name.GetStringLength(),
                  static_cast<size_t>(it->value.GetString() - base),
                  it->value.GetStringLength());
  }
  config->content = builder.Finish(std::move(buffer));
  return config;
}

bool ConfigDO::ParseHeader(const rapidjson::Value& root, const char* expectedType,
                           const char* typeMessage, LogTag tag) {
  const char* failure = ReadStringFields(root, kLeadingMembers, this);
  if (failure == nullptr && type != expectedType) failure = typeMessage;
  if (failure == nullptr) failure = ReadStringFields(root, kTrailingMembers, this);
  if (failure == nullptr) return true;
  LogError(kParseMethod, tag, failure);
  return false;
}

bool ConfigDO::CheckValid(const AppScope& app) const {
  return CheckHeader(app, !content.empty(), kTag);
}

bool ConfigDO::CheckHeader(const AppScope& app, bool hasContent, LogTag tag) const {
  // createTime may be empty on purpose.
  if (appKey.empty() || appVersion.empty() || id.empty() || name.empty() ||
      resourceId.empty() || type.empty() || loadLevel.empty() || version.empty() || !hasContent) {
    return false;
  }
  if (IsForApp(app, appKey, appVersion)) return true;
  LogError("CheckValid", tag, "invaild");
  return false;
}

void ConfigDO::WriteContent(JsonWriter& writer) const {
  writer.StartObject();
  for (const ConfigContent::Pair& pair : content) {
    WriteString(writer, pair.first);
    WriteString(writer, pair.second);
  }
  writer.EndObject();
}

std::string ConfigDO::ToJson() const {
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  writer.StartObject();
  WriteStringFields(writer, kLeadingMembers, *this);
  WriteStringFields(writer, kTrailingMembers, *this);
  writer.Key("content");
  WriteContent(writer);
  writer.EndObject();
  return std::string(buffer.GetString(), buffer.GetSize());
}

std::string ConfigDO::ContentText() const {
  rapidjson::StringBuffer buffer;
  JsonWriter writer(buffer);
  WriteContent(writer);
  return std::string(buffer.GetString(), buffer.GetSize());
}

const std::string& ConfigDO::ReportedVersion() const {
  return candidate ? candidate->version : version;
}

}  // namespace Ostrel
