#include "companion/snapshot/tick_option.h"

#include <TavrineShared/demo/sample_data.h>
#include <TavrineShared/parsers/text_rules.h>

#include <CLI/CLI.hpp>

#include <optional>

namespace tavrine {

namespace {

std::optional<std::int64_t> tickNamed(const std::string& text) {
  const std::optional<std::int64_t> tick = readInteger(text);
  const bool isTick =
      tick && *tick >= SampleData::kSmallestTick && *tick <= SampleData::kLargestTick;
  return isTick ? tick : std::nullopt;
}

std::string knownTicks() {
  return std::to_string(SampleData::kSmallestTick) + " to " +
         std::to_string(SampleData::kLargestTick);
}

}  // namespace

CLI::Option* addTickOption(CLI::App& command, std::int64_t& tick, const std::string& what) {
  return command
      .add_option_function<std::string>(
          "--tick",
          [&tick](const std::string& text) { tick = *tickNamed(text); },
          what)
      ->check([](const std::string& text) {
        return tickNamed(text) ? ""
                               : "must be a whole number from " + knownTicks() + ", not " + text;
      })
      ->type_name("N");
}

}  // namespace tavrine
