#include <TavrineShared/model/network_security.h>

#include <TavrineShared/model/field_table.h>

#include <algorithm>
#include <utility>

namespace tavrine {

const RecordTable& NetworkInterfaceStat::table() {
  using R = NetworkInterfaceStat;
  static constexpr auto fields = fieldsOf<R>(field<&R::name>(),
                                             field<&R::kind>(),
                                             field<&R::addressSummary>(),
                                             field<&R::rxBytes>(),
                                             field<&R::txBytes>(),
                                             field<&R::rxPackets>(),
                                             field<&R::txPackets>());
  static constexpr RecordTable table{"NetworkInterfaceStat", fields};
  return table;
}

const RecordTable& NetworkConnectionStat::table() {
  using R = NetworkConnectionStat;
  static constexpr auto fields = fieldsOf<R>(field<&R::protocolName>(),
                                             field<&R::state>(),
                                             field<&R::localAddress>(),
                                             field<&R::remoteAddress>(),
                                             field<&R::processName>(),
                                             field<&R::username>(),
                                             field<&R::pid>(),
                                             field<&R::lat>(),
                                             field<&R::lon>(),
                                             field<&R::countryCode>(),
                                             field<&R::countryName>(),
                                             field<&R::asnLabel>(),
                                             field<&R::threatScore>(),
                                             field<&R::threatLabel>(),
                                             field<&R::direction>());
  static constexpr RecordTable table{"NetworkConnectionStat", fields};
  return table;
}

std::string NetworkConnectionStat::id() const {
  return protocolName + "-" + state + "-" + localAddress + "-" + remoteAddress + "-" +
         std::to_string(pid.value_or(-1));
}

std::optional<std::pair<double, double>> NetworkConnectionStat::coordinate() const {
  if (!lat || !lon) return std::nullopt;
  return std::pair(*lat, *lon);
}

const RecordTable& NetworkInsight::table() {
  using R = NetworkInsight;
  static constexpr auto fields =
      fieldsOf<R>(field<&R::id>(), field<&R::severity>(), field<&R::title>(), field<&R::detail>());
  static constexpr RecordTable table{"NetworkInsight", fields};
  return table;
}

const RecordTable& PacketThreatAnalysis::table() {
  using R = PacketThreatAnalysis;
  static constexpr auto fields = fieldsOf<R>(field<&R::connectionKey>(),
                                             field<&R::threatScore>(),
                                             field<&R::classification>(),
                                             field<&R::ipRangeInfo>(),
                                             field<&R::reasoning>());
  static constexpr RecordTable table{"PacketThreatAnalysis", fields};
  return table;
}

const RecordTable& SSHAuthEvent::table() {
  using R = SSHAuthEvent;
  static constexpr auto fields =
      fieldsOf<R>(field<&R::id>(),
                  field<&R::type>(),
                  field<&R::remoteIP>(),
                  field<&R::user>(),
                  field<&R::port>(),
                  field<&R::lat>(),
                  field<&R::lon>(),
                  field<&R::countryCode>(),
                  field<&R::countryName>(),
                  field<&R::asnLabel>(),
                  field<&R::threatScore>(),
                  defaulted<&R::attemptCount>([] { return std::int64_t{1}; }),
                  field<&R::firstSeen>(),
                  field<&R::lastSeen>(),
                  defaulted<&R::rawLine>());
  static constexpr RecordTable table{"SSHAuthEvent", fields};
  return table;
}

const RecordTable& RetentionStats::table() {
  using R = RetentionStats;
  static constexpr auto fields = fieldsOf<R>(field<&R::sizeBytes>(),
                                             field<&R::capBytes>(),
                                             field<&R::dayFileCount>(),
                                             field<&R::oldestDay>(),
                                             field<&R::newestDay>(),
                                             field<&R::path>(),
                                             field<&R::lastEvictedDay>(),
                                             field<&R::appendedThisCycle>());
  static constexpr RecordTable table{"RetentionStats", fields};
  return table;
}

double RetentionStats::fillFraction() const {
  if (capBytes < 1) return 0;
  return std::min(static_cast<double>(sizeBytes) / static_cast<double>(capBytes), 1.0);
}

const RecordTable& NetworkSummary::table() {
  using R = NetworkSummary;
  static constexpr auto fields = fieldsOf<R>(field<&R::serverName>(),
                                             field<&R::generatedAt>(),
                                             field<&R::totalRxBytes>(),
                                             field<&R::totalTxBytes>(),
                                             lossyList<&R::interfaces>(),
                                             lossyList<&R::connections>(),
                                             lossyList<&R::insights>(),
                                             field<&R::aiSummary>(),
                                             field<&R::summarySource>(),
                                             lossyList<&R::packetAnalyses>(),
                                             lossyList<&R::sshEvents>(),
                                             field<&R::serverPublicIP>(),
                                             defaulted<&R::rawAuthLog>(),
                                             defaulted<&R::sshLogStatus>([] { return "unknown"; }),
                                             field<&R::retention>());
  static constexpr RecordTable table{"NetworkSummary", fields};
  return table;
}

// The parameters have other names than for the caller, whose names are those of the members.
NetworkSummary NetworkSummary::withSSHEvents(std::vector<SSHAuthEvent> events,
                                             std::optional<std::string> publicIP,
                                             std::string rawLog, std::string status,
                                             std::optional<RetentionStats> newRetention) const {
  NetworkSummary summary = *this;
  summary.sshEvents = std::move(events);
  summary.serverPublicIP = std::move(publicIP);
  summary.rawAuthLog = std::move(rawLog);
  summary.sshLogStatus = std::move(status);
  if (newRetention) summary.retention = std::move(newRetention);
  return summary;
}

}  // namespace tavrine
