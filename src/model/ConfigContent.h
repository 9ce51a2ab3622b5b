// The key/value content of a STANDARD config: a map from string to string,
// ordered by key, in which the first of duplicate keys wins.
#ifndef OSTREL_MODEL_CONFIGCONTENT_H_
#define OSTREL_MODEL_CONFIGCONTENT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "model/KeyHash.h"

namespace Ostrel {

// Built once while a document is parsed, then read-only. All keys and values
// live in one buffer, indexed by a table of offsets sorted by key: a
// namespace of ten thousand keys costs two allocations instead of thirty
// thousand. Lookups go through an open-addressing hash index over that table,
// so a read costs the same whatever the namespace's size, and copy nothing.
class ConfigContent {
 private:
  struct Entry {
    size_t keyOffset;
    size_t keyLength;
    size_t valueOffset;
    size_t valueLength;
  };

 public:
  using Pair = std::pair<std::string_view, std::string_view>;

  // Collects pairs in one of two ways: Add copies them; AddAt records pairs
  // that already sit in a buffer by their offsets, and Finish(bytes) then
  // adopts that buffer (a document parsed in place, for instance) without
  // copying a byte. The two ways do not mix.
  class Builder {
   public:
    // Optional: room for count pairs holding bytes characters in all.
    void Reserve(size_t count, size_t bytes);
    // Pairs may come in any order, with repeated keys.
    void Add(std::string_view key, std::string_view value);
    void AddAt(size_t keyOffset, size_t keyLength, size_t valueOffset, size_t valueLength);
    // Sorts by key (bytewise) and keeps only the first appearance of a key.
    ConfigContent Finish();
    ConfigContent Finish(std::string bytes);

   private:
    static void SortEntries(ConfigContent* content);

    std::string bytes_;
    std::vector<Entry> entries_;
  };

  class Iterator {
   public:
    Iterator(const ConfigContent* content, size_t index) : content_(content), index_(index) {}
    Pair operator*() const { return content_->At(index_); }
    Iterator& operator++() {
      ++index_;
      return *this;
    }
    bool operator==(const Iterator& other) const { return index_ == other.index_; }
    bool operator!=(const Iterator& other) const { return index_ != other.index_; }

   private:
    const ConfigContent* content_;
    size_t index_;
  };

  // What a lookup reads, as plain pointers into this content, so that an
  // index of documents can hold it and reach the keys without another load.
  // Valid while the content is neither destroyed nor moved; any thread, as
  // the content is read-only once built.
  class View {
   public:
    // The value under key (exact, case-sensitive bytes): O(1), copies
    // nothing, lives as long as the content. Inline: host reads call it on
    // every hit.
    bool Find(std::string_view key, std::string_view* value) const {
      for (size_t slot = HashKey(key) & mask_; slots_[slot] != 0; slot = (slot + 1) & mask_) {
        const Entry& entry = entries_[slots_[slot] - 1];
        if (entry.keyLength == key.size() &&
            SameKeyBytes(bytes_ + entry.keyOffset, key.data(), key.size())) {
          *value = std::string_view(bytes_ + entry.valueOffset, entry.valueLength);
          return true;
        }
      }
      return false;
    }

   private:
    friend class ConfigContent;
    // An empty content points at one empty slot: every probe ends there.
    const uint32_t* slots_ = nullptr;
    size_t mask_ = 0;
    const Entry* entries_ = nullptr;
    const char* bytes_ = nullptr;
  };

  View view() const;

  // The value under key, as View::Find.
  bool Find(std::string_view key, std::string_view* value) const {
    return view().Find(key, value);
  }
  bool Find(std::string_view key, std::string* value) const;

  size_t size() const { return entries_.size(); }
  bool empty() const { return entries_.empty(); }
  // The pair at index, in ascending key order.
  Pair At(size_t index) const;
  Iterator begin() const { return Iterator(this, 0); }
  Iterator end() const { return Iterator(this, size()); }

  bool operator==(const ConfigContent& other) const;

 private:
  std::string_view KeyOf(const Entry& entry) const {
    return std::string_view(bytes_.data() + entry.keyOffset, entry.keyLength);
  }
  std::string_view ValueOf(const Entry& entry) const {
    return std::string_view(bytes_.data() + entry.valueOffset, entry.valueLength);
  }

  // Fills slots_ from entries_ (after sorting and de-duplication).
  void BuildIndex();

  std::string bytes_;
  std::vector<Entry> entries_;
  // Entry index + 1 per slot, 0 for an empty slot; a power of two in size,
  // at most half full.
  std::vector<uint32_t> slots_;
};

}  // namespace Ostrel

#endif  // OSTREL_MODEL_CONFIGCONTENT_H_
