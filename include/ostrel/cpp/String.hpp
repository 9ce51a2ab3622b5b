// RAII ownership of a string the library hands out.
#ifndef OSTREL_CPP_STRING_HPP_
#define OSTREL_CPP_STRING_HPP_

#include <string>

#include "ostrel/OstrelSdk.h"

namespace Ostrel {

// Owns one buffer handed out by the library (getOstrelConfig, getConfig,
// getConfigs, getCustomConfig) and gives it back with freeOstrelConfigValue.
// Move-only; one object is used by one thread at a time.
class String {
 public:
  String() noexcept = default;
  // Takes ownership of value, which came from the library or is null.
  explicit String(char* value) noexcept : value_(value) {}
  ~String() { Reset(); }
  String(String&& other) noexcept : value_(other.Release()) {}
  String& operator=(String&& other) noexcept {
    if (this != &other) Reset(other.Release());
    return *this;
  }
  String(const String&) = delete;
  String& operator=(const String&) = delete;

  // The buffer, or null; owned by this object.
  const char* Get() const noexcept { return value_; }
  // True when a buffer is held: null means "neither a value nor a default".
  explicit operator bool() const noexcept { return value_ != nullptr; }
  // A copy of the text; empty when null. May throw std::bad_alloc.
  std::string Text() const { return value_ != nullptr ? std::string(value_) : std::string(); }
  // Hands the buffer to the caller, who must free it through the library.
  char* Release() noexcept {
    char* value = value_;
    value_ = nullptr;
    return value;
  }
  // Frees the held buffer and takes value instead.
  void Reset(char* value = nullptr) noexcept {
    char* old = value_;
    value_ = value;
    freeOstrelConfigValue(old);
  }

 private:
  char* value_ = nullptr;
};

}  // namespace Ostrel

#endif  // OSTREL_CPP_STRING_HPP_
