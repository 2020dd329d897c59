// The options that only some kinds have, as the command line gives them.
#pragma once

#include "companion/parse/kinds.h"

#include <optional>
#include <span>
#include <string>

namespace CLI {
class App;
}  // namespace CLI

namespace tavrine {

struct GivenKindOptions {
  std::optional<std::string> server;
  std::optional<Timestamp> capturedAt;
  std::optional<double> sectorSizeBytes;
  std::optional<double> intervalSeconds;

  /// With the defaults for what was not given: this host, now, the kernel's sectors of 512 bytes
  /// and the second between the samples that `query` takes.
  KindOptions resolved() const;
};

/// Adds those of a kind's row to its command. A value that makes no sense is wrong usage.
void addKindOptions(CLI::App& command, std::span<const KindOption> options,
                    GivenKindOptions& given);

/// A time as the command line has it: seconds since 1970, or as in 2026-11-15T17:48:25Z. No value
/// for anything else, nor for a time outside the years 0000 to 9999.
std::optional<Timestamp> timeFromArgument(const std::string& text);

}  // namespace tavrine
