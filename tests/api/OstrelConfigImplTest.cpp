// The facade's slots given what a careless host passes: refused with their
// documented result, and nothing dereferenced or read past a given length.
#include "api/OstrelConfigImpl.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ScopedLogCapture.h"
#include "host/ApiGate.h"
#include "ostrel/OstrelSdk.h"

namespace Ostrel {
namespace {

TEST(OstrelConfigImpl, NullAndShortArgumentsAreRefused) {
  OstrelTest::ScopedLogCapture capture;
  IOstrelConfig* sdk = GetIOstrelConfig();
  EXPECT_FALSE(sdk->init(nullptr));
  EXPECT_EQ(nullptr, getOstrelConfig(nullptr, "k", "d"));
  EXPECT_EQ(nullptr, getOstrelConfig("ns", nullptr, "d"));
  // A push names its length; a missing or negative one carries no message.
  char data[] = "xyz";
  sdk->PeskUpdateNamespace("other", "id", nullptr, 3);
  sdk->PeskUpdateNamespace("other", "id", data, -1);
  sdk->PeskUpdateNamespace("other", "id", data, 2);
  const std::string refused = "PeskUpdateNamespace: server id is not ostrel, butother";
  EXPECT_EQ((std::vector<std::string>{"init start , input param error", "PeskUpdateNamespace:",
                                      refused, "PeskUpdateNamespace:", refused,
                                      "PeskUpdateNamespace:xy", refused}),
            capture.Texts());
  // Each call hands out an interceptor of its own, which the host releases.
  IOIntercept* first = sdk->getIntercept();
  IOIntercept* second = sdk->getIntercept();
  EXPECT_NE(first, second);
  sdk->releaseIntercept(first);
  sdk->releaseIntercept(second);
}

// While the gate is closed, as in teardown, the slots answer at once with
// their documented results.
TEST(OstrelConfigImpl, AClosedLibraryStillAnswersEverySlot) {
  IOstrelConfig* sdk = GetIOstrelConfig();
  ApiGate::CloseAndDrain();
  int count = 7;
  EXPECT_EQ(nullptr, sdk->getConfigs("ns", &count));
  EXPECT_EQ(0, count);
  EXPECT_EQ(nullptr, sdk->getConfigs("ns", nullptr));
  EXPECT_TRUE(sdk->forceCheckUpdate());
  ApiGate::Reopen();
}

}  // namespace
}  // namespace Ostrel
