// The logs of training runs that a capture holds.
#pragma once

#include "companion/capture/capture.h"

#include <string>
#include <vector>

namespace tavrine {

/// One of the two texts is there; both point into the capture.
struct RunLogs {
  std::string name;
  const std::string* training;  ///< null when there is none
  const std::string* recorder;  ///< likewise
  const CapturedRun* places;    ///< null when the capture does not say where they are
};

/// One for each folder of the capture that holds a training log, a recorder's log or both, by name.
std::vector<RunLogs> runLogsOf(const Capture& capture);

}  // namespace tavrine
