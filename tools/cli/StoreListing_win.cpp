#include "StoreListing.h"

#include <utility>
#include <vector>

#include "ostrel_host/FileStorage.h"

namespace OstrelCli {

bool StoreListing::Read(const std::string& path, StoreListing& listing, std::string& error) {
  std::vector<OstrelHost::FileStorage::Record> records;
  if (!OstrelHost::FileStorage::ReadRecords(path, &records, &error)) return false;
  StoreListing read;
  for (const auto& record : records) {
    read.records.push_back(Examine(std::string(), record.first, record.second));
  }
  listing = std::move(read);
  return true;
}

}  // namespace OstrelCli
