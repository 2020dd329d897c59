#include <TavrineShared/foundation/literal_scanner.h>

#include <algorithm>
#include <limits>

namespace tavrine {

LiteralScanner::LiteralScanner(std::span<const std::string_view> literals)
    : literals_(literals.begin(), literals.end()) {
  for (std::size_t k = 0; k < literals_.size(); ++k) {
    const std::string_view literal = literals_[k];
    const auto size = static_cast<std::ptrdiff_t>(literal.size());
    // From the middle, where literals are least like other words: their ends are. The shortest ones
    // cannot fill both triples, whose missing byte may then be any.
    const std::ptrdiff_t first = size >= 5 ? size / 2 - 1 : size >= 3 ? 0 : -1;
    for (std::ptrdiff_t offset = first; offset < first + 2; ++offset) {
      const Clue clue{static_cast<std::uint8_t>(k), static_cast<std::int8_t>(offset)};
      std::array<unsigned char, 3> bytes{};
      std::ptrdiff_t missing = -1;
      for (std::ptrdiff_t i = 0; i < 3; ++i) {
        const std::ptrdiff_t place = offset + i;
        if (place < 0 || place >= size) {
          missing = i;
        } else {
          bytes[static_cast<std::size_t>(i)] =
              static_cast<unsigned char>(literal[static_cast<std::size_t>(place)]);
        }
      }
      if (missing < 0) {
        enter(bytes, clue);
        continue;
      }
      for (int any = 0; any <= std::numeric_limits<unsigned char>::max(); ++any) {
        bytes[static_cast<std::size_t>(missing)] = static_cast<unsigned char>(any);
        enter(bytes, clue);
      }
    }
  }
}

void LiteralScanner::enter(std::array<unsigned char, 3> bytes, Clue clue) {
  const Gram gram = bytes[0] | static_cast<Gram>(bytes[1]) << 8 | static_cast<Gram>(bytes[2]) << 16;
  const std::size_t slot = slotOf(gram);
  known_[slot / 64] |= std::uint64_t{1} << (slot % 64);
  // Once per row, or an occurrence would be told twice.
  std::vector<Clue>& row = rows_[slot % kRowCount];
  const bool isThere = std::any_of(row.begin(), row.end(), [clue](Clue other) {
    return other.literal == clue.literal && other.offset == clue.offset;
  });
  if (!isThere) row.push_back(clue);
}

}  // namespace tavrine
