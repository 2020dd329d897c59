#include <TavrineShared/model/stable_id.h>

#include <cstddef>
#include <cstdint>

namespace tavrine {
namespace {

constexpr std::uint64_t kFNVBasis = 0xCBF29CE484222325;
constexpr std::uint64_t kFNVPrime = 0x00000100000001B3;
constexpr std::uint64_t kGoldenRatio = 0x9E3779B97F4A7C15;

}  // namespace

UUID StableID::uuid(std::string_view text) {
  std::uint64_t fnv = kFNVBasis;
  std::uint64_t mixed = kGoldenRatio;
  for (const char c : text) {
    const std::uint64_t byte = static_cast<unsigned char>(c);
    fnv = (fnv ^ byte) * kFNVPrime;
    mixed ^= kGoldenRatio + (mixed << 6) + (mixed >> 2) + byte;
  }

  UUID uuid;
  for (std::size_t i = 0; i < 8; ++i) {
    const std::size_t shift = 56 - 8 * i;
    uuid.bytes[i] = static_cast<std::uint8_t>(fnv >> shift & 0xFF);
    uuid.bytes[i + 8] = static_cast<std::uint8_t>(mixed >> shift & 0xFF);
  }
  uuid.bytes[6] = static_cast<std::uint8_t>(0x50 | (uuid.bytes[6] & 0x0F));
  uuid.bytes[8] = static_cast<std::uint8_t>(0x80 | (uuid.bytes[8] & 0x3F));
  return uuid;
}

}  // namespace tavrine
