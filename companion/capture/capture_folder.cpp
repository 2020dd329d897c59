#include "companion/capture/capture_folder.h"

#include <TavrineShared/foundation/file.h>
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/json_conventions.h>

#include <algorithm>
#include <chrono>
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
    for (const std::string& run : namesIn(std::string(kRunsFolder))) {
      readFiles(std::string(kRunsFolder) + "/" + run);
    }
    readInfo();
    return std::move(capture_);
  }

 private:
  // In the order of their bytes, so that the same folder always reads the same.
  std::vector<std::string> namesIn(const std::string& part) {
    std::vector<std::string> names;
    std::error_code error;
    const fs::path path = folder_ / part;
    if (!part.empty() && fs::symlink_status(path, error).type() != fs::file_type::directory) {
      return names;
    }
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
      const std::string path = part.empty() ? name : part + "/" + name;
      std::error_code error;
      const fs::file_status status = fs::symlink_status(folder_ / path, error);
      if (status.type() == fs::file_type::directory) continue;
      if (status.type() != fs::file_type::regular) {
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
    const auto found = capture_.texts.find(std::string(kCaptureInfoFile));
    if (found != capture_.texts.end()) {
      try {
        capture_.info = decode<CaptureInfo>(found->second, &findings_);
        capture_.texts.erase(found);
        return;
      } catch (const DecodingError& error) {
        tell(findings_, std::string(kCaptureInfoFile), error.what());
        capture_.texts.erase(found);
      }
    } else {
      tell(findings_, std::string(kCaptureInfoFile), "there is no such file");
    }
    const fs::path name = fs::weakly_canonical(folder_).filename();
    capture_.info = {};
    capture_.info.server = repairedUTF8(name.string());
    capture_.info.host = capture_.info.server;
    capture_.info.takenAt = Timestamp(std::chrono::duration<double>(newest_));
  }

  fs::path folder_;
  Findings& findings_;
  Capture capture_;
  double newest_ = 0;
};

// As a part of a path, whatever it is made of.
std::string asFileName(std::string_view name) {
  std::string safe;
  for (const char c : name) {
    const bool isHarmless = c != '/' && c != '\0' && static_cast<unsigned char>(c) >= 0x20;
    safe += isHarmless ? c : '_';
  }
  if (safe.empty() || safe.front() == '.' || safe.front() == '-') safe.insert(0, "_");
  constexpr std::size_t kLongestName = 200;
  return safe.substr(0, kLongestName);
}

void makePrivateFolder(const fs::path& folder) {
  fs::create_directories(folder);
  fs::permissions(folder, fs::perms::owner_all);
}

void writePrivateFile(const fs::path& file, std::string_view bytes) {
  replaceFile(file, bytes);
  fs::permissions(file, fs::perms::owner_read | fs::perms::owner_write);
}

// Nothing but an earlier capture may be thrown away.
void requireReplaceable(const fs::path& folder) {
  if (fs::is_empty(folder) || fs::exists(folder / kCaptureInfoFile)) return;
  throw fs::filesystem_error("not replaced, since it is no capture",
                             folder,
                             std::make_error_code(std::errc::directory_not_empty));
}

}  // namespace

Capture readCapture(const fs::path& folder, Findings& findings) {
  return FolderReader(folder, findings).read();
}

fs::path captureFolder(const fs::path& parent, std::string_view server) {
  return parent / asFileName(server);
}

void writeCapture(const Capture& capture, const fs::path& folder) {
  makePrivateFolder(folder);
  requireReplaceable(folder);
  // What an earlier capture had and this one has not would be taken for this one's.
  for (const auto& old : fs::directory_iterator(folder)) fs::remove_all(old.path());
  for (const auto& [path, text] : capture.texts) {
    fs::path file = folder;
    for (const fs::path& part : fs::path(path)) file /= asFileName(part.string());
    makePrivateFolder(file.parent_path());
    writePrivateFile(file, text);
  }
  writePrivateFile(folder / kCaptureInfoFile, encode(capture.info, JSONStyle::pretty));
}

}  // namespace tavrine
