// The HTTP exchange between the library and the host's HTTP client.
#ifndef OSTREL_IOHTTP_H_
#define OSTREL_IOHTTP_H_

#include <cstdint>

namespace Ostrel {

// A request described by the library and read by the host's client. Every
// returned pointer stays valid while the request lives (for the duration of
// IOHttpClient::Send). Owned by the library: the host never deletes it.
class IOHttpRequest {
 public:
  // Slot 0. Request-type code: the library sends 0 (a GET without body).
  virtual int GetType() const = 0;
  // Slot 1. Complete URL with scheme and query.
  virtual const char* GetUrl() const = 0;
  // Slot 2. Body bytes; may contain NUL bytes, so read GetBodyLength() bytes.
  virtual const char* GetBody() const = 0;
  // Slot 3. Body length in bytes.
  virtual int64_t GetBodyLength() const = 0;
  // Slot 4. Reserved text; empty.
  virtual const char* GetExtra0() const = 0;
  // Slot 5. Reserved option word; 0.
  virtual int64_t GetOption() const = 0;
  // Slot 6. Address of a reserved 64-bit word; the library never writes it.
  virtual void* GetOptionRef() const = 0;
  // Slot 7. Header lines "name: value"; stores their number in *count.
  virtual const char** GetHeaders(unsigned* count) const = 0;
  // Slot 8. Reserved text.
  virtual const char* GetExtra1() const = 0;
  // Slot 9. Reserved text; empty.
  virtual const char* GetExtra2() const = 0;
  // Slot 10.
  virtual ~IOHttpRequest() = default;
};

// The answer, filled by the host's client. Owned by the library.
class IOHttpResponse {
 public:
  // Slot 0. True when the server answered the request successfully.
  virtual void SetSuccess(bool success) = 0;
  // Slot 1. Replaces the body with the NUL-terminated text (null: empty).
  virtual void SetBody(const char* body) = 0;
  // Slot 2. Replaces the response header text (null: empty).
  virtual void SetHeader(const char* header) = 0;
  // Slot 3.
  virtual void SetStatusCode(int statusCode) = 0;
  // Slot 4. Free text from the host (null: empty).
  virtual void SetMessage(const char* message) = 0;
  // Slot 5.
  virtual ~IOHttpResponse() = default;
};

// Implemented by the host. Called synchronously from library threads, several
// at once, so Send must be re-entrant. No destructor slot.
class IOHttpClient {
 public:
  // Slot 0. Performs the exchange and fills response. Returns 0 on success,
  // anything else on failure (the response is then discarded).
  virtual int Send(IOHttpRequest* request, IOHttpResponse* response) = 0;

 protected:
  ~IOHttpClient() = default;
};

}  // namespace Ostrel

#endif  // OSTREL_IOHTTP_H_
