// A reading thread's edges: the slot it owned is free again once it ends,
// also when another thread-local's destructor reads after the slot was
// given back; and entries are plain stores wherever the kernel offers the
// writers' barrier.
#include "host/ReadSection.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

#if defined(__linux__)
#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>
#endif

namespace Ostrel {
namespace {

using read_section_internal::Slot;
using read_section_internal::tReader;

std::atomic<int> gLateReadOwned{-1};

// Constructed before its thread's first section, so destroyed after the
// thread gave its slot back.
struct ReadsAtExit {
  ~ReadsAtExit() {
    ReadSection section;
    gLateReadOwned = tReader.owned ? 1 : 0;
  }
};

TEST(ReadSection, AThreadsSlotIsFreedAtExitAndALateReadTakesNoOther) {
  Slot* owned = nullptr;
  std::thread([&owned] {
    thread_local ReadsAtExit late;
    (void)&late;
    ReadSection section;
    if (tReader.owned) owned = tReader.slot;
  }).join();
  ASSERT_NE(nullptr, owned) << "a first reader gets a slot of its own";
  EXPECT_FALSE(owned->owned.load());
  EXPECT_EQ(0, gLateReadOwned.load()) << "an owned slot taken at exit is never given back";
}

#if defined(__linux__) && defined(__NR_membarrier)
TEST(ReadSection, EntriesArePlainStoresWhereTheKernelOffersTheBarrier) {
  const long commands = syscall(__NR_membarrier, MEMBARRIER_CMD_QUERY, 0);
  const bool offered = commands >= 0 && (commands & MEMBARRIER_CMD_PRIVATE_EXPEDITED) != 0;
  bool plain = !offered;
  std::thread([&plain] {
    ReadSection section;
    plain = tReader.plainEntry;
  }).join();
  EXPECT_EQ(offered, plain);
}
#endif

}  // namespace
}  // namespace Ostrel
