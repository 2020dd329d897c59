// The command line of the programs that make up inputs of their own: how many or for how long, and
// from which seed.
#pragma once

#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

namespace tavrine::fuzz {

struct DifferentialArguments {
  using Clock = std::chrono::steady_clock;

  std::size_t count;
  std::uint64_t seed = 1;
  Clock::time_point end = Clock::time_point::max();

  /// Whether to make up one more. The first one always is, or nothing would have been tried.
  bool goOn(std::size_t made) const { return made == 0 || (made < count && Clock::now() < end); }
};

/// Reads `--COUNTED N`, `--seconds N` and `--seed S`; whatever limit is met first ends the run, and
/// the default count holds only when neither is given. Anything else, and a limit of 0, gets a word
/// about usage and no value.
inline std::optional<DifferentialArguments> readArguments(std::span<char* const> arguments,
                                                          const std::string& counted,
                                                          std::size_t defaultCount) {
  const auto reads = [](std::string_view text, auto& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
  };
  constexpr std::uint32_t kForever = std::numeric_limits<std::uint32_t>::max();
  std::optional<std::size_t> count;
  std::uint32_t seconds = kForever;
  DifferentialArguments read{.count = defaultCount};
  for (std::size_t i = 1; i < arguments.size(); i += 2) {
    const std::string_view name = arguments[i];
    const std::string_view value = i + 1 < arguments.size() ? arguments[i + 1] : "";
    const bool isKnown = name == "--" + counted ? reads(value, count.emplace()) && *count > 0
                         : name == "--seconds"  ? reads(value, seconds) && seconds > 0
                                                : name == "--seed" && reads(value, read.seed);
    if (!isKnown) {
      std::fprintf(stderr,
                   "usage: %s [--%s N] [--seconds N] [--seed S]\n",
                   arguments[0],
                   counted.c_str());
      return std::nullopt;
    }
  }
  if (seconds != kForever) {
    read.end = DifferentialArguments::Clock::now() + std::chrono::seconds(seconds);
    read.count = std::numeric_limits<std::size_t>::max();
  }
  if (count) read.count = *count;
  return read;
}

}  // namespace tavrine::fuzz
