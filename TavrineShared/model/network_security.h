// A server's network traffic, its connections and what is thought of them, and SSH logins.
#pragma once

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/model/record.h>
#include <TavrineShared/model/status.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace tavrine {

/// Traffic through one network interface, as counted so far.
struct NetworkInterfaceStat {
  std::string name;
  std::string kind;                           ///< in the agent's words
  std::optional<std::string> addressSummary;  ///< its addresses, in one line
  std::int64_t rxBytes;
  std::int64_t txBytes;
  std::int64_t rxPackets;
  std::int64_t txPackets;

  bool operator==(const NetworkInterfaceStat&) const = default;
  static const RecordTable& table();
};

/// One open connection. Addresses carry their ports.
struct NetworkConnectionStat {
  std::string protocolName;
  std::string state;
  std::string localAddress;
  std::string remoteAddress;
  std::optional<std::string> processName;
  std::optional<std::string> username;
  std::optional<std::int64_t> pid;
  std::optional<double> lat;  ///< of the remote end, in degrees, as all down to `threatLabel`
  std::optional<double> lon;
  std::optional<std::string> countryCode;
  std::optional<std::string> countryName;
  std::optional<std::string> asnLabel;  ///< autonomous system
  std::optional<double> threatScore;
  std::optional<std::string> threatLabel;
  std::optional<std::string> direction;  ///< inbound or outbound, in the agent's words

  /// Such as "tcp-ESTABLISHED-10.0.0.5:22-203.0.113.9:443-812"; an unknown pid stands as -1.
  std::string id() const;
  /// Latitude and longitude; absent unless both are known.
  std::optional<std::pair<double, double>> coordinate() const;

  bool operator==(const NetworkConnectionStat&) const = default;
  static const RecordTable& table();
};

/// One finding about the network, in prose.
struct NetworkInsight {
  std::string id;
  AlertSeverity severity;
  std::string title;
  std::string detail;

  bool operator==(const NetworkInsight&) const = default;
  static const RecordTable& table();
};

/// What an analysis makes of one connection.
struct PacketThreatAnalysis {
  std::string connectionKey;  ///< the connection it judges
  double threatScore;
  std::string classification;
  std::string ipRangeInfo;  ///< what is known of the range of the remote address
  std::string reasoning;

  bool operator==(const PacketThreatAnalysis&) const = default;
  static const RecordTable& table();
};

/// Attempts to log in over SSH.
struct SSHAuthEvent {
  std::string id;    ///< given by the agent
  std::string type;  ///< in the agent's words
  std::string remoteIP;
  std::string user;           ///< the account that was tried
  std::int64_t port;          ///< at the remote end
  std::optional<double> lat;  ///< of the remote end, in degrees, as all down to `threatScore`
  std::optional<double> lon;
  std::optional<std::string> countryCode;
  std::optional<std::string> countryName;
  std::optional<std::string> asnLabel;  ///< autonomous system
  double threatScore;
  std::int64_t attemptCount;  ///< folded into this event; 1 when missing
  std::optional<Timestamp> firstSeen;
  std::optional<Timestamp> lastSeen;
  std::string rawLine;  ///< of the log, as read

  bool operator==(const SSHAuthEvent&) const = default;
  static const RecordTable& table();
};

/// How full the store is in which the agent keeps SSH events, one file per day.
struct RetentionStats {
  std::int64_t sizeBytes;
  std::int64_t capBytes;
  std::int64_t dayFileCount;
  std::optional<std::string> oldestDay;
  std::optional<std::string> newestDay;
  std::string path;                           ///< directory on the server
  std::optional<std::string> lastEvictedDay;  ///< removed to stay under the cap
  std::int64_t appendedThisCycle;             ///< events

  /// Size over cap, never above 1, but negative for a negative size; 0 when the cap is below 1.
  double fillFraction() const;

  bool operator==(const RetentionStats&) const = default;
  static const RecordTable& table();
};

/// The network report of one server. In JSON its lists are lenient.
struct NetworkSummary {
  std::string serverName;
  Timestamp generatedAt;
  std::int64_t totalRxBytes;  ///< over all interfaces
  std::int64_t totalTxBytes;
  std::vector<NetworkInterfaceStat> interfaces;
  std::vector<NetworkConnectionStat> connections;
  std::vector<NetworkInsight> insights;
  std::string aiSummary;      ///< in prose
  std::string summarySource;  ///< what wrote the prose
  std::vector<PacketThreatAnalysis> packetAnalyses;
  std::vector<SSHAuthEvent> sshEvents;
  std::optional<std::string> serverPublicIP;
  std::string rawAuthLog;    ///< an excerpt of the authentication log
  std::string sshLogStatus;  ///< whether the agent can read that log; "unknown" when missing
  std::optional<RetentionStats> retention;

  NetworkSummary withServerName(std::string_view name) const { return renamed(*this, name); }

  /// A copy with the SSH part of another report. An absent address clears the old one, since an
  /// address that is no longer known is no longer true; an absent retention keeps the old one.
  NetworkSummary withSSHEvents(  // NOLINT(readability-inconsistent-declaration-parameter-name)
      std::vector<SSHAuthEvent> events, std::optional<std::string> serverPublicIP,
      std::string rawLog, std::string status, std::optional<RetentionStats> retention) const;

  bool operator==(const NetworkSummary&) const = default;
  static const RecordTable& table();
};

}  // namespace tavrine
