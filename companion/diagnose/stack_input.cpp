#include "companion/diagnose/stack_input.h"

#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/parsers/py_spy_dump_parser.h>

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

namespace tavrine {

namespace {

/// A frame of `py-spy dump --json`.
struct DumpedFrame {
  std::string name;  ///< of the function
  std::string filename;
  std::optional<std::string> shortFilename;  ///< below the folder of the packages
  std::optional<std::int64_t> line;          ///< 0 where there is none

  static const RecordTable& table() {
    using R = DumpedFrame;
    static constexpr auto fields = fieldsOf<R>(field<&R::name>(),
                                               field<&R::filename>(),
                                               field<&R::shortFilename>("short_filename"),
                                               field<&R::line>());
    static constexpr RecordTable table{"DumpedFrame", fields};
    return table;
  }

  std::string recordedForm() const {
    std::string text = shortFilename.value_or(filename) + ":" + name;
    return line.value_or(0) > 0 ? text + ":" + std::to_string(*line) : text;
  }
};

/// A thread of `py-spy dump --json`.
struct DumpedThread {
  std::optional<std::int64_t> systemID;
  std::optional<std::string> name;
  std::optional<bool> isActive;
  std::vector<DumpedFrame> frames;

  static const RecordTable& table() {
    using R = DumpedThread;
    static constexpr auto fields = fieldsOf<R>(field<&R::systemID>("os_thread_id"),
                                               field<&R::name>("thread_name"),
                                               field<&R::isActive>("active"),
                                               field<&R::frames>());
    static constexpr RecordTable table{"DumpedThread", fields};
    return table;
  }

  StackFrame recordedForm() const {
    StackFrame stack{};
    if (systemID) stack.thread = std::to_string(*systemID) + " ";
    if (isActive) stack.thread += *isActive ? "(active)" : "(idle)";
    if (name) stack.thread += ": \"" + *name + "\"";
    for (const DumpedFrame& frame : frames) stack.frames.push_back(frame.recordedForm());
    return stack;
  }
};

template <class T>
std::optional<T> tryDecode(std::string_view document) {
  try {
    return decode<T>(document);
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

std::vector<StackFrame> readDocument(std::string_view document) {
  if (auto frames = tryDecode<std::vector<std::string>>(document)) {
    return {{.thread = "", .frames = std::move(*frames)}};
  }
  if (document.starts_with('{')) return {decode<StackFrame>(document)};
  if (const auto threads = tryDecode<std::vector<DumpedThread>>(document)) {
    std::vector<StackFrame> stacks;
    for (const DumpedThread& thread : *threads) stacks.push_back(thread.recordedForm());
    return stacks;
  }
  // The last form is the usual one, so its error tells most.
  return decode<std::vector<StackFrame>>(document);
}

}  // namespace

std::vector<StackFrame> readStacks(std::string_view text, Findings* findings) {
  const std::string_view content = trimmed(text);
  const bool isJSON = content.starts_with('[') || content.starts_with('{');
  return isJSON ? readDocument(content) : PySpyDumpParser::parse(text, findings);
}

}  // namespace tavrine
