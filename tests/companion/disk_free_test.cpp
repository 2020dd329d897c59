#include "companion/assemble/disk_free.h"

#include <gmock/gmock.h>

#include <optional>
#include <ostream>
#include <string>
#include <utility>

#include "tests/support/rows.h"
#include "tests/support/told.h"

namespace tavrine {
namespace {

constexpr const char* kHeading =
    "Filesystem     1024-blocks      Used Available Capacity Mounted on\n";

struct SpaceRow {
  const char* name;
  std::string lines;
  std::optional<std::pair<double, double>> totalAndFree;
};
void PrintTo(const SpaceRow& row, std::ostream* out) { *out << testing::PrintToString(row.lines); }

class ParseDiskFree : public testing::TestWithParam<SpaceRow> {};

TEST_P(ParseDiskFree, findsTheFullest) {
  const std::optional<DiskSpace> space = parseDiskFree(kHeading + GetParam().lines);
  const auto numbers =
      space ? std::optional(std::pair(space->totalKB, space->freeKB)) : std::nullopt;
  EXPECT_EQ(numbers, GetParam().totalAndFree);
}

INSTANTIATE_TEST_SUITE_P(
    Tables, ParseDiskFree,
    rows<SpaceRow>({
        {"one", "/dev/sda1 1000 400 600 40% /\n", {{1000, 600}}},
        {"none", "", std::nullopt},
        {"theSmallestPartCounts",
         "/dev/a 1000 400 600 40% /\n/dev/b 100000 99000 1000 99% /data\n/dev/c 10 5 5 50% /c\n",
         {{100000, 1000}}},
        {"blanksInTheDevice", "//nas/my share 1000 400 600 40% /mnt\n", {{1000, 600}}},
        {"blanksInTheFolder", "/dev/a 1000 400 600 40% /my data 7%\n", {{1000, 600}}},
        {"noPercentage", "none 0 0 0 - /proc\n", {{0, 0}}},
        {"nothingOfItIsFull", "none 0 0 0 - /proc\n/dev/a 10 9 1 90% /\n", {{10, 1}}},
        {"moreUsedThanThereIs", "/dev/a 1000 1100 0 110% /\n", {{1000, 0}}},
        {"carriageReturns", "/dev/a 1000 400 600 40% /\r\n", {{1000, 600}}},
        {"tooFewColumns", "/dev/a 1000 400 40% /\n", std::nullopt},
        {"noNumbers", "/dev/a x 400 y 40% /\n", std::nullopt},
        {"negative", "/dev/a 1000 2000 -1000 200% /\n", std::nullopt},
        {"endless", "/dev/a inf 0 inf 0% /\n", std::nullopt},
        {"notANumber", "/dev/a nan 0 nan 0% /\n", std::nullopt},
        {"beyondADouble", "/dev/a 1e999 0 1 0% /\n", std::nullopt},
    }),
    rowName);

TEST(ParseDiskFreeFindings, tellOfWhatIsNoFileSystem) {
  Findings findings;
  parseDiskFree(std::string(kHeading) + "/dev/a 10 5 5 50% /\ndf: /x: gone\n", &findings);
  EXPECT_THAT(
      toldLines(findings),
      testing::ElementsAre(testing::HasSubstr("1:0 header_skipped"),
                           "3:0 line_dropped \"df: /x: gone\" not the line of a file system"));
}

TEST(DiskSpace, knowsItsParts) {
  EXPECT_EQ((DiskSpace{.totalKB = 4 << 20, .freeKB = 1 << 20}.freeGB()), 1);
  EXPECT_EQ((DiskSpace{.totalKB = 4, .freeKB = 1}.freeFraction()), 0.25);
  EXPECT_EQ((DiskSpace{.totalKB = 0, .freeKB = 0}.freeFraction()), 1);
}

}  // namespace
}  // namespace tavrine
