// The latest snapshot in one JSON file, for the next start and for other programs to read.
//
// Nothing is locked: a reader gets the old snapshot or the new one, whole, and of several writers
// the last one wins.
#pragma once

#include <TavrineShared/model/app_snapshot.h>
#include <TavrineShared/model/findings.h>

#include <filesystem>
#include <optional>

namespace tavrine::SnapshotDiskStore {

/// `.tavrine/latest.json` in the current user's home directory, which is looked up on each call.
/// Nothing is created. Throws `std::filesystem::filesystem_error` where there is no home directory.
std::filesystem::path defaultURL();

/// The snapshot in a file; no value for whatever is none: nothing there, no permission, no regular
/// file, not JSON, no snapshot. Bad records inside are dropped, as everywhere. Never throws.
std::optional<AppSnapshot> read(const std::filesystem::path& from);

/// The same, but says why: throws `std::filesystem::filesystem_error` for a file that cannot be
/// read and `DecodingError` for one that holds no snapshot. What was lost in a snapshot is told in
/// `findings` when given.
AppSnapshot readOrThrow(const std::filesystem::path& from, Findings* findings = nullptr);

/// Writes the snapshot as indented JSON with sorted keys, so that equal snapshots give the same
/// bytes; fractions of seconds are not kept. Missing folders are created. The file is replaced in
/// one step, once everything else has succeeded. Throws `std::filesystem::filesystem_error`, and
/// `EncodingError` for a snapshot that has no JSON form, one with a NaN in it for example; then
/// the old file is untouched and nothing but new folders is left behind.
void write(const AppSnapshot& snapshot, const std::filesystem::path& to);

}  // namespace tavrine::SnapshotDiskStore
