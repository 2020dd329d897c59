// The training runs of the made-up lab.
#pragma once

#include <TavrineShared/demo/sample_lab.h>
#include <TavrineShared/model/training_run.h>

#include <vector>

namespace tavrine::SampleData {

/// A long run on the first server, which stalls on some ticks, and one on the second that still
/// warms up. The tick must be one whose steps are 64-bit numbers.
std::vector<TrainingRun> sampleRuns(const Moment& moment);

}  // namespace tavrine::SampleData
