// The settings of a configuration file, in TOML.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// What stands behind the name of a setting.
struct Setting {
  enum class Kind { text, number, truth, list };

  std::string name;
  Kind kind;
  std::vector<std::string> values;  ///< one, but for a list; a truth is "true" or "false"
  std::size_t line;                 ///< of the file, from 1

  bool operator==(const Setting& other) const = default;
};

/// In the order of their lines. Numbers are whole, lists hold texts, and there are no sections.
/// Throws `std::runtime_error` that begins with the line for all else, and for what is no TOML.
std::vector<Setting> settingsIn(std::string_view toml);

}  // namespace tavrine
