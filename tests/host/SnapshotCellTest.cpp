#include "host/SnapshotCell.h"

#include <gtest/gtest.h>

#include <memory>

namespace Ostrel {
namespace {

struct Tracked {
  explicit Tracked(int v, int* liveCount) : value(v), live(liveCount) { ++*live; }
  ~Tracked() { --*live; }
  int value;
  int* live;
};

TEST(SnapshotCell, ReplacedObjectsLiveUntilNoReaderCanHoldThem) {
  int live = 0;
  SnapshotCell<Tracked> cell(std::make_unique<Tracked>(0, &live));
  {
    ReadSection outer;
    const Tracked* seen = cell.Read();
    {
      // Leaving a nested section must not count as the outer reader leaving.
      ReadSection inner;
      cell.Publish(std::make_unique<Tracked>(1, &live));
    }
    cell.Publish(std::make_unique<Tracked>(2, &live));
    cell.Publish(std::make_unique<Tracked>(3, &live));
    EXPECT_EQ(seen->value, 0);
    EXPECT_EQ(cell.Read()->value, 3);
    EXPECT_EQ(live, 4) << "nothing freed while the outer reader is inside";
  }
  // Without readers, the next publications free everything they replaced.
  cell.Publish(std::make_unique<Tracked>(4, &live));
  cell.Publish(std::make_unique<Tracked>(5, &live));
  EXPECT_EQ(cell.RetiredCount(), 0u);
  EXPECT_EQ(live, 1);
}

}  // namespace
}  // namespace Ostrel
