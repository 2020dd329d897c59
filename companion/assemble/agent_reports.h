// What the agent on a host reports: JSON documents of records that a snapshot takes as they are.
#pragma once

#include "companion/assemble/source_findings.h"
#include "companion/capture/capture.h"

#include <TavrineShared/model/app_snapshot.h>

namespace tavrine {

/// Adds the records of all reports of a capture to the snapshot, each under the server's name. A
/// report is a file `agent/NAME.json` with one record or a list of them, where NAME is one of
///
///   status              AgentStatus            lab_events        LabEvent
///   usage               UsageSummary           lab_event_store   LabEventStoreSummary
///   network             NetworkSummary         recorder_health   RecorderHealth
///   model_manager       ModelManager
///
/// or one file `agent/reports.json` with an object of such reports by name. Records that are no use
/// are dropped, and reports that are no JSON or have another name are ignored; both are told.
void addAgentReports(const Capture& capture, AppSnapshot& snapshot, FindingsBook& book);

}  // namespace tavrine
