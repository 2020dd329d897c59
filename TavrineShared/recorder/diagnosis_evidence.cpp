#include <TavrineShared/recorder/diagnosis_evidence.h>

#include <TavrineShared/foundation/keyword_table.h>
#include <TavrineShared/model/field_table.h>
#include <TavrineShared/recorder/diagnosis_thresholds.h>
#include <TavrineShared/recorder/phase_histogram.h>
#include <TavrineShared/recorder/phase_keywords.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <utility>

namespace tavrine {

namespace {

using namespace diagnosis_thresholds;

// --- Stacks ---

bool isOfLauncher(std::string_view frame) {
  static const KeywordTable launcher(
      std::to_array<Keyword>({{"torch/distributed/elastic", 0}, {"torch/distributed/run", 0}}));
  return launcher.lowestRank(frame).has_value();
}

RuntimePhase phaseOf(std::span<const std::string_view> frames) {
  const PhaseKeyword* const keyword = decidingKeyword(frames);
  return keyword == nullptr ? RuntimePhase::unknown : keyword->phase;
}

struct StackCounts {
  PhaseHistogram phases;
  PhaseHistogram withoutLauncher;

  explicit StackCounts(std::span<const RecorderLogPoint> points) {
    for (const RecorderLogPoint& point : points) {
      if (!point.pySpy) continue;
      for (const StackFrame& stack : *point.pySpy) {
        const PhaseEvidence evidence = PhaseEvidence::of(stack);
        phases.add(evidence.phase);
        withoutLauncher.add(evidence.withoutLauncher);
      }
    }
  }

  std::optional<double> collectiveShare() const {
    if (phases.total() == 0) return std::nullopt;
    return phases.shareOf(RuntimePhase::collective);
  }
};

// --- Tests ---

bool compare(double value, ComparisonRelation relation, double threshold) {
  switch (relation) {
    case ComparisonRelation::above:
      return value > threshold;
    case ComparisonRelation::below:
      return value < threshold;
    case ComparisonRelation::atLeast:
      break;
  }
  return value >= threshold;
}

DiagnosisComparison compared(std::string_view quantity, std::optional<double> value,
                             ComparisonRelation relation, double threshold,
                             bool whenAbsent = false) {
  return {.quantity = std::string(quantity),
          .value = value,
          .relation = relation,
          .threshold = threshold,
          .holds = value ? compare(*value, relation, threshold) : whenAbsent};
}

DiagnosisComparison counted(std::string_view quantity, std::size_t value,
                            ComparisonRelation relation, std::size_t threshold) {
  return compared(quantity, static_cast<double>(value), relation, static_cast<double>(threshold));
}

// What all tests look at.
struct Samples {
  const RecorderLogPoint* latest;
  std::span<const RecorderLogPoint> recent;
  const StackCounts& stacks;

  std::optional<double> counter(double DCGMSample::*which) const {
    if (latest == nullptr || !latest->dcgm) return std::nullopt;
    return (*latest->dcgm).*which;
  }
};

using Comparisons = std::vector<DiagnosisComparison>;

Comparisons noSample(const Samples& samples) {
  return {counted("samples", samples.latest == nullptr ? 0 : 1, ComparisonRelation::below, 1)};
}

Comparisons tensorCores(const Samples& samples) {
  return {compared("tensor_active",
                   samples.counter(&DCGMSample::tensorActive),
                   ComparisonRelation::above,
                   kSaturatedTensors)};
}

Comparisons memory(const Samples& samples) {
  return {compared("tensor_active",
                   samples.counter(&DCGMSample::tensorActive),
                   ComparisonRelation::below,
                   kQuietTensors),
          compared("dram_active",
                   samples.counter(&DCGMSample::dramActive),
                   ComparisonRelation::above,
                   kBusyMemory)};
}

Comparisons collectives(const Samples& samples) {
  return {compared("collective_share",
                   samples.stacks.collectiveShare(),
                   ComparisonRelation::above,
                   kMostlyCollective)};
}

Comparisons dataloader(const Samples& samples) {
  const std::size_t count = std::min(samples.recent.size(), kStalledSamples);
  Comparisons all = {counted("points", count, ComparisonRelation::atLeast, kStalledSamples)};
  for (const RecorderLogPoint& point : samples.recent.last(count)) {
    all.push_back(
        compared("gpu_util", point.gpuUtil, ComparisonRelation::below, kLowUtilization, true));
  }
  return all;
}

Comparisons phases(const Samples& samples) {
  return {counted("stacks", samples.stacks.phases.total(), ComparisonRelation::atLeast, 1)};
}

RuntimeDiagnosis byDominantPhase(const Samples& samples) {
  const PhaseHistogram& stacks = samples.stacks.phases;
  if (stacks.total() == 0 || stacks.dominant() == RuntimePhase::unknown) {
    return RuntimeDiagnosis::unknown;
  }
  return RuntimeDiagnosis::mixedWith(stacks.dominant());
}

template <RuntimeDiagnosis::Case Verdict>
RuntimeDiagnosis always(const Samples&) {
  return Verdict;
}

struct Test {
  DiagnosisTest name;
  Comparisons (*compare)(const Samples& samples);
  RuntimeDiagnosis (*verdict)(const Samples& samples);
};

// In the order in which they are made.
constexpr auto kTests = std::to_array<Test>({
    {DiagnosisTest::noSample, noSample, always<RuntimeDiagnosis::unknown>},
    {DiagnosisTest::tensorCores, tensorCores, always<RuntimeDiagnosis::computeBound>},
    {DiagnosisTest::memory, memory, always<RuntimeDiagnosis::memoryBound>},
    {DiagnosisTest::collectives, collectives, always<RuntimeDiagnosis::communicationBound>},
    {DiagnosisTest::dataloader, dataloader, always<RuntimeDiagnosis::dataloaderStall>},
    {DiagnosisTest::phases, phases, byDominantPhase},
});

void judge(const Samples& samples, DiagnosisEvidence& evidence) {
  for (const Test& test : kTests) {
    Comparisons comparisons = test.compare(samples);
    const bool decides = test.name == DiagnosisTest::phases ||
                         std::all_of(comparisons.begin(),
                                     comparisons.end(),
                                     [](const DiagnosisComparison& one) { return one.holds; });
    evidence.steps.push_back(
        {.test = test.name, .decides = decides, .comparisons = std::move(comparisons)});
    if (decides) {
      evidence.verdict = test.verdict(samples);
      return;
    }
  }
}

// --- Doubts ---

using Doubts = std::vector<DiagnosisDoubt>;

// The counters that `DCGMSample` holds, under their names in the log.
struct Counter {
  std::string_view name;
  double DCGMSample::*value;
};
constexpr auto kCounters = std::to_array<Counter>({
    {"fp32_active", &DCGMSample::fp32Active},
    {"tensor_active", &DCGMSample::tensorActive},
    {"dram_active", &DCGMSample::dramActive},
});

// What DCGM prints for a value it does not have is just below 2^31 or 2^63, or from 2^47 on for
// floating-point fields: each far beyond what a fraction or a percentage could be.
constexpr double kSmallestBlank = 2147483632;
constexpr double kWholePercent = 100;

std::string text(double value) {
  std::array<char, 32> buffer{};
  const auto [end, error] = std::to_chars(buffer.data(), buffer.data() + buffer.size(), value);
  return {buffer.data(), end};
}

std::string text(std::size_t value) { return std::to_string(value); }

void doubtCounter(const Counter& counter, double value, Doubts& doubts) {
  if (value >= 0 && value <= 1) return;
  const std::string what = std::string(counter.name) + " is " + text(value);
  if (value >= kSmallestBlank) {
    doubts.push_back(
        {DiagnosisDoubtKind::blankCounter, what + ", which is how DCGM says that it has no value"});
  } else if (value > 1 && value <= kWholePercent) {
    doubts.push_back({DiagnosisDoubtKind::percentCounter,
                      what + ", which looks like a percentage where a fraction of 1 is expected"});
  } else {
    doubts.push_back({DiagnosisDoubtKind::impossibleCounter, what + ", which is no fraction of 1"});
  }
}

void doubtCounters(const Samples& samples, Doubts& doubts) {
  if (samples.latest == nullptr || !samples.latest->dcgm) return;
  for (const Counter& counter : kCounters) {
    doubtCounter(counter, (*samples.latest->dcgm).*counter.value, doubts);
  }
}

bool isEarlier(const RecorderLogPoint& a, const RecorderLogPoint& b) { return a.t < b.t; }

// Lines of other phases may well come between two samples, so only a gap that is longer than any
// between two neighbours is a sign that the samples have ceased.
bool isLeftBehind(const RecorderLogPoint& latest, double secondsBehind,
                  std::span<const RecorderLogPoint> recent) {
  double longestGap = 0;
  for (std::size_t i = 1; i < recent.size(); ++i) {
    longestGap = std::max(longestGap, (recent[i].t - recent[i - 1].t).count());
  }
  const bool isPassed =
      std::any_of(recent.begin(), recent.end(), [&latest](const RecorderLogPoint& point) {
        return point.phase == latest.phase && point.t > latest.t;
      });
  return isPassed || secondsBehind > longestGap;
}

void doubtAge(const Samples& samples, Doubts& doubts) {
  if (samples.latest == nullptr || samples.recent.empty()) return;
  const auto newest = std::max_element(samples.recent.begin(), samples.recent.end(), isEarlier);
  const double seconds = (newest->t - samples.latest->t).count();
  if (!isLeftBehind(*samples.latest, seconds, samples.recent)) return;
  doubts.push_back({DiagnosisDoubtKind::newestSampleOld,
                    "the newest sample is " + text(seconds) + " s older than the newest line"});
}

void doubtUtilization(const Samples& samples, Doubts& doubts) {
  const bool isAbsent =
      std::none_of(samples.recent.begin(), samples.recent.end(), [](const RecorderLogPoint& point) {
        return point.gpuUtil.has_value();
      });
  if (samples.recent.empty() || !isAbsent) return;
  doubts.push_back({DiagnosisDoubtKind::utilizationAbsent,
                    "none of the " + text(samples.recent.size()) +
                        " points has a GPU utilisation, and an unmeasured one counts as low"});
}

void doubtAmounts(const Samples& samples, DiagnosisTest decidedBy, Doubts& doubts) {
  if (decidedBy >= DiagnosisTest::dataloader && samples.recent.size() < kStalledSamples) {
    doubts.push_back({DiagnosisDoubtKind::tooFewPoints,
                      "a starved GPU shows in " + text(kStalledSamples) +
                          " points, and there are only " + text(samples.recent.size())});
  }
  if (decidedBy >= DiagnosisTest::collectives && samples.stacks.phases.total() == 0) {
    doubts.push_back({DiagnosisDoubtKind::noStacks,
                      "there are no stacks, so neither waiting in collectives nor the most "
                      "frequent phase could be told"});
  }
}

void doubtLauncher(const Samples& samples, Doubts& doubts) {
  const std::size_t collective = samples.stacks.phases.count(RuntimePhase::collective);
  const std::size_t without = samples.stacks.withoutLauncher.count(RuntimePhase::collective);
  if (without == collective) return;
  doubts.push_back(
      {DiagnosisDoubtKind::launcherFrame,
       text(collective - without) + " of " + text(collective) +
           " stacks count as collective only for a frame of the launcher at their outer end; "
           "without it the share would be " +
           text(std::round(samples.stacks.withoutLauncher.shareOf(RuntimePhase::collective) * 100) /
                100)});
}

Doubts doubtsOf(const Samples& samples, DiagnosisTest decidedBy) {
  Doubts doubts;
  doubtCounters(samples, doubts);
  doubtAge(samples, doubts);
  doubtUtilization(samples, doubts);
  doubtAmounts(samples, decidedBy, doubts);
  doubtLauncher(samples, doubts);
  return doubts;
}

}  // namespace

const RecordTable& DiagnosisComparison::table() {
  using R = DiagnosisComparison;
  static constexpr auto fields = fieldsOf<R>(field<&R::quantity>(),
                                             field<&R::value>(),
                                             field<&R::relation>(),
                                             field<&R::threshold>(),
                                             field<&R::holds>());
  static constexpr RecordTable table{"DiagnosisComparison", fields};
  return table;
}

const RecordTable& DiagnosisStep::table() {
  using R = DiagnosisStep;
  static constexpr auto fields =
      fieldsOf<R>(field<&R::test>(), field<&R::decides>(), field<&R::comparisons>());
  static constexpr RecordTable table{"DiagnosisStep", fields};
  return table;
}

const RecordTable& PhaseCount::table() {
  using R = PhaseCount;
  static constexpr auto fields = fieldsOf<R>(field<&R::phase>(), field<&R::stacks>());
  static constexpr RecordTable table{"PhaseCount", fields};
  return table;
}

const RecordTable& DiagnosisDoubt::table() {
  using R = DiagnosisDoubt;
  static constexpr auto fields = fieldsOf<R>(field<&R::kind>(), field<&R::detail>());
  static constexpr RecordTable table{"DiagnosisDoubt", fields};
  return table;
}

DiagnosisEvidence DiagnosisEvidence::of(const std::optional<RecorderLogPoint>& latest,
                                        std::span<const RecorderLogPoint> recent) {
  const StackCounts stacks(recent);
  const Samples samples{latest ? &*latest : nullptr, recent, stacks};
  DiagnosisEvidence evidence{};
  judge(samples, evidence);
  evidence.points = static_cast<std::int64_t>(recent.size());
  if (!recent.empty()) {
    const auto [earliest, newest] = std::minmax_element(recent.begin(), recent.end(), isEarlier);
    evidence.earliest = earliest->t;
    evidence.newest = newest->t;
  }
  for (const RuntimePhase phase : RuntimePhase::allCases()) {
    evidence.phases.push_back({phase, static_cast<std::int64_t>(stacks.phases.count(phase))});
  }
  evidence.stacks = static_cast<std::int64_t>(stacks.phases.total());
  evidence.collectiveShare = stacks.collectiveShare();
  evidence.doubts = doubtsOf(samples, evidence.decidedBy());
  return evidence;
}

PhaseEvidence PhaseEvidence::of(const StackFrame& stack) {
  const std::vector<std::string_view> frames(stack.frames.begin(), stack.frames.end());
  PhaseEvidence evidence{};
  evidence.phase = RuntimePhase::unknown;
  evidence.withoutLauncher = RuntimePhase::unknown;
  const PhaseKeyword* const keyword = decidingKeyword(frames);
  if (keyword == nullptr) return evidence;
  evidence.phase = keyword->phase;
  evidence.keyword = keyword->text;
  const auto found = std::find_if(frames.begin(), frames.end(), [keyword](std::string_view text) {
    return decidingKeyword({&text, 1}) == keyword;
  });
  evidence.frame = static_cast<std::size_t>(found - frames.begin());
  evidence.withoutLauncher = evidence.phase;
  if (evidence.phase == RuntimePhase::collective) {
    std::vector<std::string_view> others = frames;
    std::erase_if(others, isOfLauncher);
    if (others.size() < frames.size()) evidence.withoutLauncher = phaseOf(others);
  }
  return evidence;
}

}  // namespace tavrine
