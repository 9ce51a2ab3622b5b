#include "candidate/OCandidate.h"

#include <utility>

namespace Ostrel {

OCandidate::OCandidate(std::string key, std::string clientVal,
                       std::shared_ptr<IOCandidateCompare> compare)
    : key_(std::move(key)), clientVal_(std::move(clientVal)), compare_(std::move(compare)) {}

}  // namespace Ostrel
