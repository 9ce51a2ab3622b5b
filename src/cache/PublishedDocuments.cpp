#include "cache/PublishedDocuments.h"

#include <utility>

#include "model/NamespaceDO.h"

namespace Ostrel {

PublishedDocuments::Snapshot::Snapshot(Map map) : documents(std::move(map)) {
  size_t capacity = 4;
  while (capacity < documents.size() * 2) capacity *= 2;
  slots.resize(capacity);
  const size_t mask = capacity - 1;
  for (const auto& entry : documents) {
    // A null document reads as absent, as the map's lookup would answer. An
    // empty or reserved name is never answered for (a record in storage may
    // carry one), so readers may look up without checking the name first.
    if (entry.second == nullptr || entry.first.empty() || IsReservedNamespace(entry.first)) {
      continue;
    }
    const uint64_t hash = HashKey(entry.first);
    size_t at = hash & mask;
    while (slots[at].document != nullptr) at = (at + 1) & mask;
    slots[at] = Slot{hash, entry.first, entry.second.get(), entry.second->content.view()};
  }
}

PublishedDocuments::PublishedDocuments() : cell_(std::make_unique<Snapshot>(Map())) {}

void PublishedDocuments::Publish(std::unique_ptr<Map> next) {
  cell_.Publish(std::make_unique<Snapshot>(std::move(*next)));
}

}  // namespace Ostrel
