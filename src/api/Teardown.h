// Tearing every singleton down in the fixed order.
#ifndef OSTREL_API_TEARDOWN_H_
#define OSTREL_API_TEARDOWN_H_

namespace Ostrel {

// Closes the API gate, waits for host calls inside to leave, then destroys:
// the task pool, the engine, the signing object, the network, log, storage
// and statistics managers, and the facade. Refused (with a log line) from a
// pool worker or from inside a host call such as a listener, where waiting
// would deadlock. Serialised against itself.
void TearDownLibrary();

}  // namespace Ostrel

#endif  // OSTREL_API_TEARDOWN_H_
