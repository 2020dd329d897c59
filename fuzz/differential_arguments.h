// The command line of the programs that make up inputs of their own: how many, and from which seed.
#pragma once

#include <charconv>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>

namespace tavrine::fuzz {

struct DifferentialArguments {
  std::size_t count;
  std::uint64_t seed = 1;
};

/// Reads `--COUNTED N` and `--seed S`; anything else gets a word about usage and no value.
inline std::optional<DifferentialArguments> readArguments(std::span<char* const> arguments,
                                                          const std::string& counted,
                                                          std::size_t defaultCount) {
  const auto reads = [](std::string_view text, auto& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc() && end == text.data() + text.size();
  };
  DifferentialArguments read{.count = defaultCount};
  for (std::size_t i = 1; i < arguments.size(); i += 2) {
    const std::string_view name = arguments[i];
    const std::string_view value = i + 1 < arguments.size() ? arguments[i + 1] : "";
    const bool isKnown = name == "--" + counted ? reads(value, read.count)
                                                : name == "--seed" && reads(value, read.seed);
    if (!isKnown) {
      std::fprintf(stderr, "usage: %s [--%s N] [--seed S]\n", arguments[0], counted.c_str());
      return std::nullopt;
    }
  }
  return read;
}

}  // namespace tavrine::fuzz
