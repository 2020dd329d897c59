// Texts to measure the log parser on: logs made up after those of real jobs, texts that take plain
// patterns hours, and real logs.
#pragma once

#include <cstddef>
#include <filesystem>
#include <span>
#include <string>
#include <string_view>

namespace tavrine::benchmarks {

/// A log of one sort, of `size` bytes or a line more, the same in each run. All begin with a line
/// of settings.
std::string barLog(std::size_t size);         ///< progress bars, each a line
std::string endlessBarLog(std::size_t size);  ///< progress bars on one line, drawn over each other
std::string shortLineLog(std::size_t size);   ///< a loss on each line
std::string longLineLog(std::size_t size);    ///< the same among twenty other figures
std::string dictLog(std::size_t size);        ///< the same with the keys in quotes
std::string chatterLog(std::size_t size);     ///< nothing of interest
std::string wideLog(std::size_t size);        ///< ideographs and emoji around few numbers
std::string validationLog(std::size_t size);  ///< a step and its validation loss on each line
/// Letters that fold to ASCII, blanks and line ends of every kind: every line needs ICU.
std::string foldingLog(std::size_t size);

/// A text on which plain patterns take a time that grows with a power of its length.
struct HostileText {
  const char* name;
  std::string (*make)(std::size_t size);
};
std::span<const HostileText> hostileTexts();

/// The logs of a folder, joined; in well-formed UTF-8, for not all regular expressions take other
/// texts. Throws std::runtime_error when there is none.
std::string logsIn(const std::filesystem::path& folder);

/// `text` again and again, of `size` bytes or, so that it ends with a line, some less.
std::string repeatedLines(std::string_view text, std::size_t size);

}  // namespace tavrine::benchmarks
