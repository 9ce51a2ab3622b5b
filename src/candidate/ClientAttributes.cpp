#include "candidate/ClientAttributes.h"

#include <utility>

#include "candidate/HashCompare.h"
#include "candidate/StringCompare.h"
#include "candidate/VersionCompare.h"

namespace Ostrel {

ClientAttributes::ClientAttributes(Table table) : table_(std::move(table)) {}

std::shared_ptr<const ClientAttributes> ClientAttributes::Build(const Settings& settings) {
  // Comparators hold no state, so one instance per kind serves every row.
  auto version = std::make_shared<VersionCompare>();
  auto text = std::make_shared<StringCompare>();
  auto hash = std::make_shared<HashCompare>();
  struct Row {
    const char* key;
    const std::string& clientVal;
    std::shared_ptr<IOCandidateCompare> compare;
  };
  const Row rows[] = {
      {"app_ver", settings.appVersion, version},
      {"os_ver", settings.osVersion, version},
      {"m_fac", settings.manufacturer, text},
      {"m_brand", settings.brand, text},
      {"m_model", settings.model, text},
      {"did_hash", settings.deviceId, hash},
  };
  Table table;
  for (const Row& row : rows) {
    table.emplace(row.key, std::make_shared<OCandidate>(row.key, row.clientVal, row.compare));
  }
  return std::make_shared<const ClientAttributes>(std::move(table));
}

const OCandidate* ClientAttributes::Find(std::string_view key) const {
  const auto it = table_.find(key);
  return it != table_.end() ? it->second.get() : nullptr;
}

}  // namespace Ostrel
