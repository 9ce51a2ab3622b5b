// Host logger interface.
#ifndef OSTREL_IOLOG_H_
#define OSTREL_IOLOG_H_

namespace Ostrel {

// Implemented by the host. The library calls it from any of its threads and
// from host threads at once, so Log must be thread-safe. No destructor slot:
// the library never deletes a logger.
class IOLog {
 public:
  // level: 0 debug, 1 info, 2 warning, 3 error. tag names the component
  // ("Ostrel.ConfigCenter"), method the operation ("LoadConfig"), text the
  // message. The three strings are valid only for the duration of the call.
  virtual void Log(int level, const char* tag, const char* method,
                   const char* text) = 0;

 protected:
  ~IOLog() = default;
};

}  // namespace Ostrel

#endif  // OSTREL_IOLOG_H_
