#include <TavrineShared/parsers/py_spy_dump_parser.h>

#include <TavrineShared/foundation/ascii.h>
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/line_teller.h>
#include <TavrineShared/parsers/text_rules.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>

namespace tavrine::PySpyDumpParser {

namespace {

constexpr std::string_view kThreadHead = "Thread ";

// "Process 4711: python train.py" and "Python v3.11.8 (/usr/bin/python3.11)", and not the frame
// "Process (x.py:3)".
bool isProcessHead(std::string_view line) {
  constexpr std::string_view kProcess = "Process ";
  if (line.starts_with(kProcess)) return !line.substr(kProcess.size()).starts_with('(');
  return line.starts_with("Python v");
}

// "Thread 4711 (idle): ..." or "Thread 0x7F2C (active)", and not the frame "Thread (x.py:3)".
bool isThreadHead(std::string_view line) {
  return line.starts_with(kThreadHead) && !line.substr(kThreadHead.size()).starts_with('(') &&
         line.find(" (", kThreadHead.size()) != std::string_view::npos;
}

std::size_t indentation(std::string_view line) {
  return std::min(line.find_first_not_of(" \t"), line.size());
}

bool areDigits(std::string_view text) {
  return !text.empty() && std::all_of(text.begin(), text.end(), ascii::isDigit);
}

struct DumpedFrame {
  std::string_view function;
  std::string_view file;
  std::string_view line;  // behind its colon, which is part of it; empty where there is none
};

// From "function (file:line)". The last parenthesis counts: those of functions that are not
// Python's hold types.
std::optional<DumpedFrame> dumpedFrame(std::string_view text) {
  constexpr std::string_view kOpening = " (";
  const std::size_t opening = text.rfind(kOpening);
  if (opening == std::string_view::npos || opening == 0 || !text.ends_with(')')) {
    return std::nullopt;
  }
  std::string_view place = text.substr(opening + kOpening.size());
  place.remove_suffix(1);
  if (place.empty()) return std::nullopt;
  const std::size_t colon = place.rfind(':');
  const bool hasLine = colon != std::string_view::npos && areDigits(place.substr(colon + 1));
  const std::size_t fileEnd = hasLine ? colon : place.size();
  return DumpedFrame{text.substr(0, opening), place.substr(0, fileEnd), place.substr(fileEnd)};
}

class DumpReader {
 public:
  explicit DumpReader(Findings* findings) : findings_(findings) {}

  void read(std::string_view line, std::size_t lineNumber) {
    const LineTeller teller(line, lineNumber, findings_);
    const std::string_view content = trimmed(line);
    if (content.empty()) return;
    if (isProcessHead(content)) {
      hasThread_ = false;
      return teller.tellLine(FindingOutcome::headerSkipped, "the head of a process");
    }
    if (isThreadHead(content)) {
      return open(teller.text(content.substr(kThreadHead.size()), kFieldName<&StackFrame::thread>));
    }
    readFrame(teller, content);
  }

  std::vector<StackFrame> take() { return std::move(stacks_); }

 private:
  void open(std::string label) {
    stacks_.push_back({.thread = std::move(label), .frames = {}});
    hasThread_ = true;
    frameIndentation_.reset();
  }

  void readFrame(const LineTeller& line, std::string_view content) {
    const std::size_t indented = indentation(line.line());
    if (frameIndentation_ && indented > *frameIndentation_) {
      return line.tellLine(FindingOutcome::leftOut, "deeper than a frame: a local variable");
    }
    const std::optional<DumpedFrame> frame = dumpedFrame(content);
    if (!frame) {
      return line.tellLine(FindingOutcome::lineDropped,
                           "neither a thread nor a frame, which is \"function (file:line)\"");
    }
    if (!hasThread_) open("");
    frameIndentation_ = indented;
    constexpr std::string_view kField = kFieldName<&StackFrame::frames>;
    stacks_.back().frames.push_back(line.text(frame->file, kField) + ":" +
                                    line.text(frame->function, kField) + std::string(frame->line));
  }

  Findings* findings_;
  std::vector<StackFrame> stacks_;
  bool hasThread_ = false;                       // to which a frame would belong
  std::optional<std::size_t> frameIndentation_;  // of that thread
};

}  // namespace

std::vector<StackFrame> parse(std::string_view text, Findings* findings) {
  DumpReader reader(findings);
  for (LineCursor lines(text); lines.next();) reader.read(lines.line(), lines.lineNumber());
  return reader.take();
}

}  // namespace tavrine::PySpyDumpParser
