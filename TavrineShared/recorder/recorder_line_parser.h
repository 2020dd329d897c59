// A recorder's log, one JSON object per line, becomes `RecorderLogPoint` records.
//
// Lines end at a line feed only. A carriage return and a line feed are one character that is none,
// so a text whose lines end in CR LF is one piece and gives at most one point. What does not begin
// with "{", white space aside, is passed over; a line that is no point by the rules of its record
// is dropped, and there a time must be a number of seconds. Ill-formed UTF-8 is read as U+FFFD.
#pragma once

#include <TavrineShared/model/findings.h>
#include <TavrineShared/recorder/recorder_records.h>

#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace tavrine::RecorderLineParser {

/// The points in the order of their times, those of equal times in the order of the lines. With
/// `findings`, tells of every line that gave none and of every line that was repaired; the column
/// is that of what makes a line no JSON.
std::vector<RecorderLogPoint> parse(std::string_view text, Findings* findings = nullptr);

/// The newest point whose phase is "snapshot"; of those of equal times, that of the last line.
std::optional<RecorderLogPoint> latestSnapshot(std::string_view text, Findings* findings = nullptr);
/// The same of points in the order in which `parse` gives them; null when there is none.
const RecorderLogPoint* latestSnapshot(std::span<const RecorderLogPoint> points);

/// The first thread's stack out of the newest point that has any.
std::optional<StackFrame> latestStack(std::string_view text, Findings* findings = nullptr);
/// The same of points in the order in which `parse` gives them; null when there is none.
const StackFrame* latestStack(std::span<const RecorderLogPoint> points);

}  // namespace tavrine::RecorderLineParser
