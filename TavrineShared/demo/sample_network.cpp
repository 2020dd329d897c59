#include <TavrineShared/demo/sample_network.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>

namespace tavrine::SampleData {

namespace {

// --- Connections ---

struct RemoteEnd {
  const char* address;
  double lat;
  double lon;
  const char* countryCode;
  const char* countryName;
  const char* asnLabel;
};

constexpr RemoteEnd kCampus{kCampusAddress, 40.11, -88.23, "US", "United States", kCampusName};
constexpr RemoteEnd kChinaTelecom{
    "203.0.113.61", 31.23, 121.47, "CN", "China", "Public internet / China Telecom"};
constexpr RemoteEnd kYandex{"198.51.100.178", 55.75, 37.62, "RU", "Russia", "Yandex LLC / Russia"};
constexpr RemoteEnd kTorRelay{
    "192.0.2.44", 50.11, 8.68, "DE", "Germany", "Tor exit node / Germany"};
constexpr RemoteEnd kGoogleCloud{
    "192.0.2.101", 41.26, -95.86, "US", "United States", "Google Cloud / United States"};
constexpr RemoteEnd kObjectStore{
    "203.0.113.140", 39.04, -77.49, "US", "United States", "Amazon S3 / United States"};
constexpr RemoteEnd kTimeServer{
    "192.0.2.200", 40.02, -105.27, "US", "United States", "NTP pool / United States"};
constexpr RemoteEnd kLinode{
    "203.0.113.222", 40.74, -74.17, "US", "United States", "Linode / United States"};

struct Connection {
  const char* protocol;
  const char* direction;
  std::int64_t localPort;
  const RemoteEnd& remote;
  std::int64_t remotePort;
  std::optional<SampleProcess> process;  // without one, nobody knows whose it is
  double threatScore;
  const char* threatLabel;
};

constexpr SampleProcess kTimeClient{"_chrony", 1042, "chronyd", ""};

constexpr Connection kCampusLogin{"tcp", "inbound", 22, kCampus, 52814, kSSHServer, 0.02, "benign"};
constexpr Connection kChineseProbe{
    "tcp", "inbound", 22, kChinaTelecom, 41022, std::nullopt, 0.65, "suspicious"};
constexpr Connection kRussianProbe{
    "tcp", "inbound", 22, kYandex, 38417, std::nullopt, 0.65, "suspicious"};
constexpr Connection kTorLogin{
    "tcp", "inbound", 22, kTorRelay, 45190, std::nullopt, 0.5, "suspicious"};
constexpr Connection kMLService{
    "tcp", "outbound", 47312, kGoogleCloud, 443, kTraining, 0.02, "benign"};
constexpr Connection kVideoDownload{
    "tcp", "outbound", 50266, kObjectStore, 443, kPreprocessing, 0.02, "benign"};
constexpr Connection kTimeQuery{
    "udp", "outbound", 36911, kTimeServer, 123, kTimeClient, 0.01, "benign"};
constexpr Connection kOddPort{"tcp", "inbound", 8080, kLinode, 55034, std::nullopt, 0.15, "watch"};

constexpr auto kConnections = std::to_array<const Connection*>({
    &kCampusLogin,
    &kChineseProbe,
    &kRussianProbe,
    &kTorLogin,
    &kMLService,
    &kVideoDownload,
    &kTimeQuery,
    &kOddPort,
});

std::string endPoint(const char* address, std::int64_t port) {
  return std::string(address).append(":").append(std::to_string(port));
}

std::string localEnd(const Connection& connection) {
  return endPoint(kServerA.address, connection.localPort);
}

std::string remoteEnd(const Connection& connection) {
  return endPoint(connection.remote.address, connection.remotePort);
}

NetworkConnectionStat record(const Connection& connection) {
  const RemoteEnd& remote = connection.remote;
  NetworkConnectionStat stat{.protocolName = connection.protocol,
                             .state = "ESTABLISHED",
                             .localAddress = localEnd(connection),
                             .remoteAddress = remoteEnd(connection),
                             .processName = {},
                             .username = {},
                             .pid = {},
                             .lat = remote.lat,
                             .lon = remote.lon,
                             .countryCode = remote.countryCode,
                             .countryName = remote.countryName,
                             .asnLabel = remote.asnLabel,
                             .threatScore = connection.threatScore,
                             .threatLabel = connection.threatLabel,
                             .direction = connection.direction};
  if (connection.process) {
    stat.processName = connection.process->executable;
    stat.username = connection.process->owner;
    stat.pid = connection.process->pid;
  }
  return stat;
}

// --- What is thought of them ---

PacketThreatAnalysis analysis(const Connection& connection, const char* classification,
                              const char* ipRangeInfo, const char* reasoning) {
  return {.connectionKey = "tcp-" + remoteEnd(connection) + "-" + localEnd(connection),
          .threatScore = connection.threatScore,
          .classification = classification,
          .ipRangeInfo = ipRangeInfo,
          .reasoning = reasoning};
}

std::vector<PacketThreatAnalysis> analyses() {
  return {analysis(kChineseProbe,
                   "suspicious",
                   "203.0.113.0/26, China Telecom backbone",
                   "Inbound SSH from Chinese telecom IP with no matching process owner. Consistent "
                   "with automated credential-stuffing probe."),
          analysis(kTorLogin,
                   "anonymiser",
                   "192.0.2.32/27, Tor exit relay",
                   "Source is a known Tor exit relay. Anonymised origin prevents attribution. "
                   "Treat as untrusted."),
          analysis(kRussianProbe,
                   "suspicious",
                   "198.51.100.128/25, Yandex LLC",
                   "Inbound SSH from Russian CDN provider with no owning process. Likely scanner "
                   "or bot infrastructure."),
          analysis(kOddPort,
                   "low risk",
                   "203.0.113.192/26, Linode",
                   "US-hosted cloud IP on non-standard port. No process name; worth monitoring but "
                   "low confidence of malice.")};
}

std::vector<NetworkInsight> insights() {
  return {
      {.id = "ssh-probe",
       .severity = AlertSeverity::warning,
       .title = "Suspicious SSH probe",
       .detail = "2 SSH connections from high-risk countries (CN, RU) with no matched process "
                 "name."},
      {.id = "tor-exit",
       .severity = AlertSeverity::warning,
       .title = "Tor exit node observed",
       .detail = std::string(kTorRelay.address) + " is a known Tor exit node. Review access logs."},
      {.id = "training-traffic",
       .severity = AlertSeverity::info,
       .title = "Training traffic normal",
       .detail = "Outbound ML API traffic to Google Cloud appears legitimate."}};
}

// --- SSH logins ---

struct Login {
  const Connection* connection;
  const char* id;
  const char* type;
  const char* words;  // of the log, before the name of the account
  const char* user;
  std::int64_t attempts;
  double lastAgo;  // seconds
  double tookSeconds;
};

// The oldest first, as a log has them.
constexpr auto kLogins = std::to_array<Login>({
    {.connection = &kCampusLogin,
     .id = "sample-ssh:campus",
     .type = "accepted_publickey",
     .words = "Accepted publickey for ",
     .user = "tulo",
     .attempts = 1,
     .lastAgo = 12180,
     .tookSeconds = 0},
    {.connection = &kTorLogin,
     .id = "sample-ssh:tor",
     .type = "invalid_user",
     .words = "Failed password for invalid user ",
     .user = "admin",
     .attempts = 3,
     .lastAgo = 1460,
     .tookSeconds = 42},
    {.connection = &kRussianProbe,
     .id = "sample-ssh:yandex",
     .type = "failed_password",
     .words = "Failed password for ",
     .user = "root",
     .attempts = 9,
     .lastAgo = 650,
     .tookSeconds = 118},
    {.connection = &kChineseProbe,
     .id = "sample-ssh:china-telecom",
     .type = "failed_password",
     .words = "Failed password for ",
     .user = "root",
     .attempts = 14,
     .lastAgo = 95,
     .tookSeconds = 201},
});

std::string logLine(const Login& login, const Moment& moment) {
  std::string line = iso8601Text(moment.ago(login.lastAgo)).value_or("-");
  line.append(" ").append(kServerA.name).append(" sshd: ").append(login.words).append(login.user);
  line.append(" from ").append(login.connection->remote.address);
  return line.append(" port ").append(std::to_string(login.connection->remotePort)).append(" ssh2");
}

SSHAuthEvent event(const Login& login, const Moment& moment) {
  const RemoteEnd& remote = login.connection->remote;
  return {.id = login.id,
          .type = login.type,
          .remoteIP = remote.address,
          .user = login.user,
          .port = login.connection->remotePort,
          .lat = remote.lat,
          .lon = remote.lon,
          .countryCode = remote.countryCode,
          .countryName = remote.countryName,
          .asnLabel = remote.asnLabel,
          .threatScore = login.connection->threatScore,
          .attemptCount = login.attempts,
          .firstSeen = moment.ago(login.lastAgo + login.tookSeconds),
          .lastSeen = moment.ago(login.lastAgo),
          .rawLine = logLine(login, moment)};
}

std::optional<std::string> dayOf(Timestamp time) {
  std::optional<std::string> text = iso8601Text(time);
  constexpr std::size_t kDateLength = 10;
  if (text) text->resize(kDateLength);
  return text;
}

RetentionStats retention(const Moment& moment) {
  constexpr std::int64_t kDays = 10;  // as long as the server has been up
  constexpr double kSecondsPerDay = 86400;
  return {.sizeBytes = 1843200,
          .capBytes = 52428800,
          .dayFileCount = kDays,
          .oldestDay = dayOf(moment.ago((kDays - 1) * kSecondsPerDay)),
          .newestDay = dayOf(moment.now),
          .path = "/var/lib/tavrine/ssh-events",
          .lastEvictedDay = {},
          .appendedThisCycle = 2};
}

std::vector<NetworkInterfaceStat> interfaces() {
  return {{.name = "eno1",
           .kind = "ethernet",
           .addressSummary = std::string(kServerA.address) + "/24",
           .rxBytes = 1284907123456,
           .txBytes = 318220447232,
           .rxPackets = 982114573,
           .txPackets = 401882316},
          {.name = "lo",
           .kind = "loopback",
           .addressSummary = "127.0.0.1/8",
           .rxBytes = 48211337216,
           .txBytes = 48211337216,
           .rxPackets = 31004418,
           .txPackets = 31004418}};
}

}  // namespace

NetworkSummary sampleNetwork(const Moment& moment) {
  NetworkSummary network{
      .serverName = kServerA.name,
      .generatedAt = moment.now,
      .totalRxBytes = 0,
      .totalTxBytes = 0,
      .interfaces = interfaces(),
      .connections = {},
      .insights = insights(),
      .aiSummary =
          "Demo server gpu-lab-a has 8 sampled connections. Two inbound SSH attempts from "
          "high-risk sources (China, Russia) with no process owner match \u2014 likely "
          "automated probes. One Tor exit-node connection warrants log review. Remaining "
          "traffic is legitimate campus, cloud, and NTP traffic.",
      .summarySource = "tavrine-network-rules",
      .packetAnalyses = analyses(),
      .sshEvents = {},
      .serverPublicIP = "198.51.100.2",
      .rawAuthLog = {},
      .sshLogStatus = "ok",
      .retention = retention(moment)};
  for (const NetworkInterfaceStat& interface : network.interfaces) {
    network.totalRxBytes += interface.rxBytes;
    network.totalTxBytes += interface.txBytes;
  }
  for (const Connection* const connection : kConnections) {
    network.connections.push_back(record(*connection));
  }
  for (const Login& login : kLogins) {
    network.sshEvents.push_back(event(login, moment));
    network.rawAuthLog.append(network.sshEvents.back().rawLine).append("\n");
  }
  return network;
}

}  // namespace tavrine::SampleData
