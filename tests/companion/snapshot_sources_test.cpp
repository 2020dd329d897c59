#include "companion/watch/demo_source.h"
#include "companion/watch/file_source.h"

#include "tests/support/temporary_folder.h"

#include <TavrineShared/demo/sample_data.h>
#include <TavrineShared/store/snapshot_disk_store.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <system_error>

namespace tavrine {
namespace {

using testing::HasSubstr;

Timestamp second(double seconds) { return Timestamp(std::chrono::duration<double>(seconds)); }

constexpr std::string_view kEmpty = R"({"timestamp":"2026-11-15T17:48:25Z"})";

class FileSource : public testing::Test {
 protected:
  std::optional<SourceNews> poll() { return source_.poll(second(0)); }
  void write(std::string_view content) { folder_.file("lab.json", content); }

  TemporaryFolder folder_;
  std::filesystem::path file_ = folder_ / "lab.json";
  SnapshotSource source_ = fileSource(file_);
};

TEST_F(FileSource, isCalledAfterItsFile) { EXPECT_EQ(source_.name, file_.string()); }

TEST_F(FileSource, tellsEachSnapshotOnce) {
  write(kEmpty);
  const auto news = poll();
  ASSERT_TRUE(news && news->snapshot);
  EXPECT_EQ(news->snapshot->timestamp, second(1794764905));
  EXPECT_EQ(news->problem, "");
  EXPECT_FALSE(poll());
}

TEST_F(FileSource, tellsAboutAFileThatIsReplaced) {
  SnapshotDiskStore::write(SampleData::detail::snapshot(1, second(1e9)), file_);
  ASSERT_TRUE(poll());
  SnapshotDiskStore::write(SampleData::detail::snapshot(2, second(1e9 + 1)), file_);
  const auto news = poll();
  ASSERT_TRUE(news && news->snapshot);
  EXPECT_EQ(news->snapshot->timestamp, second(1e9 + 1));
}

TEST_F(FileSource, tellsWhyThereIsNoneAndThenThatThereIs) {
  auto news = poll();
  ASSERT_TRUE(news && !news->snapshot);
  EXPECT_EQ(
      news->problem,
      "cannot be read: " + std::make_error_code(std::errc::no_such_file_or_directory).message());
  EXPECT_FALSE(poll());
  write(kEmpty);
  news = poll();
  ASSERT_TRUE(news && news->snapshot);
  std::filesystem::remove(file_);
  news = poll();
  ASSERT_TRUE(news && !news->snapshot);
}

TEST_F(FileSource, tellsWhatIsWrongWithADamagedOne) {
  write("{\"timestamp\":");
  const auto news = poll();
  ASSERT_TRUE(news && !news->snapshot);
  EXPECT_THAT(news->problem, HasSubstr("no snapshot: not JSON"));
}

TEST_F(FileSource, tellsWhatWasLost) {
  write(R"({"timestamp":"2026-11-15T17:48:25Z","runs":[7,7]})");
  const auto news = poll();
  ASSERT_TRUE(news && news->snapshot);
  EXPECT_EQ(news->problem, "2 losses in it; 'tavrine check' tells of what, and why");
}

TEST_F(FileSource, isNotFooledByAFolder) {
  std::filesystem::create_directory(file_);
  const auto news = poll();
  ASSERT_TRUE(news && !news->snapshot);
  EXPECT_THAT(news->problem, HasSubstr("cannot be read"));
}

TEST(DemoSource, ticksOnceASecond) {
  const SnapshotSource source = demoSource(60);
  const auto utilization = [&](double now) -> std::optional<double> {
    const auto news = source.poll(second(now));
    if (!news) return std::nullopt;
    return news->snapshot->averageGPUUtilization();
  };
  const auto expected = [](std::int64_t tick) {
    return SampleData::detail::snapshot(tick, second(0)).averageGPUUtilization();
  };
  EXPECT_EQ(utilization(1000), expected(60));
  EXPECT_EQ(utilization(1000.5), std::nullopt);
  EXPECT_EQ(utilization(1001), expected(61));
  EXPECT_EQ(utilization(1001.9), std::nullopt);
  EXPECT_EQ(utilization(5000), expected(62));
}

TEST(DemoSource, goesOnWhenTheClockIsSetBack) {
  const SnapshotSource source = demoSource(60);
  EXPECT_TRUE(source.poll(second(1000)));
  EXPECT_TRUE(source.poll(second(10)));
}

TEST(DemoSource, standsStillOnTheLastTick) {
  const SnapshotSource source = demoSource(SampleData::kLargestTick);
  EXPECT_TRUE(source.poll(second(1)));
  EXPECT_TRUE(source.poll(second(2)));
}

}  // namespace
}  // namespace tavrine
