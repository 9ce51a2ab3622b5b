// CustomConfigDO::ParseFromJson on arbitrary text, with the round trip.
#include <cstddef>
#include <cstdint>
#include <string>

#include "FuzzSupport.h"
#include "model/CustomConfigDO.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  OstrelFuzz::SetUpLibrary();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto config = Ostrel::CustomConfigDO::ParseFromJson(text);
  if (config == nullptr) return 0;
  config->CheckValid(OstrelFuzz::App());
  const std::string json = config->ToJson();
  const auto again = Ostrel::CustomConfigDO::ParseFromJson(json);
  OstrelFuzz::Require(again != nullptr);
  OstrelFuzz::Require(again->content == config->content);
  OstrelFuzz::Require(again->ToJson() == json);
  return 0;
}
