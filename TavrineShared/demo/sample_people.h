// Who works in the made-up lab, and what they run.
#pragma once

#include <TavrineShared/demo/sample_lab.h>
#include <TavrineShared/model/process.h>
#include <TavrineShared/model/usage.h>

#include <vector>

namespace tavrine::SampleData {

/// Those of both servers, the busiest first.
std::vector<ProcessStat> sampleProcesses(const Moment& moment);

/// Six people of both servers. What they use now is the sum over their `processes`.
UsageSummary sampleUsage(const Moment& moment, const std::vector<ProcessStat>& processes);

}  // namespace tavrine::SampleData
