// A C++17 layer over the Ostrel SDK for hosts written in C++: start-up with
// a ready-wait, typed reads with defaults, reads that say why they gave what
// they gave, and change subscriptions that end themselves.
//
// It is header-only and calls nothing but the six C exports and the vtables
// of OstrelSdk.h, so the library's binary interface is the same with or
// without it, and a host may mix it with direct calls. Include this header;
// the parts live in ostrel/cpp/, one class to a file: Client, Subscription,
// String, Convert (the conversions) and Detail (reads with their reason).
//
// Exceptions: no exception ever leaves a call into the SDK, and none is
// thrown by this layer on purpose. The functions below that build a
// std::string, std::map, std::function or std::optional may throw
// std::bad_alloc from that allocation; their comments say "May throw
// std::bad_alloc". By then any buffer received from the SDK has been handed
// back. Every other function is noexcept. A Subscribe callback that throws is
// stopped inside the layer: nothing crosses the listener vtable.
//
// Typical use (the services are the host's, see OstrelSdk.h):
//
//   Ostrel::Client::Options options;
//   options.appKey = "my-app";
//   options.appVersion = "2.4.1";
//   options.env = Ostrel::Env::kOnline;
//   options.logger = &logger;  // and storage, httpClient, statistics
//   Ostrel::Client client(options);
//   client.WaitUntilReady(std::chrono::seconds(2));
//   int64_t tabs = client.GetInt64("features", "maxTabs", 4);
//   Ostrel::Subscription watch = client.Subscribe(
//       "features", [](const Ostrel::Change& change) { /* reread */ });
#ifndef OSTREL_OSTREL_HPP_
#define OSTREL_OSTREL_HPP_

#include "ostrel/OstrelSdk.h"
#include "ostrel/cpp/Client.hpp"
#include "ostrel/cpp/Convert.hpp"
#include "ostrel/cpp/Detail.hpp"
#include "ostrel/cpp/String.hpp"
#include "ostrel/cpp/Subscription.hpp"

#endif  // OSTREL_OSTREL_HPP_
