// How each user used a server over some days, and from where they connected.
#pragma once

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/model/record.h>
#include <TavrineShared/model/vocabulary.h>

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// What kind of place a user connected from.
class ConnectionSourceKind : public Vocabulary<ConnectionSourceKind> {
 public:
  enum class Case : std::uint8_t {
    campusNetwork,
    privateNetwork,
    vpnLikely,
    publicInternet,
    localSession,
    tmuxSession,
    unknown
  };
  static const ConnectionSourceKind campusNetwork, privateNetwork, vpnLikely, publicInternet,
      localSession, tmuxSession, unknown;
  constexpr ConnectionSourceKind(Case value = Case::campusNetwork) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {Case::campusNetwork, "campus_network", "Campus"},
      {Case::privateNetwork, "private_network", "Private"},
      {Case::vpnLikely, "vpn_likely", "VPN likely"},
      {Case::publicInternet, "public_internet", "Public"},
      {Case::localSession, "local_session", "Local"},
      {Case::tmuxSession, "tmux_session", "tmux"},
      {Case::unknown, "unknown", "Unknown"},
  });

 private:
  Case value_;
};
inline constexpr ConnectionSourceKind ConnectionSourceKind::campusNetwork{Case::campusNetwork};
inline constexpr ConnectionSourceKind ConnectionSourceKind::privateNetwork{Case::privateNetwork};
inline constexpr ConnectionSourceKind ConnectionSourceKind::vpnLikely{Case::vpnLikely};
inline constexpr ConnectionSourceKind ConnectionSourceKind::publicInternet{Case::publicInternet};
inline constexpr ConnectionSourceKind ConnectionSourceKind::localSession{Case::localSession};
inline constexpr ConnectionSourceKind ConnectionSourceKind::tmuxSession{Case::tmuxSession};
inline constexpr ConnectionSourceKind ConnectionSourceKind::unknown{Case::unknown};

/// One place from which a user connected.
struct ConnectionSource {
  std::string source;       ///< an address, a terminal or a multiplexer's name
  std::string displayName;  ///< to show in its place
  ConnectionSourceKind kind;
  double vpnProbability;  ///< that it is the exit of a VPN, 0 to 1
  std::string evidence;   ///< why it was classified so
  bool isCurrent;         ///< connected now
  std::optional<std::string> countryCode;
  std::optional<std::string> countryName;
  std::optional<std::string> countryFlag;
  std::optional<std::string> networkLabel;  ///< name of the network

  /// Such as "10.1.2.3-campus_network-true"; a present and a past login from one place differ.
  std::string id() const;

  bool operator==(const ConnectionSource&) const = default;
  static const RecordTable& table();
};

/// One user's line in a summary. In JSON its three lists are lenient.
struct StudentUsage {
  std::string username;
  std::int64_t processCount;
  std::int64_t trainingProcessCount;  ///< of these
  double cpuPercent;                  ///< above 100 on several cores
  double memoryGB;                    ///< of the host, GiB
  double gpuMemoryGB;                 ///< GiB
  std::int64_t loginCount;
  std::optional<std::string> lastLogin;  ///< as the login history prints it
  std::vector<std::string> activeCommands;
  std::vector<std::string> recentCommands;
  std::vector<ConnectionSource> connectionSources;

  bool operator==(const StudentUsage&) const = default;
  static const RecordTable& table();
};

/// How one server was used. In JSON one bad entry of `students` fails the whole summary: a summary
/// that silently lacks a user would be wrong.
struct UsageSummary {
  std::string serverName;
  Timestamp generatedAt;
  std::int64_t days;          ///< length of the period
  std::string summary;        ///< in prose
  std::string summarySource;  ///< what wrote the prose: a set of rules, or a model
  std::vector<StudentUsage> students;

  /// Such as "gpu-01-7" for seven days.
  std::string id() const { return serverName + "-" + std::to_string(days); }
  UsageSummary withServerName(std::string_view name) const { return renamed(*this, name); }

  bool operator==(const UsageSummary&) const = default;
  static const RecordTable& table();
};

}  // namespace tavrine
