// The smallest host, built against the installed package alone: starts the
// SDK through the C++ layer, reads a value that is not loaded (and so gets
// the default, with the reason), and tears the library down.
#include <chrono>
#include <cstdio>
#include <string>

#include "ostrel/ostrel.hpp"

int main() {
  Ostrel::Client::Options options;
  options.appKey = "consumer";
  options.appVersion = "1.0.0";
  options.env = Ostrel::Env::kOnline;
  Ostrel::Client client(options);
  const bool ready = client.WaitUntilReady(std::chrono::seconds(10));
  const auto greeting = client.GetDetail<std::string>("demo", "greeting", "hello");
  std::printf("consumer read: %s (%s)\n", greeting.value.c_str(),
              Ostrel::ReasonText(greeting.reason));
  return ready && greeting.value == "hello" &&
                 greeting.reason == Ostrel::Reason::kNamespaceNotLoaded
             ? 0
             : 1;
}
