// Builders of JSON documents and the checks shared by the document tests.
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

inline Members Without(Members members, const std::string& name) {
  for (auto it = members.begin(); it != members.end(); ++it) {
    if (it->first == name) {
      members.erase(it);
      break;
    }
  }
  return members;
}

// members with name's raw value replaced, or appended.
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

// The members a config document of type carries before its content.
inline Members ConfigHeader(const std::string& type) {
  return {{"appKey", Quoted("key1")},    {"appVersion", Quoted("2.0")},
          {"id", Quoted("7")},           {"name", Quoted("ns")},
          {"resourceId", Quoted("r-7")}, {"type", Quoted(type)},
          {"loadLevel", Quoted("HIGH")}, {"version", Quoted("3")},
          {"createTime", Quoted("1700000000")}};
}

// 100000 nested arrays, closed or not: a recursive parser would run out of
// stack.
inline std::string DeepArrays(bool closed) {
  return std::string(100000, '[') + (closed ? std::string(100000, ']') : std::string());
}

// A text a parse must refuse, and the texts it must log. The last line is the
// refusing parser's own; earlier ones come from the parser of a nested part.
struct Refusal {
  std::string text;
  std::vector<std::string> lines;
};

template <typename Parse>
void ExpectRefused(const std::vector<Refusal>& cases, const char* tag, const char* method,
                   Parse parse) {
  for (const Refusal& c : cases) {
    const std::string shown = c.text.substr(0, 120);
    ScopedLogCapture capture;
    EXPECT_EQ(nullptr, parse(c.text)) << shown;
    ASSERT_EQ(c.lines, capture.Texts()) << shown;
    EXPECT_EQ(tag, capture.logger().Lines().back().tag) << shown;
    EXPECT_EQ(method, capture.logger().Lines().back().method) << shown;
  }
}

// A document, whether CheckValid accepts it, and whether it then logs that
// it belongs to another application.
struct CheckCase {
  Members members;
  bool valid;
  bool logsMismatch;
};

// The application the documents of the model tests are checked against.
inline const Ostrel::AppScope kTestApp{"key1", "2.0"};

template <typename Parse>
void ExpectCheckValid(const std::vector<CheckCase>& cases, const char* tag, const char* mismatch,
                      Parse parse) {
  for (const CheckCase& c : cases) {
    const std::string text = JsonObject(c.members);
    const auto document = parse(text);
    ASSERT_NE(nullptr, document) << text;
    ScopedLogCapture capture;
    EXPECT_EQ(c.valid, document->CheckValid(kTestApp)) << text;
    EXPECT_EQ(c.logsMismatch ? std::vector<std::string>{mismatch} : std::vector<std::string>{},
              capture.Texts())
        << text;
    if (c.logsMismatch) {
      EXPECT_EQ(tag, capture.logger().Lines()[0].tag);
    }
  }
}

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_MODEL_MODELTESTDATA_H_
