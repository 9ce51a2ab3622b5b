// IndexDO::ParseFormJson on arbitrary text. A parsed index must validate,
// let every namespace decide on a download, and survive the round trip.
#include <cstddef>
#include <cstdint>
#include <string>

#include "FuzzSupport.h"
#include "model/IndexDO.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  OstrelFuzz::SetUpLibrary();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto index = Ostrel::IndexDO::ParseFormJson(text);
  if (index == nullptr) return 0;
  index->CheckValid(OstrelFuzz::App());
  const Ostrel::ClientAttributes& attributes = OstrelFuzz::Attributes();
  for (const auto& ns : index->mergedNamespaces) ns->CheckValid(nullptr, attributes);
  const std::string json = index->ToJson();
  const auto again = Ostrel::IndexDO::ParseFormJson(json);
  OstrelFuzz::Require(again != nullptr);
  OstrelFuzz::Require(again->ToJson() == json);
  OstrelFuzz::Require(again->mergedNamespaces.size() == index->mergedNamespaces.size());
  return 0;
}
