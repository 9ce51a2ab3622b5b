// ConfigDO::ParseFromJson on arbitrary text. A document that parses must
// validate without fault and write JSON that reads back into an equal one.
#include <cstddef>
#include <cstdint>
#include <string>

#include "FuzzSupport.h"
#include "model/ConfigDO.h"

extern "C" int LLVMFuzzerInitialize(int*, char***) {
  OstrelFuzz::SetUpLibrary();
  return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  const auto config = Ostrel::ConfigDO::ParseFromJson(text);
  if (config == nullptr) return 0;
  config->CheckValid(OstrelFuzz::App());
  const std::string json = config->ToJson();
  const auto again = Ostrel::ConfigDO::ParseFromJson(json);
  OstrelFuzz::Require(again != nullptr);
  OstrelFuzz::Require(again->content == config->content);
  OstrelFuzz::Require(again->ToJson() == json);
  for (const Ostrel::ConfigContent::Pair& pair : config->content) {
    std::string value;
    OstrelFuzz::Require(config->Find(pair.first, &value) && value == pair.second);
  }
  return 0;
}
