// MultiAnalyze built from arbitrary text and evaluated against a client
// table. Short units are also matched with the regular expression that
// defines them, and the groups must agree.
#include <cstddef>
#include <cstdint>
#include <regex>
#include <string>

#include "FuzzSupport.h"
#include "candidate/MultiAnalyze.h"
#include "candidate/PatternMatch.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  OstrelFuzz::SetUpLibrary();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const Ostrel::ClientAttributes& attributes = OstrelFuzz::Attributes();
  static const std::regex unit(R"(^\s*(\w+)\s*(=|>=|<=|>|<|!=|~=|!~)\s*(.+)\s*$)");
  const std::string text(reinterpret_cast<const char*>(data), size);
  const Ostrel::MultiAnalyze expression(text);
  expression.Match(attributes);
  expression.KeySet();
  // The regex engine recurses per character; keep its subjects short.
  for (const Ostrel::UnitAnalyze& analyzed : expression.Units()) {
    const std::string& piece = analyzed.Text();
    if (piece.size() > 48) continue;
    std::smatch groups;
    const bool expected = std::regex_search(piece, groups, unit);
    Ostrel::UnitParts parts;
    OstrelFuzz::Require(Ostrel::MatchUnitPattern(piece, &parts) == expected);
    if (!expected) continue;
    OstrelFuzz::Require(groups.str(1) == parts.key && groups.str(2) == parts.op &&
                        groups.str(3) == parts.value);
    OstrelFuzz::Require(analyzed.Key() == parts.key && analyzed.Value() == parts.value);
  }
  return 0;
}
