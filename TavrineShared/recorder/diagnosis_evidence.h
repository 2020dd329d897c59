// Why a diagnosis is what it is: every test on the way with what was measured and what it was held
// against, and what gives reason to doubt it.
//
// The evidence is from the same samples as `RuntimeDiagnosis::derive` and never judges differently.
#pragma once

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/model/record.h>
#include <TavrineShared/model/vocabulary.h>
#include <TavrineShared/recorder/recorder_records.h>
#include <TavrineShared/recorder/runtime_diagnosis.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// The tests in the order in which they are made; the first that decides is the last one made.
class DiagnosisTest : public Vocabulary<DiagnosisTest> {
 public:
  enum Case : std::uint8_t { noSample, tensorCores, memory, collectives, dataloader, phases };
  constexpr DiagnosisTest(Case value = noSample) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {noSample, "no_sample", "no sample at all"},
      {tensorCores, "tensor_cores", "tensor cores saturated"},
      {memory, "memory", "memory bound"},
      {collectives, "collectives", "mostly in collectives"},
      {dataloader, "dataloader", "GPU starved of work"},
      {phases, "phases", "most frequent phase"},
  });

 private:
  Case value_;
};

/// How a measurement has to stand to its threshold for the comparison to hold.
class ComparisonRelation : public Vocabulary<ComparisonRelation> {
 public:
  enum Case : std::uint8_t { above, below, atLeast };
  constexpr ComparisonRelation(Case value = above) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {above, "above", ">"},
      {below, "below", "<"},
      {atLeast, "at_least", ">="},
  });

 private:
  Case value_;
};

/// One measurement and what it was held against.
struct DiagnosisComparison {
  std::string quantity;         ///< such as "tensor_active", as the recorder's log has it
  std::optional<double> value;  ///< absent when it was not measured
  ComparisonRelation relation;
  double threshold;
  bool holds;  ///< an unmeasured utilisation counts as a low one; nothing else unmeasured holds

  bool operator==(const DiagnosisComparison&) const = default;
  static const RecordTable& table();
};

/// A test decides when all its comparisons hold; the last one, of the phases, always does.
struct DiagnosisStep {
  DiagnosisTest test;
  bool decides;
  std::vector<DiagnosisComparison> comparisons;

  bool operator==(const DiagnosisStep&) const = default;
  static const RecordTable& table();
};

/// How many stacks are in a phase.
struct PhaseCount {
  RuntimePhase phase;
  std::int64_t stacks;

  bool operator==(const PhaseCount&) const = default;
  static const RecordTable& table();
};

/// What can speak against a verdict.
class DiagnosisDoubtKind : public Vocabulary<DiagnosisDoubtKind> {
 public:
  enum Case : std::uint8_t {
    blankCounter,       ///< of the newest sample: what DCGM prints for a value it does not have
    percentCounter,     ///< likewise, above 1: a percentage where a fraction is expected
    impossibleCounter,  ///< likewise: negative, above 100, or no number
    newestSampleOld,    ///< others are newer than the newest sample
    utilizationAbsent,  ///< in all recent points
    tooFewPoints,       ///< for the test of a starved GPU, which was made
    noStacks,           ///< so collectives and phases could not be told
    launcherFrame       ///< stacks count as collective for a frame of the launcher alone
  };
  constexpr DiagnosisDoubtKind(Case value = blankCounter) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {blankCounter, "blank_counter"},
      {percentCounter, "percent_counter"},
      {impossibleCounter, "impossible_counter"},
      {newestSampleOld, "newest_sample_old"},
      {utilizationAbsent, "utilization_absent"},
      {tooFewPoints, "too_few_points"},
      {noStacks, "no_stacks"},
      {launcherFrame, "launcher_frame"},
  });

 private:
  Case value_;
};

/// A reason to doubt the verdict; it never changes it.
struct DiagnosisDoubt {
  DiagnosisDoubtKind kind;
  std::string detail;  ///< what was seen and what it may mean, in one sentence without a full stop

  bool operator==(const DiagnosisDoubt&) const = default;
  static const RecordTable& table();
};

/// A verdict with all that led to it.
struct DiagnosisEvidence {
  RuntimeDiagnosis verdict;           ///< what `derive` gives
  std::vector<DiagnosisStep> steps;   ///< the tests made; the last one decided
  std::int64_t points;                ///< recent ones
  std::optional<Timestamp> earliest;  ///< of the recent points; absent when there are none
  std::optional<Timestamp> newest;
  std::vector<PhaseCount> phases;         ///< of the recent points' stacks, all phases in order
  std::int64_t stacks;                    ///< all of them
  std::optional<double> collectiveShare;  ///< 0 to 1; absent without stacks
  std::vector<DiagnosisDoubt> doubts;

  DiagnosisTest decidedBy() const { return steps.back().test; }

  /// From what `RuntimeDiagnosis::derive` takes.
  static DiagnosisEvidence of(const std::optional<RecorderLogPoint>& latest,
                              std::span<const RecorderLogPoint> recent);

  bool operator==(const DiagnosisEvidence&) const = default;
};

/// Why a stack is in its phase.
struct PhaseEvidence {
  RuntimePhase phase;                ///< what `RuntimePhase::classify` gives
  std::string_view keyword;          ///< that decided, in lower case; empty for an unknown phase
  std::optional<std::size_t> frame;  ///< index of the first frame it stands in
  RuntimePhase withoutLauncher;      ///< the phase without the frames of torch's process launcher,
                                     ///< which stands at the outer end of every stack it started

  static PhaseEvidence of(const StackFrame& stack);

  bool operator==(const PhaseEvidence&) const = default;
};

}  // namespace tavrine
