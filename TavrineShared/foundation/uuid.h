// A universally unique identifier and its 36-character text.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>

namespace tavrine {

/// Compared by its bytes; whether it is one of any version is not asked.
struct UUID {
  /// The length of the text form; it never varies.
  static constexpr std::size_t kTextLength = 36;

  std::array<std::uint8_t, 16> bytes;  ///< in the order of the text

  /// Reads the canonical form, 8-4-4-4-12 hexadecimal digits of either case between hyphens. No
  /// value for anything else: braces, blanks, missing hyphens. Any version and variant is fine.
  static std::optional<UUID> fromText(std::string_view text);

  /// The canonical form with upper-case digits, such as 0F8FAD5B-D9CB-469F-A165-70867728950E.
  std::string text() const;
  /// The same, written over the characters given, without allocating.
  void writeText(std::span<char, kTextLength> out) const;

  bool operator==(const UUID&) const = default;
};

}  // namespace tavrine

template <>
struct std::hash<tavrine::UUID> {
  std::size_t operator()(const tavrine::UUID& uuid) const noexcept;
};
