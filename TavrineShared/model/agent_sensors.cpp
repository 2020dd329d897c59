#include <TavrineShared/model/agent_sensors.h>

#include <TavrineShared/model/field_table.h>

namespace tavrine {

const RecordTable& AgentStatus::table() {
  using R = AgentStatus;
  static constexpr auto fields = fieldsOf<R>(field<&R::serverName>(),
                                             field<&R::ok>(),
                                             field<&R::version>(),
                                             field<&R::startedAt>(),
                                             field<&R::generatedAt>(),
                                             field<&R::cacheGeneratedAt>(),
                                             field<&R::intervalSeconds>(),
                                             field<&R::processLimit>());
  static constexpr RecordTable table{"AgentStatus", fields};
  return table;
}

const RecordTable& CPUTemperature::table() {
  using R = CPUTemperature;
  static constexpr auto fields = fieldsOf<R>(field<&R::label>(), field<&R::celsius>());
  static constexpr RecordTable table{"CPUTemperature", fields};
  return table;
}

const RecordTable& DiskIORate::table() {
  using R = DiskIORate;
  static constexpr auto fields = fieldsOf<R>(field<&R::device>(),
                                             field<&R::readKBps>(),
                                             field<&R::writeKBps>(),
                                             field<&R::utilizationPercent>());
  static constexpr RecordTable table{"DiskIORate", fields};
  return table;
}

const RecordTable& SystemSensors::table() {
  using R = SystemSensors;
  static constexpr auto fields = fieldsOf<R>(field<&R::serverName>(),
                                             field<&R::capturedAt>(),
                                             field<&R::cpuTemperatures>(),
                                             field<&R::diskIO>(),
                                             field<&R::loadAverage>());
  static constexpr RecordTable table{"SystemSensors", fields};
  return table;
}

std::optional<double> SystemSensors::peakCPUTempC() const {
  std::optional<double> peak;
  for (const CPUTemperature& reading : cpuTemperatures) {
    if (!peak || reading.celsius > *peak) peak = reading.celsius;
  }
  return peak;
}

double SystemSensors::totalDiskReadKBps() const {
  double sum = 0;
  for (const DiskIORate& disk : diskIO) sum += disk.readKBps;
  return sum;
}

double SystemSensors::totalDiskWriteKBps() const {
  double sum = 0;
  for (const DiskIORate& disk : diskIO) sum += disk.writeKBps;
  return sum;
}

const RecordTable& ModelManager::Available::table() {
  using R = ModelManager::Available;
  static constexpr auto fields = fieldsOf<R>(field<&R::profile>(),
                                             field<&R::label>(),
                                             field<&R::model>(),
                                             field<&R::precision>(),
                                             field<&R::gpus>(),
                                             field<&R::downloaded>());
  static constexpr RecordTable table{"ModelManager.Available", fields};
  return table;
}

const RecordTable& ModelManager::table() {
  using R = ModelManager;
  static constexpr auto fields = fieldsOf<R>(defaulted<&R::serverName>(),
                                             forgiving<&R::running>(),
                                             field<&R::model>(),
                                             field<&R::configuredModel>(),
                                             forgiving<&R::tier>(),
                                             field<&R::tierReason>(),
                                             forgiving<&R::selectedProfile>(),
                                             lossyList<&R::available>());
  static constexpr RecordTable table{"ModelManager", fields};
  return table;
}

}  // namespace tavrine

std::size_t std::hash<tavrine::InferenceControlResult>::operator()(
    const tavrine::InferenceControlResult& result) const noexcept {
  return tavrine::combineHashes(std::hash<bool>()(result.isSuccess),
                                std::hash<std::string>()(result.message));
}
