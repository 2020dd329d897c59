#include <TavrineShared/model/process.h>

#include <TavrineShared/model/field_table.h>

namespace tavrine {

const RecordTable& GPUProcessStat::table() {
  using R = GPUProcessStat;
  static constexpr auto fields = fieldsOf<R>(field<&R::pid>(),
                                             field<&R::processName>(),
                                             field<&R::usedMemoryMB>(),
                                             field<&R::gpuBusID>());
  static constexpr RecordTable table{"GPUProcessStat", fields};
  return table;
}

std::string GPUProcessStat::id() const {
  return std::to_string(pid) + "-" + gpuBusID.value_or("gpu");
}

const RecordTable& ProcessStat::table() {
  using R = ProcessStat;
  static constexpr auto fields = fieldsOf<R>(field<&R::serverName>(),
                                             field<&R::pid>(),
                                             field<&R::parentPID>(),
                                             field<&R::owner>(),
                                             field<&R::state>(),
                                             field<&R::cpuPercent>(),
                                             field<&R::memoryPercent>(),
                                             field<&R::residentMemoryKB>(),
                                             field<&R::gpuMemoryMB>(),
                                             field<&R::gpuBusID>(),
                                             field<&R::elapsed>(),
                                             field<&R::executable>(),
                                             field<&R::command>(),
                                             field<&R::kind>(),
                                             field<&R::capturedAt>());
  static constexpr RecordTable table{"ProcessStat", fields};
  return table;
}

std::string ProcessStat::id() const { return serverName + "-" + std::to_string(pid); }

double ProcessStat::residentMemoryGB() const {
  constexpr double kKBPerGB = 1024.0 * 1024.0;
  return static_cast<double>(residentMemoryKB) / kKBPerGB;
}

std::optional<double> ProcessStat::gpuMemoryGB() const {
  constexpr double kMBPerGB = 1024.0;
  if (!gpuMemoryMB) return std::nullopt;
  return *gpuMemoryMB / kMBPerGB;
}

ProcessStat ProcessStat::mergingGPU(const std::optional<GPUProcessStat>& gpu) const {
  ProcessStat merged = *this;
  if (!gpu) return merged;
  merged.gpuMemoryMB = gpu->usedMemoryMB;
  if (gpu->gpuBusID) merged.gpuBusID = gpu->gpuBusID;
  if (kind == ProcessKind::other) merged.kind = ProcessKind::gpu;
  return merged;
}

}  // namespace tavrine
