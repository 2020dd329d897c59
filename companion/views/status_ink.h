// The colours in which statuses are shown: green is well, yellow wants a look, red wants a hand.
#pragma once

#include "companion/views/styled_line.h"

#include <TavrineShared/model/status.h>
#include <TavrineShared/recorder/dashboard_run_state.h>
#include <TavrineShared/recorder/runtime_diagnosis.h>

namespace tavrine {

Ink inkOf(ServerConnectionState state);
Ink inkOf(RunStatus status);
Ink inkOf(RunHealth health);
Ink inkOf(AlertSeverity severity);
Ink inkOf(DashboardRunState state);
Ink inkOf(const RuntimeDiagnosis& verdict);

}  // namespace tavrine
