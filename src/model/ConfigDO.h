// The downloaded body of a STANDARD namespace: string keys to string values.
#ifndef OSTREL_MODEL_CONFIGDO_H_
#define OSTREL_MODEL_CONFIGDO_H_

#include <memory>
#include <string>
#include <string_view>

#include "host/LogManager.h"
#include "model/CheckDO.h"
#include "model/ConfigContent.h"
#include "model/JsonFields.h"

namespace Ostrel {

class CandidateDO;

// Created by ParseFromJson and shared by reference counting. Once a document
// has been handed to another thread it is immutable; candidate and restored
// are plain fields, and whoever creates the document sets them before
// publishing it (the downloader, respectively the restore from storage).
class ConfigDO : public CheckDO {
 public:
  // An empty pointer when text is not a STANDARD config document; the reason
  // has been logged ("Ostrel.ConfigDO", "ParseFromJson").
  static std::shared_ptr<ConfigDO> ParseFromJson(const std::string& text);

  // Every identifying field non-empty, at least one value, and meant for
  // app ("*" is any version). Logs "invaild" only for another application.
  bool CheckValid(const AppScope& app) const override;

  // Compact JSON that ParseFromJson reads back into an equal document; the
  // members in a fixed order, content keys ascending.
  virtual std::string ToJson() const;

  // The whole content as one text: for STANDARD the compact JSON object of the
  // pairs, keys ascending (the "content" member of ToJson).
  virtual std::string ContentText() const;

  // The version listeners are told: the candidate's when the document was
  // downloaded for one, else the document's own.
  const std::string& ReportedVersion() const;

  // A value by key, copying only the value.
  bool Find(std::string_view key, std::string* value) const { return content.Find(key, value); }

  std::string appKey;
  std::string appVersion;
  std::string id;
  std::string name;
  std::string resourceId;
  std::string type;
  std::string loadLevel;
  std::string version;
  std::string createTime;
  ConfigContent content;

  // Not part of the JSON. The candidate this document was downloaded for;
  // empty for the namespace's own resource.
  std::shared_ptr<CandidateDO> candidate;
  // True for a document read back from host storage.
  bool restored = false;

 protected:
  // Reads the members shared by both kinds of document, in their order, and
  // checks that "type" is expectedType. Logs the first failure under tag.
  bool ParseHeader(const rapidjson::Value& root, const char* expectedType,
                   const char* typeMessage, LogTag tag);
  // CheckValid's tests of the shared fields and of the application; logs
  // under tag.
  bool CheckHeader(const AppScope& app, bool hasContent, LogTag tag) const;
  // The value of the "content" member: here the object of the pairs.
  virtual void WriteContent(JsonWriter& writer) const;
};

}  // namespace Ostrel

#endif  // OSTREL_MODEL_CONFIGDO_H_
