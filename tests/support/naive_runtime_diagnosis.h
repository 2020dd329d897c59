// The rules of phases and diagnoses one after the other, each as it was written down.
#pragma once

#include <TavrineShared/recorder/runtime_diagnosis.h>

#include <optional>
#include <span>

namespace tavrine::naive {

RuntimePhase phaseOf(const StackFrame& stack);

RuntimeDiagnosis diagnosisOf(const std::optional<RecorderLogPoint>& latest,
                             std::span<const RecorderLogPoint> recent);

}  // namespace tavrine::naive
