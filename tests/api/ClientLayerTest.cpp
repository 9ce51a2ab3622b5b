// The C++ layer of ostrel.hpp: strict conversions, typed reads, the reasons
// of GetDetail, the ready-wait and subscriptions, through the C interface.
#include <algorithm>
#include <cfloat>
#include <cstdint>
#include <limits>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "ClientLayerFixture.h"

namespace OstrelTest {
namespace {

using Ostrel::Client;
using Ostrel::Reason;
using Ostrel::Subscription;

// A copy of a text at the very end of a heap block, with no NUL after it, so
// that AddressSanitizer sees a parser reading past the end of its view. The
// block has one spare byte in front: an empty view also ends inside it.
class ExactCopy {
 public:
  explicit ExactCopy(const std::string& text)
      : bytes_(new char[text.size() + 1]), size_(text.size()) {
    std::copy(text.begin(), text.end(), bytes_.get() + 1);
  }
  std::string_view view() const { return std::string_view(bytes_.get() + 1, size_); }

 private:
  std::unique_ptr<char[]> bytes_;
  size_t size_;
};

TEST(ClientConvert, Int64AcceptsOnlyJsonIntegersInRange) {
  const struct {
    const char* text;
    bool converts;
    int64_t value;
  } kCases[] = {
      {"0", true, 0},
      {"-0", true, 0},
      {"42", true, 42},
      {"-7", true, -7},
      {"9223372036854775807", true, INT64_MAX},
      {"-9223372036854775808", true, INT64_MIN},
      {"9223372036854775808", false, 0},  // overflow
      {"-9223372036854775809", false, 0},
      {"12abc", false, 0},
      {"12.0", false, 0},
      {"1e3", false, 0},
      {" 7", false, 0},
      {"7 ", false, 0},
      {"+7", false, 0},
      {"007", false, 0},
      {"0x10", false, 0},
      {"-", false, 0},
      {"", false, 0},
      {"NaN", false, 0},
  };
  for (const auto& c : kCases) {
    int64_t out = 99;
    EXPECT_EQ(Ostrel::Convert::Parse(ExactCopy(c.text).view(), &out), c.converts) << c.text;
    EXPECT_EQ(out, c.converts ? c.value : 99) << c.text;
  }
}

TEST(ClientConvert, DoubleAcceptsJsonNumbersThatAreFinite) {
  const struct {
    const char* text;
    bool converts;
    double value;
  } kCases[] = {
      {"2.5", true, 2.5},
      {"-0.125", true, -0.125},
      {"1e3", true, 1000.0},
      {"6.02E+23", true, 6.02e23},
      {"2e-2", true, 0.02},
      {"42", true, 42.0},
      {"1.7976931348623157e308", true, DBL_MAX},
      {"4.9e-324", true, std::numeric_limits<double>::denorm_min()},
      {"1e400", false, 0},  // beyond double
      {"1e-400", false, 0},  // would round to zero
      {".5", false, 0},
      {"5.", false, 0},
      {"1e", false, 0},
      {"1.5.2", false, 0},
      {"--1", false, 0},
      {" 1", false, 0},
      {"1 ", false, 0},
      {"1,5", false, 0},
      {"0x10", false, 0},
      {"NaN", false, 0},
      {"nan", false, 0},
      {"inf", false, 0},
      {"-Infinity", false, 0},
      {"", false, 0},
  };
  for (const auto& c : kCases) {
    double out = 99.5;
    EXPECT_EQ(Ostrel::Convert::Parse(ExactCopy(c.text).view(), &out), c.converts) << c.text;
    EXPECT_EQ(out, c.converts ? c.value : 99.5) << c.text;
  }
}

TEST(ClientConvert, BoolAcceptsOnlyLowercaseTrueAndFalse) {
  const struct {
    const char* text;
    bool converts;
    bool value;
  } kCases[] = {
      {"true", true, true}, {"false", true, false}, {"True", false, false},
      {"TRUE", false, false}, {"1", false, false},  {"0", false, false},
      {"yes", false, false},  {" true", false, false}, {"false ", false, false},
      {"", false, false},
  };
  for (const auto& c : kCases) {
    for (const bool before : {false, true}) {
      bool out = before;
      EXPECT_EQ(Ostrel::Convert::Parse(ExactCopy(c.text).view(), &out), c.converts) << c.text;
      EXPECT_EQ(out, c.converts ? c.value : before) << c.text;
    }
  }
}

TEST(ClientConvert, JsonAcceptsAnyValueOfRfc8259) {
  auto nested = [](int depth) {
    std::string text;
    for (int i = 0; i < depth; ++i) text += i % 2 == 0 ? R"({"a":)" : "[";
    text += "0";
    for (int i = depth - 1; i >= 0; --i) text += i % 2 == 0 ? "}" : "]";
    return text;
  };
  const struct {
    std::string text;
    bool converts;
  } kCases[] = {
      {R"({"a":[1,2.5,-3e2,true,false,null,"x\"\\\/\b\f\n\r\t\u00e9"]})", true},
      {" \t\n[ ] \r", true},
      {R"({ "a" : { "b" : [ ] } , "c" : 0 })", true},
      {"0", true},
      {R"("text")", true},
      {"null", true},
      {nested(256), true},
      {nested(257), false},
      {nested(258), false},
      {"", false},
      {" ", false},
      {"{", false},
      {R"({"a"})", false},
      {R"({"a":1,})", false},
      {"[1,]", false},
      {"[01]", false},
      {"{a:1}", false},
      {"'x'", false},
      {"\"\x01\"", false},
      {R"("\x")", false},
      {R"("\q)", false},  // an unknown escape, then the end
      {std::string("\"\\\0\"", 4), false},
      {"[1,", false},
      {R"("\u12g4")", false},
      {R"("\u12)", false},
      {R"("open)", false},
      {"\"\\", false},
      {"tru", false},
      {"nul", false},
      {"[1] x", false},
      {"NaN", false},
      {"12abc", false},
  };
  for (const auto& c : kCases) {
    Ostrel::Json out{"before"};
    EXPECT_EQ(Ostrel::Convert::Parse(ExactCopy(c.text).view(), &out), c.converts) << c.text;
    EXPECT_EQ(out.text, c.converts ? c.text : "before") << c.text;
  }
}

TEST(ClientConvert, SignLibraryPathIsDecodedFromUtf8) {
  const struct {
    const char* utf8;
    std::wstring wide;
  } kCases[] = {
      {"/opt/app", L"/opt/app"},
      {"\xC3\xA9", L"\u00E9"},
      {"\xE2\x82\xAC", L"\u20AC"},
      {"\xEF\xBF\xBF", L"\uFFFF"},          // the last code point of one UTF-16 unit
      {"\xF0\x9F\x98\x80", L"\U0001F600"},  // a surrogate pair where wchar_t is 16 bits
      {"\xFF", L"\u00FF"},                   // not a lead byte: taken as it stands
      {"\xC3", L"\u00C3"},                   // cut short
      {"\xC3\x41", L"\u00C3A"},              // not followed by a continuation byte
  };
  for (const auto& c : kCases) EXPECT_EQ(Ostrel::detail::WidenUtf8(c.utf8), c.wide) << c.utf8;
}

TEST(ClientString, OwnsTheLibrarysBufferUntilReleased) {
  Ostrel::String first(getOstrelConfig("ns", "k", "first"));
  EXPECT_STREQ(first.Get(), "first");
  Ostrel::String moved(std::move(first));
  EXPECT_FALSE(first);
  EXPECT_EQ(moved.Text(), "first");
  moved = Ostrel::String(getOstrelConfig("ns", "k", "second"));  // frees "first"
  EXPECT_EQ(moved.Text(), "second");
  char* released = moved.Release();
  EXPECT_FALSE(moved);
  EXPECT_STREQ(released, "second");
  freeOstrelConfigValue(released);
  EXPECT_EQ(Ostrel::String(getOstrelConfig("ns", "k", nullptr)).Text(), "");
  DestroyIOstrelConfig();
}

class ClientLayer : public ClientLayerFixture {};

TEST_F(ClientLayer, TypedReadsConvertStrictlyElseGiveTheDefault) {
  Client client(Options());
  ASSERT_TRUE(client.WaitUntilReady(std::chrono::seconds(10)));
  const struct {
    const char* nameSpace;
    const char* key;
    std::string text;
    int64_t integer;
    double real;
    bool flag;
    std::string json;
  } kCases[] = {
      {"std", "int", "42", 42, 42.0, false, "42"},
      {"std", "real", "2.5", -1, 2.5, false, "2.5"},
      {"std", "exponent", "1e3", -1, 1000.0, false, "1e3"},
      {"std", "flag", "true", -1, -1.5, true, "true"},
      {"std", "capital", "True", -1, -1.5, false, "{}"},
      {"std", "mixed", "12abc", -1, -1.5, false, "{}"},
      {"std", "padded", " 42", -1, -1.5, false, " 42"},
      {"std", "json", R"({"a":[1,2]})", -1, -1.5, false, R"({"a":[1,2]})"},
      {"std", "empty", "", -1, -1.5, false, "{}"},
      {"std", "missing", "d", -1, -1.5, false, "{}"},
      {"custom", "int", "d", -1, -1.5, false, "{}"},
      {"unknown", "int", "d", -1, -1.5, false, "{}"},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(std::string(c.nameSpace) + "." + c.key);
    EXPECT_EQ(client.GetString(c.nameSpace, c.key, "d"), c.text);
    EXPECT_EQ(client.GetInt64(c.nameSpace, c.key, -1), c.integer);
    EXPECT_EQ(client.GetDouble(c.nameSpace, c.key, -1.5), c.real);
    EXPECT_EQ(client.GetBool(c.nameSpace, c.key, false), c.flag);
    EXPECT_EQ(client.GetJson(c.nameSpace, c.key, "{}"), c.json);
  }
}

TEST_F(ClientLayer, DetailSaysWhyTheValueCameOut) {
  Client client(Options());
  ASSERT_TRUE(client.WaitUntilReady(std::chrono::seconds(10)));
  const struct {
    const char* nameSpace;
    const char* key;
    Reason reason;
    int64_t value;
  } kCases[] = {
      {"std", "int", Reason::kFound, 42},
      {"std", "missing", Reason::kKeyAbsent, -1},
      {"std", "mixed", Reason::kWrongType, -1},
      {"std", "real", Reason::kWrongType, -1},
      {"custom", "int", Reason::kKeyAbsent, -1},  // loaded, but a text has no keys
      {"unknown", "int", Reason::kNamespaceNotLoaded, -1},
      {"remote", "k", Reason::kNamespaceNotLoaded, -1},  // its download failed
      {"ostrel.index", "k", Reason::kNamespaceNotLoaded, -1},
  };
  for (const auto& c : kCases) {
    const Ostrel::Detail<int64_t> detail = client.GetDetail<int64_t>(c.nameSpace, c.key, -1);
    EXPECT_EQ(detail.reason, c.reason) << c.nameSpace << "." << c.key;
    EXPECT_EQ(detail.value, c.value) << c.nameSpace << "." << c.key;
  }
  const auto text = client.GetDetail<std::string>("std", "padded", "d");
  EXPECT_EQ(text.value, " 42");
  EXPECT_EQ(text.reason, Reason::kFound);
  const auto json = client.GetDetail("std", "mixed", Ostrel::Json{"{}"});
  EXPECT_EQ(json.value.text, "{}");
  EXPECT_EQ(json.reason, Reason::kWrongType);
  const auto flag = client.GetDetail("std", "flag", false);
  EXPECT_TRUE(flag.value);
  EXPECT_EQ(flag.reason, Reason::kFound);
}

TEST_F(ClientLayer, RefusedOptionsLeaveTheClientUninitialised) {
  Client::Options options = Options();
  options.appKey.clear();
  Client client(options);
  EXPECT_FALSE(client.IsInitialised());
  EXPECT_TRUE(logger.Contains("init start , input param error"));
  // Start-up never runs, so a wait that did not check would last the hour.
  EXPECT_FALSE(client.WaitUntilReady(std::chrono::hours(1)));
  const auto detail = client.GetDetail<int64_t>("std", "int", 7);
  EXPECT_EQ(detail.reason, Reason::kNotInitialised);
  EXPECT_EQ(detail.value, 7);
}

TEST_F(ClientLayer, WaitUntilReadyEndsWithStartUp) {
  http.Hold("");  // start-up downloads "remote" and waits for the answer
  Client client(Options());
  ASSERT_TRUE(http.WaitForRequests(1));
  EXPECT_FALSE(client.WaitUntilReady(std::chrono::milliseconds(20)));
  http.Release("");
  EXPECT_TRUE(client.WaitUntilReady(std::chrono::seconds(10)));
  EXPECT_TRUE(client.WaitUntilReady(std::chrono::milliseconds::max())) << "a wait meaning forever";
  EXPECT_TRUE(client.WaitUntilReady(std::chrono::milliseconds(0)));
}

TEST_F(ClientLayer, WholeNamespaceAndItsText) {
  Client client(Options());
  ASSERT_TRUE(client.WaitUntilReady(std::chrono::seconds(10)));
  EXPECT_EQ(client.GetAll("std"), StoredValues());
  EXPECT_TRUE(client.GetAll("custom").empty());
  EXPECT_TRUE(client.GetAll("unknown").empty());
  EXPECT_EQ(client.GetCustomText("custom"), std::optional<std::string>("plain text"));
  EXPECT_EQ(client.GetCustomText("small"), std::optional<std::string>(R"({"a":"1"})"));
  EXPECT_EQ(client.GetCustomText("unknown"), std::nullopt);
}

TEST_F(ClientLayer, SubscriptionsDeliverUntilTheyEnd) {
  Client client(Options());
  ASSERT_TRUE(client.WaitUntilReady(std::chrono::seconds(10)));
  ChangeLog cached;
  const Subscription atOnce = client.Subscribe("std", cached.Callback());
  ASSERT_EQ(cached.Changes().size(), 1u) << "told before Subscribe returned";
  EXPECT_EQ(cached.Changes()[0].nameSpace, "std");
  EXPECT_EQ(cached.Changes()[0].version, "1");
  EXPECT_TRUE(cached.Changes()[0].fromCache);

  ServeRemote();
  http.Hold("");
  ChangeLog kept, ended;
  Subscription first = client.Subscribe("remote", kept.Callback());
  Subscription second = client.Subscribe("remote", ended.Callback());
  Subscription moved = std::move(first);
  EXPECT_FALSE(first.Active());
  second.Reset();
  EXPECT_FALSE(second.Active());
  http.Release("");
  ASSERT_TRUE(kept.WaitForCount(1));
  EXPECT_EQ(kept.Changes()[0].version, "2");
  EXPECT_FALSE(kept.Changes()[0].fromCache);
  EXPECT_TRUE(ended.Changes().empty()) << "listeners are told in one pass";
  EXPECT_TRUE(moved.Active());
  EXPECT_FALSE(client.Subscribe("std", nullptr).Active());
}

TEST_F(ClientLayer, ACallbackThatThrowsStopsInsideTheLayer) {
  Client client(Options());
  ASSERT_TRUE(client.WaitUntilReady(std::chrono::seconds(10)));
  const Subscription throwing =
      client.Subscribe("std", [](const Ostrel::Change&) { throw std::runtime_error("host"); });
  EXPECT_TRUE(throwing.Active());
  EXPECT_FALSE(logger.Contains("listener of std threw")) << "the library never saw it";
}

TEST_F(ClientLayer, SubscriptionMayOutliveItsClient) {
  Subscription survivor;
  {
    Client client(Options());
    ASSERT_TRUE(client.WaitUntilReady(std::chrono::seconds(10)));
    survivor = client.Subscribe("std", [](const Ostrel::Change&) {});
    ASSERT_TRUE(survivor.Active());
  }
  survivor.Reset();  // after teardown: calls nothing in the library
  EXPECT_FALSE(survivor.Active());
}

}  // namespace
}  // namespace OstrelTest
