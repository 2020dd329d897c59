#include <TavrineShared/model/line_teller.h>

#include <TavrineShared/foundation/text_position.h>
#include <TavrineShared/foundation/unicode_text.h>

#include <cstdint>

namespace tavrine {

std::string LineTeller::text(std::string_view part, std::string_view field) const {
  if (isWellFormedUTF8(part)) return std::string(part);
  tell(FindingOutcome::repaired, part, field, "ill-formed UTF-8");
  return repairedUTF8(part);
}

void LineTeller::addLine(FindingOutcome outcome, std::string_view field,
                         std::string_view reason) const {
  findings_->add(outcome, [&] {
    Finding finding{};
    finding.line = static_cast<std::int64_t>(lineNumber_);
    finding.path = field;
    finding.found = excerpt(line_);
    finding.reason = reason;
    return finding;
  });
}

void LineTeller::addPart(FindingOutcome outcome, std::string_view part, std::string_view field,
                         std::string_view reason) const {
  findings_->add(outcome, [&] {
    const auto offset = static_cast<std::size_t>(part.data() - line_.data());
    Finding finding{};
    finding.line = static_cast<std::int64_t>(lineNumber_);
    finding.column = static_cast<std::int64_t>(textPosition(line_, offset).column);
    finding.path = field;
    finding.found = excerpt(part);
    finding.reason = reason;
    return finding;
  });
}

}  // namespace tavrine
