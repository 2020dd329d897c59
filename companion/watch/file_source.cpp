#include "companion/watch/file_source.h"

#include "companion/views/quantity_text.h"

#include <TavrineShared/model/coding_error.h>
#include <TavrineShared/model/findings.h>
#include <TavrineShared/store/snapshot_disk_store.h>

#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <system_error>
#include <tuple>

namespace tavrine {

namespace {

constexpr double kStaleSeconds = 120;

// What tells one version of a file from the next. Whoever replaces it gives it another inode, and
// whoever rewrites it another time.
using Version = std::tuple<int, dev_t, ino_t, off_t, std::int64_t, std::int64_t>;

Version versionOf(const std::filesystem::path& file) {
  struct stat status {};
  if (::stat(file.c_str(), &status) != 0) return {errno, 0, 0, 0, 0, 0};
  return {0,
          status.st_dev,
          status.st_ino,
          status.st_size,
          status.st_mtim.tv_sec,
          status.st_mtim.tv_nsec};
}

std::string lossWords(const Findings& findings) {
  const std::size_t losses = findings.lossCount();
  if (losses == 0) return {};
  return counted(losses, "loss", "losses") + " in it; 'tavrine check' tells of what, and why";
}

SourceNews readNews(const std::filesystem::path& file) {
  try {
    Findings findings;
    AppSnapshot snapshot = SnapshotDiskStore::readOrThrow(file, &findings);
    return {std::move(snapshot), lossWords(findings)};
  } catch (const DecodingError& error) {
    return {std::nullopt, std::string("no snapshot: ") + error.what()};
  } catch (const std::system_error& error) {
    return {std::nullopt, "cannot be read: " + error.code().message()};
  }
}

}  // namespace

SnapshotSource fileSource(const std::filesystem::path& file) {
  return {.name = file.string(),
          .poll = [file, known = std::optional<Version>()](
                      Timestamp) mutable -> std::optional<SourceNews> {
            // Asked for before reading: a file that is replaced in between is read once more.
            const Version version = versionOf(file);
            if (known == version) return std::nullopt;
            known = version;
            return readNews(file);
          },
          .staleAfterSeconds = kStaleSeconds};
}

}  // namespace tavrine
