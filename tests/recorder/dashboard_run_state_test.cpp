#include <TavrineShared/recorder/dashboard_run_state.h>

#include <gtest/gtest.h>

#include <limits>
#include <optional>
#include <ostream>

#include "tests/support/rows.h"
#include "tests/support/vocabulary_checks.h"

namespace tavrine {
namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr std::optional<double> kUnknown = std::nullopt;

TEST(DashboardRunState, hasTheseCases) {
  expectTheTable<DashboardRunState>({
      {DashboardRunState::alive, "alive", "alive", "RUN ALIVE"},
      {DashboardRunState::warmingUp, "warmingUp", "warmingUp", "WARMING UP"},
      {DashboardRunState::stalled, "stalled", "stalled", "STALLED"},
      {DashboardRunState::idle, "idle", "idle", "NO ACTIVE RUN"},
  });
  EXPECT_EQ(DashboardRunState::idle.label(), "NO ACTIVE RUN");
}

struct Row {
  const char* name;
  double maxGPUUtil;
  bool hasTrainingProcess;
  std::optional<double> secondsSinceLogUpdate;
  DashboardRunState want;
};
void PrintTo(const Row& row, std::ostream* out) {
  *out << row.maxGPUUtil << " %, " << (row.hasTrainingProcess ? "a" : "no") << " process, log "
       << row.secondsSinceLogUpdate.value_or(-1) << " s";
}

class UndecidedByStatus : public testing::TestWithParam<Row> {};

TEST_P(UndecidedByStatus, isDecidedByTheRest) {
  const Row& row = GetParam();
  const auto derive = [&row](std::optional<RunStatus> status) {
    return DashboardRunState::derive(row.maxGPUUtil,
                                     row.hasTrainingProcess,
                                     row.secondsSinceLogUpdate,
                                     status);
  };
  EXPECT_EQ(derive(std::nullopt), row.want);
  for (const RunStatus status :
       {RunStatus::queued, RunStatus::warmingUp, RunStatus::running, RunStatus::idle}) {
    EXPECT_EQ(derive(status), row.want) << status.rawValue();
  }
  EXPECT_EQ(derive(RunStatus::stalled), DashboardRunState::stalled);
  EXPECT_EQ(derive(RunStatus::failed), DashboardRunState::idle);
  EXPECT_EQ(derive(RunStatus::completed), DashboardRunState::idle);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, UndecidedByStatus,
    rows<Row>({
        {"noProcessAndNoLoad", 0, false, 0, DashboardRunState::idle},
        {"noProcessJustBelowBusy", 39.9, false, 0, DashboardRunState::idle},
        {"noProcessBusy", 40.0, false, 0, DashboardRunState::alive},
        {"noProcessJustAboveBusy", 40.1, false, kUnknown, DashboardRunState::alive},
        {"noProcessAndAnOldLog", 100, false, 1e6, DashboardRunState::alive},
        {"noProcessAndNoNumber", kNaN, false, 0, DashboardRunState::idle},
        {"quietAndNoLogKnown", 9.9, true, kUnknown, DashboardRunState::stalled},
        {"nearlyQuietAndNoLogKnown", 10.0, true, kUnknown, DashboardRunState::warmingUp},
        {"quietAndAFreshLog", 9.9, true, 0, DashboardRunState::warmingUp},
        {"quietAndALogJustFresh", 9.9, true, 179.9, DashboardRunState::warmingUp},
        {"quietAndALogOfThreeMinutes", 9.9, true, 180.0, DashboardRunState::warmingUp},
        {"quietAndALogJustSilent", 9.9, true, 180.1, DashboardRunState::stalled},
        {"quietAndALogFromTheFuture", 0, true, -5, DashboardRunState::warmingUp},
        {"quietAndALogOfNoAge", 0, true, kNaN, DashboardRunState::warmingUp},
        {"quietAndALogOfEternity", 0, true, kInfinity, DashboardRunState::stalled},
        {"halfBusyAndAnOldLog", 10.0, true, 10000, DashboardRunState::warmingUp},
        {"justBelowBusyAndAnOldLog", 39.9, true, 10000, DashboardRunState::warmingUp},
        {"busyAndAnOldLog", 40.0, true, 10000, DashboardRunState::alive},
        {"fullyBusy", 100, true, 1, DashboardRunState::alive},
        {"noNumberAndNoLogKnown", kNaN, true, kUnknown, DashboardRunState::alive},
        {"noNumberAndAnOldLog", kNaN, true, 10000, DashboardRunState::alive},
        {"below0", -1, true, kUnknown, DashboardRunState::stalled},
    }),
    rowName);

}  // namespace
}  // namespace tavrine
