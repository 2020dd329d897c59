#include "companion/diagnose/diagnosis_text.h"

#include "companion/views/number_text.h"
#include "companion/views/quantity_text.h"
#include "companion/views/record_table.h"
#include "companion/views/status_ink.h"
#include "companion/views/visible_text.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>
#include <vector>

namespace tavrine {

namespace {

constexpr double kPercent = 100;

// --- What it rests on ---

// Who writes milliseconds, as many do, would otherwise see only that there is no date.
std::string newestText(Timestamp newest, Timestamp now) {
  constexpr int kDigits = 6;
  const std::string date = timeText(newest);
  if (date != kAbsent) return "the newest of " + date + ", " + agoText(newest, now);
  return "the newest at t = " + significantDigits(newest.time_since_epoch().count(), kDigits) +
         ", which is no date: t is in seconds";
}

std::string extent(const LogDiagnosis& diagnosis, Timestamp now) {
  const std::vector<RecorderLogPoint>& points = diagnosis.points;
  std::string text = visibleText(diagnosis.name) + ": ";
  if (points.empty()) return text.append("no points\n");
  const double seconds = (points.back().t - points.front().t).count();
  text.append(counted(points.size(), "point", "points"));
  if (seconds > 0) text.append(" over ").append(durationText(seconds));
  return text.append(", ").append(newestText(points.back().t, now)).append("\n");
}

std::string basis(const LogDiagnosis& diagnosis) {
  const DiagnosisEvidence& evidence = diagnosis.evidence;
  if (!diagnosis.latest) {
    return "There is no sample to judge by: each line has another phase than \"snapshot\"\n";
  }
  std::string text = "Judged by the newest sample and ";
  text.append(counted(diagnosis.recentCount, "recent point", "recent points"));
  if (evidence.earliest && *evidence.newest > *evidence.earliest) {
    const double seconds = (*evidence.newest - *evidence.earliest).count();
    text.append(" (").append(durationText(seconds)).append(")");
  }
  text.append(" with ").append(
      counted(static_cast<std::size_t>(evidence.stacks), "stack", "stacks"));
  return text.append("\n");
}

// --- The tests ---

struct ComparisonRow {
  std::string_view test;  // empty but in the first row of each test
  const DiagnosisComparison* comparison;
  std::string_view answer;
};

std::string valueText(const DiagnosisComparison& comparison) {
  constexpr int kDigits = 6;
  return comparison.value ? significantDigits(*comparison.value, kDigits) : "not measured";
}

constexpr auto kComparisonColumns = std::to_array<RecordColumn<ComparisonRow>>({
    {{"Test"}, [](const ComparisonRow& row) -> Cell { return std::string(row.test); }},
    {{"Measured"}, [](const ComparisonRow& row) -> Cell { return row.comparison->quantity; }},
    {{"", Alignment::right},
     [](const ComparisonRow& row) -> Cell { return valueText(*row.comparison); }},
    {{"Needed"},
     [](const ComparisonRow& row) -> Cell {
       return std::string(row.comparison->relation.title()) + " " +
              upToOneDecimal(row.comparison->threshold);
     }},
    {{"Holds"},
     [](const ComparisonRow& row) -> Cell {
       return {row.comparison->holds ? "yes" : "no",
               row.comparison->holds ? Ink::plain : Ink::faint};
     }},
    {{""},
     [](const ComparisonRow& row) -> Cell {
       return {std::string(row.answer), Ink::bold};
     }},
});

// Whether there is a sample goes without saying as long as there is one; and the last test decides
// whatever it finds.
std::vector<ComparisonRow> comparisonRows(const DiagnosisEvidence& evidence) {
  std::vector<ComparisonRow> rows;
  for (const DiagnosisStep& step : evidence.steps) {
    if (step.test == DiagnosisTest::noSample && !step.decides) continue;
    for (const DiagnosisComparison& one : step.comparisons) {
      const bool isFirst = &one == &step.comparisons.front();
      rows.push_back({isFirst ? step.test.title() : std::string_view(),
                      &one,
                      isFirst && step.decides ? "decides" : ""});
    }
  }
  return rows;
}

// --- The phases ---

struct PhaseRow {
  PhaseCount phase;
  double share;
  std::string bar;
};

constexpr auto kPhaseColumns = std::to_array<RecordColumn<PhaseRow>>({
    {{"Phase"},
     [](const PhaseRow& row) -> Cell { return std::string(row.phase.phase.rawValue()); }},
    {{"Stacks", Alignment::right},
     [](const PhaseRow& row) -> Cell { return std::to_string(row.phase.stacks); }},
    {{"Share", Alignment::right},
     [](const PhaseRow& row) -> Cell { return withUnit(row.share * kPercent, "%"); }},
    {{""}, [](const PhaseRow& row) -> Cell { return row.bar; }},
});

std::vector<PhaseRow> phaseRows(const DiagnosisEvidence& evidence, const DiagnosisView& view) {
  constexpr std::size_t kBesideBars = 27;
  constexpr std::size_t kNarrowest = 5;
  constexpr std::size_t kWidest = 30;
  // The table would cut long bars alike, and they would no longer show the shares.
  const std::size_t room = view.style.width > kBesideBars ? view.style.width - kBesideBars : 0;
  const std::size_t barWidth = std::clamp(room, kNarrowest, kWidest);
  std::vector<PhaseRow> rows;
  for (const PhaseCount& phase : evidence.phases) {
    if (phase.stacks == 0) continue;
    const double share = static_cast<double>(phase.stacks) / static_cast<double>(evidence.stacks);
    rows.push_back({phase, share, bar(share, barWidth, view.glyphs)});
  }
  std::stable_sort(rows.begin(), rows.end(), [](const PhaseRow& a, const PhaseRow& b) {
    return a.phase.stacks > b.phase.stacks;
  });
  return rows;
}

// --- Over time ---

std::vector<TimedValue> timedValues(const std::vector<RecorderLogPoint>& points,
                                    std::optional<double> RecorderLogPoint::*field) {
  std::vector<TimedValue> values;
  for (const RecorderLogPoint& point : points) {
    if (point.*field) values.push_back({point.t.time_since_epoch().count(), *(point.*field)});
  }
  return values;
}

std::string chartOf(const std::vector<TimedValue>& values, ChartStyle style, std::size_t width) {
  constexpr std::size_t kAxis = 10;
  constexpr std::size_t kNarrowest = 10;
  constexpr std::size_t kWidest = 60;
  const std::size_t room = width > kAxis ? width - kAxis : 0;
  // With more columns than values there would be gaps that mean nothing.
  const std::size_t columns = std::min(std::clamp(room, kNarrowest, kWidest), values.size());
  const auto means = meansOverTime(values, columns);
  for (const std::optional<double>& mean : means) {
    style.highest = std::max(style.highest, std::ceil(mean.value_or(0)));
  }
  return chart(means, style);
}

void addTitle(std::string& text, std::string_view title, const DiagnosisView& view) {
  text.append("\n").append(inked(title, Ink::bold, view.style.paint)).append("\n");
}

void addChart(std::string& text, std::string_view title, const std::vector<TimedValue>& values,
              ChartStyle style, const DiagnosisView& view) {
  constexpr std::size_t kFewest = 5;
  if (values.size() < kFewest) return;
  style.glyphs = view.glyphs;
  const double seconds = values.back().time - values.front().time;
  addTitle(text, std::string(title) + " over " + durationText(seconds), view);
  text.append(chartOf(values, style, view.style.width));
}

void addDoubts(std::string& text, const DiagnosisEvidence& evidence, const DiagnosisView& view) {
  if (evidence.doubts.empty()) return;
  addTitle(text, "Doubts", view);
  for (const DiagnosisDoubt& doubt : evidence.doubts) {
    text.append("- ").append(inked(doubt.detail, Ink::yellow, view.style.paint)).append("\n");
  }
}

// --- Several ---

constexpr auto kDiagnosisColumns = std::to_array<RecordColumn<LogDiagnosis>>({
    {{"Diagnosis"},
     [](const LogDiagnosis& diagnosis) -> Cell {
       return {diagnosis.evidence.verdict.label(), inkOf(diagnosis.evidence.verdict)};
     }},
    {{"Util", Alignment::right},
     [](const LogDiagnosis& diagnosis) -> Cell {
       return withUnit(diagnosis.latest ? diagnosis.latest->gpuUtil : std::nullopt, "%");
     }},
    {{"Power", Alignment::right, Need::ifItFits},
     [](const LogDiagnosis& diagnosis) -> Cell {
       return watts(diagnosis.latest ? diagnosis.latest->powerW : std::nullopt);
     }},
    {{"Stacks", Alignment::right, Need::ifItFits},
     [](const LogDiagnosis& diagnosis) -> Cell {
       return std::to_string(diagnosis.evidence.stacks);
     }},
    {{"Newest", Alignment::left, Need::ifItFits},
     [](const LogDiagnosis& diagnosis) -> Cell {
       const std::optional<Timestamp>& newest = diagnosis.evidence.newest;
       return newest ? timeText(*newest) : std::string(kAbsent);
     }},
    {{"Doubts", Alignment::right},
     [](const LogDiagnosis& diagnosis) -> Cell {
       const std::size_t count = diagnosis.evidence.doubts.size();
       return {std::to_string(count), count > 0 ? Ink::yellow : Ink::plain};
     }},
    {{"Log", Alignment::left, Need::always, Kept::end},
     [](const LogDiagnosis& diagnosis) -> Cell { return diagnosis.name; }},
});

}  // namespace

std::string diagnosisText(const LogDiagnosis& diagnosis, const DiagnosisView& view) {
  const DiagnosisEvidence& evidence = diagnosis.evidence;
  std::string text = inked(evidence.verdict.label(), inkOf(evidence.verdict), view.style.paint);
  text.append("\n").append(extent(diagnosis, view.now));
  if (diagnosis.points.empty()) return text;
  text.append(basis(diagnosis)).append("\n");
  text.append(recordTable<ComparisonRow>(comparisonRows(evidence), kComparisonColumns, view.style));
  if (evidence.stacks > 0) {
    text.append("\n").append(
        recordTable<PhaseRow>(phaseRows(evidence, view), kPhaseColumns, view.style));
  }
  addChart(text,
           "GPU utilisation",
           timedValues(diagnosis.points, &RecorderLogPoint::gpuUtil),
           {.highest = kPercent, .unit = "%"},
           view);
  addChart(text,
           "Power",
           timedValues(diagnosis.points, &RecorderLogPoint::powerW),
           {.highest = 1, .unit = " W"},
           view);
  addDoubts(text, evidence, view);
  return text;
}

std::string diagnosesTable(std::span<const LogDiagnosis> diagnoses, const DiagnosisView& view) {
  return recordTable<LogDiagnosis>(diagnoses, kDiagnosisColumns, view.style);
}

}  // namespace tavrine
