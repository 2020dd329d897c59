// Any text as load averages. What must hold: they are the numbers among its first three pieces,
// with and without findings, which tell of the pieces that are none.
#include <TavrineShared/parsers/load_avg_parser.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/require.h"
#include "tests/support/naive_text.h"

namespace tavrine::fuzz {
namespace {

std::vector<std::u32string> firstThreePieces(std::string_view text) {
  std::vector<std::u32string> pieces;
  std::u32string piece;
  for (const char32_t c : naive::trimmed(naive::decodedUTF8(text)) + U' ') {
    if (c != U' ') {
      piece += c;
    } else if (!piece.empty() && pieces.size() < 3) {
      pieces.push_back(piece);
      piece.clear();
    }
  }
  return pieces;
}

bool areSameBits(const std::vector<double>& a, const std::vector<double>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(), [](double x, double y) {
    return naive::areSameBits(x, y);
  });
}

}  // namespace
}  // namespace tavrine::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tavrine;
  using namespace tavrine::fuzz;
  const std::string_view text(reinterpret_cast<const char*>(data), size);

  Findings findings;
  const std::vector<double> averages = LoadAvgParser::parse(text, &findings);
  require(areSameBits(LoadAvgParser::parse(text), averages), "the same comes with findings");
  const std::vector<std::u32string> pieces = firstThreePieces(text);
  std::vector<double> expected;
  for (const std::u32string& piece : pieces) {
    if (const auto number = naive::readFloat(piece)) expected.push_back(*number);
  }
  require(areSameBits(averages, expected),
          "the averages are the numbers among the first three pieces");
  require(findings.count(FindingOutcome::readAsAbsent) == pieces.size() - averages.size(),
          "what is no number is told");
  return 0;
}
