#include <TavrineShared/foundation/keyword_table.h>

#include <gtest/gtest.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/rows.h"

namespace tavrine {
namespace {

using Rank = std::optional<std::size_t>;

const std::vector<Keyword> kKeywords = {{"torchrun", 1},
                                        {"trainer", 1},
                                        {"cuda", 2},
                                        {"ray::", 3},
                                        {"kernel", 3},
                                        {"jupyter", 4},
                                        {"labi", 5},
                                        {"ki", 6}};

// Lower-case all of it, then look for each keyword.
Rank naiveRank(const std::vector<std::string_view>& texts) {
  Rank lowest;
  for (const std::string_view text : texts) {
    std::string lower;
    icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())))
        .toLower(icu::Locale::getRoot())
        .toUTF8String(lower);
    for (const Keyword& keyword : kKeywords) {
      const bool isThere = lower.find(keyword.text) != std::string::npos;
      if (isThere && (!lowest || keyword.rank < *lowest)) lowest = keyword.rank;
    }
  }
  return lowest;
}

struct KeywordRow {
  const char* name;
  std::vector<std::string_view> texts;
  Rank rank;
};
void PrintTo(const KeywordRow& row, std::ostream* out) { *out << row.name; }

class KeywordRank : public testing::TestWithParam<KeywordRow> {};

TEST_P(KeywordRank, isTheLowestOfAllKeywordsThere) {
  const KeywordTable table(kKeywords);
  EXPECT_EQ(table.lowestRank(GetParam().texts), GetParam().rank);
  EXPECT_EQ(naiveRank(GetParam().texts), GetParam().rank);
}

INSTANTIATE_TEST_SUITE_P(Texts, KeywordRank,
                         rows<KeywordRow>({
                             {"noText", {}, {}},
                             {"emptyText", {""}, {}},
                             {"none", {"sleep 10"}, {}},
                             {"one", {"/usr/bin/cuda-gdb"}, 2},
                             {"insideAWord", {"pretrainers"}, 1},
                             {"anyCase", {"JuPyTeR"}, 4},
                             {"theLowestWhereverItStands", {"jupyter ray:: trainer cuda"}, 1},
                             {"inTheSecondText", {"jupyter", "torchrun"}, 1},
                             {"notAcrossTexts", {"cu", "da"}, {}},
                             {"kelvinSignIsK",
                              {"\xE2\x84\xAA"
                               "ERNEL"},
                              3},
                             {"kelvinSignBehindAKeyword",
                              {"jupyter \xE2\x84\xAA"
                               "ernel"},
                              3},
                             {"kelvinSignBehindTheBest", {"trainer \xE2\x84\xAA"}, 1},
                             {"kelvinSignInTheFirstText", {"\xE2\x84\xAA", "jupyter"}, 4},
                             {"dottedCapitalIEndsAWord", {"LAB\xC4\xB0"}, 5},
                             {"dottedCapitalIInsideAWord", {"TRA\xC4\xB0NER"}, {}},
                             {"bothAtOnce", {"\xE2\x84\xAA\xC4\xB0"}, 6},
                             {"longSIsNoS", {"tor\xC5\xBF"}, {}},
                             {"illFormed", {"\xE2\x84trainer\xC4"}, 1},
                             {"illFormedAndKelvinSign",
                              {"\xFF\xE2\x84\xAA"
                               "ernel\xE2"},
                              3},
                             {"nul", {std::string_view("\0cuda", 5)}, 2},
                         }),
                         rowName);

TEST(KeywordTable, withoutKeywordsFindsNone) {
  const KeywordTable table({});
  EXPECT_EQ(table.lowestRank("cuda \xE2\x84\xAA"), std::nullopt);
}

TEST(KeywordTable, agreesWithItsNaiveTwin) {
  const KeywordTable table(kKeywords);
  std::mt19937 random(11);
  const std::vector<std::string_view> parts = {
      "torch",    "run",  "train", "er", "cuda",         "ray::",    "kern",     "el",
      "jupyter",  "lab",  "i",     "k",  "\xE2\x84\xAA", "\xC4\xB0", "\xC4\xB1", "\xCE\xA3",
      "\xE2\x84", "\xFF", " ",     "K",  "LAB",          "/"};
  for (int i = 0; i < 20'000; ++i) {
    std::vector<std::string> texts(1 + random() % 2);
    for (std::string& text : texts) {
      for (std::size_t n = random() % 8; n > 0; --n) text += parts[random() % parts.size()];
    }
    const std::vector<std::string_view> views(texts.begin(), texts.end());
    ASSERT_EQ(table.lowestRank(views), naiveRank(views)) << testing::PrintToString(texts);
  }
}

}  // namespace
}  // namespace tavrine
