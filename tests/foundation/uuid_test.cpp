#include <TavrineShared/foundation/uuid.h>

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>
#include <unordered_set>

#include "tests/support/rows.h"

namespace tavrine {
namespace {

using namespace std::string_view_literals;

constexpr UUID kSample{{0x0F,
                        0x8F,
                        0xAD,
                        0x5B,
                        0xD9,
                        0xCB,
                        0x46,
                        0x9F,
                        0xA1,
                        0x65,
                        0x70,
                        0x86,
                        0x77,
                        0x28,
                        0x95,
                        0x0E}};
constexpr std::string_view kSampleText = "0F8FAD5B-D9CB-469F-A165-70867728950E";

struct Row {
  const char* name;
  std::string_view text;
  bool isUUID;
};

void PrintTo(const Row& row, std::ostream* out) { *out << testing::PrintToString(row.text); }

class UUIDFromText : public testing::TestWithParam<Row> {};

TEST_P(UUIDFromText, takesTheCanonicalFormInEitherCaseOnly) {
  const auto& [name, text, isUUID] = GetParam();
  EXPECT_EQ(UUID::fromText(text), isUUID ? std::optional(kSample) : std::nullopt);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, UUIDFromText,
    testing::Values(Row{"upperCase", kSampleText, true},
                    Row{"lowerCase", "0f8fad5b-d9cb-469f-a165-70867728950e", true},
                    Row{"mixedCase", "0f8FAd5b-D9cB-469f-A165-70867728950e", true},
                    Row{"empty", "", false},
                    Row{"noHyphens", "0F8FAD5BD9CB469FA16570867728950E", false},
                    Row{"braces", "{0F8FAD5B-D9CB-469F-A165-70867728950E}", false},
                    Row{"urn", "urn:uuid:0F8FAD5B-D9CB-469F-A165-70867728950E", false},
                    Row{"leadingBlank", " 0F8FAD5B-D9CB-469F-A165-70867728950E", false},
                    Row{"trailingBlank", "0F8FAD5B-D9CB-469F-A165-70867728950E ", false},
                    Row{"trailingNul", "0F8FAD5B-D9CB-469F-A165-70867728950E\0"sv, false},
                    Row{"digitShort", "0F8FAD5B-D9CB-469F-A165-70867728950", false},
                    Row{"digitLong", "0F8FAD5B-D9CB-469F-A165-70867728950E0", false},
                    Row{"notHexadecimal", "0F8FAD5B-D9CB-469F-A165-70867728950G", false},
                    Row{"hyphenMoved", "0F8FAD5-BD9CB-469F-A165-70867728950E", false},
                    Row{"otherSeparator", "0F8FAD5B_D9CB_469F_A165_70867728950E", false},
                    Row{"thirtySixHyphens", "------------------------------------", false}),
    rowName);

TEST(UUIDFromText, takesNoByteOutOfPlace) {
  for (std::size_t i = 0; i < kSampleText.size(); ++i) {
    for (int byte = 0; byte < 256; ++byte) {
      std::string text(kSampleText);
      text[i] = static_cast<char>(byte);
      const bool fits = kSampleText[i] == '-'
                            ? byte == '-'
                            : (byte >= '0' && byte <= '9') || (byte >= 'A' && byte <= 'F') ||
                                  (byte >= 'a' && byte <= 'f');
      EXPECT_EQ(UUID::fromText(text).has_value(), fits) << testing::PrintToString(text);
    }
  }
}

TEST(UUIDText, isUpperCase) {
  EXPECT_EQ(kSample.text(), kSampleText);
  EXPECT_EQ(UUID{}.text(), "00000000-0000-0000-0000-000000000000");
}

TEST(UUIDText, isWrittenOverTheGivenCharacters) {
  std::array<char, UUID::kTextLength> out{};
  kSample.writeText(out);
  EXPECT_EQ(std::string_view(out.data(), out.size()), kSampleText);
}

TEST(UUIDText, isReadBackForEveryByteInEveryPlace) {
  for (std::size_t i = 0; i < 16; ++i) {
    for (int byte = 0; byte < 256; ++byte) {
      UUID uuid = kSample;
      uuid.bytes[i] = static_cast<std::uint8_t>(byte);
      EXPECT_EQ(UUID::fromText(uuid.text()), uuid);
    }
  }
}

TEST(UUIDHash, isEqualForEqualAndNotForNearlyEqual) {
  std::unordered_set<UUID> seen = {kSample};
  EXPECT_TRUE(seen.contains(*UUID::fromText("0f8fad5b-d9cb-469f-a165-70867728950e")));
  std::unordered_set<std::size_t> hashes = {std::hash<UUID>{}(kSample)};
  for (std::size_t i = 0; i < 16; ++i) {
    UUID uuid = kSample;
    uuid.bytes[i] ^= 1;
    EXPECT_NE(uuid, kSample);
    EXPECT_FALSE(seen.contains(uuid));
    hashes.insert(std::hash<UUID>{}(uuid));
  }
  EXPECT_EQ(hashes.size(), 17U);
}

}  // namespace
}  // namespace tavrine
