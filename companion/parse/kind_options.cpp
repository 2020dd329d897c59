#include "companion/parse/kind_options.h"

#include "companion/shell/host.h"

#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/parsers/text_rules.h>

#include <CLI/CLI.hpp>

#include <chrono>
#include <cmath>

namespace tavrine {

namespace {

constexpr double kSectorSizeBytes = 512;
constexpr double kIntervalSeconds = 1;

std::optional<double> positiveNumber(const std::string& text) {
  const std::optional<double> number = readFloat(text);
  return number && *number > 0 && std::isfinite(*number) ? number : std::nullopt;
}

void addPositive(CLI::App& command, const std::string& name, std::optional<double>& value,
                 const std::string& what) {
  command
      .add_option_function<std::string>(
          name,
          [&value](const std::string& text) { value = positiveNumber(text); },
          what)
      ->check([](const std::string& text) {
        return positiveNumber(text) ? "" : "must be a number above 0, not " + text;
      })
      ->type_name("N");
}

void addServer(CLI::App& command, GivenKindOptions& given) {
  command.add_option("--server", given.server, "the server that printed the input (this host)")
      ->type_name("NAME");
}

void addCapturedAt(CLI::App& command, GivenKindOptions& given) {
  command
      .add_option_function<std::string>(
          "--captured-at",
          [&given](const std::string& text) { given.capturedAt = timeFromArgument(text); },
          "when it did (now): seconds since 1970, or a time\n"
          "such as 2026-11-15T17:48:25Z")
      ->check([](const std::string& text) {
        return timeFromArgument(text)
                   ? ""
                   : "must be seconds since 1970 or a time such as 2026-11-15T17:48:25Z, not " +
                         text;
      })
      ->type_name("TIME");
}

}  // namespace

std::optional<Timestamp> timeFromArgument(const std::string& text) {
  std::optional<Timestamp> time = timestampFromISO8601(text);
  if (!time) {
    const std::optional<double> seconds = readFloat(text);
    if (seconds) time = Timestamp(std::chrono::duration<double>(*seconds));
  }
  return time && iso8601Text(*time) ? time : std::nullopt;
}

KindOptions GivenKindOptions::resolved() const {
  return {
      .server = server ? repairedUTF8(*server) : hostName(),
      .capturedAt = capturedAt.value_or(currentTime()),
      .sectorSizeBytes = sectorSizeBytes.value_or(kSectorSizeBytes),
      .intervalSeconds = intervalSeconds.value_or(kIntervalSeconds),
  };
}

void addKindOptions(CLI::App& command, std::span<const KindOption> options,
                    GivenKindOptions& given) {
  for (const KindOption option : options) {
    switch (option) {
      case KindOption::server:
        addServer(command, given);
        break;
      case KindOption::capturedAt:
        addCapturedAt(command, given);
        break;
      case KindOption::sectorSize:
        addPositive(command,
                    "--sector-size",
                    given.sectorSizeBytes,
                    "bytes in a sector of the statistics (512)");
        break;
      case KindOption::interval:
        addPositive(command,
                    "--interval",
                    given.intervalSeconds,
                    "seconds from the first sample to the second (1)");
        break;
    }
  }
}

}  // namespace tavrine
