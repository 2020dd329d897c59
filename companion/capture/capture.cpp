#include "companion/capture/capture.h"

#include <TavrineShared/model/field_table.h>

#include <algorithm>

namespace tavrine {

const RecordTable& CommandResult::table() {
  using R = CommandResult;
  static constexpr auto fields = fieldsOf<R>(field<&R::command>(),
                                             field<&R::status>(),
                                             field<&R::cutBytes>(),
                                             field<&R::leftOutFiles>());
  static constexpr RecordTable table{"CommandResult", fields};
  return table;
}

std::string shortfall(const CommandResult& result) {
  std::string words;
  const std::int64_t files = result.leftOutFiles.value_or(0);
  const std::int64_t bytes = result.cutBytes.value_or(0);
  if (files > 0) words = std::to_string(files) + " files more were left out";
  if (bytes > 0) {
    if (!words.empty()) words += ", and ";
    words += std::to_string(bytes) + " bytes more were not kept";
  }
  return words;
}

const RecordTable& CapturedRun::table() {
  using R = CapturedRun;
  static constexpr auto fields = fieldsOf<R>(field<&R::name>(),
                                             field<&R::logPath>(),
                                             field<&R::logAgeSeconds>(),
                                             field<&R::recorderPath>());
  static constexpr RecordTable table{"CapturedRun", fields};
  return table;
}

const RecordTable& CaptureInfo::table() {
  using R = CaptureInfo;
  static constexpr auto fields = fieldsOf<R>(field<&R::server>(),
                                             field<&R::host>(),
                                             field<&R::takenAt>(),
                                             field<&R::problem>(),
                                             lossyList<&R::commands>(),
                                             lossyList<&R::runs>());
  static constexpr RecordTable table{"CaptureInfo", fields};
  return table;
}

const std::string* Capture::text(std::string_view file) const {
  const auto found = texts.find(std::string(file));
  return found == texts.end() ? nullptr : &found->second;
}

const CommandResult* Capture::result(std::string_view command) const {
  const auto found =
      std::find_if(info.commands.begin(), info.commands.end(), [&](const CommandResult& each) {
        return each.command == command;
      });
  return found == info.commands.end() ? nullptr : &*found;
}

const CapturedRun* Capture::run(std::string_view name) const {
  const auto found = std::find_if(info.runs.begin(), info.runs.end(), [&](const CapturedRun& each) {
    return each.name == name;
  });
  return found == info.runs.end() ? nullptr : &*found;
}

std::string asFileName(std::string_view name, std::size_t mostBytes) {
  std::string safe;
  for (const char c : name) {
    const bool isHarmless = c != '/' && static_cast<unsigned char>(c) >= 0x20 && c != 0x7F;
    safe += isHarmless ? c : '_';
  }
  if (safe.empty() || safe.front() == '.' || safe.front() == '-') safe.insert(0, "_");
  if (safe.size() <= mostBytes) return safe;
  const auto continuesCharacter = [](char c) { return (static_cast<unsigned char>(c) >> 6U) == 2; };
  std::size_t end = mostBytes;
  while (end > 1 && continuesCharacter(safe[end])) --end;
  return safe.substr(0, end);
}

}  // namespace tavrine
