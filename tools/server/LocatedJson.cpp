#include "LocatedJson.h"

#include <rapidjson/error/en.h>
#include <rapidjson/reader.h>

#include <cctype>
#include <set>
#include <vector>

namespace OstrelServer {
namespace {

// The deepest value a refusal points at: a key of a candidate's content,
// /candidates/<i>/content/<key>.
constexpr size_t kLocatedDepth = 4;

// "line L, column C" of a byte offset; columns count bytes, from 1.
std::string Position(const std::string& text, size_t offset) {
  if (offset > text.size()) offset = text.size();
  size_t line = 1;
  size_t lineStart = 0;
  for (size_t i = 0; i < offset; ++i) {
    if (text[i] == '\n') {
      ++line;
      lineStart = i + 1;
    }
  }
  return "line " + std::to_string(line) + ", column " + std::to_string(offset - lineStart + 1);
}

// Forwards every event to the document while it notes where each value
// begins and which keys each open object has named. The reader works on a
// copy of its stream while it reads a token, so the handler finds the tokens
// in the text itself: each event's token is the next one after the last,
// and the reader has already checked it.
class LocatingHandler {
 public:
  LocatingHandler(rapidjson::Document& document, const char* text,
                  std::map<std::string, size_t>& offsets)
      : document_(document), offsets_(offsets), text_(text) {}

  bool Null() {
    OpenValue();
    return document_.Null();
  }
  bool Bool(bool b) {
    OpenValue();
    return document_.Bool(b);
  }
  bool Int(int i) {
    OpenValue();
    return document_.Int(i);
  }
  bool Uint(unsigned i) {
    OpenValue();
    return document_.Uint(i);
  }
  bool Int64(int64_t i) {
    OpenValue();
    return document_.Int64(i);
  }
  bool Uint64(uint64_t i) {
    OpenValue();
    return document_.Uint64(i);
  }
  bool Double(double d) {
    OpenValue();
    return document_.Double(d);
  }
  // Only called when numbers are read as text, which Parse never asks for.
  bool RawNumber(const char* str, rapidjson::SizeType length, bool copy) {
    OpenValue();
    return document_.RawNumber(str, length, copy);
  }
  bool String(const char* str, rapidjson::SizeType length, bool copy) {
    OpenValue();
    return document_.String(str, length, copy);
  }
  bool StartObject() {
    const std::string pointer = OpenValue();
    frames_.push_back(Frame{pointer, true, 0, {}, {}});
    return document_.StartObject();
  }
  bool Key(const char* str, rapidjson::SizeType length, bool copy) {
    const size_t start = NextToken();
    lastOffset_ = TokenEnd(start);
    Frame& frame = frames_.back();
    frame.key.assign(str, length);
    if (!frame.keys.insert(frame.key).second) {
      duplicate_ = "duplicate key \"" + frame.key + "\"";
      duplicateOffset_ = start;
      return false;
    }
    return document_.Key(str, length, copy);
  }
  bool EndObject(rapidjson::SizeType count) {
    lastOffset_ = NextToken() + 1;
    frames_.pop_back();
    return document_.EndObject(count);
  }
  bool StartArray() {
    const std::string pointer = OpenValue();
    frames_.push_back(Frame{pointer, false, 0, {}, {}});
    return document_.StartArray();
  }
  bool EndArray(rapidjson::SizeType count) {
    lastOffset_ = NextToken() + 1;
    frames_.pop_back();
    return document_.EndArray(count);
  }

  const std::string& Duplicate() const { return duplicate_; }
  size_t DuplicateOffset() const { return duplicateOffset_; }

 private:
  struct Frame {
    std::string pointer;
    bool object;
    size_t elements;
    std::string key;  // the member whose value comes next
    std::set<std::string> keys;
  };

  // The offset of the token that follows the last one the reader finished.
  size_t NextToken() const {
    size_t offset = lastOffset_;
    while (text_[offset] == ' ' || text_[offset] == '\t' || text_[offset] == '\n' ||
           text_[offset] == '\r' || text_[offset] == ',' || text_[offset] == ':') {
      ++offset;
    }
    return offset;
  }

  // One past the token that begins at start: a string, a bracket, a
  // number or a literal.
  size_t TokenEnd(size_t start) const {
    size_t end = start + 1;
    if (text_[start] == '"') {
      while (text_[end] != '"') end += text_[end] == '\\' ? 2 : 1;
      return end + 1;
    }
    if (text_[start] == '{' || text_[start] == '[') return end;
    while (std::isalnum(static_cast<unsigned char>(text_[end])) || text_[end] == '.' ||
           text_[end] == '+' || text_[end] == '-') {
      ++end;
    }
    return end;
  }

  // Records where the value that the reader just met begins; its pointer.
  std::string OpenValue() {
    std::string pointer;
    const size_t start = NextToken();
    lastOffset_ = TokenEnd(start);
    // Pointers grow with the depth, and a file of nested brackets would make
    // their total size quadratic; no check looks deeper than this.
    if (frames_.size() > kLocatedDepth) return pointer;
    if (!frames_.empty()) {
      Frame& parent = frames_.back();
      pointer =
          parent.pointer + "/" + (parent.object ? parent.key : std::to_string(parent.elements++));
    }
    offsets_[pointer] = start;
    return pointer;
  }

  rapidjson::Document& document_;
  std::map<std::string, size_t>& offsets_;
  const char* const text_;
  size_t lastOffset_ = 0;
  std::vector<Frame> frames_;
  std::string duplicate_;
  size_t duplicateOffset_ = 0;
};

// Drives the reader for Document::Populate, which takes the finished value.
struct Generator {
  bool operator()(rapidjson::Document& document) {
    LocatingHandler locating(document, stream.head_, offsets);
    // Iterative: a file of nested brackets must not exhaust the stack.
    result = reader.Parse<rapidjson::kParseIterativeFlag>(stream, locating);
    duplicate = locating.Duplicate();
    duplicateOffset = locating.DuplicateOffset();
    return !result.IsError();
  }

  rapidjson::StringStream stream;
  std::map<std::string, size_t>& offsets;
  rapidjson::Reader reader;
  rapidjson::ParseResult result;
  std::string duplicate;
  size_t duplicateOffset = 0;
};

}  // namespace

bool LocatedJson::Parse(const std::string& text, std::string& error) {
  text_ = text;
  offsets_.clear();
  Generator generator{rapidjson::StringStream(text_.c_str()), offsets_, {}, {}, {}, 0};
  document_.Populate(generator);
  if (!generator.duplicate.empty()) {
    error = Position(text_, generator.duplicateOffset) + ": " + generator.duplicate;
    return false;
  }
  if (generator.result.IsError()) {
    error = Position(text_, generator.result.Offset()) + ": " +
            rapidjson::GetParseError_En(generator.result.Code());
    return false;
  }
  // The reader stops at a NUL, which a file may hold; what follows it would
  // go unread.
  if (text_.find('\0') != std::string::npos) {
    error = Position(text_, text_.find('\0')) + ": a NUL byte";
    return false;
  }
  return true;
}

std::string LocatedJson::Where(const std::string& pointer) const {
  auto found = offsets_.find(pointer);
  return Position(text_, found != offsets_.end() ? found->second : 0);
}

}  // namespace OstrelServer
