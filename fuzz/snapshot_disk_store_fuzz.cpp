// Any bytes as the snapshot file. What must hold:
//  - reading never throws, and gives a snapshot exactly where the bytes decode as one; the reading
//    that says why agrees;
//  - what was read is written, times outside the calendar apart, and then read and written again to
//    the same bytes;
//  - a write that fails leaves the file as it was, and no write leaves anything beside it.
#include <TavrineShared/store/snapshot_disk_store.h>

#include <TavrineShared/model/json_conventions.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <string_view>

#include "fuzz/decoded.h"
#include "fuzz/require.h"
#include "tests/support/temporary_folder.h"

namespace tavrine::fuzz {
namespace {

namespace fs = std::filesystem;

std::optional<AppSnapshot> readSayingWhy(const fs::path& path) {
  try {
    return SnapshotDiskStore::readOrThrow(path);
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

/// False where the snapshot has no JSON form.
bool writes(const AppSnapshot& snapshot, const fs::path& path) {
  try {
    SnapshotDiskStore::write(snapshot, path);
    return true;
  } catch (const EncodingError&) {
    return false;
  }
}

void check(std::string_view bytes) {
  static const TemporaryFolder folder;  // one for all runs: making one takes longer than a run
  const fs::path path = folder.file("latest.json", bytes);

  const std::optional<AppSnapshot> read = SnapshotDiskStore::read(path);
  require(read.has_value() == Decoded<AppSnapshot>(bytes, nullptr).value.has_value(),
          "a file is a snapshot where its bytes are one");
  require(read.has_value() == readSayingWhy(path).has_value(), "both ways of reading agree");
  if (!read) return;

  if (!writes(*read, path)) {
    require(contentOf(path) == bytes, "a failed write leaves the old file");
  } else {
    const std::string first = contentOf(path);
    const std::optional<AppSnapshot> again = SnapshotDiskStore::read(path);
    require(again.has_value(), "what was written is a snapshot");
    require(writes(*again, path) && contentOf(path) == first, "it is written the same again");
  }
  require(folder.names() == std::vector<std::string>{"latest.json"},
          "nothing lies beside the file");
}

}  // namespace
}  // namespace tavrine::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  tavrine::fuzz::check({reinterpret_cast<const char*>(data), size});
  return 0;
}
