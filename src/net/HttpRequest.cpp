#include "net/HttpRequest.h"

namespace Ostrel {
namespace {

// Identifies the library to the host's client; the client may ignore it.
const char kRequestOrigin[] = "OstrelSdk/1.0";

}  // namespace

HttpRequest::HttpRequest() : extra1_(kRequestOrigin) {}

HttpRequest::~HttpRequest() = default;

void* HttpRequest::GetOptionRef() const {
  // The host may only read through this address; the const_cast keeps the
  // slot's signature, which is part of the host interface.
  return const_cast<int64_t*>(&optionReserved_);
}

const char** HttpRequest::GetHeaders(unsigned* count) const {
  if (count != nullptr) *count = static_cast<unsigned>(headerPointers_.size());
  return headerPointers_.empty() ? nullptr : headerPointers_.data();
}

void HttpRequest::SetHeaders(const char* const lines[kHeaderCount]) {
  headerLines_.resize(kHeaderCount);
  for (size_t i = 0; i < kHeaderCount; ++i) {
    const char* line = lines == nullptr ? nullptr : lines[i];
    headerLines_[i] = line == nullptr ? std::string() : std::string(line);
  }
  headerPointers_.clear();
  for (const std::string& line : headerLines_) headerPointers_.push_back(line.c_str());
}

}  // namespace Ostrel
