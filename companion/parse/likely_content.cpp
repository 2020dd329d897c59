#include "companion/parse/likely_content.h"

#include "companion/capture/capture.h"

#include <TavrineShared/foundation/ascii.h>
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/app_snapshot.h>
#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/parsers/nvidia_smi_parser.h>
#include <TavrineShared/parsers/training_log_parser.h>
#include <TavrineShared/recorder/recorder_line_parser.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>

namespace tavrine {

namespace {

// As much as tells; of a longer text no more than its whole lines.
std::string_view headOf(std::string_view text) {
  constexpr std::size_t kMost = std::size_t{64} * 1024;
  if (text.size() <= kMost) return text;
  const std::size_t lineFeed = text.rfind('\n', kMost);
  return text.substr(0, lineFeed == std::string_view::npos ? kMost : lineFeed + 1);
}

template <class R>
bool isDocumentOf(std::string_view text) {
  if (!trimmed(headOf(text)).starts_with('{')) return false;
  try {
    decode<R>(text);
    return true;
  } catch (const DecodingError&) {
    return false;
  }
}

bool isUTF16(std::string_view text) {
  return text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF");
}

bool isPacked(std::string_view text) { return text.starts_with("\x1F\x8B"); }

bool isMarkedJSON(std::string_view text) {
  return text.starts_with("\xEF\xBB\xBF{") || text.starts_with("\xEF\xBB\xBF[");
}

bool isRecorderLog(std::string_view text) {
  return !RecorderLineParser::parse(headOf(text)).empty();
}

bool isRecorderLogOfCRLF(std::string_view text) {
  std::string head(headOf(text));
  return std::erase(head, '\r') > 0 && isRecorderLog(head);
}

// Any table of numbers has rows that could be GPUs.
bool isGPUQuery(std::string_view text) {
  const std::string_view head = headOf(text);
  const bool namesGPUs =
      head.starts_with("index,") || head.find("NVIDIA") != std::string_view::npos;
  return namesGPUs && !NVIDIASMIParser::isFatal(head) && !NVIDIASMIParser::parseCSV(head).empty();
}

bool isProcessTable(std::string_view text) {
  const std::string_view head = trimmed(headOf(text));
  const std::string_view heading = head.substr(0, head.find('\n'));
  return heading.starts_with("PID ") && heading.find(" COMMAND") != std::string_view::npos;
}

bool isDumpOfStacks(std::string_view text) {
  const std::string_view head = trimmed(headOf(text));
  const auto begins = [head](std::string_view word) {
    return head.starts_with(word) && head.size() > word.size() && ascii::isDigit(head[word.size()]);
  };
  return begins("Process ") || begins("Thread ");
}

// A snapshot that is cut off or lacks a key, and an exported page, hold the ends of logs.
bool beginsADocument(std::string_view text) {
  const std::string_view head = trimmed(headOf(text));
  if (head.starts_with("<!")) return true;
  if (!head.starts_with('{') && !head.starts_with('[')) return false;
  const std::string_view inside = trimmed(head.substr(1));
  return inside.starts_with('"') || inside.starts_with('{');
}

bool isTrainingLog(std::string_view text) {
  return !beginsADocument(text) && TrainingLogParser::parse(headOf(text)).loss.has_value();
}

struct Content {
  bool (*fits)(std::string_view text);
  std::string_view name;
  std::string_view reader;  // the verb; empty where there is none
};

// The first that fits is it. What is no text stands in front.
constexpr std::size_t kUnreadable = 2;
constexpr auto kContents = std::to_array<Content>({
    {isUTF16, "UTF-16, of which 'iconv -f UTF-16 -t UTF-8' makes UTF-8", ""},
    {isPacked, "what gzip has packed: unpack it first", ""},
    {isMarkedJSON, "JSON behind a byte order mark, which 'tail -c +4' takes off", ""},
    {isRecorderLog, "a recorder's log", "diagnose"},
    {isRecorderLogOfCRLF,
     R"(a recorder's log whose lines end in CR LF, of which "tr -d '\r'" makes line feeds)",
     ""},
    {isDocumentOf<AppSnapshot>, "a snapshot", "show"},
    {isDocumentOf<CaptureInfo>,
     "the capture.json of a capture, whose folder 'tavrine assemble' reads",
     ""},
    {isDumpOfStacks, "what py-spy dumps", "classify"},
    {isProcessTable, "a process table", "parse processes"},
    {isGPUQuery, "what the GPU query prints", "parse gpus"},
    {isTrainingLog, "a training log", "parse training-log"},
});

std::string wordsOf(std::span<const Content> contents, std::string_view text,
                    std::string_view reader) {
  const auto content = std::find_if(contents.begin(), contents.end(), [&](const Content& each) {
    return each.fits(text);
  });
  if (content == contents.end() || (!reader.empty() && content->reader == reader)) return "";
  std::string words = "it looks like " + std::string(content->name);
  if (!content->reader.empty()) {
    words.append(", which 'tavrine ").append(content->reader).append("' reads");
  }
  return words;
}

}  // namespace

std::string likelyContent(std::string_view text, std::string_view reader) {
  return wordsOf(kContents, text, reader);
}

std::string unreadableContent(std::string_view text) {
  return wordsOf(std::span(kContents).first(kUnreadable), text, "");
}

}  // namespace tavrine
