// The log parser as one would write it on other engines of regular expressions: the same patterns,
// one after the other over the whole text.
//
// Both leave out what the words of a log say of its status, which costs the real parser and plain
// ICU some of their time.
#pragma once

#include <TavrineShared/parsers/training_log_parser.h>

#include <string_view>

namespace tavrine::benchmarks {

/// What RE2 makes of a text. It answers otherwise where a letter outside ASCII folds to one inside
/// or stands beside a word, where a blank is none of ASCII's, and where a line ends in anything but
/// a line feed: its `\b` and `\s` know ASCII alone, `^` and `.` the line feed alone.
ParsedLogSignals parseWithRE2(std::string_view text);

/// What PCRE2 makes of a text, compiled by its JIT, with Unicode properties and line ends. It
/// answers otherwise where one character folds to two. The text must be well-formed UTF-8, which is
/// not checked.
ParsedLogSignals parseWithPCRE2(std::string_view text);

}  // namespace tavrine::benchmarks
