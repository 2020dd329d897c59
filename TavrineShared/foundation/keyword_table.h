// Which of some keywords stands in a text, letter case ignored: the first one that a list names
// decides, wherever it stands. Private: no public header includes it.
//
// The answer is the one of searching the lower-cased text (`lowercased`) for each keyword in turn.
// It takes one pass and no copy, unless the text holds one of the two characters outside ASCII
// whose lower case begins with an ASCII letter: U+0130 and U+212A.
#pragma once

#include <TavrineShared/foundation/literal_scanner.h>

#include <cstddef>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

namespace tavrine {

struct Keyword {
  std::string_view text;  ///< lower-case ASCII, at least two characters
  std::size_t rank;       ///< the lower, the more it counts; several keywords may share one
};

class KeywordTable {
 public:
  /// The texts of the keywords must outlive the table, and there may be 253.
  explicit KeywordTable(std::span<const Keyword> keywords);

  /// The lowest rank of all keywords that stand in one of the texts; none when no keyword does.
  /// Searching several texts is searching them joined, as long as no keyword spans the joint. Any
  /// bytes are text; the time is linear in them, and reading stops at the best rank there is.
  std::optional<std::size_t> lowestRank(std::span<const std::string_view> texts) const;
  std::optional<std::size_t> lowestRank(std::string_view text) const;

 private:
  struct Search;

  void search(std::string_view text, Search& search) const;

  LiteralScanner scanner_;
  std::vector<std::size_t> ranks_;  // by literal of the scanner
  std::size_t bestRank_;
};

}  // namespace tavrine
