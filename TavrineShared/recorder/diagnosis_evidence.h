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
  enum class Case : std::uint8_t { noSample, tensorCores, memory, collectives, dataloader, phases };
  static const DiagnosisTest noSample, tensorCores, memory, collectives, dataloader, phases;
  constexpr DiagnosisTest(Case value = Case::noSample) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {Case::noSample, "no_sample", "no sample at all"},
      {Case::tensorCores, "tensor_cores", "tensor cores saturated"},
      {Case::memory, "memory", "memory bound"},
      {Case::collectives, "collectives", "mostly in collectives"},
      {Case::dataloader, "dataloader", "GPU starved of work"},
      {Case::phases, "phases", "most frequent phase"},
  });

 private:
  Case value_;
};
inline constexpr DiagnosisTest DiagnosisTest::noSample{Case::noSample};
inline constexpr DiagnosisTest DiagnosisTest::tensorCores{Case::tensorCores};
inline constexpr DiagnosisTest DiagnosisTest::memory{Case::memory};
inline constexpr DiagnosisTest DiagnosisTest::collectives{Case::collectives};
inline constexpr DiagnosisTest DiagnosisTest::dataloader{Case::dataloader};
inline constexpr DiagnosisTest DiagnosisTest::phases{Case::phases};

/// How a measurement has to stand to its threshold for the comparison to hold.
class ComparisonRelation : public Vocabulary<ComparisonRelation> {
 public:
  enum class Case : std::uint8_t { above, below, atLeast };
  static const ComparisonRelation above, below, atLeast;
  constexpr ComparisonRelation(Case value = Case::above) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {Case::above, "above", ">"},
      {Case::below, "below", "<"},
      {Case::atLeast, "at_least", ">="},
  });

 private:
  Case value_;
};
inline constexpr ComparisonRelation ComparisonRelation::above{Case::above};
inline constexpr ComparisonRelation ComparisonRelation::below{Case::below};
inline constexpr ComparisonRelation ComparisonRelation::atLeast{Case::atLeast};

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
  enum class Case : std::uint8_t {
    blankCounter,       ///< of the newest sample: what DCGM prints for a value it does not have
    percentCounter,     ///< likewise, above 1: a percentage where a fraction is expected
    impossibleCounter,  ///< likewise: negative, above 100, or no number
    newestSampleOld,    ///< others are newer than the newest sample
    utilizationAbsent,  ///< in all recent points
    tooFewPoints,       ///< for the test of a starved GPU, which was made
    noStacks,           ///< so collectives and phases could not be told
    launcherFrame       ///< stacks count as collective for a frame of the launcher alone
  };
  static const DiagnosisDoubtKind blankCounter, percentCounter, impossibleCounter, newestSampleOld,
      utilizationAbsent, tooFewPoints, noStacks, launcherFrame;
  constexpr DiagnosisDoubtKind(Case value = Case::blankCounter) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {Case::blankCounter, "blank_counter"},
      {Case::percentCounter, "percent_counter"},
      {Case::impossibleCounter, "impossible_counter"},
      {Case::newestSampleOld, "newest_sample_old"},
      {Case::utilizationAbsent, "utilization_absent"},
      {Case::tooFewPoints, "too_few_points"},
      {Case::noStacks, "no_stacks"},
      {Case::launcherFrame, "launcher_frame"},
  });

 private:
  Case value_;
};
inline constexpr DiagnosisDoubtKind DiagnosisDoubtKind::blankCounter{Case::blankCounter};
inline constexpr DiagnosisDoubtKind DiagnosisDoubtKind::percentCounter{Case::percentCounter};
inline constexpr DiagnosisDoubtKind DiagnosisDoubtKind::impossibleCounter{Case::impossibleCounter};
inline constexpr DiagnosisDoubtKind DiagnosisDoubtKind::newestSampleOld{Case::newestSampleOld};
inline constexpr DiagnosisDoubtKind DiagnosisDoubtKind::utilizationAbsent{Case::utilizationAbsent};
inline constexpr DiagnosisDoubtKind DiagnosisDoubtKind::tooFewPoints{Case::tooFewPoints};
inline constexpr DiagnosisDoubtKind DiagnosisDoubtKind::noStacks{Case::noStacks};
inline constexpr DiagnosisDoubtKind DiagnosisDoubtKind::launcherFrame{Case::launcherFrame};

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
