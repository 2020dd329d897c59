#include <TavrineShared/model/training_run.h>

#include <TavrineShared/model/field_table.h>

namespace tavrine {

const RecordTable& TrainingMetric::table() {
  using R = TrainingMetric;
  static constexpr auto fields = fieldsOf<R>(field<&R::step>(),
                                             field<&R::timestamp>(),
                                             field<&R::loss>(),
                                             field<&R::throughput>(),
                                             field<&R::flopsTFLOPs>(),
                                             field<&R::gpuUtilization>());
  static constexpr RecordTable table{"TrainingMetric", fields};
  return table;
}

const RecordTable& CheckpointSummary::table() {
  using R = CheckpointSummary;
  static constexpr auto fields = fieldsOf<R>(field<&R::id>(),
                                             field<&R::name>(),
                                             field<&R::timestamp>(),
                                             field<&R::sizeGB>(),
                                             field<&R::isBest>());
  static constexpr RecordTable table{"CheckpointSummary", fields};
  return table;
}

const RecordTable& TrainingRun::table() {
  using R = TrainingRun;
  static constexpr auto fields = fieldsOf<R>(field<&R::id>(),
                                             field<&R::name>(),
                                             field<&R::serverName>(),
                                             field<&R::framework>(),
                                             field<&R::status>(),
                                             field<&R::health>(),
                                             field<&R::startedAt>(),
                                             field<&R::etaSeconds>(),
                                             field<&R::currentLoss>(),
                                             field<&R::throughput>(),
                                             field<&R::flopsTFLOPs>(),
                                             field<&R::gpuUtilization>(),
                                             field<&R::vramUsedGB>(),
                                             field<&R::vramTotalGB>(),
                                             field<&R::powerDrawW>(),
                                             field<&R::logTail>(),
                                             lossyList<&R::metrics>(),
                                             lossyList<&R::checkpoints>(),
                                             defaulted<&R::hyperparameters>(),
                                             field<&R::datasetName>(),
                                             field<&R::modelName>(),
                                             field<&R::checkpointPath>(),
                                             lossyList<&R::valMetrics>(),
                                             field<&R::dcgmTFLOPsAchieved>(),
                                             field<&R::dcgmTFLOPsPeak>(),
                                             field<&R::dcgmTensorActive>(),
                                             field<&R::dcgmFP32Active>(),
                                             field<&R::dcgmDRAMActive>(),
                                             field<&R::recorderLogPath>(),
                                             field<&R::adoptedFromPath>(),
                                             field<&R::lastStackSample>(),
                                             field<&R::lastRecorderPointAt>(),
                                             lossyList<&R::recorderPoints>());
  static constexpr RecordTable table{"TrainingRun", fields};
  return table;
}

}  // namespace tavrine
