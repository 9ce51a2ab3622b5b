// Host statistics sink interface.
#ifndef OSTREL_IOSTATISTICS_H_
#define OSTREL_IOSTATISTICS_H_

namespace Ostrel {

// Implemented by the host; called from any library thread. All strings are
// NUL-terminated and valid only during the call. The module is always
// "OstrelConfig"; points are "index_rate", "config_rate" and the others listed
// in docs. No destructor slot.
class IOStatistics {
 public:
  // Slot 0.
  virtual void CommitSuccess(const char* module, const char* point,
                             const char* arg) = 0;
  // Slot 1. code is the failure's reason text, message a short detail.
  virtual void CommitFail(const char* module, const char* point,
                          const char* arg, const char* code,
                          const char* message) = 0;

 protected:
  ~IOStatistics() = default;
};

}  // namespace Ostrel

#endif  // OSTREL_IOSTATISTICS_H_
