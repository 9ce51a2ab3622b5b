// NamespaceDO::ParseFromJson on arbitrary text, as the push path receives it.
// A parsed descriptor must decide on a download and read back equal.
#include <cstddef>
#include <cstdint>
#include <string>

#include "FuzzSupport.h"
#include "model/NamespaceDO.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  OstrelFuzz::SetUpLibrary();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto ns = Ostrel::NamespaceDO::ParseFromJson(text);
  if (ns == nullptr) return 0;
  const Ostrel::ClientAttributes& attributes = OstrelFuzz::Attributes();
  auto held = std::make_shared<Ostrel::ConfigDO>();
  held->version = ns->version;
  ns->CheckValid(held, attributes);
  ns->UpdateCandidate(attributes);
  rapidjson::StringBuffer buffer;
  Ostrel::JsonWriter writer(buffer);
  ns->WriteJson(writer);
  const auto again =
      Ostrel::NamespaceDO::ParseFromJson(std::string(buffer.GetString(), buffer.GetSize()));
  OstrelFuzz::Require(again != nullptr && again->Equals(*ns) && again->type == ns->type);
  return 0;
}
