#include "net/HttpResponse.h"

namespace Ostrel {
namespace {

// A huge text may not fit in memory; the field is then left empty rather
// than letting bad_alloc unwind into the host's client. An empty body never
// passes the MD5 check of a real resource.
void AssignText(std::string& field, const char* text) noexcept {
  try {
    if (text == nullptr) {
      field.clear();
    } else {
      field.assign(text);
    }
  } catch (...) {
    field.clear();
  }
}

}  // namespace

HttpResponse::~HttpResponse() = default;

void HttpResponse::SetBody(const char* body) { AssignText(body_, body); }

void HttpResponse::SetHeader(const char* header) { AssignText(header_, header); }

void HttpResponse::SetMessage(const char* message) { AssignText(message_, message); }

}  // namespace Ostrel
