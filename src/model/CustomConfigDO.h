// The downloaded body of a CUSTOM namespace: one free text.
#ifndef OSTREL_MODEL_CUSTOMCONFIGDO_H_
#define OSTREL_MODEL_CUSTOMCONFIGDO_H_

#include <memory>
#include <string>

#include "model/ConfigDO.h"

namespace Ostrel {

// Shares the identifying fields, their parse order and their messages with
// ConfigDO; the inherited key/value content stays empty.
class CustomConfigDO : public ConfigDO {
 public:
  // An empty pointer when text is not a CUSTOM config document; the reason
  // has been logged ("Ostrel.CustomConfigDO", "ParseFromJson").
  static std::shared_ptr<CustomConfigDO> ParseFromJson(const std::string& text);

  // As ConfigDO's, with a non-empty text in place of at least one value.
  bool CheckValid(const AppScope& app) const override;

  // The free text itself.
  std::string ContentText() const override;

  // Hides ConfigDO::content: for a CUSTOM document the content is this text.
  std::string content;

 protected:
  void WriteContent(JsonWriter& writer) const override;
};

}  // namespace Ostrel

#endif  // OSTREL_MODEL_CUSTOMCONFIGDO_H_
