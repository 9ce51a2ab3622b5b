// One namespace file of the data folder, checked against everything the
// library will refuse or never match, so that a mistake is refused once at
// publication instead of being logged by every client.
#ifndef OSTREL_TOOLS_SERVER_NAMESPACEFILE_H_
#define OSTREL_TOOLS_SERVER_NAMESPACEFILE_H_

#include <rapidjson/document.h>

#include <string>

#include "LocatedJson.h"

namespace OstrelServer {

// Not thread-safe; owns the parsed file.
class NamespaceFile {
 public:
  // Empty when text is a namespace file the library takes; otherwise
  // "line L, column C: <reason>" for the first fault met.
  std::string Read(const std::string& text);

  // Valid after a Read that returned empty.
  const std::string& Type() const { return type_; }
  const std::string& LoadLevel() const { return loadLevel_; }
  const rapidjson::Value& Content() const { return json_.Root()["content"]; }
  // The candidates in file order; an empty array when the file has none.
  const rapidjson::Value& Candidates() const;

  // Empty when every unit of the condition parses with the library's
  // matcher, names an attribute the library sets and can hold for some
  // client; otherwise why not.
  static std::string CheckCondition(const std::string& match);

 private:
  // Empty when content, the value at pointer (null when missing), suits the
  // namespace's type.
  std::string CheckContent(const rapidjson::Value* content, const std::string& pointer) const;
  std::string At(const std::string& pointer, const std::string& reason) const;

  LocatedJson json_;
  std::string type_;
  std::string loadLevel_ = "DEFAULT";
};

}  // namespace OstrelServer

#endif  // OSTREL_TOOLS_SERVER_NAMESPACEFILE_H_
