#include "PublishedIndex.h"

#include "rapidjson/document.h"

namespace OstrelCli {

std::optional<std::set<std::string>> PublishedIndex::Namespaces(
    OstrelLocal::LocalSession& session) {
  std::string notice;
  if (!session.FetchFromServer("admin/notice?appKey=" + session.appKey(), notice)) {
    return std::nullopt;
  }
  if (notice.empty()) return std::set<std::string>();
  const std::string indexId = OstrelLocal::NoticeField(notice, "resourceId");
  std::string index;
  if (indexId.empty() || !session.FetchFromServer(indexId, index)) return std::nullopt;
  return Parse(index);
}

std::optional<std::set<std::string>> PublishedIndex::Parse(const std::string& indexJson) {
  rapidjson::Document document;
  document.Parse(indexJson.data(), indexJson.size());
  if (document.HasParseError() || !document.IsObject()) return std::nullopt;
  const auto list = document.FindMember("mergedNamespaces");
  if (list == document.MemberEnd() || !list->value.IsArray()) return std::nullopt;
  std::set<std::string> names;
  for (const auto& entry : list->value.GetArray()) {
    if (!entry.IsObject()) return std::nullopt;
    const auto name = entry.FindMember("name");
    if (name == entry.MemberEnd() || !name->value.IsString()) return std::nullopt;
    names.emplace(name->value.GetString(), name->value.GetStringLength());
  }
  return names;
}

}  // namespace OstrelCli
