// Any text as a training log. What must hold:
//  - parse gives the same in blocks of any size, with findings and without;
//  - findings stand in the order of the text and show what stands where they say;
//  - every value is told of where it was read;
//  - for texts short enough for plain regular expressions, it gives what its naive twin gives.
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/parsers/text_rules.h>
#include <TavrineShared/parsers/training_log_parser.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "fuzz/require.h"
#include "tests/support/naive_text.h"
#include "tests/support/naive_training_log_parser.h"

namespace tavrine::fuzz {
namespace {

constexpr Timestamp kNow{};

// The naive twin takes a time that grows with the fourth power of some texts' length.
constexpr std::size_t kLongestForTheTwin = 160;

void requireSense(std::string_view text, const Findings& findings) {
  std::vector<std::u32string> lines(1);  // by number
  for (const naive::Line& line : naive::linesOf(naive::decodedUTF8(text))) {
    lines.resize(line.number + 1);
    lines[line.number] = line.characters;
  }
  std::pair<std::int64_t, std::int64_t> last;
  for (const Finding& finding : findings.list()) {
    require(finding.line && *finding.line >= 1 && std::cmp_less(*finding.line, lines.size()),
            "a finding is about a line of the text");
    const std::u32string& line = lines[static_cast<std::size_t>(*finding.line)];
    require(
        finding.column && *finding.column >= 1 && std::cmp_less_equal(*finding.column, line.size()),
        "a finding is about a place in the line");
    const auto place = std::pair(*finding.line, *finding.column);
    require(last <= place, "findings come in the order of the text");
    last = place;

    require(isWellFormedUTF8(finding.found), "what is shown is well-formed");
    std::u32string found = naive::decodedUTF8(finding.found);
    require(!found.empty() && found.size() <= 80, "what is shown is short");
    if (found.size() == 80 && found.ends_with(U'\u2026')) found.pop_back();
    // What spans lines is shown as a whole, and compared as far as its first line.
    const std::u32string rest = line.substr(static_cast<std::size_t>(*finding.column) - 1);
    const std::size_t common = std::min(rest.size(), found.size());
    require(rest.compare(0, common, found, 0, common) == 0,
            "what is shown stands where the finding says");
    require(!finding.path.empty() && !finding.reason.empty(), "a finding says what and why");
  }
}

std::size_t valueCount(const ParsedLogSignals& signals) {
  return signals.warnings.size() + signals.hyperparameters.size() + signals.valMetrics.size() +
         (signals.loss ? 1U : 0U) + (signals.throughput ? 1U : 0U) +
         (signals.datasetName ? 1U : 0U) + (signals.modelName ? 1U : 0U) +
         (signals.checkpointPath ? 1U : 0U);
}

}  // namespace
}  // namespace tavrine::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tavrine;
  using namespace tavrine::fuzz;
  const std::string_view text(reinterpret_cast<const char*>(data), size);

  Findings findings(10 * size + 100);
  const ParsedLogSignals signals = TrainingLogParser::detail::parse(text, kNow);
  require(naive::areSameBits(TrainingLogParser::detail::parse(text, kNow, &findings), signals),
          "the same comes with findings");
  for (const std::size_t blockSize : {std::size_t{1}, 2 + size % 38}) {
    require(naive::areSameBits(TrainingLogParser::detail::parse(text, kNow, blockSize), signals),
            "blocks make no difference");
  }
  requireSense(text, findings);
  require(findings.count(FindingOutcome::located) == valueCount(signals),
          "every value is told of once");
  require(findings.list().size() == findings.count(), "there is room for all findings");
  if (size <= kLongestForTheTwin) {
    require(naive::areSameBits(signals, naive::parseTrainingLog(text, kNow)),
            "the naive twin gives the same");
  }
  return 0;
}
