#include "companion/shell/private_folder.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

TEST(PrivateFolder, isForItsOwnerOnlyAndGoneInTheEnd) {
  const TemporaryFolder parent;
  {
    const PrivateFolder folder(parent.path(), "begun-");
    EXPECT_EQ(folder.path().parent_path(), parent.path());
    EXPECT_TRUE(folder.path().filename().string().starts_with("begun-"));
    EXPECT_EQ(fs::status(folder.path()).permissions(), fs::perms::owner_all);
    fs::create_directories(folder.path() / "a" / "b");
    const PrivateFolder another(parent.path(), "begun-");
    EXPECT_NE(another.path(), folder.path());
  }
  EXPECT_TRUE(parent.names().empty());
}

TEST(PrivateFolder, mayBeMovedAwayBefore) {
  const TemporaryFolder parent;
  {
    const PrivateFolder folder(parent.path(), "begun-");
    fs::rename(folder.path(), parent / "done");
  }
  EXPECT_EQ(parent.names(), std::vector<std::string>{"done"});
}

TEST(PrivateFolder, needsItsParent) {
  const TemporaryFolder parent;
  try {
    const PrivateFolder folder(parent / "none", "begun-");
    FAIL() << "there is no such folder to make one in";
  } catch (const fs::filesystem_error& error) {
    EXPECT_EQ(error.path1(), parent / "none");
    EXPECT_EQ(error.code(), std::errc::no_such_file_or_directory);
  }
}

}  // namespace
}  // namespace tavrine
