#include "candidate/UnitAnalyze.h"

#include <utility>

#include "candidate/PatternMatch.h"
#include "host/LogManager.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("Ostrel.UnitAnalyze");

using CompareSlot = bool (IOCandidateCompare::*)(const char*, const char*) const;

struct OperatorSlot {
  const char* text;
  CompareSlot slot;
};

// The comparator's slot order.
const OperatorSlot kOperators[] = {
    {"=", &IOCandidateCompare::Equal},
    {"!=", &IOCandidateCompare::NotEqual},
    {">", &IOCandidateCompare::Greater},
    {">=", &IOCandidateCompare::GreaterEqual},
    {"<", &IOCandidateCompare::Less},
    {"<=", &IOCandidateCompare::LessEqual},
    {"~=", &IOCandidateCompare::FuzzyMatch},
    {"!~", &IOCandidateCompare::NotFuzzyMatch},
};

int SlotOf(const std::string& op) {
  for (const OperatorSlot& entry : kOperators) {
    if (op == entry.text) return static_cast<int>(&entry - kOperators);
  }
  return -1;
}

}  // namespace

UnitAnalyze::UnitAnalyze(std::string text) : text_(std::move(text)) {
  UnitParts parts;
  if (!MatchUnitPattern(text_, &parts)) {
    if (LogEnabled(kLogError)) {
      LogError("UnitAnalyze", kTag, "candidatesExp regex match error,candidatesExp is" + text_);
    }
    return;
  }
  key_.assign(parts.key);
  operator_.assign(parts.op);
  value_.assign(parts.value);
  slot_ = SlotOf(operator_);
}

bool UnitAnalyze::Match(const std::string& clientVal,
                        const std::shared_ptr<IOCandidateCompare>& compare,
                        std::string* reason) const {
  if (clientVal.empty()) {
    if (reason != nullptr) *reason = "match no clientVal,key: " + key_;
    return false;
  }
  if (compare == nullptr) {
    if (reason != nullptr) *reason = "match no compare,key: " + key_;
    return false;
  }
  // A unit that did not parse has no operator. Neither it nor a comparison
  // that answers false has a reason of its own: the log line names the key.
  if (slot_ < 0) return false;
  const CompareSlot slot = kOperators[slot_].slot;
  return ((*compare).*slot)(clientVal.c_str(), value_.c_str());
}

}  // namespace Ostrel
