// Installs a capturing logger into the library's log manager for one test.
// Only for tests that link the internal library.
#ifndef OSTREL_TESTS_SUPPORT_LOGGERFIXTURE_H_
#define OSTREL_TESTS_SUPPORT_LOGGERFIXTURE_H_

#include <gtest/gtest.h>

#include "CapturingLogger.h"
#include "host/LogManager.h"

namespace OstrelTest {

class LoggerFixture : public ::testing::Test {
 protected:
  void SetUp() override {
    Ostrel::LogManager::GetInstance()->SetLogger(&logger);
    Ostrel::LogManager::GetInstance()->SetLevel(0);
  }
  void TearDown() override {
    Ostrel::LogManager::GetInstance()->SetLogger(nullptr);
    Ostrel::LogManager::GetInstance()->SetLevel(2);
  }

  CapturingLogger logger;
};

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_SUPPORT_LOGGERFIXTURE_H_
