// What the capture of one server says of it, apart from its runs.
#pragma once

#include "companion/assemble/disk_free.h"
#include "companion/assemble/source_findings.h"
#include "companion/capture/capture.h"

#include <TavrineShared/model/agent_sensors.h>
#include <TavrineShared/model/gpu_server.h>
#include <TavrineShared/model/process.h>

#include <optional>
#include <string>
#include <vector>

namespace tavrine {

struct ServerState {
  std::string name;
  std::string host;
  Timestamp takenAt;
  std::optional<std::string> problem;  ///< why the host did not answer, or not to the end
  ServerConnectionState connection;
  std::vector<GPUStat> gpus;
  bool gpusAreKnown;                     ///< the GPU tool answered
  std::vector<ProcessStat> processes;    ///< with what the GPU tool knows of them
  std::vector<GPUProcessStat> orphans;   ///< hold GPU memory, and the process table lacks them
  std::optional<SystemSensors> sensors;  ///< absent when nothing was measured
  std::optional<DiskSpace> disk;
};

/// A host that answered nothing is offline; one that answered in part, or that lacks every tool, or
/// whose GPU tool is there and fails, is degraded. One tool that is not there is neither.
ServerState readServer(const Capture& capture, FindingsBook& book);

}  // namespace tavrine
