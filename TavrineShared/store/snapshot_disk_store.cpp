#include <TavrineShared/store/snapshot_disk_store.h>

#include <TavrineShared/foundation/file.h>
#include <TavrineShared/model/json_conventions.h>

#include <exception>

namespace tavrine::SnapshotDiskStore {

std::filesystem::path defaultURL() { return homeDirectory() / ".tavrine" / "latest.json"; }

std::optional<AppSnapshot> read(const std::filesystem::path& from) {
  try {
    return readOrThrow(from);
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

AppSnapshot readOrThrow(const std::filesystem::path& from, Findings* findings) {
  return decode<AppSnapshot>(readFile(from).text(), findings);
}

void write(const AppSnapshot& snapshot, const std::filesystem::path& to) {
  requireFileName(to);
  if (to.has_parent_path()) std::filesystem::create_directories(to.parent_path());
  replaceFileWith(to,
                  [&snapshot](const FileSink& file) { encode(snapshot, JSONStyle::pretty, file); });
}

}  // namespace tavrine::SnapshotDiskStore
