// The config cache's documents as host reads find them.
#ifndef OSTREL_CACHE_PUBLISHEDDOCUMENTS_H_
#define OSTREL_CACHE_PUBLISHEDDOCUMENTS_H_

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/SnapshotCell.h"
#include "model/ConfigDO.h"
#include "model/KeyHash.h"

namespace Ostrel {

// An immutable map of documents by name, published whole through a
// SnapshotCell, with a hash index over it built once per publication: a
// host read finds its namespace with one hash and one comparison instead of
// a walk down the map comparing names. Writers must be serialised by the
// owner; readers need a ReadSection (the API gate's pass).
class PublishedDocuments {
 public:
  using Map = std::map<std::string, std::shared_ptr<ConfigDO>, std::less<>>;

  // Starts with an empty map.
  PublishedDocuments();

  PublishedDocuments(const PublishedDocuments&) = delete;
  PublishedDocuments& operator=(const PublishedDocuments&) = delete;

  // Never null. For a reader, valid until it leaves its read section; for
  // the writer, until its next Publish.
  const Map* Read() const { return &cell_.Read()->documents; }

  // Replaces the map; the replaced one is freed once no reader can hold it.
  void Publish(std::unique_ptr<Map> next);

  // For a reader inside a read section: the document named name, valid until
  // it leaves; null when absent, and for an empty or reserved name.
  const ConfigDO* Find(std::string_view name) const {
    const Slot* slot = FindSlot(name);
    return slot == nullptr ? nullptr : slot->document;
  }

  enum class ValueLookup { kFound, kNoKey, kNoDocument };
  // For a reader inside a read section: the value under key in the document
  // named name (kFound; value valid until the reader leaves), or what was
  // missing. A document without key/value content (CUSTOM) has no key.
  ValueLookup FindValue(std::string_view name, std::string_view key,
                        std::string_view* value) const {
    const Slot* slot = FindSlot(name);
    if (slot == nullptr) return ValueLookup::kNoDocument;
    return slot->content.Find(key, value) ? ValueLookup::kFound : ValueLookup::kNoKey;
  }

 private:
  // An empty slot has no document. The document's content view is copied
  // in, so that a read goes from the slot straight to the keys.
  struct Slot {
    uint64_t hash = 0;
    std::string_view name;  // the map's key
    const ConfigDO* document = nullptr;
    ConfigContent::View content;
  };

  // The index refers into the map's nodes, which never move, so the pair is
  // built in place and never copied.
  struct Snapshot {
    explicit Snapshot(Map map);
    Snapshot(const Snapshot&) = delete;
    Snapshot& operator=(const Snapshot&) = delete;

    const Map documents;
    // Open addressing with linear probing, a power of two in size and at
    // most half full, so that a probe always ends at an empty slot.
    std::vector<Slot> slots;
  };

  const Slot* FindSlot(std::string_view name) const {
    const Snapshot* snapshot = cell_.Read();
    const size_t mask = snapshot->slots.size() - 1;
    const uint64_t hash = HashKey(name);
    for (size_t at = hash & mask;; at = (at + 1) & mask) {
      const Slot& slot = snapshot->slots[at];
      if (slot.document == nullptr) return nullptr;
      if (slot.hash == hash && SameKey(slot.name, name)) return &slot;
    }
  }

  SnapshotCell<Snapshot> cell_;
};

}  // namespace Ostrel

#endif  // OSTREL_CACHE_PUBLISHEDDOCUMENTS_H_
