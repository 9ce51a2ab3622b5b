// The eight answers of a comparator for one pair of values.
#ifndef OSTREL_TESTS_CANDIDATE_COMPAREANSWERS_H_
#define OSTREL_TESTS_CANDIDATE_COMPAREANSWERS_H_

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "candidate/IOCandidateCompare.h"

namespace OstrelTest {

// A client value, a condition value and the answers to "=", "!=", ">", ">=",
// "<", "<=", "~=", "!~" in that order, 1 for true.
struct PairCase {
  const char* client;
  const char* condition;
  const char* answers;
};

inline void ExpectAnswers(const Ostrel::IOCandidateCompare& compare,
                          const std::vector<PairCase>& cases) {
  for (const PairCase& c : cases) {
    const bool answers[] = {
        compare.Equal(c.client, c.condition),     compare.NotEqual(c.client, c.condition),
        compare.Greater(c.client, c.condition),   compare.GreaterEqual(c.client, c.condition),
        compare.Less(c.client, c.condition),      compare.LessEqual(c.client, c.condition),
        compare.FuzzyMatch(c.client, c.condition), compare.NotFuzzyMatch(c.client, c.condition),
    };
    std::string out;
    for (bool answer : answers) out += answer ? '1' : '0';
    EXPECT_EQ(c.answers, out) << '"' << c.client << "\" vs \"" << c.condition << '"';
  }
}

}  // namespace OstrelTest

#endif  // OSTREL_TESTS_CANDIDATE_COMPAREANSWERS_H_
