#include "companion/capture/capture_folder.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/captures.h"
#include "tests/support/temporary_folder.h"
#include "tests/support/told.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

Capture captureWithARun() {
  Capture capture = healthyCapture();
  capture.info.problem = "it ended too early";
  capture.info.commands[0].cutBytes = 12;
  capture.info.runs.push_back({.name = "llama",
                               .logPath = "/s/llama.log",
                               .logAgeSeconds = 7,
                               .recorderPath = "/s/llama.jsonl"});
  capture.texts["runs/llama/train.log"] = std::string("loss: 1\0\xFF\r\n", 11);
  capture.texts["runs/llama/recorder.jsonl"] = "";
  capture.texts["agent/status.json"] = "{}";
  return capture;
}

Capture readSilently(const fs::path& folder) {
  Findings findings;
  Capture capture = readCapture(folder, findings);
  EXPECT_THAT(toldLines(findings), IsEmpty());
  return capture;
}

std::vector<std::string> reasonsOfReading(const fs::path& folder) {
  Findings findings;
  readCapture(folder, findings);
  std::vector<std::string> reasons;
  for (const Finding& each : findings.list()) reasons.push_back(each.path + ": " + each.reason);
  return reasons;
}

// All that is in a folder, by path.
std::map<std::string, std::string> filesBelow(const fs::path& folder) {
  std::map<std::string, std::string> files;
  for (const auto& entry : fs::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file()) {
      files[fs::relative(entry.path(), folder).string()] = contentOf(entry.path());
    }
  }
  return files;
}

mode_t modeOf(const fs::path& path) {
  struct stat status {};
  EXPECT_EQ(::lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777U;
}

// --- There and back ---

TEST(Capture, comesBackAsItWasWritten) {
  const TemporaryFolder folder;
  const Capture capture = captureWithARun();
  writeCapture(capture, folder / "gpu-01");
  const Capture read = readSilently(folder / "gpu-01");
  EXPECT_EQ(read.info, capture.info);
  EXPECT_EQ(read.texts, capture.texts);
  EXPECT_THAT(folder.names(), ElementsAre("gpu-01"));
}

TEST(Capture, isForItsOwnerOnly) {
  const TemporaryFolder folder;
  const mode_t before = ::umask(0);
  writeCapture(captureWithARun(), folder / "gpu-01");
  ::umask(before);
  EXPECT_EQ(modeOf(folder / "gpu-01"), 0700U);
  for (const auto& entry : fs::recursive_directory_iterator(folder / "gpu-01")) {
    EXPECT_EQ(modeOf(entry.path()), entry.is_directory() ? 0700U : 0600U) << entry.path();
  }
}

TEST(Capture, makesTheFoldersAboveIt) {
  const TemporaryFolder folder;
  writeCapture(healthyCapture(), folder / "a/b/gpu-01");
  EXPECT_EQ(readSilently(folder / "a/b/gpu-01").info, healthyCapture().info);
}

TEST(Capture, leavesNothingOfAnEarlierOne) {
  const TemporaryFolder folder;
  writeCapture(captureWithARun(), folder / "gpu-01");
  folder.file("gpu-01/notes.txt", "of mine");
  writeCapture(healthyCapture(), folder / "gpu-01");
  EXPECT_EQ(readSilently(folder / "gpu-01").texts, healthyCapture().texts);
  EXPECT_FALSE(fs::exists(folder / "gpu-01/runs"));
  EXPECT_THAT(folder.names(), ElementsAre("gpu-01"));
}

TEST(Capture, isWrittenByManyAtOnce) {
  const TemporaryFolder folder;
  std::vector<std::thread> writers;
  for (int i = 0; i < 4; ++i) {
    writers.emplace_back([&folder] {
      for (int round = 0; round < 5; ++round) writeCapture(captureWithARun(), folder / "gpu-01");
    });
  }
  for (std::thread& writer : writers) writer.join();
  EXPECT_EQ(readSilently(folder / "gpu-01").texts, captureWithARun().texts);
  EXPECT_THAT(folder.names(), ElementsAre("gpu-01"));
}

// --- What is not replaced ---

TEST(Capture, isNotWrittenOverAnythingElse) {
  const TemporaryFolder folder;
  fs::create_directory(folder / "gpu-01");
  fs::permissions(folder / "gpu-01", fs::perms(0755));
  folder.file("gpu-01/thesis.tex", "years of work");
  EXPECT_THROW(writeCapture(healthyCapture(), folder / "gpu-01"), fs::filesystem_error);
  EXPECT_EQ(modeOf(folder / "gpu-01"), 0755U);
  EXPECT_EQ(contentOf(folder / "gpu-01/thesis.tex"), "years of work");
  EXPECT_THAT(folder.names(), ElementsAre("gpu-01"));
}

TEST(Capture, takesAnEmptyFolder) {
  const TemporaryFolder folder;
  fs::create_directory(folder / "gpu-01");
  writeCapture(healthyCapture(), folder / "gpu-01");
  EXPECT_EQ(readSilently(folder / "gpu-01").info, healthyCapture().info);
  EXPECT_EQ(modeOf(folder / "gpu-01"), 0700U);
}

TEST(Capture, isNotWrittenOverAFile) {
  const TemporaryFolder folder;
  folder.file("gpu-01", "a file");
  EXPECT_THROW(writeCapture(healthyCapture(), folder / "gpu-01"), fs::filesystem_error);
  EXPECT_EQ(contentOf(folder / "gpu-01"), "a file");
}

TEST(Capture, isNotWrittenThroughALink) {
  const TemporaryFolder folder;
  fs::create_directory(folder / "elsewhere");
  fs::create_symlink(folder / "elsewhere", folder / "gpu-01");
  EXPECT_THROW(writeCapture(healthyCapture(), folder / "gpu-01"), fs::filesystem_error);
  EXPECT_THAT(filesBelow(folder.path()), IsEmpty());
}

TEST(Capture, isKeptWhereItCannotBeReplaced) {
  const TemporaryFolder folder;
  writeCapture(healthyCapture(), folder / "gpu-01");
  Capture large = captureWithARun();
  large.texts["runs/llama/train.log"] = std::string(1 << 20, 'x');
  rlimit before{};
  ::getrlimit(RLIMIT_FSIZE, &before);
  const auto handler = ::signal(SIGXFSZ, SIG_IGN);
  const rlimit small{1 << 16, before.rlim_max};
  ::setrlimit(RLIMIT_FSIZE, &small);
  EXPECT_THROW(writeCapture(large, folder / "gpu-01"), fs::filesystem_error);
  ::setrlimit(RLIMIT_FSIZE, &before);
  ::signal(SIGXFSZ, handler);
  EXPECT_EQ(readSilently(folder / "gpu-01").texts, healthyCapture().texts);
  EXPECT_THAT(folder.names(), ElementsAre("gpu-01"));
}

// --- Names that would lead elsewhere ---

TEST(Capture, staysInItsFolderWhateverItsFilesAreCalled) {
  const TemporaryFolder folder;
  Capture capture = healthyCapture();
  capture.texts.clear();
  for (const char* const path : {".",
                                 "../x",
                                 "../../x",
                                 "/etc/x",
                                 "runs/../../../x",
                                 "agent/",
                                 "a/b/c/d",
                                 "-rf",
                                 "runs/ \n\x1b/x"}) {
    capture.texts[path] = path;
  }
  capture.texts[std::string("a\0b", 3)] = "x";
  capture.texts[std::string(300, 'x')] = "x";
  fs::create_directories(folder / "deep/deeper");
  writeCapture(capture, folder / "deep/deeper/gpu-01");
  for (const auto& [path, text] : filesBelow(folder.path())) {
    EXPECT_TRUE(path.starts_with("deep/deeper/gpu-01/")) << path;
  }
  EXPECT_THAT((TemporaryFolder{}).names(), IsEmpty());
}

TEST(CaptureFolder, isBelowItsParent) {
  EXPECT_EQ(captureFolder("captures", "gpu-01"), "captures/gpu-01");
  EXPECT_EQ(captureFolder("captures", "../x"), "captures/_.._x");
  EXPECT_EQ(captureFolder("captures", "/etc"), "captures/_etc");
  EXPECT_EQ(captureFolder("captures", ".."), "captures/_..");
  EXPECT_EQ(captureFolder("captures", ""), "captures/_");
}

// --- Reading ---

TEST(ReadCapture, needsAFolder) {
  const TemporaryFolder folder;
  Findings findings;
  EXPECT_THROW(readCapture(folder / "none", findings), fs::filesystem_error);
  EXPECT_THROW(readCapture(folder.file("file", ""), findings), fs::filesystem_error);
}

TEST(ReadCapture, takesAFolderThatSomebodyFilledByHand) {
  const TemporaryFolder folder;
  fs::create_directory(folder / "gpu-07");
  folder.file("gpu-07/gpus.csv", "0, A\n");
  const auto changed =
      std::chrono::file_clock::from_sys(std::chrono::sys_seconds(std::chrono::seconds(1794764905)));
  fs::last_write_time(folder / "gpu-07/gpus.csv", changed + std::chrono::milliseconds(700));
  Findings findings;
  const Capture capture = readCapture(fs::path(folder / "gpu-07/"), findings);
  EXPECT_EQ(capture.info.server, "gpu-07");
  EXPECT_EQ(capture.info.host, "gpu-07");
  EXPECT_EQ(capture.info.takenAt, kCaptureTime);
  EXPECT_THAT(toldLines(findings),
              ElementsAre("-1:0 capture.json ignored \"\" there is no such file"));
}

TEST(ReadCapture, takesTheNameOfTheFolderItIsIn) {
  const TemporaryFolder folder;
  fs::create_directory(folder / "gpu-07");
  const fs::path before = fs::current_path();
  fs::current_path(folder / "gpu-07");
  Findings findings;
  EXPECT_EQ(readCapture(".", findings).info.server, "gpu-07");
  fs::current_path(before);
}

struct InfoRow {
  const char* name;
  std::string content;
  std::string reason;
};

TEST(ReadCapture, doesWithoutAnInfoThatIsNoUse) {
  const std::vector<InfoRow> table = {
      {"empty", "", "not JSON"},
      {"noJSON", "{", "not JSON"},
      {"list", "[]", "expected an object"},
      {"noServer", R"({"host":"a","takenAt":"2026-11-15T17:48:25Z"})", "server"},
      {"noTime", R"({"host":"a","server":"a"})", "takenAt"},
      {"timeBeyondTheCalendar",
       R"({"host":"a","server":"a","takenAt":"9999-12-31T23:59:59-02:00"})",
       "0000 to 9999"},
  };
  for (const InfoRow& row : table) {
    SCOPED_TRACE(row.name);
    const TemporaryFolder folder;
    folder.file("capture.json", row.content);
    folder.file("gpus.csv", "0, A\n");
    EXPECT_THAT(reasonsOfReading(folder.path()), ElementsAre(testing::HasSubstr(row.reason)));
    Findings findings;
    const Capture capture = readCapture(folder.path(), findings);
    EXPECT_EQ(capture.info.server, folder.path().filename());
    EXPECT_EQ(*capture.text("gpus.csv"), "0, A\n");
    EXPECT_EQ(capture.text("capture.json"), nullptr);
  }
}

TEST(ReadCapture, dropsBadPartsOfTheInfo) {
  const TemporaryFolder folder;
  folder.file("capture.json",
              R"({"server":"a","host":"b","takenAt":"2026-11-15T17:48:25Z",)"
              R"("commands":[7,{"command":"gpus","status":0}],"runs":[{}]})");
  Findings findings;
  const Capture capture = readCapture(folder.path(), findings);
  EXPECT_EQ(findings.lossCount(), 2U);
  EXPECT_EQ(capture.info.commands.size(), 1U);
  EXPECT_THAT(capture.info.runs, IsEmpty());
}

TEST(ReadCapture, followsNoLinksAndWaitsForNothing) {
  const TemporaryFolder folder;
  writeCapture(captureWithARun(), folder / "gpu-01");
  folder.file("secret", "of somebody else");
  fs::create_directory(folder / "secrets");
  folder.file("secrets/train.log", "of somebody else");
  fs::remove(folder / "gpu-01/gpus.csv");
  fs::create_symlink(folder / "secret", folder / "gpu-01/gpus.csv");
  fs::create_symlink(folder / "secret", folder / "gpu-01/runs/llama/link");
  fs::create_symlink(folder / "secrets", folder / "gpu-01/runs/linked");
  fs::create_symlink("nowhere", folder / "gpu-01/dangling");
  ASSERT_EQ(::mkfifo((folder / "gpu-01/agent/fifo").c_str(), 0600), 0);
  EXPECT_THAT(reasonsOfReading(folder / "gpu-01"),
              UnorderedElementsAre("dangling: no regular file; links are not followed",
                                   "gpus.csv: no regular file; links are not followed",
                                   "agent/fifo: no regular file; links are not followed",
                                   "runs/linked: no folder; links are not followed",
                                   "runs/llama/link: no regular file; links are not followed"));
  Findings findings;
  const Capture capture = readCapture(folder / "gpu-01", findings);
  for (const auto& [path, text] : capture.texts) EXPECT_NE(text, "of somebody else") << path;
}

TEST(ReadCapture, leavesOutWhatCannotBeRead) {
  if (::geteuid() == 0) GTEST_SKIP() << "no permission stops root";
  const TemporaryFolder folder;
  writeCapture(captureWithARun(), folder / "gpu-01");
  fs::permissions(folder / "gpu-01/gpus.csv", fs::perms::none);
  fs::permissions(folder / "gpu-01/agent", fs::perms::none);
  const std::string denied = std::strerror(EACCES);
  EXPECT_THAT(reasonsOfReading(folder / "gpu-01"),
              UnorderedElementsAre("gpus.csv: " + denied, "agent: " + denied));
  fs::permissions(folder / "gpu-01/agent", fs::perms::owner_all);
}

TEST(ReadCapture, leavesOutAFileThatIsFarTooLarge) {
  const TemporaryFolder folder;
  writeCapture(healthyCapture(), folder / "gpu-01");
  fs::resize_file(folder / "gpu-01/gpus.csv", (std::uintmax_t{256} << 20) + 1);  // takes no room
  EXPECT_THAT(reasonsOfReading(folder / "gpu-01"), ElementsAre("gpus.csv: larger than 256 MiB"));
}

}  // namespace
}  // namespace tavrine
