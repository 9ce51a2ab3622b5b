#include "model/ConfigContent.h"

#include <algorithm>
#include <cstdint>

namespace Ostrel {
namespace {

// The 8 bytes of key from position start, big-endian, zero-padded: when two
// such words differ they order the keys exactly as a bytewise comparison
// would (a padded zero only meets a real byte where the shorter key is a
// prefix of the longer one); when they are equal, only a full comparison can
// tell.
uint64_t SortWord(std::string_view key, size_t start) {
  uint64_t word = 0;
  for (size_t i = 0; i < 8; ++i) {
    const size_t at = start + i;
    word = (word << 8) | (at < key.size() ? static_cast<unsigned char>(key[at]) : 0u);
  }
  return word;
}

}  // namespace

void ConfigContent::Builder::Reserve(size_t count, size_t bytes) {
  entries_.reserve(count);
  bytes_.reserve(bytes);
}

void ConfigContent::Builder::Add(std::string_view key, std::string_view value) {
  const size_t keyOffset = bytes_.size();
  bytes_.append(key);
  const size_t valueOffset = bytes_.size();
  bytes_.append(value);
  entries_.push_back({keyOffset, key.size(), valueOffset, value.size()});
}

void ConfigContent::Builder::AddAt(size_t keyOffset, size_t keyLength, size_t valueOffset,
                                   size_t valueLength) {
  entries_.push_back({keyOffset, keyLength, valueOffset, valueLength});
}

ConfigContent ConfigContent::Builder::Finish(std::string bytes) {
  bytes_ = std::move(bytes);
  return Finish();
}

ConfigContent ConfigContent::Builder::Finish() {
  ConfigContent content;
  content.bytes_ = std::move(bytes_);
  content.entries_ = std::move(entries_);
  std::vector<Entry>& entries = content.entries_;
  const auto keyLess = [&content](const Entry& a, const Entry& b) {
    return content.KeyOf(a) < content.KeyOf(b);
  };
  // Servers usually send keys in order; then one pass is all it takes.
  if (!std::is_sorted(entries.begin(), entries.end(), keyLess)) SortEntries(&content);
  const auto sameKey = [&content](const Entry& a, const Entry& b) {
    return content.KeyOf(a) == content.KeyOf(b);
  };
  entries.erase(std::unique(entries.begin(), entries.end(), sameKey), entries.end());
  content.BuildIndex();
  return content;
}

void ConfigContent::Builder::SortEntries(ConfigContent* content) {
  std::vector<Entry>& entries = content->entries_;
  // Keys of one namespace tend to share a long prefix ("feature.flag."), and a
  // comparison sort spends its time comparing it again and mispredicting
  // branches. So each key is represented by the 8 bytes that follow the
  // prefix all keys share, the entries are radix-sorted on those words in
  // linear time, and whole keys are compared only among equal words.
  const std::string_view first = content->KeyOf(entries[0]);
  size_t common = first.size();
  for (const Entry& entry : entries) {
    const std::string_view key = content->KeyOf(entry);
    const size_t limit = std::min(common, key.size());
    size_t i = 0;
    while (i < limit && key[i] == first[i]) ++i;
    common = i;
  }
  struct SortItem {
    uint64_t word;
    size_t index;
  };
  std::vector<SortItem> items;
  items.reserve(entries.size());
  for (size_t i = 0; i < entries.size(); ++i) {
    items.push_back({SortWord(content->KeyOf(entries[i]), common), i});
  }
  // Least significant byte first; each pass is stable, so items with equal
  // words stay in document order.
  std::vector<SortItem> spare(items.size());
  for (int shift = 0; shift < 64; shift += 8) {
    size_t starts[257] = {};
    for (const SortItem& item : items) ++starts[((item.word >> shift) & 0xff) + 1];
    if (std::find(starts + 1, starts + 257, items.size()) != starts + 257) continue;
    for (int b = 0; b < 256; ++b) starts[b + 1] += starts[b];
    for (const SortItem& item : items) spare[starts[(item.word >> shift) & 0xff]++] = item;
    items.swap(spare);
  }
  // Among equal words the whole keys decide; a stable sort keeps repeated
  // keys in document order, so the first of them is the one unique keeps.
  const auto keyLess = [&](const SortItem& a, const SortItem& b) {
    return content->KeyOf(entries[a.index]) < content->KeyOf(entries[b.index]);
  };
  for (size_t begin = 0; begin < items.size();) {
    size_t end = begin + 1;
    while (end < items.size() && items[end].word == items[begin].word) ++end;
    if (end - begin > 1) std::stable_sort(items.begin() + begin, items.begin() + end, keyLess);
    begin = end;
  }
  std::vector<Entry> sorted;
  sorted.reserve(entries.size());
  for (const SortItem& item : items) sorted.push_back(entries[item.index]);
  entries.swap(sorted);
}

void ConfigContent::BuildIndex() {
  slots_.clear();
  if (entries_.empty()) return;
  size_t capacity = 4;
  while (capacity < entries_.size() * 2) capacity *= 2;
  slots_.assign(capacity, 0);
  const size_t mask = capacity - 1;
  for (size_t i = 0; i < entries_.size(); ++i) {
    size_t slot = HashKey(KeyOf(entries_[i])) & mask;
    while (slots_[slot] != 0) slot = (slot + 1) & mask;
    slots_[slot] = static_cast<uint32_t>(i + 1);
  }
}

ConfigContent::View ConfigContent::view() const {
  static const uint32_t kNoSlots[1] = {0};
  View view;
  view.slots_ = slots_.empty() ? kNoSlots : slots_.data();
  view.mask_ = slots_.empty() ? 0 : slots_.size() - 1;
  view.entries_ = entries_.data();
  view.bytes_ = bytes_.data();
  return view;
}

bool ConfigContent::Find(std::string_view key, std::string* value) const {
  std::string_view found;
  if (!Find(key, &found)) return false;
  value->assign(found);
  return true;
}

ConfigContent::Pair ConfigContent::At(size_t index) const {
  const Entry& entry = entries_[index];
  return Pair(KeyOf(entry), ValueOf(entry));
}

bool ConfigContent::operator==(const ConfigContent& other) const {
  if (size() != other.size()) return false;
  for (size_t i = 0; i < size(); ++i) {
    if (At(i) != other.At(i)) return false;
  }
  return true;
}

}  // namespace Ostrel
