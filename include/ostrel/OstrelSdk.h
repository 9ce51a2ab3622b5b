// The Ostrel SDK: client library of the remote configuration service.
//
// Conventions of this interface:
//  1. Every char* the library hands out (getOstrelConfig, facade slots 1, 3
//     and 4) is a fresh buffer owned by the caller. Give it back with
//     freeOstrelConfigValue (or facade slot 13), never with your own free or
//     delete: the library allocates with its own malloc.
//  2. A null result means "neither a value nor a default".
//  3. Null arguments never crash: a null namespace or key reads as "nothing",
//     null strings handed to setters count as empty, null objects are ignored.
//  4. Host services (logger, storage, HTTP client, statistics, listeners) stay
//     owned by the host and must outlive DestroyIOstrelConfig; the library
//     calls them from its own threads as well as from the caller's.
//  5. No exception ever leaves the library; failures are return values plus
//     one log line through the host's logger.
//  6. Call order: CreateIOConfig, fill it, GetIOstrelConfig, hand in the host
//     services (logger first), init, optionally DestroyIOConfig; then read
//     from any thread; DestroyIOstrelConfig once at the end, from a thread of
//     the host (not from inside a listener).
#ifndef OSTREL_OSTRELSDK_H_
#define OSTREL_OSTRELSDK_H_

#include "ostrel/IOConfig.h"
#include "ostrel/IOstrelConfig.h"
#include "ostrel/OstrelExport.h"

extern "C" {

// A new init-parameter object with the defaults (env 2, host group 0, every
// string empty). Each call makes a new object.
OSTREL_EXPORT Ostrel::IOConfig* CreateIOConfig();

// Releases an object from CreateIOConfig. Null is ignored.
OSTREL_EXPORT void DestroyIOConfig(Ostrel::IOConfig* config);

// The process-wide facade, created on the first call. Thread-safe.
OSTREL_EXPORT Ostrel::IOstrelConfig* GetIOstrelConfig();

// Stops the background work and tears every part of the library down. Safe
// when nothing was created and when called twice. Afterwards the facade may be
// obtained and initialised again; host services must then be handed in again.
OSTREL_EXPORT void DestroyIOstrelConfig();

// Exactly GetIOstrelConfig()->getConfig(nameSpace, key, defaultValue).
OSTREL_EXPORT char* getOstrelConfig(const char* nameSpace, const char* key,
                                    const char* defaultValue);

// Releases a string handed out by the library. Null is ignored.
OSTREL_EXPORT void freeOstrelConfigValue(char* value);

}  // extern "C"

#endif  // OSTREL_OSTRELSDK_H_
