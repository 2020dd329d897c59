#include <TavrineShared/model/stable_id.h>

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>
#include <unordered_set>

#include "tests/support/rows.h"

namespace tavrine {
namespace {

struct Row {
  const char* name;
  std::string text;
  std::string_view uuid;
};

void PrintTo(const Row& row, std::ostream* out) { *out << testing::PrintToString(row.text); }

class StableIDOf : public testing::TestWithParam<Row> {};

TEST_P(StableIDOf, neverChanges) {
  const auto& [name, text, want] = GetParam();
  EXPECT_EQ(StableID::uuid(text).text(), want);
}

// Worked out apart from this code, with integers of any size.
INSTANTIATE_TEST_SUITE_P(
    Texts, StableIDOf,
    testing::Values(
        Row{"empty", "", "CBF29CE4-8422-5325-9E37-79B97F4A7C15"},
        Row{"oneLetter", "a", "AF63DC4C-8601-5C8C-8D94-BF3ECEF65CAE"},
        Row{"nextLetter", "b", "AF63DF4C-8601-51A5-8D94-BF3ECEF65CA9"},
        Row{"nul", std::string(1, '\0'), "AF63BD4C-8601-57DF-8D94-BF3ECEF65C4F"},
        Row{"name", "demo-run-1", "37A67A22-F94B-57D8-B7B6-628E3117F0CB"},
        Row{"nextName", "demo-run-2", "37A67D22-F94B-5CF1-B7B6-628E3117F0CA"},
        Row{"sentence",
            "The quick brown fox jumps over the lazy dog",
            "F3F9B7F5-E7E4-5110-BEEF-FEBCB243191A"},
        Row{"outsideASCII",
            "Z\u00FCrich \u2014 \u6771\u4EAC",
            "D9C3BC9D-4EE2-5D0C-8E50-783212E74C59"},
        Row{"notUTF8", "\xFF\xFE", "0A99C807-B6F6-55B0-BB58-C6023E693A2A"},
        Row{"thousandLetters", std::string(1000, 'x'), "E1ADD1D9-3134-52C5-8D56-51584D884F62"}),
    rowName);

TEST(StableID, isOfVersionFiveAndDiffersForEveryText) {
  std::unordered_set<UUID> seen;
  for (int i = 0; i < 100'000; ++i) {
    const UUID uuid = StableID::uuid("record/" + std::to_string(i));
    ASSERT_EQ(uuid.bytes[6] >> 4, 5) << i;
    ASSERT_EQ(uuid.bytes[8] >> 6, 2) << i;
    ASSERT_TRUE(seen.insert(uuid).second) << i;
  }
}

TEST(StableID, differsWhereverOneByteDoes) {
  const std::string text = "server-01/gpu-3";
  for (std::size_t i = 0; i < text.size(); ++i) {
    for (int bit = 0; bit < 8; ++bit) {
      std::string other = text;
      other[i] = static_cast<char>(other[i] ^ (1 << bit));
      EXPECT_NE(StableID::uuid(other), StableID::uuid(text)) << i << ", bit " << bit;
    }
  }
}

}  // namespace
}  // namespace tavrine
