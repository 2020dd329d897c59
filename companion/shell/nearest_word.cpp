#include "companion/shell/nearest_word.h"

#include "companion/views/joined.h"

#include <TavrineShared/foundation/ascii.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <vector>

namespace tavrine {

namespace {

// Nobody types so much by a slip, and the time goes with the square of it.
constexpr std::size_t kLongest = 64;
// What is shorter is a part of too many words.
constexpr std::size_t kShortestPart = 3;

std::string simplified(std::string_view word) {
  std::string simple;
  for (const char c : word) {
    if (c == '-' || c == '_') continue;
    simple += ascii::lower(c);
  }
  return simple;
}

// How many characters were put in, left out, taken for another or exchanged with the next.
std::size_t slipsBetween(std::string_view a, std::string_view b) {
  std::vector<std::size_t> beforeLast(b.size() + 1);
  std::vector<std::size_t> last(b.size() + 1);
  std::vector<std::size_t> row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    beforeLast.swap(last);
    last.swap(row);
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = last[j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      row[j] = std::min({last[j] + 1, row[j - 1] + 1, replaced});
      const bool isExchanged = i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1];
      if (isExchanged) row[j] = std::min(row[j], beforeLast[j - 2] + 1);
    }
  }
  return row[b.size()];
}

std::size_t mostSlips(std::string_view word) { return word.size() < 6 ? 1 : 2; }

bool isPartOfOther(std::string_view typed, std::string_view word) {
  return (typed.size() >= kShortestPart && word.starts_with(typed)) ||
         (word.size() > kShortestPart && typed.find(word) != std::string_view::npos);
}

}  // namespace

std::string didYouMean(std::string_view typed, std::span<const std::string> known) {
  const std::string simple = simplified(typed.substr(0, kLongest));
  const std::string* nearest = nullptr;
  std::size_t fewest = 0;
  for (const std::string& word : known) {
    const std::string candidate = simplified(word);
    std::size_t slips = slipsBetween(simple, candidate);
    if (slips > mostSlips(simple)) {
      if (!isPartOfOther(simple, candidate)) continue;
      slips = kLongest;  // likelier than nothing, and less likely than a slip
    }
    if (nearest != nullptr && slips >= fewest) continue;
    nearest = &word;
    fewest = slips;
  }
  return nearest == nullptr ? "" : "; did you mean " + *nearest + "?";
}

std::string meantOrKnown(std::string_view typed, std::span<const std::string> known) {
  const std::string meant = didYouMean(typed, known);
  return meant.empty() ? " (known: " + joined(known, ", ", std::identity()) + ")" : meant;
}

}  // namespace tavrine
