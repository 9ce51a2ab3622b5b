#include "model/CustomConfigDO.h"

#include "host/LogManager.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("Ostrel.CustomConfigDO");

}  // namespace

std::shared_ptr<CustomConfigDO> CustomConfigDO::ParseFromJson(const std::string& text) {
  rapidjson::Document document;
  ParseJsonText(text, &document);
  auto config = std::make_shared<CustomConfigDO>();
  if (!config->ParseHeader(document, "CUSTOM", "type is not custom format error", kTag)) {
    return nullptr;
  }
  if (!ReadStringMember(document, "content", &config->content)) {
    LogError("ParseFromJson", kTag, "content data format error");
    return nullptr;
  }
  return config;
}

bool CustomConfigDO::CheckValid(const AppScope& app) const {
  return CheckHeader(app, !content.empty(), kTag);
}

std::string CustomConfigDO::ContentText() const { return content; }

void CustomConfigDO::WriteContent(JsonWriter& writer) const { WriteString(writer, content); }

}  // namespace Ostrel
