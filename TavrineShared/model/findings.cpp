#include <TavrineShared/model/findings.h>

#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/field_table.h>

#include <algorithm>
#include <iterator>
#include <numeric>

namespace tavrine {

namespace {

constexpr std::size_t kExcerptCharacters = 80;
constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

}  // namespace

const RecordTable& Finding::table() {
  using R = Finding;
  static constexpr auto fields = fieldsOf<R>(field<&R::line>(),
                                             field<&R::column>(),
                                             field<&R::path>(),
                                             field<&R::outcome>(),
                                             field<&R::found>(),
                                             field<&R::reason>());
  static constexpr RecordTable table{"Finding", fields};
  return table;
}

std::size_t Findings::count() const {
  return std::accumulate(counts_.begin(), counts_.end(), std::size_t{0});
}

std::size_t Findings::lossCount() const {
  std::size_t losses = 0;
  for (const FindingOutcome outcome : FindingOutcome::allCases()) {
    if (outcome.isLoss()) losses += count(outcome);
  }
  return losses;
}

std::size_t Findings::toldCount() const { return lossCount() + count(FindingOutcome::located); }

std::vector<Finding> Findings::told() const {
  std::vector<Finding> told;
  std::copy_if(findings_.begin(),
               findings_.end(),
               std::back_inserter(told),
               [](const Finding& finding) { return finding.outcome.isTold(); });
  return told;
}

std::string excerpt(std::string_view text) {
  std::string_view rest = text;
  std::size_t characters = 0;
  std::size_t lastStart = 0;
  while (!rest.empty() && characters < kExcerptCharacters) {
    lastStart = text.size() - rest.size();
    const std::size_t length = wellFormedSequenceLength(rest);
    rest.remove_prefix(length == 0 ? illFormedPartLength(rest) : length);
    ++characters;
  }
  if (rest.empty()) return repairedUTF8(text);
  return repairedUTF8(text.substr(0, lastStart)).append(kEllipsis);
}

}  // namespace tavrine
