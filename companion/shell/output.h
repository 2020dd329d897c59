// Data goes to standard output, words for people go to standard error.
//
// When the reader of our output goes away, as `tavrine ... | head` does, the signal SIGPIPE ends
// the program at once and silently, as it ends cat and grep. Where that signal is ignored, the
// failed write is an error like any other.
#pragma once

#include "companion/views/chart.h"
#include "companion/views/text_table.h"

#include <cstddef>
#include <cstdint>
#include <exception>
#include <optional>
#include <string_view>

namespace tavrine {

/// Writes all of `text` to standard output. Throws `std::system_error` whose `what()` is such as
/// "cannot write to standard output: No space left on device".
void writeOutput(std::string_view text);

/// To be called last: some file systems tell only now that what was written is lost. Throws as
/// `writeOutput` does.
void closeOutput();

/// Writes `words` to standard error as they are. A failure is ignored: nobody could be told.
void writeWords(std::string_view words);

/// "tavrine: MESSAGE", one line on standard error; whatever a file name or an argument brought
/// into the message, it does nothing to the terminal.
void say(std::string_view message);

/// The same of an error. What the system has to say of a file begins with the file.
void say(const std::exception& error);

bool outputIsTerminal();

enum class ColorChoice : std::uint8_t { automatic, always, never };

/// The columns of the screen that standard output is; no value where it is none.
std::optional<std::size_t> screenWidth();

/// Whether standard output gets colours. Automatic: a terminal that can do more than "dumb", unless
/// the environment has a NO_COLOR that is not empty.
Paint paint(ColorChoice choice);

/// Of a table on standard output: with its colours and, where it is a screen, within its columns.
TableStyle tableStyle(ColorChoice choice);

/// Blocks where the environment (LC_ALL, LC_CTYPE, LANG) says that characters are UTF-8.
Glyphs glyphs();

}  // namespace tavrine
