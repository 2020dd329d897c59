#include <TavrineShared/recorder/recorder_records.h>

#include <TavrineShared/model/field_table.h>

namespace tavrine {

const RecordTable& StackFrame::table() {
  using R = StackFrame;
  static constexpr auto fields = fieldsOf<R>(field<&R::thread>(), field<&R::frames>());
  static constexpr RecordTable table{"StackFrame", fields};
  return table;
}

const RecordTable& DCGMSample::table() {
  using R = DCGMSample;
  static constexpr auto fields = fieldsOf<R>(field<&R::fp32Active>("fp32_active"),
                                             field<&R::tensorActive>("tensor_active"),
                                             field<&R::dramActive>("dram_active"),
                                             field<&R::tflopsAchieved>("tflops_achieved"),
                                             field<&R::tflopsPeak>("tflops_peak"),
                                             field<&R::reason>());
  static constexpr RecordTable table{"DCGMSample", fields};
  return table;
}

const RecordTable& RecorderLogPoint::table() {
  using R = RecorderLogPoint;
  static constexpr auto fields = fieldsOf<R>(secondsOrDate(field<&R::t>()),
                                             defaulted<&R::phase>([] { return "snapshot"; }),
                                             field<&R::gpuUtil>("gpu_util"),
                                             field<&R::vramMB>("vram_mb"),
                                             field<&R::powerW>("power_w"),
                                             field<&R::dcgm>(),
                                             field<&R::pySpy>("py_spy"),
                                             field<&R::text>(),
                                             field<&R::cmdline>());
  static constexpr RecordTable table{"RecorderLogPoint", fields};
  return table;
}

const RecordTable& RecorderActiveEntry::table() {
  using R = RecorderActiveEntry;
  static constexpr auto fields =
      fieldsOf<R>(field<&R::pid>(),
                  field<&R::owner>(),
                  field<&R::logPath>(),
                  field<&R::adoptedFrom>(),
                  defaulted<&R::cmdline>(),
                  secondsOrDate(defaulted<&R::openedAt>([] { return currentTime(); })));
  static constexpr RecordTable table{"RecorderActiveEntry", fields};
  return table;
}

const RecordTable& RecorderHealth::table() {
  using R = RecorderHealth;
  static constexpr auto fields =
      fieldsOf<R>(defaulted<&R::serverName>(),
                  defaulted<&R::logRoot>(),
                  defaulted<&R::activePids>(),
                  defaulted<&R::activeRecorders>(),
                  defaulted<&R::adoptedPaths>(),
                  defaulted<&R::diskUsageGB>(),
                  defaulted<&R::capGB>(),
                  defaulted<&R::alertThresholdGB>(),
                  defaulted<&R::retentionDays>([] { return std::int64_t{14}; }),
                  defaulted<&R::ptraceScope>(),
                  defaulted<&R::pySpyAvailable>(),
                  defaulted<&R::dcgmAvailable>(),
                  defaulted<&R::nvidiaSmiAvailable>(),
                  secondsOrDate(field<&R::lastAlertSentAt>()));
  static constexpr RecordTable table{"RecorderHealth", fields};
  return table;
}

}  // namespace tavrine
