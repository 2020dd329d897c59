// How a training run stands, in words.
#pragma once

#include "companion/views/styled_line.h"

#include <TavrineShared/model/training_run.h>

#include <string>

namespace tavrine {

/// "Running, Healthy", each in its colour, but one word where they agree.
StyledLine statusWords(const TrainingRun& run);

/// "Memory bound, in backward"; what is not known is left out, and where nothing is, it says so.
StyledLine diagnosisWords(const TrainingRun& run);

/// "3 h 31 min to go"; empty where nobody knows.
std::string toGoWords(const TrainingRun& run);

/// Steps, samples or tokens per second, whatever the run counts: "1601/s".
std::string rateText(double perSecond);

}  // namespace tavrine
