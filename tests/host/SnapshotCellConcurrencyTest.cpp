#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

#include "host/SnapshotCell.h"

namespace Ostrel {
namespace {

// Each snapshot holds a vector whose elements all equal its generation: a
// reader that saw a freed or half-built snapshot would see a mismatch (and
// the sanitizers a use after free or a race).
struct Generation {
  explicit Generation(int g) : values(64, g), generation(g) {}
  std::vector<int> values;
  int generation;
};

TEST(SnapshotCellConcurrency, ReadersAlwaysSeeWholeLiveSnapshots) {
  SnapshotCell<Generation> cell(std::make_unique<Generation>(0));
  std::atomic<bool> stop{false};
  std::atomic<long> reads{0};
  std::atomic<int> mismatches{0};
  std::atomic<int> running{0};
  std::vector<std::thread> readers;
  for (int t = 0; t < 3; ++t) {
    readers.emplace_back([&] {
      ++running;
      int lastSeen = 0;
      while (!stop) {
        ReadSection section;
        const Generation* snapshot = cell.Read();
        for (int value : snapshot->values) {
          if (value != snapshot->generation) ++mismatches;
        }
        // Publication order is visible in order.
        if (snapshot->generation < lastSeen) ++mismatches;
        lastSeen = snapshot->generation;
        ++reads;
      }
    });
  }
  while (running < 3) std::this_thread::yield();
  // At least 3000 generations, and on a busy machine more, until the readers
  // have read a good number of them.
  int generation = 0;
  while (generation < 3000 || (reads < 3000 && generation < 1000000)) {
    cell.Publish(std::make_unique<Generation>(++generation));
  }
  stop = true;
  for (auto& reader : readers) reader.join();
  EXPECT_EQ(mismatches, 0);
  EXPECT_GT(reads, 0);
  EXPECT_EQ(cell.Read()->generation, generation);
}

// More threads reading at once than there are per-thread counters: the
// extra threads share counters, and a section held by any of them still
// keeps what it reads alive.
TEST(SnapshotCellConcurrency, MoreReadersThanCountersStayCounted) {
  SnapshotCell<Generation> cell(std::make_unique<Generation>(0));
  constexpr int kThreads = 160;
  std::atomic<int> inside{0};
  std::atomic<bool> release{false};
  std::atomic<int> mismatches{0};
  std::vector<std::thread> readers;
  for (int t = 0; t < kThreads; ++t) {
    readers.emplace_back([&] {
      ReadSection section;
      const Generation* snapshot = cell.Read();
      ++inside;
      while (!release) std::this_thread::yield();
      for (int value : snapshot->values) {
        if (value != snapshot->generation) ++mismatches;
      }
    });
  }
  while (inside < kThreads) std::this_thread::yield();
  EXPECT_TRUE(ReadSection::AnyReaderInside());
  for (int g = 1; g <= 50; ++g) cell.Publish(std::make_unique<Generation>(g));
  EXPECT_GE(cell.RetiredCount(), 1u) << "the held snapshot is not freed";
  release = true;
  for (auto& reader : readers) reader.join();
  EXPECT_FALSE(ReadSection::AnyReaderInside());
  EXPECT_EQ(mismatches, 0);
}

}  // namespace
}  // namespace Ostrel
