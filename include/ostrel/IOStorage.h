// Host key-value storage interface.
#ifndef OSTREL_IOSTORAGE_H_
#define OSTREL_IOSTORAGE_H_

namespace Ostrel {

// Implemented by the host. Called from library threads and host threads at
// once; the store must tolerate concurrent calls. Keys and values are
// NUL-terminated byte strings. No destructor slot.
class IOStorage {
 public:
  // Slot 0. Stores value under key. Returns 0 on success, anything else on
  // failure.
  virtual int Save(const char* key, const char* value) = 0;
  // Slot 1. Returns a NUL-terminated buffer owned by the host (handed back
  // through Free), or null when the key is absent.
  virtual char* Load(const char* key) = 0;
  // Slot 2. Deletes the record under key. Returns 0 on success.
  virtual int Remove(const char* key) = 0;
  // Slot 3. Reserved; never called by the library.
  virtual int Reserved() = 0;
  // Slot 4. Called after the stored index failed to load: a host whose store
  // cannot be read back should drop every record of the library here.
  virtual int Clear() = 0;
  // Slot 5. Releases a buffer returned by Load.
  virtual void Free(char* buffer) = 0;

 protected:
  ~IOStorage() = default;
};

}  // namespace Ostrel

#endif  // OSTREL_IOSTORAGE_H_
