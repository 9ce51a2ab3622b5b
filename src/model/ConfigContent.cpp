#include "model/ConfigContent.h"

#include <algorithm>

namespace Ostrel {

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

ConfigContent ConfigContent::Builder::Finish() {
  ConfigContent content;
  content.bytes_ = std::move(bytes_);
  content.entries_ = std::move(entries_);
  std::vector<Entry>& entries = content.entries_;
  const auto keyLess = [&content](const Entry& a, const Entry& b) {
    return content.KeyOf(a) < content.KeyOf(b);
  };
  // Servers usually send keys in order; then one pass is all it takes.
  // Otherwise a stable sort keeps repeats of a key in document order, so the
  // first of them is the one unique keeps.
  if (!std::is_sorted(entries.begin(), entries.end(), keyLess)) {
    std::stable_sort(entries.begin(), entries.end(), keyLess);
  }
  const auto sameKey = [&content](const Entry& a, const Entry& b) {
    return content.KeyOf(a) == content.KeyOf(b);
  };
  entries.erase(std::unique(entries.begin(), entries.end(), sameKey), entries.end());
  return content;
}

ConfigContent ConfigContent::FromMap(const std::map<std::string, std::string>& pairs) {
  Builder builder;
  size_t bytes = 0;
  for (const auto& pair : pairs) bytes += pair.first.size() + pair.second.size();
  builder.Reserve(pairs.size(), bytes);
  for (const auto& pair : pairs) builder.Add(pair.first, pair.second);
  return builder.Finish();
}

bool ConfigContent::Find(std::string_view key, std::string_view* value) const {
  const auto it = std::lower_bound(
      entries_.begin(), entries_.end(), key,
      [this](const Entry& entry, std::string_view wanted) { return KeyOf(entry) < wanted; });
  if (it == entries_.end() || KeyOf(*it) != key) return false;
  *value = ValueOf(*it);
  return true;
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

std::map<std::string, std::string> ConfigContent::ToMap() const {
  std::map<std::string, std::string> pairs;
  for (const Pair& pair : *this) {
    pairs.emplace_hint(pairs.end(), std::string(pair.first), std::string(pair.second));
  }
  return pairs;
}

bool ConfigContent::operator==(const ConfigContent& other) const {
  if (size() != other.size()) return false;
  for (size_t i = 0; i < size(); ++i) {
    if (At(i) != other.At(i)) return false;
  }
  return true;
}

}  // namespace Ostrel
