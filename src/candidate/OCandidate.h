// One client attribute: its key, the client's value and its comparator.
#ifndef OSTREL_CANDIDATE_OCANDIDATE_H_
#define OSTREL_CANDIDATE_OCANDIDATE_H_

#include <memory>
#include <string>

#include "candidate/IOCandidateCompare.h"

namespace Ostrel {

// Immutable; shared by the attribute table and read from any thread.
class OCandidate {
 public:
  OCandidate(std::string key, std::string clientVal,
             std::shared_ptr<IOCandidateCompare> compare);

  const std::string& Key() const { return key_; }
  const std::string& ClientVal() const { return clientVal_; }
  // May be null: every unit on this key then fails.
  const std::shared_ptr<IOCandidateCompare>& Compare() const { return compare_; }

 private:
  const std::string key_;
  const std::string clientVal_;
  const std::shared_ptr<IOCandidateCompare> compare_;
};

}  // namespace Ostrel

#endif  // OSTREL_CANDIDATE_OCANDIDATE_H_
