#include <TavrineShared/foundation/uuid.h>

namespace tavrine {
namespace {

constexpr std::string_view kDigits = "0123456789ABCDEF";
constexpr std::uint8_t kNoDigit = 0xFF;

/// The value of each byte as a hexadecimal digit, or kNoDigit.
constexpr std::array<std::uint8_t, 256> kDigitValues = [] {
  std::array<std::uint8_t, 256> values{};
  values.fill(kNoDigit);
  for (std::uint8_t value = 0; value < 16; ++value) {
    const auto upper = static_cast<unsigned char>(kDigits[value]);
    values[upper] = value;
    if (value >= 10) values[upper + ('a' - 'A')] = value;
  }
  return values;
}();

constexpr std::array<std::size_t, 4> kHyphens = {8, 13, 18, 23};
/// Where the two digits of each byte stand in the text.
constexpr std::array<std::size_t, 16> kBytePlaces = {
    0, 2, 4, 6, 9, 11, 14, 16, 19, 21, 24, 26, 28, 30, 32, 34};

}  // namespace

std::optional<UUID> UUID::fromText(std::string_view text) {
  if (text.size() != kTextLength) return std::nullopt;
  bool ok = true;
  for (const std::size_t place : kHyphens) ok &= text[place] == '-';
  UUID uuid;
  for (std::size_t i = 0; i < uuid.bytes.size(); ++i) {
    const unsigned high = kDigitValues[static_cast<unsigned char>(text[kBytePlaces[i]])];
    const unsigned low = kDigitValues[static_cast<unsigned char>(text[kBytePlaces[i] + 1])];
    ok &= (high | low) < 16;
    uuid.bytes[i] = static_cast<std::uint8_t>((high << 4 | low) & 0xFF);
  }
  if (!ok) return std::nullopt;
  return uuid;
}

std::string UUID::text() const {
  std::string text(kTextLength, '\0');
  writeText(std::span<char, kTextLength>(text.data(), kTextLength));
  return text;
}

void UUID::writeText(std::span<char, kTextLength> out) const {
  for (const std::size_t place : kHyphens) out[place] = '-';
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    out[kBytePlaces[i]] = kDigits[bytes[i] >> 4];
    out[kBytePlaces[i] + 1] = kDigits[bytes[i] & 0x0F];
  }
}

}  // namespace tavrine

std::size_t std::hash<tavrine::UUID>::operator()(const tavrine::UUID& uuid) const noexcept {
  return std::hash<std::string_view>{}(
      {reinterpret_cast<const char*>(uuid.bytes.data()), uuid.bytes.size()});
}
