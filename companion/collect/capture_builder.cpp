#include "companion/collect/capture_builder.h"

#include "companion/collect/collector_script.h"

#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/parsers/text_rules.h>

#include <algorithm>
#include <array>
#include <map>
#include <optional>
#include <utility>

namespace tavrine {

namespace {

// Names of files that say nothing of the run.
constexpr auto kCommonNames = std::to_array<std::string_view>({"train",
                                                               "training",
                                                               "log",
                                                               "logs",
                                                               "output",
                                                               "out",
                                                               "stdout",
                                                               "stderr",
                                                               "nohup",
                                                               "recorder",
                                                               "run",
                                                               "main"});

// The last part of a path, and the path without it.
std::string_view takeLastPart(std::string_view& path) {
  while (path.ends_with('/')) path.remove_suffix(1);
  const std::size_t slash = path.rfind('/');
  const std::size_t start = slash == std::string_view::npos ? 0 : slash + 1;
  const std::string_view part = path.substr(start);
  path = path.substr(0, start);
  return part;
}

// Runs and reports come as a path and what belongs to it.
struct LogFile {
  std::string path;
  std::optional<double> age;
  Piece* text = nullptr;
};

class CaptureBuilder {
 public:
  CaptureBuilder(CaptureInfo info, std::vector<Piece> pieces) : pieces_(std::move(pieces)) {
    capture_.info = std::move(info);
  }

  Capture build() {
    for (const CommandFile& each : kCommandFiles) addCommand(each);
    for (const std::string_view kind : {kTrainingLogPiece, kRecorderLogPiece, kAgentFilePiece}) {
      addFilesNotKept(kind);
    }
    for (const LogFile& log : filesOf(kTrainingLogPiece)) {
      CapturedRun& run = runOf(log, kTrainingLogFile);
      run.logPath = repairedUTF8(log.path);
      run.logAgeSeconds = log.age;
    }
    for (const LogFile& log : filesOf(kRecorderLogPiece)) {
      runOf(log, kRecorderLogFile).recorderPath = repairedUTF8(log.path);
    }
    for (const LogFile& report : filesOf(kAgentFilePiece)) {
      std::string_view path = report.path;
      put(std::string(kAgentFolder) + "/" + asFileName(takeLastPart(path)), *report.text);
    }
    if (Piece* const reports = find(kAgentCommandPiece)) {
      put(std::string(kAgentFolder) + "/" + std::string(kAllReports) + ".json", *reports);
    }
    return std::move(capture_);
  }

 private:
  Piece* find(std::string_view name) {
    const auto found = std::find_if(pieces_.begin(), pieces_.end(), [&](const Piece& each) {
      return each.name == name;
    });
    return found == pieces_.end() ? nullptr : &*found;
  }

  void addCommand(const CommandFile& command) {
    Piece* const piece = find(command.command);
    if (piece == nullptr) return;
    constexpr std::int64_t kUnfinished = -1;
    CommandResult result{};
    result.command = command.command;
    result.status = piece->status.value_or(kUnfinished);
    result.cutBytes = cutBytes(*piece);
    capture_.info.commands.push_back(result);
    if (result.status != kToolIsMissing) put(std::string(command.file), *piece);
  }

  static std::optional<std::int64_t> cutBytes(const Piece& piece) {
    if (piece.bytes <= piece.text.size()) return std::nullopt;
    return static_cast<std::int64_t>(piece.bytes - piece.text.size());
  }

  void addFilesNotKept(std::string_view kind) {
    CommandResult result{};
    result.command = kind;
    const std::string text = std::string(kind) + "-text";
    for (const Piece& piece : pieces_) {
      const auto cut = piece.name == text ? cutBytes(piece) : std::nullopt;
      if (cut) result.cutBytes = result.cutBytes.value_or(0) + *cut;
    }
    const Piece* const leftOut = find(std::string(kind) + "-left-out");
    if (leftOut != nullptr) result.leftOutFiles = readInteger(leftOut->text);
    if (!shortfall(result).empty()) capture_.info.commands.push_back(std::move(result));
  }

  void put(const std::string& file, Piece& piece) { capture_.texts[file] = std::move(piece.text); }

  std::vector<LogFile> filesOf(std::string_view kind) {
    std::vector<LogFile> files;
    for (Piece& piece : pieces_) {
      std::string_view part = piece.name;
      if (!part.starts_with(kind) || part.size() <= kind.size()) continue;
      part.remove_prefix(kind.size() + 1);
      if (part == "path") {
        // Who sends more than the script does is not worth the time.
        if (files.size() == kMostFilesOfKind) break;
        files.push_back({.path = piece.text, .age = {}, .text = nullptr});
      }
      if (files.empty()) continue;
      if (part == "age") files.back().age = readInteger(piece.text);
      if (part == "text") files.back().text = &piece;
    }
    std::erase_if(files, [](const LogFile& file) { return file.text == nullptr; });
    return files;
  }

  // A recorder's log belongs to the run that its training log's name gives, too.
  CapturedRun& runOf(const LogFile& log, std::string_view file) {
    const std::string name = runNameOf(log.path);
    std::string free = name;
    for (int number = 2; isTaken(free, file); ++number) free = name + "-" + std::to_string(number);
    put(fileOf(free, file), *log.text);
    const auto [place, isNew] = places_.try_emplace(free, capture_.info.runs.size());
    if (isNew) {
      capture_.info.runs.push_back(
          {.name = free, .logPath = {}, .logAgeSeconds = {}, .recorderPath = {}});
    }
    return capture_.info.runs[place->second];
  }

  static std::string fileOf(const std::string& run, std::string_view file) {
    return std::string(kRunsFolder) + "/" + run + "/" + std::string(file);
  }
  bool isTaken(const std::string& run, std::string_view file) const {
    return capture_.text(fileOf(run, file)) != nullptr;
  }

  std::vector<Piece> pieces_;
  Capture capture_;
  std::map<std::string, std::size_t> places_;
};

}  // namespace

std::string runNameOf(std::string_view path) {
  std::string_view rest = path;
  const std::string_view file = takeLastPart(rest);
  const std::string_view stem = file.substr(0, std::min(file.rfind('.'), file.size()));
  const std::string_view folder = takeLastPart(rest);
  const std::string lower = lowercased(repairedUTF8(stem));
  const bool isCommon =
      std::find(kCommonNames.begin(), kCommonNames.end(), lower) != kCommonNames.end();
  const std::string_view name = (isCommon || stem.empty()) && !folder.empty() ? folder : stem;
  // It is the name of a folder in the capture, and with a number behind it, too.
  constexpr std::size_t kLongestName = 120;
  return asFileName(repairedUTF8(name), kLongestName);
}

Capture captureOf(CaptureInfo info, std::vector<Piece> pieces, const std::string& problem) {
  if (!problem.empty()) info.problem = problem;
  return CaptureBuilder(std::move(info), std::move(pieces)).build();
}

}  // namespace tavrine
