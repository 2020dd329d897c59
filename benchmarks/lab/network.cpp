#include "benchmarks/lab/lab.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace tavrine::benchmarks {

NetworkConnectionStat Lab::connection(std::size_t server) {
  const Country& from = country();
  const bool isRemote = chance(60);
  const auto whereRemote = [isRemote]<class T>(T value) {
    return isRemote ? std::optional<T>(std::move(value)) : std::nullopt;
  };
  return {
      .protocolName = pick({"tcp", "tcp6", "udp"}),
      .state = pick({"ESTABLISHED", "ESTABLISHED", "TIME_WAIT", "CLOSE_WAIT", "LISTEN"}),
      .localAddress = joined({"10.0.0.", number(server % 256), ":", number(22 + below(60'000))}),
      .remoteAddress =
          joined({isRemote ? publicAddress() : address(), ":", number(1'024 + below(60'000))}),
      .processName = mostly<std::string>(5, pick({"sshd", "python", "chronyd", "node_exporter"})),
      .username = mostly(5, user()),
      .pid = mostly(5, count(1'000, 4'190'000)),
      .lat = whereRemote(reading(0, 60, 10'000)),
      .lon = whereRemote(-reading(0, 120, 10'000)),
      .countryCode = whereRemote(std::string(from.code)),
      .countryName = whereRemote(std::string(from.name)),
      .asnLabel = whereRemote(networkOwner()),
      .threatScore = whereRemote(reading(0, 1, 100)),
      .threatLabel = whereRemote(pick({"benign", "unusual", "suspicious"})),
      .direction = pick({"inbound", "outbound"}),
  };
}

SSHAuthEvent Lab::sshEvent(std::size_t server) {
  const Country& from = country();
  const std::string remote = publicAddress();
  const std::string account = pick({"root", "admin", "ubuntu", "postgres", "test"});
  const std::int64_t port = count(30'000, 60'000);
  return {
      .id = joined({"ssh-", number(nextID_++)}),
      .type = pick({"failed_password", "invalid_user", "accepted_publickey"}),
      .remoteIP = remote,
      .user = account,
      .port = port,
      .lat = reading(0, 60, 10'000),
      .lon = reading(0, 120, 10'000),
      .countryCode = std::string(from.code),
      .countryName = std::string(from.name),
      .asnLabel = networkOwner(),
      .threatScore = reading(0, 1, 100),
      .attemptCount = count(1, 400),
      .firstSeen = secondsAgo(40'000 + below(40'000)),
      .lastSeen = secondsAgo(below(40'000)),
      .rawLine = joined({"Nov 13 02:11:09 ",
                         serverName(server),
                         " sshd[",
                         number(below(4'000'000)),
                         "]: Failed password for invalid user ",
                         account,
                         " from ",
                         remote,
                         " port ",
                         number(static_cast<std::uint64_t>(port)),
                         " ssh2"}),
  };
}

NetworkSummary Lab::network(std::size_t server) {
  constexpr std::size_t kConnections = 100;
  NetworkSummary summary{
      .serverName = serverName(server),
      .generatedAt = secondsAgo(below(60)),
      .totalRxBytes = bytes(),
      .totalTxBytes = bytes(),
      .interfaces = {},
      .connections = {},
      .insights = {},
      .aiSummary = prose(5),
      .summarySource = "rules",
      .packetAnalyses = {},
      .sshEvents = {},
      .serverPublicIP = publicAddress(),
      .rawAuthLog = {},
      .sshLogStatus = "readable",
      .retention = RetentionStats{.sizeBytes = count(1'000'000, 2'000'000'000),
                                  .capBytes = 10'737'418'240,
                                  .dayFileCount = count(1, 400),
                                  .oldestDay = day(),
                                  .newestDay = day(),
                                  .path = "/var/lib/tavrine/ssh-events",
                                  .lastEvictedDay = seldom(4, day()),
                                  .appendedThisCycle = count(0, 200)},
  };
  for (const std::string_view name : {"lo", "eno1", "ibp24s0", "docker0"}) {
    summary.interfaces.push_back({
        .name = std::string(name),
        .kind = name == "lo" ? "loopback" : "ethernet",
        .addressSummary = mostly(4, address() + "/16"),
        .rxBytes = bytes(),
        .txBytes = bytes(),
        .rxPackets = count(0, 4'000'000'000),
        .txPackets = count(0, 4'000'000'000),
    });
  }
  for (std::size_t c = 0; c < kConnections; ++c) {
    summary.connections.push_back(connection(server));
  }
  for (std::size_t n = 0; n < 3; ++n) {
    summary.insights.push_back({
        .id = joined({"insight-", number(nextID_++)}),
        .severity = oneOf<AlertSeverity>(),
        .title = "Many failed logins from one range",
        .detail = prose(3),
    });
  }
  for (std::size_t n = 0; n < 10; ++n) {
    summary.packetAnalyses.push_back({
        .connectionKey = summary.connections[n].id(),
        .threatScore = reading(0, 1, 100),
        .classification = pick({"benign", "scanner", "unknown"}),
        .ipRangeInfo = networkOwner(),
        .reasoning = prose(2),
    });
  }
  for (std::size_t n = 0; n < 10; ++n) {
    summary.sshEvents.push_back(sshEvent(server));
    summary.rawAuthLog += summary.sshEvents.back().rawLine + "\n";
  }
  return summary;
}

}  // namespace tavrine::benchmarks
