// Builders of JSON documents and an engine-settings guard for the document
// tests.
#ifndef OSTREL_TESTS_MODEL_MODELTESTDATA_H_
#define OSTREL_TESTS_MODEL_MODELTESTDATA_H_

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "ScopedLogCapture.h"
#include "model/CheckDO.h"

namespace OstrelTest {

// Members as (name, raw JSON value), kept in order.
using Members = std::vector<std::pair<std::string, std::string>>;

inline std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

inline std::string JsonObject(const Members& members) {
  std::string out = "{";
  for (const auto& member : members) {
    if (out.size() > 1) out += ",";
    out += Quoted(member.first) + ":" + member.second;
  }
  return out + "}";
}

// members without name.
inline Members Without(Members members, const std::string& name) {
  for (auto it = members.begin(); it != members.end(); ++it) {
    if (it->first == name) {
      members.erase(it);
      break;
    }
  }
  return members;
}

// members with name's raw value replaced (or appended).
inline Members With(Members members, const std::string& name, const std::string& raw) {
  for (auto& member : members) {
    if (member.first == name) {
      member.second = raw;
      return members;
    }
  }
  members.emplace_back(name, raw);
  return members;
}

// n nested arrays, closed or not.
inline std::string NestedArrays(size_t depth, bool closed) {
  return std::string(depth, '[') + (closed ? std::string(depth, ']') : std::string());
}

// The application the documents of the model tests are checked against.
inline const Ostrel::AppScope kTestApp{"key1", "2.0"};

// A document, whether CheckValid accepts it, and whether it then logs the
// application mismatch.
struct CheckCase {
  Members members;
  bool valid;
  bool logsMismatch;
};

// Parses every case with parse (which must succeed), runs CheckValid and
// expects either no log line or exactly mismatchLine.
template <typename Parse>
void ExpectCheckValid(const std::vector<CheckCase>& cases, const char* mismatchLine, Parse parse) {
  for (const CheckCase& c : cases) {
    const std::string text = JsonObject(c.members);
    const auto document = parse(text);
    ASSERT_NE(nullptr, document) << text;
    ScopedLogCapture capture;
    EXPECT_EQ(c.valid, document->CheckValid(kTestApp)) << text;
    EXPECT_EQ(c.logsMismatch ? std::vector<std::string>{mismatchLine} : std::vector<std::string>{},
              capture.Texts())
        << text;
  }
}

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_MODEL_MODELTESTDATA_H_
