// The few RapidJSON operations the documents need, done the one safe way.
#ifndef OSTREL_MODEL_JSONFIELDS_H_
#define OSTREL_MODEL_JSONFIELDS_H_

#include <string>
#include <string_view>

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace Ostrel {

using JsonWriter = rapidjson::Writer<rapidjson::StringBuffer>;

// Parses text (all of its bytes, NULs included) into document. The parser
// keeps its own heap stack instead of recursing, so nesting depth cannot
// exhaust the thread's stack; it accepts exactly the documents the recursive
// parser accepts. On a syntax error a fresh document stays null, so the caller's
// first member read fails.
void ParseJsonText(const std::string& text, rapidjson::Document* document);

// The same parse done in place: strings are decoded inside buffer, and the
// document's strings point into it, so buffer must outlive document. A NUL
// byte in buffer ends the text, as it does for the parse above.
void ParseJsonInPlace(std::string* buffer, rapidjson::Document* document);

// Copies member name of object into out when object is an object and the
// member exists and is a string. Strings may hold NUL bytes: the copy goes by
// length. The first of duplicate members counts.
bool ReadStringMember(const rapidjson::Value& object, const char* name, std::string* out);

// The text of a string value, by length.
inline std::string_view StringView(const rapidjson::Value& value) {
  return std::string_view(value.GetString(), value.GetStringLength());
}

// Writes the string by length, so NULs are escaped rather than cutting it.
inline void WriteString(JsonWriter& writer, std::string_view text) {
  writer.String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

inline void WriteStringMember(JsonWriter& writer, const char* name, std::string_view text) {
  writer.Key(name);
  WriteString(writer, text);
}

// A string member of a document class: its JSON name, the parse message when
// it is missing or not a string, and the field that holds it.
template <typename T>
struct StringField {
  const char* name;
  const char* message;
  std::string T::*field;
};

// Reads the fields in their order. Returns null on success, else the message
// of the first field that failed.
template <typename T, size_t N>
const char* ReadStringFields(const rapidjson::Value& object, const StringField<T> (&fields)[N],
                             T* target) {
  for (const StringField<T>& field : fields) {
    if (!ReadStringMember(object, field.name, &(target->*field.field))) return field.message;
  }
  return nullptr;
}

// Writes the fields in their order into an open object.
template <typename T, size_t N>
void WriteStringFields(JsonWriter& writer, const StringField<T> (&fields)[N], const T& source) {
  for (const StringField<T>& field : fields) WriteStringMember(writer, field.name, source.*field.field);
}

}  // namespace Ostrel

#endif  // OSTREL_MODEL_JSONFIELDS_H_
