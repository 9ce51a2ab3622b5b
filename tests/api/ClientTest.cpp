// The C++ layer's client: typed reads and why they gave what they gave, the
// ready-wait, whole namespaces; through the C interface.
#include <chrono>
#include <cstdint>
#include <string>

#include "ClientFixture.h"

namespace OstrelTest {
namespace {

using Ostrel::Client;
using Ostrel::Reason;

class ClientTest : public ClientFixture {};

TEST_F(ClientTest, ReadsConvertStrictlyElseGiveTheDefaultAndSayWhy) {
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
    Reason reason;  // of the integer read
  } kCases[] = {
      {"std", "int", "42", 42, 42.0, false, "42", Reason::kFound},
      {"std", "real", "2.5", -1, 2.5, false, "2.5", Reason::kWrongType},
      {"std", "flag", "true", -1, -1.5, true, "true", Reason::kWrongType},
      {"std", "mixed", "12abc", -1, -1.5, false, "{}", Reason::kWrongType},
      {"std", "padded", " 42", -1, -1.5, false, " 42", Reason::kWrongType},
      {"std", "empty", "", -1, -1.5, false, "{}", Reason::kWrongType},
      {"std", "missing", "d", -1, -1.5, false, "{}", Reason::kKeyAbsent},
      {"custom", "int", "d", -1, -1.5, false, "{}", Reason::kKeyAbsent},  // a text has no keys
      {"unknown", "int", "d", -1, -1.5, false, "{}", Reason::kNamespaceNotLoaded},
      {"remote", "k", "d", -1, -1.5, false, "{}", Reason::kNamespaceNotLoaded},
      {"ostrel.index", "k", "d", -1, -1.5, false, "{}", Reason::kNamespaceNotLoaded},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(std::string(c.nameSpace) + "." + c.key);
    EXPECT_EQ(c.text, client.GetString(c.nameSpace, c.key, "d"));
    EXPECT_EQ(c.integer, client.GetInt64(c.nameSpace, c.key, -1));
    EXPECT_EQ(c.real, client.GetDouble(c.nameSpace, c.key, -1.5));
    EXPECT_EQ(c.flag, client.GetBool(c.nameSpace, c.key, false));
    EXPECT_EQ(c.json, client.GetJson(c.nameSpace, c.key, "{}"));
    const Ostrel::Detail<int64_t> detail = client.GetDetail<int64_t>(c.nameSpace, c.key, -1);
    EXPECT_EQ(c.reason, detail.reason);
    EXPECT_EQ(c.integer, detail.value);
  }
  const auto text = client.GetDetail<std::string>("std", "padded", "d");
  EXPECT_EQ(" 42", text.value);
  EXPECT_EQ(Reason::kFound, text.reason);
  const auto json = client.GetDetail("std", "mixed", Ostrel::Json{"{}"});
  EXPECT_EQ("{}", json.value.text);
  EXPECT_EQ(Reason::kWrongType, json.reason);
  const auto flag = client.GetDetail("std", "flag", false);
  EXPECT_TRUE(flag.value);
  EXPECT_EQ(Reason::kFound, flag.reason);

  EXPECT_EQ(StoredValues(), client.GetAll("std"));
  EXPECT_TRUE(client.GetAll("custom").empty());
  EXPECT_TRUE(client.GetAll("unknown").empty());
  EXPECT_EQ(std::optional<std::string>("plain text"), client.GetCustomText("custom"));
  EXPECT_EQ(std::optional<std::string>(R"({"a":"1"})"), client.GetCustomText("small"));
  EXPECT_EQ(std::nullopt, client.GetCustomText("unknown"));
}

TEST_F(ClientTest, RefusedOptionsLeaveTheClientUninitialised) {
  Client::Options options = Options();
  options.appKey.clear();
  Client client(options);
  EXPECT_FALSE(client.IsInitialised());
  EXPECT_TRUE(logger.Contains("init start , input param error"));
  // Start-up never runs, so a wait that did not check would last the hour.
  EXPECT_FALSE(client.WaitUntilReady(std::chrono::hours(1)));
  const auto detail = client.GetDetail<int64_t>("std", "int", 7);
  EXPECT_EQ(Reason::kNotInitialised, detail.reason);
  EXPECT_EQ(7, detail.value);
}

TEST_F(ClientTest, WaitUntilReadyEndsWithStartUp) {
  http.Hold("");  // start-up downloads "remote" and waits for the answer
  Client client(Options());
  ASSERT_TRUE(http.WaitForRequests(1));
  EXPECT_FALSE(client.WaitUntilReady(std::chrono::milliseconds(20)));
  http.Release("");
  EXPECT_TRUE(client.WaitUntilReady(std::chrono::seconds(10)));
  EXPECT_TRUE(client.WaitUntilReady(std::chrono::milliseconds::max())) << "a wait meaning forever";
  EXPECT_TRUE(client.WaitUntilReady(std::chrono::milliseconds(0)));
}

}  // namespace
}  // namespace OstrelTest
