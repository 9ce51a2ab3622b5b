#include "model/JsonFields.h"

namespace Ostrel {

void ParseJsonText(const std::string& text, rapidjson::Document* document) {
  document->Parse<rapidjson::kParseIterativeFlag>(text.data(), text.size());
}

void ParseJsonInPlace(std::string* buffer, rapidjson::Document* document) {
  document->ParseInsitu<rapidjson::kParseIterativeFlag>(&(*buffer)[0]);
}

bool ReadStringMember(const rapidjson::Value& object, const char* name, std::string* out) {
  if (!object.IsObject()) return false;
  const auto member = object.FindMember(name);
  if (member == object.MemberEnd() || !member->value.IsString()) return false;
  out->assign(member->value.GetString(), member->value.GetStringLength());
  return true;
}

}  // namespace Ostrel
