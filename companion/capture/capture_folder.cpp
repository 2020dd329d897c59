#include "companion/capture/capture_folder.h"

#include "companion/shell/private_folder.h"

#include <TavrineShared/foundation/file.h>
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/json_conventions.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <string>
#include <system_error>
#include <utility>

namespace tavrine {

namespace {

namespace fs = std::filesystem;

// Far more than any host is asked for.
constexpr std::uintmax_t kLargestFile = std::uintmax_t{256} << 20;

void tell(Findings& findings, const std::string& path, std::string_view reason) {
  findings.add(FindingOutcome::ignored, [&] {
    Finding finding{};
    finding.path = repairedUTF8(path);
    finding.reason = repairedUTF8(reason);
    return finding;
  });
}

double secondsOfChange(const fs::path& file) {
  const auto changed = std::chrono::file_clock::to_sys(fs::last_write_time(file));
  return std::chrono::duration<double>(changed.time_since_epoch()).count();
}

class FolderReader {
 public:
  FolderReader(fs::path folder, Findings& findings)
      : folder_(std::move(folder)), findings_(findings) {}

  Capture read() {
    readFiles("");
    readFiles(std::string(kAgentFolder));
    for (const std::string& name : namesIn(std::string(kRunsFolder))) {
      const std::string run = std::string(kRunsFolder) + "/" + name;
      if (typeOf(run) == fs::file_type::directory) {
        readFiles(run);
      } else {
        tell(findings_, run, "no folder; links are not followed");
      }
    }
    readInfo();
    return std::move(capture_);
  }

 private:
  fs::file_type typeOf(const std::string& path) const {
    std::error_code unknown;
    return fs::symlink_status(folder_ / path, unknown).type();
  }

  // In the order of their bytes, so that the same folder always reads the same.
  std::vector<std::string> namesIn(const std::string& part) {
    std::vector<std::string> names;
    if (!part.empty() && typeOf(part) != fs::file_type::directory) return names;
    std::error_code error;
    const fs::path path = folder_ / part;
    fs::directory_iterator entries(path, error);
    if (error && part.empty()) throw fs::filesystem_error("cannot read", path, error);
    if (error) tell(findings_, part, error.message());
    for (const fs::directory_iterator end; !error && entries != end; entries.increment(error)) {
      names.push_back(entries->path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
  }

  void readFiles(const std::string& part) {
    for (const std::string& name : namesIn(part)) {
      const std::string path = part.empty() ? name : (fs::path(part) / name).string();
      const fs::file_type type = typeOf(path);
      if (type == fs::file_type::directory) continue;
      if (type != fs::file_type::regular) {
        tell(findings_, path, "no regular file; links are not followed");
      } else {
        readOne(path);
      }
    }
  }

  void readOne(const std::string& path) {
    try {
      if (fs::file_size(folder_ / path) > kLargestFile) {
        return tell(findings_, path, "larger than 256 MiB");
      }
      capture_.texts[path] = readFile(folder_ / path).text();
      newest_ = std::max(newest_, secondsOfChange(folder_ / path));
    } catch (const fs::filesystem_error& error) {
      tell(findings_, path, error.code().message());
    }
  }

  void readInfo() {
    const std::string file(kCaptureInfoFile);
    const auto found = capture_.texts.find(file);
    if (found == capture_.texts.end()) {
      tell(findings_, file, "there is no such file");
      return makeInfoUp();
    }
    const std::string document = std::move(found->second);
    capture_.texts.erase(found);
    try {
      capture_.info = decode<CaptureInfo>(document, &findings_);
      if (iso8601Text(capture_.info.takenAt)) return;
      tell(findings_, file, "takenAt: outside the years 0000 to 9999");
    } catch (const DecodingError& error) {
      tell(findings_, file, error.what());
    }
    makeInfoUp();
  }

  void makeInfoUp() {
    const fs::path name = fs::weakly_canonical(folder_).filename();
    capture_.info = {};
    capture_.info.server = repairedUTF8(name.string());
    capture_.info.host = capture_.info.server;
    // As a written one has it: in whole seconds, and in a year that JSON has a form for.
    const Timestamp newest(std::chrono::duration<double>(std::floor(newest_)));
    if (iso8601Text(newest)) capture_.info.takenAt = newest;
  }

  fs::path folder_;
  Findings& findings_;
  Capture capture_;
  double newest_ = 0;
};

void makePrivateFolder(const fs::path& folder) {
  if (fs::create_directory(folder)) fs::permissions(folder, fs::perms::owner_all);
}

void writePrivateFile(const fs::path& file, std::string_view bytes) {
  replaceFile(file, bytes);
  fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
}

[[noreturn]] void refuse(const fs::path& folder, const char* why, std::errc code) {
  throw fs::filesystem_error(why, folder, std::make_error_code(code));
}

// True also when there is nothing at all any more.
bool isReplaceable(const fs::path& folder) {
  std::error_code gone;
  if (fs::is_empty(folder, gone) || fs::exists(folder / kCaptureInfoFile, gone)) return true;
  return !fs::exists(folder, gone);
}

// Nothing but an earlier capture may be thrown away, and none that is elsewhere.
void requireReplaceable(const fs::path& folder) {
  const fs::file_type type = fs::symlink_status(folder).type();
  if (type == fs::file_type::not_found) return;
  if (type != fs::file_type::directory) {
    refuse(folder, "not replaced, since it is no folder", std::errc::not_a_directory);
  }
  // Another writer may have been just about to put its own in this place.
  constexpr int kLooks = 3;
  for (int look = 0; look < kLooks; ++look) {
    if (isReplaceable(folder)) return;
  }
  refuse(folder, "not replaced, since it is no capture", std::errc::directory_not_empty);
}

// Of folders beside the one that they are to become. One that is hidden is no capture yet.
constexpr const char* kUnfinished = ".tavrine-";

// A folder with something in it cannot be renamed over: the old one goes aside first. Whoever
// writes the same capture at the same time may come between, and then it is that one's turn to go.
void putInPlace(const fs::path& fresh, const fs::path& folder) {
  constexpr int kAttempts = 100;
  for (int attempt = 1;; ++attempt) {
    const PrivateFolder aside(folder.parent_path(), kUnfinished);
    std::error_code error;
    fs::rename(folder, aside.path() / "old", error);
    if (error && error != std::errc::no_such_file_or_directory) {
      throw fs::filesystem_error("cannot be replaced", folder, error);
    }
    fs::rename(fresh, folder, error);
    if (!error) return;
    if (attempt == kAttempts || error != std::errc::directory_not_empty) {
      throw fs::filesystem_error("cannot be written", folder, error);
    }
  }
}

}  // namespace

Capture readCapture(const fs::path& folder, Findings& findings) {
  return FolderReader(folder, findings).read();
}

fs::path captureFolder(const fs::path& parent, std::string_view server) {
  return parent / asFileName(server);
}

void writeCapture(const Capture& capture, const fs::path& folder) {
  requireReplaceable(folder);
  const fs::path parent = folder.has_parent_path() ? folder.parent_path() : fs::path(".");
  fs::create_directories(parent);
  const PrivateFolder fresh(parent, kUnfinished);
  for (const auto& [path, text] : capture.texts) {
    fs::path file = fresh.path();
    for (const fs::path& part : fs::path(path)) {
      makePrivateFolder(file);
      file /= asFileName(part.string());
    }
    writePrivateFile(file, text);
  }
  writePrivateFile(fresh.path() / kCaptureInfoFile, encode(capture.info, JSONStyle::pretty));
  putInPlace(fresh.path(), parent / folder.filename());
}

}  // namespace tavrine
