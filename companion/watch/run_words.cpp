#include "companion/watch/run_words.h"

#include "companion/views/number_text.h"
#include "companion/views/quantity_text.h"
#include "companion/views/status_ink.h"
#include "companion/watch/run_insight.h"

#include <cmath>

namespace tavrine {

StyledLine statusWords(const TrainingRun& run) {
  StyledLine line;
  line.add(run.status.title(), inkOf(run.status));
  if (run.health.title() == run.status.title()) return line;
  return line.add(", ").add(run.health.title(), inkOf(run.health));
}

StyledLine diagnosisWords(const TrainingRun& run) {
  const std::optional<RuntimeDiagnosis> diagnosis = diagnosisOf(run);
  const std::optional<RuntimePhase> phase = phaseOf(run);
  StyledLine line;
  if (!diagnosis && !phase) return line.add("no recorder", Ink::faint);
  if (diagnosis) line.add(diagnosis->label(), inkOf(*diagnosis));
  const bool tellsMore = phase && *phase != RuntimePhase::unknown &&
                         !(diagnosis && diagnosis->payload() == phase->rawValue());
  if (tellsMore) line.add(diagnosis ? ", in " : "in ").add(phase->rawValue());
  return line;
}

std::string toGoWords(const TrainingRun& run) {
  return run.etaSeconds ? durationText(*run.etaSeconds) + " to go" : std::string();
}

std::string rateText(double perSecond) {
  constexpr double kWholeFrom = 100;
  constexpr double kTooLong = 1e9;
  constexpr int kDigits = 3;
  const double size = std::abs(perSecond);
  const std::string number = size >= kWholeFrom && size < kTooLong
                                 ? std::to_string(std::llround(perSecond))
                                 : significantDigits(perSecond, kDigits);
  return number + "/s";
}

}  // namespace tavrine
