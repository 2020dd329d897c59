#include <TavrineShared/recorder/dashboard_run_state.h>

namespace tavrine {

namespace {

constexpr double kBusyPercent = 40;     // from here on a GPU works for somebody
constexpr double kQuietPercent = 10;    // below, it does not
constexpr double kSilentSeconds = 180;  // beyond, a log has fallen silent

std::optional<DashboardRunState> decidedBy(RunStatus status) {
  switch (status) {
    case RunStatus::stalled:
      return DashboardRunState::stalled;
    case RunStatus::failed:
    case RunStatus::completed:
      return DashboardRunState::idle;
    case RunStatus::queued:
    case RunStatus::warmingUp:
    case RunStatus::running:
    case RunStatus::idle:
      break;
  }
  return std::nullopt;
}

}  // namespace

DashboardRunState DashboardRunState::derive(double maxGPUUtil, bool hasTrainingProcess,
                                            std::optional<double> secondsSinceLogUpdate,
                                            std::optional<RunStatus> runStatus) {
  if (runStatus) {
    if (const auto state = decidedBy(*runStatus)) return *state;
  }
  if (!hasTrainingProcess) return maxGPUUtil >= kBusyPercent ? alive : idle;
  // Nothing known of a log counts against a quiet GPU at once; a log that is known has some time.
  const bool isSilent = !secondsSinceLogUpdate || *secondsSinceLogUpdate > kSilentSeconds;
  if (maxGPUUtil < kQuietPercent && isSilent) return stalled;
  return maxGPUUtil < kBusyPercent ? warmingUp : alive;
}

}  // namespace tavrine
