// A capture as a folder on the disk.
#pragma once

#include "companion/capture/capture.h"

#include <TavrineShared/model/findings.h>

#include <filesystem>

namespace tavrine {

/// Everything in the folder that a capture has. Whatever cannot be read, and whatever is no regular
/// file (links are not followed), is left out and told in `findings`. Where capture.json is missing
/// or no use, the server has the folder's name and was there when the newest file was last changed.
/// Throws `std::filesystem::filesystem_error` when there is no such folder.
Capture readCapture(const std::filesystem::path& folder, Findings& findings);

/// The folder below `parent` that a capture of `server` is written to: its name, with "_" for what
/// would make it another path.
std::filesystem::path captureFolder(const std::filesystem::path& parent, std::string_view server);

/// Replaces the folder and all that is in it, once all has been written beside it; only its owner
/// may look into it, for command lines and logs may hold what is nobody else's business. A folder
/// that holds something else than a capture is left alone, and so is a link. Throws
/// `std::filesystem::filesystem_error`; then an earlier capture is still there. (A process that is
/// killed leaves a folder `.tavrine-XXXXXX` behind.)
void writeCapture(const Capture& capture, const std::filesystem::path& folder);

}  // namespace tavrine
