#include <TavrineShared/store/snapshot_disk_store.h>

#include <TavrineShared/demo/sample_data.h>
#include <TavrineShared/model/json_conventions.h>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <limits>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/home_for_now.h"
#include "tests/support/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

constexpr Timestamp kTime{std::chrono::duration<double>(1794764905)};

AppSnapshot snapshotAt(Timestamp time) {
  AppSnapshot snapshot = AppSnapshot::empty();
  snapshot.timestamp = time;
  return snapshot;
}

/// A snapshot of so many alerts, all of them telling the same number.
AppSnapshot numbered(std::int64_t number, std::size_t alerts) {
  AppSnapshot snapshot = snapshotAt(kTime);
  snapshot.alerts.assign(alerts,
                         {.id = {},
                          .severity = AlertSeverity::info,
                          .title = std::to_string(number),
                          .message = "a message of some length, to make the file a long one",
                          .serverName = {},
                          .runName = {},
                          .timestamp = kTime});
  return snapshot;
}

/// Whether it is one of the snapshots above, and whole.
bool isNumbered(const AppSnapshot& snapshot, std::size_t alerts) {
  if (snapshot.alerts.size() != alerts) return false;
  const AppSnapshot want = numbered(std::stoll(snapshot.alerts.front().title), alerts);
  return snapshot == want;
}

// --- Where ---

TEST(DefaultURL, isInTheHomeDirectory) {
  const HomeForNow tulo("/home/tulo");
  EXPECT_EQ(SnapshotDiskStore::defaultURL(), "/home/tulo/.tavrine/latest.json");
  const HomeForNow kesho("/home/kesho");  // looked up on each call
  EXPECT_EQ(SnapshotDiskStore::defaultURL(), "/home/kesho/.tavrine/latest.json");
}

TEST(DefaultURL, createsNothing) {
  const TemporaryFolder folder;
  const HomeForNow home(folder.path().c_str());
  SnapshotDiskStore::defaultURL();
  EXPECT_TRUE(folder.names().empty());
}

// --- Reading ---

TEST(SnapshotRead, givesASnapshotOfNothingButATime) {
  const TemporaryFolder folder;
  const auto read =
      SnapshotDiskStore::read(folder.file("a.json", R"({"timestamp":"2026-11-15T17:48:25Z"})"));
  EXPECT_EQ(read, snapshotAt(kTime));
}

TEST(SnapshotRead, dropsBadRecords) {
  const TemporaryFolder folder;
  const fs::path path = folder.file("a.json", R"({"timestamp":"2026-11-15T17:48:25Z","runs":[7]})");
  EXPECT_EQ(SnapshotDiskStore::read(path), snapshotAt(kTime));
  Findings findings;
  EXPECT_EQ(SnapshotDiskStore::readOrThrow(path, &findings), snapshotAt(kTime));
  ASSERT_EQ(findings.list().size(), 1U);
  EXPECT_EQ(findings.list().front().path, "runs[0]");
}

TEST(SnapshotRead, givesNothingForWhatIsNoSnapshot) {
  const TemporaryFolder folder;
  for (const std::string_view content : {"",
                                         " ",
                                         "null",
                                         "[]",
                                         "{}",
                                         "\"timestamp\"",
                                         R"({"timestamp":null})",
                                         R"({"timestamp":1700000000})",
                                         R"({"timestamp":"yesterday"})",
                                         R"({"timestamp":"2026-11-15T17:48:25Z")",
                                         R"({"timestamp":"2026-11-15T17:48:25Z"}x)",
                                         "\xEF\xBB\xBF{\"timestamp\":\"2026-11-15T17:48:25Z\"}",
                                         R"({"timestamp":"2026-11-15T17:48:25Z","runs":[{]})"}) {
    const fs::path path = folder.file("a.json", content);
    EXPECT_EQ(SnapshotDiskStore::read(path), std::nullopt) << content;
    EXPECT_THROW(SnapshotDiskStore::readOrThrow(path), DecodingError) << content;
  }
}

TEST(SnapshotRead, givesNothingForWhatCannotBeRead) {
  const TemporaryFolder folder;
  ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
  fs::create_symlink(folder / "loop", folder / "loop");
  for (const fs::path& path : {folder / "none",
                               folder.path(),
                               folder / "fifo",
                               folder / "loop",
                               fs::path(),
                               fs::path("/dev/zero"),
                               fs::path("/proc/self/mem")}) {
    EXPECT_EQ(SnapshotDiskStore::read(path), std::nullopt) << path;
    EXPECT_THROW(SnapshotDiskStore::readOrThrow(path), fs::filesystem_error) << path;
  }
}

TEST(SnapshotRead, givesNothingForAGigabyteOfZeros) {
  const TemporaryFolder folder;
  const fs::path path = folder.file("zeros.json", "");
  fs::resize_file(path, 1 << 30);
  EXPECT_EQ(SnapshotDiskStore::read(path), std::nullopt);
}

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kHasAddressSanitizer = true;
#elif defined(__has_feature)
constexpr bool kHasAddressSanitizer = __has_feature(address_sanitizer);
#else
constexpr bool kHasAddressSanitizer = false;
#endif

TEST(SnapshotRead, givesNothingForMoreThanAnyMemoryHolds) {
  if (kHasAddressSanitizer) GTEST_SKIP() << "a sanitizer stops whoever asks for that much memory";
  const TemporaryFolder folder;
  const fs::path path = folder.file("huge.json", "");
  std::error_code error;
  fs::resize_file(path, std::uintmax_t{1} << 43, error);
  if (error) GTEST_SKIP() << "this file system has no files of 8 TiB";
  EXPECT_EQ(SnapshotDiskStore::read(path), std::nullopt);
}

TEST(SnapshotRead, saysWhyNot) {
  const TemporaryFolder folder;
  try {
    SnapshotDiskStore::readOrThrow(folder.file("a.json", "{}"));
    ADD_FAILURE() << "reads";
  } catch (const DecodingError& error) {
    EXPECT_STREQ(error.what(), "timestamp: required key is missing");
  }
}

// --- Writing ---

TEST(SnapshotWrite, isReadBackWithoutFractionsOfASecond) {
  const TemporaryFolder folder;
  const auto snapshot =
      decode<AppSnapshot>(contentOf("tests/golden/snapshot/lab.json"));  // one of every record
  AppSnapshot withFraction = snapshot;
  withFraction.timestamp += std::chrono::duration<double>(0.75);
  SnapshotDiskStore::write(withFraction, folder / "a.json");
  EXPECT_EQ(SnapshotDiskStore::read(folder / "a.json"), snapshot);
}

TEST(SnapshotWrite, isIndentedAndSortedAndTheSameEachTime) {
  const TemporaryFolder folder;
  const std::string golden = contentOf("tests/golden/snapshot/lab.json");
  const auto snapshot = decode<AppSnapshot>(golden);
  SnapshotDiskStore::write(snapshot, folder / "a.json");
  SnapshotDiskStore::write(snapshot, folder / "b.json");
  EXPECT_EQ(contentOf(folder / "a.json") + "\n", golden);
  EXPECT_EQ(contentOf(folder / "a.json"), contentOf(folder / "b.json"));
}

TEST(SnapshotWrite, makesMissingFolders) {
  const TemporaryFolder folder;
  const fs::path path = folder / "a" / "b" / "c" / "latest.json";
  SnapshotDiskStore::write(snapshotAt(kTime), path);
  SnapshotDiskStore::write(snapshotAt(kTime), path);  // folders that are there are no error
  EXPECT_EQ(SnapshotDiskStore::read(path), snapshotAt(kTime));
}

TEST(SnapshotWrite, makesNoFolderForWhatNamesNoFile) {
  const TemporaryFolder folder;
  EXPECT_THROW(SnapshotDiskStore::write(snapshotAt(kTime), folder.path() / "latest.json" / ""),
               fs::filesystem_error);
  EXPECT_TRUE(folder.names().empty());
}

TEST(SnapshotWrite, passesOnThatAFolderCannotBeMade) {
  const TemporaryFolder folder;
  folder.file("file", "");
  EXPECT_THROW(SnapshotDiskStore::write(snapshotAt(kTime), folder / "file" / "a" / "latest.json"),
               fs::filesystem_error);
  EXPECT_EQ(folder.names(), std::vector<std::string>{"file"});
}

TEST(SnapshotWrite, leavesTheOldFileWhereASnapshotHasNoJSON) {
  const TemporaryFolder folder;
  const fs::path path = folder / "latest.json";
  SnapshotDiskStore::write(snapshotAt(kTime), path);
  const std::string before = contentOf(path);
  AppSnapshot bad = snapshotAt(kTime);
  bad.sensors.push_back({.serverName = "gpu-01",
                         .capturedAt = kTime,
                         .cpuTemperatures = {},
                         .diskIO = {},
                         .loadAverage = {std::numeric_limits<double>::quiet_NaN()}});
  try {
    SnapshotDiskStore::write(bad, path);
    ADD_FAILURE() << "is written";
  } catch (const EncodingError& error) {
    EXPECT_EQ(error.path(), "sensors[0].loadAverage[0]");
  }
  EXPECT_THROW(SnapshotDiskStore::write(snapshotAt(Timestamp::max()), path), EncodingError);
  // One that shows only when much has been written: the time comes behind the processes.
  AppSnapshot large = SampleData::snapshot(0);
  large.processes.resize(20'000, large.processes.front());
  large.timestamp = Timestamp::max();
  EXPECT_THROW(SnapshotDiskStore::write(large, path), EncodingError);
  EXPECT_EQ(contentOf(path), before);
  EXPECT_EQ(folder.names(), std::vector<std::string>{"latest.json"});
}

// --- Several at once ---

// A writer that is killed at any moment leaves the old snapshot or the new one, and of its own
// traces no more than the next writer removes.
TEST(SnapshotWrite, survivesBeingKilled) {
  const TemporaryFolder folder;
  const fs::path path = folder / "latest.json";
  constexpr std::size_t kAlerts = 500;
  constexpr int kKills = 500;
  SnapshotDiskStore::write(numbered(0, kAlerts), path);
  std::mt19937 random(1);
  for (int i = 0; i < kKills; ++i) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      for (std::int64_t number = 0;; ++number) {
        SnapshotDiskStore::write(numbered(number, kAlerts), path);
      }
    }
    ::usleep(static_cast<useconds_t>(random() % 6000));
    ::kill(child, SIGKILL);
    ::waitpid(child, nullptr, 0);
    const auto read = SnapshotDiskStore::read(path);
    ASSERT_TRUE(read && isNumbered(*read, kAlerts)) << "after kill " << i;
    ASSERT_LE(folder.names().size(), 2U) << "after kill " << i;
  }
  SnapshotDiskStore::write(numbered(0, kAlerts), path);
  EXPECT_EQ(folder.names(), std::vector<std::string>{"latest.json"});
}

// TAVRINE_STORE_SECONDS makes it longer.
TEST(SnapshotWrite, isWholeForReadersWhoeverWrites) {
  const TemporaryFolder folder;
  const fs::path path = folder / "latest.json";
  constexpr std::size_t kAlerts = 200;
  constexpr int kEach = 10;
  const char* const asked = std::getenv("TAVRINE_STORE_SECONDS");
  const auto duration = std::chrono::seconds(asked == nullptr ? 1 : std::atoi(asked));
  SnapshotDiskStore::write(numbered(0, kAlerts), path);

  std::atomic<bool> isOver = false;
  std::atomic<int> reads = 0;
  std::atomic<int> writes = 0;
  std::atomic<int> badReads = 0;
  std::vector<std::thread> threads;
  for (int i = 0; i < kEach; ++i) {
    threads.emplace_back([&, i] {
      while (!isOver) {
        SnapshotDiskStore::write(numbered(i, kAlerts), path);
        ++writes;
      }
    });
    threads.emplace_back([&] {
      while (!isOver) {
        const auto read = SnapshotDiskStore::read(path);
        if (!read || !isNumbered(*read, kAlerts)) ++badReads;
        ++reads;
      }
    });
  }
  std::this_thread::sleep_for(duration);
  isOver = true;
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(badReads, 0);
  EXPECT_GT(reads, kEach);
  EXPECT_GT(writes, kEach);
  EXPECT_EQ(folder.names(), std::vector<std::string>{"latest.json"});
}

}  // namespace
}  // namespace tavrine
