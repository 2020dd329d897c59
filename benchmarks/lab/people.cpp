#include "benchmarks/lab/lab.h"

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace tavrine::benchmarks {

ConnectionSource Lab::connectionSource() {
  const Country& from = country();
  const std::string source = publicAddress();
  return {
      .source = source,
      .displayName = source,
      .kind = oneOf<ConnectionSourceKind>(),
      .vpnProbability = reading(0, 1, 100),
      .evidence = "address outside the campus ranges",
      .isCurrent = chance(30),
      .countryCode = std::string(from.code),
      .countryName = std::string(from.name),
      .countryFlag = std::string(from.flag),
      .networkLabel = mostly(3, networkOwner()),
  };
}

StudentUsage Lab::student() {
  const std::string name = user();
  // Sums of kibibytes in gibibytes have many decimals.
  constexpr double kKBPerGB = 1024.0 * 1024.0;
  StudentUsage student{
      .username = name,
      .processCount = count(1, 80),
      .trainingProcessCount = count(0, 8),
      .cpuPercent = reading(0, 3'200, 10),
      .memoryGB = static_cast<double>(count(1'000, 90'000'000)) / kKBPerGB,
      .gpuMemoryGB = reading(0, 80'000, 1) / 1024,
      .loginCount = count(0, 40),
      .lastLogin = mostly<std::string>(5, joined({"Thu Nov 13 0", number(below(10)), ":17"})),
      .activeCommands = {},
      .recentCommands = {},
      .connectionSources = {},
  };
  for (std::size_t c = 0; c < 3; ++c) student.activeCommands.push_back(commandLine(name));
  for (std::size_t c = 0; c < 5; ++c) {
    student.recentCommands.push_back(
        pick({"git pull", "ls -la", "nvidia-smi", "htop", "vim a.py"}));
  }
  for (std::size_t c = 0; c < 2; ++c) student.connectionSources.push_back(connectionSource());
  return student;
}

UsageSummary Lab::usage(std::size_t server) {
  constexpr std::size_t kStudents = 6;
  UsageSummary summary{
      .serverName = serverName(server),
      .generatedAt = secondsAgo(below(3'600)),
      .days = 7,
      .summary = prose(6),
      .summarySource = "rules",
      .students = {},
  };
  for (std::size_t s = 0; s < kStudents; ++s) summary.students.push_back(student());
  return summary;
}

TavrineAlert Lab::alert(std::size_t i) {
  return {
      .id = uuid(),
      .severity = oneOf<AlertSeverity>(),
      .title = "GPU memory nearly full",
      .message = prose(1),
      .serverName = serverName(i % kServers),
      .runName = mostly(2, joined({model(), "-", user()})),
      .timestamp = secondsAgo(below(86'400)),
  };
}

LabEvent Lab::labEvent(std::size_t i) {
  const std::string owner = user();
  return {
      .id = joined({"event-", number(nextID_++)}),
      .timestamp = secondsAgo(below(86'400)),
      .severity = oneOf<AlertSeverity>(),
      .category = pick({"process", "login", "gpu", "disk"}),
      .title = "A training process started",
      .message = prose(1),
      .serverName = serverName(i % kServers),
      .username = owner,
      .processPID = mostly(3, count(1'000, 4'190'000)),
      .command = mostly(3, commandLine(owner)),
  };
}

LabEventStoreSummary Lab::labEventStore(std::size_t server) {
  return {
      .serverName = serverName(server),
      .enabled = true,
      .path = "/var/lib/tavrine/events",
      .selectedDay = day(),
      .selectedDayEventCount = count(0, 4'000),
      .exportLimit = 5,
      .sizeBytes = bytes(),
      .estimatedYearBytes = bytes(),
      .eventCount = count(0, 4'000'000),
      .observedDays = count(1, 365),
      .alertThresholdBytes = 53'687'091'200,
      .alertRecipient = "lab-operations@example.org",
      .emailTemplate = "operations",
      .availableEmailTemplates = {"concise", "operations", "detailed"},
      .lastEmailAt = mostly(2, secondsAgo(below(864'000))),
      .lastEmailError = seldom<std::string>(8, "550 5.1.1 mailbox unavailable"),
      .lastTestEmailAt = mostly(2, secondsAgo(below(864'000))),
      .lastTestEmailError = std::nullopt,
      .smtpHost = "mail.example.org",
      .smtpPort = 587,
      .smtpFrom = joined({serverName(server), "@example.org"}),
      .smtpStartTLS = true,
      .error = std::nullopt,
  };
}

}  // namespace tavrine::benchmarks
