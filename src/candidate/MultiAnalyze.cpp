#include "candidate/MultiAnalyze.h"

#include "host/LogManager.h"

namespace Ostrel {
namespace {

constexpr LogTag kTag("Ostrel.MultiAnalyze");

void LogMatchFail(const std::string& key, const std::string& reason) {
  LogInfo("match", kTag, "match fail, key:" + key + " reason: " + reason);
}

}  // namespace

MultiAnalyze::MultiAnalyze(const std::string& expression) {
  size_t begin = 0;
  for (;;) {
    const size_t end = expression.find('&', begin);
    if (end == std::string::npos) {
      units_.emplace_back(expression.substr(begin));
      break;
    }
    units_.emplace_back(expression.substr(begin, end - begin));
    begin = end + 1;
  }
}

bool MultiAnalyze::Match(const ClientAttributes& attributes) const {
  for (const UnitAnalyze& unit : units_) {
    const OCandidate* attribute = attributes.Find(unit.Key());
    if (attribute == nullptr) {
      if (LogEnabled(kLogInfo)) LogMatchFail(unit.Key(), "no found local Candidate");
      return false;
    }
    if (!unit.Match(attribute->ClientVal(), attribute->Compare(), nullptr)) {
      // Evaluation is pure, so the reason is worked out again only when
      // someone reads it; the path that holds never builds a string.
      if (LogEnabled(kLogInfo)) {
        std::string reason;
        unit.Match(attribute->ClientVal(), attribute->Compare(), &reason);
        LogMatchFail(unit.Key(), reason);
      }
      return false;
    }
  }
  return true;
}

std::set<std::string> MultiAnalyze::KeySet() const {
  std::set<std::string> keys;
  for (const UnitAnalyze& unit : units_) keys.insert(unit.Key());
  return keys;
}

}  // namespace Ostrel
