// A read's value together with the reason it came out that way.
#ifndef OSTREL_CPP_DETAIL_HPP_
#define OSTREL_CPP_DETAIL_HPP_

namespace Ostrel {

// Why GetDetail gave the value it gave.
enum class Reason {
  kFound,               // the value, converted
  kNamespaceNotLoaded,  // nothing cached for the namespace yet (a load has been asked for)
  kKeyAbsent,           // the namespace is loaded but has no such key
  kWrongType,           // the key is there, but its text did not convert
  kNotInitialised,      // init refused the options; nothing was looked up
};

// A short English phrase for a reason, for logs and tools: "found",
// "namespace not loaded yet", "key absent", "wrong type", "not initialised".
inline const char* ReasonText(Reason reason) noexcept {
  switch (reason) {
    case Reason::kFound:
      return "found";
    case Reason::kNamespaceNotLoaded:
      return "namespace not loaded yet";
    case Reason::kKeyAbsent:
      return "key absent";
    case Reason::kWrongType:
      return "wrong type";
    case Reason::kNotInitialised:
      return "not initialised";
  }
  return "";
}

// A value with the reason it came out that way; value is the default unless
// reason is kFound.
template <typename T>
struct Detail {
  T value;
  Reason reason;
};

}  // namespace Ostrel

#endif  // OSTREL_CPP_DETAIL_HPP_
