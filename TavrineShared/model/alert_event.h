// What happened in the lab: alerts, the events of a server's log, and where that log is kept.
#pragma once

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/foundation/uuid.h>
#include <TavrineShared/model/record.h>
#include <TavrineShared/model/status.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// An alert raised about a server or a training run.
struct TavrineAlert {
  UUID id;
  AlertSeverity severity;
  std::string title;
  std::string message;
  std::optional<std::string> serverName;  ///< the server it is about
  std::optional<std::string> runName;     ///< the training run it is about
  Timestamp timestamp;                    ///< when it was raised

  bool operator==(const TavrineAlert&) const = default;
  static const RecordTable& table();
};

/// One entry of a server's event log, as the agent recorded it.
struct LabEvent {
  std::string id;  ///< given by the agent, and kept under another server name
  Timestamp timestamp;
  AlertSeverity severity;
  std::string category;  ///< a word of the agent's choice
  std::string title;
  std::string message;
  std::string serverName;
  std::optional<std::string> username;
  std::optional<std::int64_t> processPID;
  std::optional<std::string> command;

  LabEvent withServerName(std::string_view name) const { return renamed(*this, name); }

  bool operator==(const LabEvent&) const = default;
  static const RecordTable& table();
};

/// The event store that an agent keeps on its server, and the e-mail that goes with it. In JSON
/// any key may be missing or null.
struct LabEventStoreSummary {
  std::string serverName;
  bool enabled;
  std::string path;                        ///< directory on the server
  std::optional<std::string> selectedDay;  ///< the day whose events this snapshot holds
  std::int64_t selectedDayEventCount;
  std::int64_t exportLimit;  ///< of events in one report; 5 when missing
  std::int64_t sizeBytes;
  std::int64_t estimatedYearBytes;  ///< what a year will come to
  std::int64_t eventCount;
  std::optional<std::int64_t> observedDays;
  std::int64_t alertThresholdBytes;  ///< the size that raises an alert; 50 GiB when missing
  std::string alertRecipient;        ///< e-mail address
  std::string emailTemplate;         ///< "operations" when missing
  /// "concise", "operations" and "detailed" when missing.
  std::vector<std::string> availableEmailTemplates;
  std::optional<Timestamp> lastEmailAt;
  std::optional<std::string> lastEmailError;
  std::optional<Timestamp> lastTestEmailAt;
  std::optional<std::string> lastTestEmailError;
  std::optional<std::string> smtpHost;
  std::optional<std::int64_t> smtpPort;
  std::optional<std::string> smtpFrom;
  std::optional<bool> smtpStartTLS;
  std::optional<std::string> error;  ///< what the agent met while it read the store

  /// Such as "gpu-01-/var/lib/events".
  std::string id() const { return serverName + "-" + path; }
  LabEventStoreSummary withServerName(std::string_view name) const { return renamed(*this, name); }

  bool operator==(const LabEventStoreSummary&) const = default;
  static const RecordTable& table();
};

}  // namespace tavrine
