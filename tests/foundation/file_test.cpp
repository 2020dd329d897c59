#include <TavrineShared/foundation/file.h>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>
#include <thread>

#include "tests/support/home_for_now.h"
#include "tests/support/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

const std::string kOld = "the old content";
const std::string kLong(1 << 20, 'x');

/// The error of what must fail; `std::error_code()` if it does not.
std::error_code errorOf(const std::function<void()>& run) {
  try {
    run();
  } catch (const fs::filesystem_error& error) {
    return error.code();
  }
  return {};
}

std::error_code readError(const fs::path& path) {
  return errorOf([&] { readFile(path); });
}

/// Root may do anything, so whoever is root becomes nobody. `run` gives the status of the child
/// process in which it runs, 0 for success.
int asOrdinaryUser(const std::function<int()>& run) {
  const pid_t child = ::fork();
  if (child == 0) {
    constexpr uid_t kNobody = 65534;
    if (::geteuid() == 0 && ::setuid(kNobody) != 0) ::_exit(100);
    ::_exit(run());
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 101;
}

// --- Reading ---

TEST(ReadFile, givesEveryByte) {
  const TemporaryFolder folder;
  std::string all;
  for (int i = 0; i < 100'000; ++i) all.push_back(static_cast<char>(i * 7));
  EXPECT_EQ(readFile(folder.file("all", all)).text(), all);
  EXPECT_EQ(readFile(folder.file("none", "")).text(), "");
  EXPECT_EQ(readFile(folder.file("page", std::string(4096, 'p'))).text(), std::string(4096, 'p'));
}

TEST(ReadFile, followsALink) {
  const TemporaryFolder folder;
  fs::create_symlink(folder.file("target", kOld), folder / "link");
  EXPECT_EQ(readFile(folder / "link").text(), kOld);
}

TEST(ReadFile, readsWhatDoesNotKnowItsSize) {
  EXPECT_NE(readFile("/proc/self/status").text().find("VmSize"), std::string_view::npos);
}

TEST(ReadFile, refusesWhatIsNotThere) {
  const TemporaryFolder folder;
  EXPECT_EQ(readError(folder / "none"), std::errc::no_such_file_or_directory);
  EXPECT_EQ(readError(""), std::errc::no_such_file_or_directory);
  EXPECT_EQ(readError(folder.file("file", "") / "below"), std::errc::not_a_directory);
}

TEST(ReadFile, refusesADirectory) {
  const TemporaryFolder folder;
  EXPECT_EQ(readError(folder.path()), std::errc::is_a_directory);
}

TEST(ReadFile, doesNotWaitForAFIFO) {
  const TemporaryFolder folder;
  ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
  EXPECT_EQ(readError(folder / "fifo"), std::errc::invalid_argument);
}

TEST(ReadFile, refusesADevice) {
  EXPECT_EQ(readError("/dev/null"), std::errc::invalid_argument);
  EXPECT_EQ(readError("/dev/zero"), std::errc::invalid_argument);
}

TEST(ReadFile, tellsOfAFailingRead) { EXPECT_EQ(readError("/proc/self/mem"), std::errc::io_error); }

TEST(ReadFile, refusesWhatItMayNotRead) {
  const TemporaryFolder folder;
  const fs::path path = folder.file("secret", kOld);
  fs::permissions(folder.path(), fs::perms(0755));
  fs::permissions(path, fs::perms::none);
  EXPECT_EQ(asOrdinaryUser([&] { return readError(path) == std::errc::permission_denied ? 0 : 1; }),
            0);
}

TEST(ReadFile, namesTheFileInItsMessage) {
  try {
    readFile("/nowhere/at/all");
    ADD_FAILURE() << "reads";
  } catch (const fs::filesystem_error& error) {
    const std::string words = error.code().message();  // in the user's language
    EXPECT_EQ(error.what(), "filesystem error: cannot read: " + words + " [/nowhere/at/all]");
  }
}

// --- Replacing ---

TEST(ReadFile, readsAFileThatDoesNotKnowItsSize) {
  const FileBytes memory = readFile("/proc/self/smaps");
  EXPECT_EQ(fs::file_size("/proc/self/smaps"), 0U);
  EXPECT_GT(memory.text().size(), 8192U) << "so that room for it has to grow";
  EXPECT_TRUE(memory.text().ends_with('\n'));
}

TEST(ReplaceFile, makesANewFile) {
  const TemporaryFolder folder;
  replaceFile(folder / "new", kLong);
  EXPECT_EQ(contentOf(folder / "new"), kLong);
  EXPECT_EQ(folder.names(), std::vector<std::string>{"new"});
}

TEST(ReplaceFile, replacesAnOldOne) {
  const TemporaryFolder folder;
  replaceFile(folder.file("file", kLong), "short");
  EXPECT_EQ(contentOf(folder / "file"), "short");
  replaceFile(folder / "file", "");
  EXPECT_EQ(contentOf(folder / "file"), "");
  EXPECT_EQ(folder.names(), std::vector<std::string>{"file"});
}

TEST(ReplaceFile, takesBytesInPieces) {
  const TemporaryFolder folder;
  const fs::path path = folder.file("file", kOld);
  replaceFileWith(path, [&path](const FileSink& file) {
    file(kLong);
    file("");
    file(kLong);
    EXPECT_EQ(contentOf(path), kOld) << "until all are there";
  });
  EXPECT_EQ(contentOf(path), kLong + kLong);
  replaceFileWith(path, [](const FileSink&) {});
  EXPECT_EQ(contentOf(path), "");
}

TEST(ReplaceFile, leavesTheOldFileWhereThePiecesEndInAnError) {
  const TemporaryFolder folder;
  const fs::path path = folder.file("file", kOld);
  const auto produce = [](const FileSink& file) {
    file(kLong);
    throw std::domain_error("no more");
  };
  EXPECT_THROW(replaceFileWith(path, produce), std::domain_error);
  EXPECT_EQ(contentOf(path), kOld);
  EXPECT_EQ(folder.names(), std::vector<std::string>{"file"});
}

TEST(ReplaceFile, leavesAFIFOAlone) {
  const TemporaryFolder folder;
  ASSERT_EQ(::mkfifo((folder / "fifo").c_str(), 0600), 0);
  EXPECT_THROW(replaceFile(folder / "fifo", "a"), std::filesystem::filesystem_error);
  EXPECT_TRUE(std::filesystem::is_fifo(folder / "fifo"));
}

TEST(ReplaceFile, worksInTheCurrentFolder) {
  const TemporaryFolder folder;
  const fs::path before = fs::current_path();
  fs::current_path(folder.path());
  replaceFile("here", kOld);
  fs::current_path(before);
  EXPECT_EQ(contentOf(folder / "here"), kOld);
}

TEST(ReplaceFile, takesANameAsLongAsNamesCanBe) {
  const TemporaryFolder folder;
  const std::string name(NAME_MAX, 'n');
  replaceFile(folder / name, kOld);
  EXPECT_EQ(contentOf(folder / name), kOld);
  EXPECT_EQ(errorOf([&] { replaceFile(folder / (name + "n"), kOld); }),
            std::errc::filename_too_long);
}

TEST(ReplaceFile, leavesAReaderOfTheOldFileAtPeace) {
  const TemporaryFolder folder;
  std::ifstream reader(folder.file("file", kOld), std::ios::binary);
  replaceFile(folder / "file", "new");
  std::ostringstream read;
  read << reader.rdbuf();
  EXPECT_EQ(read.str(), kOld);
}

TEST(ReplaceFile, takesThePlaceOfALink) {
  const TemporaryFolder folder;
  fs::create_symlink(folder.file("target", kOld), folder / "link");
  replaceFile(folder / "link", "new");
  EXPECT_FALSE(fs::is_symlink(folder / "link"));
  EXPECT_EQ(contentOf(folder / "target"), kOld);
}

TEST(ReplaceFile, givesThePermissionsOfAnyNewFile) {
  const TemporaryFolder folder;
  const mode_t before = ::umask(0027);
  replaceFile(folder / "file", kOld);
  ::umask(before);
  EXPECT_EQ(fs::status(folder / "file").permissions(), fs::perms(0640));
}

TEST(ReplaceFile, keepsThePermissionsOfTheOldOne) {
  const TemporaryFolder folder;
  const fs::path file = folder.file("file", "old");
  for (const unsigned permissions : {0600U, 0444U, 0666U, 0U}) {
    for (const char* const name : {"file", "link"}) {
      fs::permissions(file, fs::perms(permissions));
      fs::remove(folder / "link");
      fs::create_symlink("file", folder / "link");
      replaceFile(folder / name, "new");
      EXPECT_EQ(fs::symlink_status(folder / name).permissions(), fs::perms(permissions)) << name;
    }
  }
}

TEST(ReplaceFile, refusesAFolderInTheWay) {
  const TemporaryFolder folder;
  fs::create_directory(folder / "way");
  EXPECT_EQ(errorOf([&] { replaceFile(folder / "way", kOld); }), std::errc::is_a_directory);
  EXPECT_EQ(folder.names(), std::vector<std::string>{"way"});
}

TEST(ReplaceFile, refusesAMissingFolder) {
  const TemporaryFolder folder;
  EXPECT_EQ(errorOf([&] { replaceFile(folder / "none" / "file", kOld); }),
            std::errc::no_such_file_or_directory);
  EXPECT_EQ(errorOf([&] { replaceFile(folder.file("file", "") / "below", kOld); }),
            std::errc::not_a_directory);
}

TEST(ReplaceFile, refusesWhatNamesNoFile) {
  const TemporaryFolder folder;
  EXPECT_EQ(errorOf([&] { replaceFile("", kOld); }), std::errc::is_a_directory);
  EXPECT_EQ(errorOf([&] { replaceFile(folder.path() / "new" / "", kOld); }),
            std::errc::is_a_directory);
  using std::string_literals::operator""s;
  EXPECT_EQ(errorOf([&] { replaceFile(folder.path() / "nul\0x"s, kOld); }),
            std::errc::invalid_argument);
  EXPECT_TRUE(folder.names().empty());
}

TEST(ReplaceFile, refusesAFolderItMayNotWriteTo) {
  const TemporaryFolder folder;
  folder.file("file", kOld);
  fs::permissions(folder.path(), fs::perms(0555));
  EXPECT_EQ(asOrdinaryUser([&] {
              const std::error_code error = errorOf([&] { replaceFile(folder / "file", "new"); });
              return error == std::errc::permission_denied ? 0 : 1;
            }),
            0);
  EXPECT_EQ(contentOf(folder / "file"), kOld);
  EXPECT_EQ(folder.names(), std::vector<std::string>{"file"});
}

TEST(ReplaceFile, survivesALimitOfFileSize) {
  const TemporaryFolder folder;
  folder.file("file", kOld);
  const pid_t child = ::fork();
  if (child == 0) {
    ::signal(SIGXFSZ, SIG_IGN);
    const rlimit limit{.rlim_cur = 100'000, .rlim_max = 100'000};
    ::setrlimit(RLIMIT_FSIZE, &limit);
    const std::error_code error = errorOf([&] { replaceFile(folder / "file", kLong); });
    ::_exit(error == std::errc::file_too_large ? 0 : 1);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  EXPECT_EQ(status, 0);
  EXPECT_EQ(contentOf(folder / "file"), kOld);
  EXPECT_EQ(folder.names(), std::vector<std::string>{"file"});
}

/// Runs `run` where `folder` is a disk of 256 KiB; no value where this machine does not let us.
std::optional<int> onSmallDisk(const fs::path& folder, const std::function<int()>& run) {
  constexpr int kNotAllowed = 77;
  const pid_t child = ::fork();
  if (child == 0) {
    const bool isOurs = ::unshare(CLONE_NEWNS) == 0 || ::unshare(CLONE_NEWUSER | CLONE_NEWNS) == 0;
    if (!isOurs || ::mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        ::mount("none", folder.c_str(), "tmpfs", 0, "size=256k") != 0) {
      ::_exit(kNotAllowed);
    }
    ::_exit(run());
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  if (!WIFEXITED(status)) return 101;
  if (WEXITSTATUS(status) == kNotAllowed) return std::nullopt;
  return WEXITSTATUS(status);
}

TEST(ReplaceFile, survivesAFullDisk) {
  const TemporaryFolder folder;
  const std::optional<int> status = onSmallDisk(folder.path(), [&] {
    folder.file("file", kOld);
    const std::error_code error = errorOf([&] { replaceFile(folder / "file", kLong); });
    if (error != std::errc::no_space_on_device) return 1;
    if (contentOf(folder / "file") != kOld) return 2;
    return folder.names() == std::vector<std::string>{"file"} ? 0 : 3;
  });
  if (!status) GTEST_SKIP() << "this machine lets nobody mount a disk";
  EXPECT_EQ(*status, 0);
}

// --- What the dead leave behind ---

constexpr const char* kLeftName = ".tavrine-0123456789abcdef.tmp";

TEST(ReplaceFile, removesWhatTheDeadLeftBehind) {
  const TemporaryFolder folder;
  folder.file(kLeftName, kLong);
  replaceFile(folder / "file", kOld);
  EXPECT_EQ(folder.names(), std::vector<std::string>{"file"});
}

TEST(ReplaceFile, leavesTheTemporaryFilesOfTheLiving) {
  const TemporaryFolder folder;
  const int living = ::open(folder.file(kLeftName, "").c_str(), O_RDWR | O_CLOEXEC);
  ASSERT_EQ(::flock(living, LOCK_EX | LOCK_NB), 0);
  replaceFile(folder / "file", kOld);
  EXPECT_EQ(folder.names(), (std::vector<std::string>{kLeftName, "file"}));
  ::close(living);
  replaceFile(folder / "file", kOld);
  EXPECT_EQ(folder.names(), std::vector<std::string>{"file"});
}

TEST(ReplaceFile, leavesWhatOnlyResemblesATemporaryFile) {
  const TemporaryFolder folder;
  const std::vector<std::string> others = {".tavrine-.tmp",
                                           ".tavrine-0123456789abcde.tmp",
                                           ".tavrine-0123456789abcdef.tmpx",
                                           ".tavrine-0123456789abcdeg.tmp",
                                           ".tavrine-0123456789ABCDEF.tmp",
                                           ".tavrine-my-precious_data.tmp",
                                           "x.tavrine-0123456789abcdef.tmp"};
  for (const std::string& name : others) folder.file(name, kOld);
  const std::string fifo = ".tavrine-00000000000000f1.tmp";
  ASSERT_EQ(::mkfifo((folder / fifo).c_str(), 0600), 0);
  fs::create_directory(folder / ".tavrine-00000000000000d1.tmp");
  fs::create_symlink(folder.file("target", kOld), folder / kLeftName);
  replaceFile(folder / "file", kOld);
  for (const std::string& name : others) EXPECT_TRUE(fs::exists(folder / name)) << name;
  EXPECT_TRUE(fs::exists(folder / fifo));
  EXPECT_TRUE(fs::exists(folder / ".tavrine-00000000000000d1.tmp"));
  EXPECT_EQ(contentOf(folder / "target"), kOld);
}

// --- Home ---

TEST(HomeDirectory, isTheEnvironments) {
  const HomeForNow home("/home/of tulo");
  EXPECT_EQ(homeDirectory(), "/home/of tulo");
}

TEST(HomeDirectory, isElseTheUserDatabases) {
  for (const char* const value : {static_cast<const char*>(nullptr), ""}) {
    const HomeForNow home(value);
    EXPECT_TRUE(homeDirectory().is_absolute());
  }
}

}  // namespace
}  // namespace tavrine
