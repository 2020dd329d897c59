// Finds every occurrence of a few ASCII literals in one pass, letter case ignored. Private: no
// public header includes it.
//
// Every literal enters the three bytes at two neighbouring places of it into a bit table. One of
// two neighbours stands at an even distance from the text's start, so it is enough to look up every
// second place of the text; only what the table holds is compared with literals.
#pragma once

#include <TavrineShared/foundation/ascii.h>

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>
#include <vector>

namespace tavrine {

class LiteralScanner {
 public:
  /// The literals must outlive the scanner. There may be 255; each has at least two bytes, and its
  /// letters are lower-case. Bytes outside ASCII are found as they are.
  explicit LiteralScanner(std::span<const std::string_view> literals);

  /// Calls `found(literal, offset)`, a literal's index and where in `text` it begins, for every
  /// occurrence, overlapping ones included, until one call returns false or the text ends.
  /// Occurrences that do not overlap come in the order of the text. Reads nothing behind the end of
  /// `text`.
  template <class Found>
  void scan(std::string_view text, Found found) const;

  std::string_view literal(std::size_t index) const { return literals_[index]; }

 private:
  // Where in a literal the three bytes stand that led to it.
  struct Clue {
    std::uint8_t literal;
    std::int8_t offset;  // -1 when the first of the three stands before the literal
  };
  using Gram = std::uint32_t;  // three bytes, the first one lowest
  static constexpr std::size_t kSlotBits = 16;
  static constexpr std::size_t kRowCount = 4096;

  // Letters differ from their capitals in bit 0x20 alone.
  static std::size_t slotOf(Gram gram) {
    constexpr Gram kThreeBytes = 0xFFFFFF;
    constexpr Gram kCase = 0x202020;
    constexpr Gram kFactor = 0x9E3779B1;
    return static_cast<Gram>(((gram | kCase) & kThreeBytes) * kFactor) >> (32 - kSlotBits);
  }
  bool isKnown(std::size_t slot) const { return (known_[slot / 64] >> (slot % 64) & 1) != 0; }

  void enter(std::array<unsigned char, 3> bytes, Clue clue);
  template <class Found>
  [[gnu::noinline]] bool compare(std::string_view text, std::size_t at, std::size_t slot,
                                 Found& found) const;

  std::vector<std::string_view> literals_;
  std::array<std::uint64_t, (std::size_t{1} << kSlotBits) / 64> known_{};
  std::array<std::vector<Clue>, kRowCount> rows_;  // by slot, which share them
};

namespace detail {

/// Whether `text` begins with `literal`, the capitals of which count as its letters.
inline bool beginsWithLiteral(std::string_view text, std::string_view literal) {
  if (text.size() < literal.size()) return false;
  for (std::size_t i = 0; i < literal.size(); ++i) {
    if (ascii::lower(text[i]) != literal[i]) return false;
  }
  return true;
}

}  // namespace detail

template <class Found>
void LiteralScanner::scan(std::string_view text, Found found) const {
  const char* const start = text.data();
  const std::size_t size = text.size();
  const auto goesOn = [&](std::size_t at, Gram gram) {
    const std::size_t slot = slotOf(gram);
    return !isKnown(slot) || compare(text, at, slot, found);
  };
  std::size_t at = 0;
  for (; size - at >= 8; at += 6) {
    std::uint64_t word;
    std::memcpy(&word, start + at, sizeof word);
    if constexpr (std::endian::native == std::endian::big) word = __builtin_bswap64(word);
    if (!goesOn(at, static_cast<Gram>(word))) return;
    if (!goesOn(at + 2, static_cast<Gram>(word >> 16))) return;
    if (!goesOn(at + 4, static_cast<Gram>(word >> 32))) return;
  }
  // Behind the end stand, as it were, NULs.
  for (; at < size; at += 2) {
    Gram gram = 0;
    for (std::size_t i = 0; i < 3 && at + i < size; ++i) {
      gram |= static_cast<Gram>(static_cast<unsigned char>(start[at + i])) << (8 * i);
    }
    if (!goesOn(at, gram)) return;
  }
}

template <class Found>
bool LiteralScanner::compare(std::string_view text, std::size_t at, std::size_t slot,
                             Found& found) const {
  // NOLINTNEXTLINE(readability-use-anyofallof): what is found is told on the way
  for (const Clue clue : rows_[slot % kRowCount]) {
    const std::size_t begin = at - static_cast<std::size_t>(clue.offset);
    // A literal that would begin before the text has a place far behind its end.
    if (begin >= text.size()) continue;
    if (!detail::beginsWithLiteral(text.substr(begin), literals_[clue.literal])) continue;
    if (!found(std::size_t{clue.literal}, begin)) return false;
  }
  return true;
}

}  // namespace tavrine
