#include <TavrineShared/foundation/keyword_table.h>

#include <TavrineShared/foundation/unicode_text.h>

#include <algorithm>
#include <array>
#include <limits>

namespace tavrine {
namespace {

constexpr std::size_t kNoRank = std::numeric_limits<std::size_t>::max();

// The lower case of the first is i and a combining dot, of the second k.
constexpr std::array<std::string_view, 2> kUnlikeTheirLowercase = {"\xC4\xB0", "\xE2\x84\xAA"};

std::vector<std::string_view> literalsOf(std::span<const Keyword> keywords) {
  std::vector<std::string_view> literals;
  for (const Keyword& keyword : keywords) literals.push_back(keyword.text);
  literals.insert(literals.end(), kUnlikeTheirLowercase.begin(), kUnlikeTheirLowercase.end());
  return literals;
}

}  // namespace

struct KeywordTable::Search {
  std::size_t lowest = kNoRank;
  bool needsLowercase = false;  // what was found in the text so far need not be all
};

KeywordTable::KeywordTable(std::span<const Keyword> keywords)
    : scanner_(literalsOf(keywords)), bestRank_(kNoRank) {
  for (const Keyword& keyword : keywords) {
    ranks_.push_back(keyword.rank);
    bestRank_ = std::min(bestRank_, keyword.rank);
  }
}

void KeywordTable::search(std::string_view text, Search& search) const {
  search.needsLowercase = false;
  scanner_.scan(text, [this, &search](std::size_t literal, std::size_t) {
    search.needsLowercase = literal >= ranks_.size();
    if (search.needsLowercase) return false;
    search.lowest = std::min(search.lowest, ranks_[literal]);
    return search.lowest != bestRank_;
  });
}

std::optional<std::size_t> KeywordTable::lowestRank(std::span<const std::string_view> texts) const {
  Search found;
  for (const std::string_view text : texts) {
    search(text, found);
    // The lower-cased text holds none of the two characters, so it is searched to its end.
    if (found.needsLowercase) search(lowercased(text), found);
    if (found.lowest == bestRank_) break;
  }
  if (found.lowest == kNoRank) return std::nullopt;
  return found.lowest;
}

std::optional<std::size_t> KeywordTable::lowestRank(std::string_view text) const {
  return lowestRank(std::span(&text, 1));
}

}  // namespace tavrine
