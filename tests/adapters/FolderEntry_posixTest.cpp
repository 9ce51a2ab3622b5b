// A listing's entry type is trusted when given; when the file system leaves
// it unknown, a sub-folder must still not pass for a record.
#include "FolderEntry_posix.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <fstream>

#include "ScratchDir.h"

namespace OstrelTest {
namespace {

TEST(FolderEntry, UnknownTypesAreAskedAndKnownOnesTrusted) {
  ScratchDir scratch;
  ASSERT_FALSE(scratch.path().empty());
  ASSERT_EQ(0, ::mkdir(scratch.File("sub").c_str(), 0755));
  std::ofstream(scratch.File("record")) << "x";
  const int fd = ::open(scratch.path().c_str(), O_RDONLY | O_DIRECTORY);
  ASSERT_GE(fd, 0);
  const struct {
    const char* name;
    unsigned char type;
    bool folder;
  } kCases[] = {
      {"sub", DT_UNKNOWN, true},     {"record", DT_UNKNOWN, false},
      {"absent", DT_UNKNOWN, false}, {"absent", DT_DIR, true},
      {"sub", DT_REG, false},
  };
  for (const auto& c : kCases) {
    EXPECT_EQ(c.folder, OstrelHost::IsFolderEntry(fd, c.name, c.type))
        << c.name << " " << static_cast<int>(c.type);
  }
  ::close(fd);
}

}  // namespace
}  // namespace OstrelTest
