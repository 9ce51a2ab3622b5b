// A JSON text parsed into a document that remembers where each of its values
// begins, so that a refusal can point at the line and column of the fault.
// Unlike a plain parse it refuses an object that names a key twice: a client
// would keep one of the two values, and which one is no rule anyone wrote.
#ifndef OSTREL_TOOLS_SERVER_LOCATEDJSON_H_
#define OSTREL_TOOLS_SERVER_LOCATEDJSON_H_

#include <rapidjson/document.h>

#include <cstddef>
#include <map>
#include <string>

namespace OstrelServer {

// Not thread-safe; owns its document.
class LocatedJson {
 public:
  // Parses text. False on malformed JSON or a repeated key; error then holds
  // "line L, column C: <reason>".
  bool Parse(const std::string& text, std::string& error);

  const rapidjson::Document& Root() const { return document_; }

  // "line L, column C" of the value at pointer, a JSON pointer such as
  // "/content/theme" or "/candidates/0/match" (keys taken as they are, no
  // escaping); the document's start when the pointer names no value or one
  // nested deeper than four levels, which are not located.
  std::string Where(const std::string& pointer) const;

 private:
  rapidjson::Document document_;
  std::string text_;
  std::map<std::string, size_t> offsets_;  // JSON pointer -> byte offset of its value
};

}  // namespace OstrelServer

#endif  // OSTREL_TOOLS_SERVER_LOCATEDJSON_H_
