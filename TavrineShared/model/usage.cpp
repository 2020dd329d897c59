#include <TavrineShared/model/usage.h>

#include <TavrineShared/model/field_table.h>

namespace tavrine {

const RecordTable& ConnectionSource::table() {
  using R = ConnectionSource;
  static constexpr auto fields = fieldsOf<R>(field<&R::source>(),
                                             field<&R::displayName>(),
                                             field<&R::kind>(),
                                             field<&R::vpnProbability>(),
                                             field<&R::evidence>(),
                                             field<&R::isCurrent>(),
                                             field<&R::countryCode>(),
                                             field<&R::countryName>(),
                                             field<&R::countryFlag>(),
                                             field<&R::networkLabel>());
  static constexpr RecordTable table{"ConnectionSource", fields};
  return table;
}

std::string ConnectionSource::id() const {
  return source + "-" + std::string(kind.rawValue()) + "-" + (isCurrent ? "true" : "false");
}

const RecordTable& StudentUsage::table() {
  using R = StudentUsage;
  static constexpr auto fields = fieldsOf<R>(field<&R::username>(),
                                             field<&R::processCount>(),
                                             field<&R::trainingProcessCount>(),
                                             field<&R::cpuPercent>(),
                                             field<&R::memoryGB>(),
                                             field<&R::gpuMemoryGB>(),
                                             field<&R::loginCount>(),
                                             field<&R::lastLogin>(),
                                             lossyList<&R::activeCommands>(),
                                             lossyList<&R::recentCommands>(),
                                             lossyList<&R::connectionSources>());
  static constexpr RecordTable table{"StudentUsage", fields};
  return table;
}

const RecordTable& UsageSummary::table() {
  using R = UsageSummary;
  static constexpr auto fields = fieldsOf<R>(field<&R::serverName>(),
                                             field<&R::generatedAt>(),
                                             field<&R::days>(),
                                             field<&R::summary>(),
                                             field<&R::summarySource>(),
                                             field<&R::students>());
  static constexpr RecordTable table{"UsageSummary", fields};
  return table;
}

}  // namespace tavrine
