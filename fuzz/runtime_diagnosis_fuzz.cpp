// Any text as a recorder's log, judged. What must hold: phases and verdict are those of the naive
// twin, the evidence comes to the same verdict, the test it stops at is the only one that decides,
// and each stack counts in one phase.
#include <TavrineShared/recorder/diagnosis_evidence.h>
#include <TavrineShared/recorder/recorder_line_parser.h>

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "fuzz/require.h"
#include "tests/support/naive_runtime_diagnosis.h"

namespace tavrine::fuzz {

namespace {

void requireAgreement(const StackFrame& stack) {
  const RuntimePhase phase = RuntimePhase::classify(stack);
  require(phase == naive::phaseOf(stack), "the naive twin finds the same phase");
  const PhaseEvidence evidence = PhaseEvidence::of(stack);
  require(evidence.phase == phase, "the evidence is of the same phase");
  require(evidence.frame.has_value() == (phase != RuntimePhase::unknown),
          "a known phase has its frame");
  if (!evidence.frame) return;
  require(*evidence.frame < stack.frames.size(), "the frame is one of the stack's");
  require(naive::phaseOf({.thread = {}, .frames = {stack.frames[*evidence.frame]}}) == phase,
          "the frame alone is in the same phase");
}

}  // namespace

}  // namespace tavrine::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tavrine;
  using namespace tavrine::fuzz;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  const std::vector<RecorderLogPoint> points = RecorderLineParser::parse(text);
  const auto latest = RecorderLineParser::latestSnapshot(text);

  const RuntimeDiagnosis verdict = RuntimeDiagnosis::derive(latest, points);
  require(verdict == naive::diagnosisOf(latest, points), "the naive twin judges the same");
  const DiagnosisEvidence evidence = DiagnosisEvidence::of(latest, points);
  require(evidence.verdict == verdict, "the evidence judges the same");
  for (const DiagnosisStep& step : evidence.steps) {
    require(step.decides == (&step == &evidence.steps.back()), "the last test made decides");
  }
  std::int64_t stacks = 0;
  for (const PhaseCount& phase : evidence.phases) stacks += phase.stacks;
  require(stacks == evidence.stacks, "each stack counts once");

  for (const RecorderLogPoint& point : points) {
    if (!point.pySpy) continue;
    for (const StackFrame& stack : *point.pySpy) requireAgreement(stack);
  }
  return 0;
}
