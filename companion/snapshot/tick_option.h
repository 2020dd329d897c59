// The option that names a moment of the demo lab.
#pragma once

#include <cstdint>
#include <string>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tavrine {

/// In the middle of things, and not one of the ticks with a stall.
inline constexpr std::int64_t kUsualTick = 60;

/// Adds `--tick`, described by `what`. Sets `tick` only when it is used, and takes only those that
/// the library takes: all others would end the process.
CLI::Option* addTickOption(CLI::App& command, std::int64_t& tick, const std::string& what);

}  // namespace tavrine
