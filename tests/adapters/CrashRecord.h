// The records the crash test's writer saves: each names its key and round
// and is padded with bytes derived from both to a length that changes from
// round to round, so that a record mixed from two Saves is told apart.
#ifndef OSTREL_TESTS_ADAPTERS_CRASHRECORD_H_
#define OSTREL_TESTS_ADAPTERS_CRASHRECORD_H_

#include <cstdlib>
#include <string>

namespace OstrelTest {

inline std::string CrashRecord(const std::string& key, long round) {
  std::string record = key + " round " + std::to_string(round) + "\n";
  const size_t size = (64u << 10) + static_cast<size_t>(round % 7) * (8u << 10);
  for (size_t i = record.size(); i < size; ++i) {
    record += static_cast<char>('a' + (i * 31 + static_cast<size_t>(round)) % 26);
  }
  return record;
}

// The round of a whole record of key; -1 for anything else.
inline long CrashRecordRound(const std::string& key, const std::string& text) {
  const std::string head = key + " round ";
  if (text.compare(0, head.size(), head) != 0) return -1;
  const long round = std::strtol(text.c_str() + head.size(), nullptr, 10);
  return round >= 0 && text == CrashRecord(key, round) ? round : -1;
}

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_ADAPTERS_CRASHRECORD_H_
