#include <TavrineShared/model/gpu_server.h>

#include <TavrineShared/model/field_table.h>

#include <algorithm>

namespace tavrine {

namespace {

double fraction(double part, double whole) {
  if (!(whole > 0)) return 0;
  const double quotient = part / whole;
  // Written so that a NaN becomes 0.
  return quotient > 0 ? std::min(quotient, 1.0) : 0;
}

}  // namespace

const RecordTable& GPUStat::table() {
  using R = GPUStat;
  static constexpr auto fields = fieldsOf<R>(field<&R::index>(),
                                             field<&R::name>(),
                                             field<&R::utilizationPercent>(),
                                             field<&R::memoryUsedMB>(),
                                             field<&R::memoryTotalMB>(),
                                             field<&R::temperatureC>(),
                                             field<&R::powerDrawW>(),
                                             field<&R::powerLimitW>(),
                                             field<&R::fanSpeedPercent>(),
                                             field<&R::smClockMHz>(),
                                             field<&R::memClockMHz>(),
                                             field<&R::eccErrorsTotal>(),
                                             field<&R::pcieLinkGen>(),
                                             field<&R::pcieLinkWidth>(),
                                             field<&R::pstate>());
  static constexpr RecordTable table{"GPUStat", fields};
  return table;
}

double GPUStat::memoryFraction() const { return fraction(memoryUsedMB, memoryTotalMB); }

double GPUStat::powerFraction() const { return fraction(powerDrawW, powerLimitW); }

std::optional<std::string> GPUStat::pcieLinkText() const {
  if (!pcieLinkGen || !pcieLinkWidth) return std::nullopt;
  return "PCIe Gen" + std::to_string(*pcieLinkGen) + " x" + std::to_string(*pcieLinkWidth);
}

const RecordTable& ServerSummary::table() {
  using R = ServerSummary;
  static constexpr auto fields = fieldsOf<R>(field<&R::id>(),
                                             field<&R::name>(),
                                             field<&R::host>(),
                                             field<&R::state>(),
                                             lossyList<&R::gpus>(),
                                             field<&R::activeRuns>(),
                                             field<&R::diskFreeGB>(),
                                             field<&R::lastSeen>());
  static constexpr RecordTable table{"ServerSummary", fields};
  return table;
}

}  // namespace tavrine
