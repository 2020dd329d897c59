#include <TavrineShared/foundation/ascii_folding.h>

#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/naive_text.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

using ascii_folding::fold;
using ascii_folding::hasFoldingLetter;
using ascii_folding::hasFoldingLetterScalar;

bool isASCII(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return (c & 0x80) == 0; });
}

// What Unicode says: every character outside ASCII that folds to nothing but ASCII.
const std::map<char32_t, std::string>& foldingLetters() {
  static const std::map<char32_t, std::string> letters = [] {
    std::map<char32_t, std::string> found;
    for (char32_t c = 0x80; c <= 0x10FFFF; ++c) {
      if (c >= 0xD800 && c <= 0xDFFF) continue;
      std::string folded;
      icu::UnicodeString(static_cast<UChar32>(c)).foldCase().toUTF8String(folded);
      if (isASCII(folded)) found[c] = folded;
    }
    return found;
  }();
  return letters;
}

TEST(ASCIIFolding, knowsTheLettersThatUnicodeFoldsToASCII) {
  EXPECT_EQ(foldingLetters().size(), 11U);
  for (const auto& [character, letters] : foldingLetters()) {
    const std::string text = naive::encodedUTF8(std::u32string(1, character));
    const bool isLeftOut = letters[0] == 'f';
    EXPECT_EQ(hasFoldingLetter(text), !isLeftOut) << letters;
    EXPECT_EQ(fold("x" + text + "y").text, "x" + (isLeftOut ? text : letters) + "y");
  }
}

TEST(ASCIIFolding, leavesAllElseAsItIs) {
  for (char32_t c = 1; c <= 0x10FFFF; ++c) {
    if ((c >= 0xD800 && c <= 0xDFFF) || foldingLetters().contains(c)) continue;
    const std::string text = naive::encodedUTF8(std::u32string(1, c));
    ASSERT_FALSE(hasFoldingLetter(text)) << std::hex << +c;
    ASSERT_FALSE(hasFoldingLetterScalar(text)) << std::hex << +c;
  }
  EXPECT_EQ(fold("LOSS \xFF\xC3").text, "LOSS \xFF\xC3");
}

TEST(ASCIIFolding, knowsWhereEachLetterIsFrom) {
  // long s, i, t, /, sharp s, step with a ligature
  const auto folded = fold(
      "\xC5\xBFi\xC3\x9F/\xEF\xAC\x86"
      "ep");
  EXPECT_EQ(folded.text, "siss/step");
  EXPECT_EQ(folded.origin, (std::vector<std::uint32_t>{0, 2, 3, 3, 5, 6, 6, 9, 10, 11}));
  EXPECT_EQ(fold("").origin, (std::vector<std::uint32_t>{0}));
}

TEST(ASCIIFolding, seesALetterAtEveryPlace) {
  for (const std::string_view letter :
       {"\xC3\x9F", "\xC5\xBF", "\xE1\xBA\x9E", "\xE2\x84\xAA", "\xEF\xAC\x85", "\xEF\xAC\x86"}) {
    for (std::size_t before = 0; before < 40; ++before) {
      for (std::size_t behind = 0; behind < 40; ++behind) {
        const std::string text =
            std::string(before, '\xC3') + std::string(letter) + std::string(behind, 'x');
        const ExactBytes whole(text);
        EXPECT_TRUE(hasFoldingLetter(whole.view()));
        const ExactBytes cut(text.substr(0, before + letter.size() - 1));
        EXPECT_FALSE(hasFoldingLetter(cut.view()));
      }
    }
  }
}

TEST(ASCIIFolding, agreesWithItsScalarTwin) {
  std::mt19937 random(3);
  constexpr std::string_view kBytes = "\xC3\xC5\xE1\xE2\xEF\x9F\xBF\xBA\x9E\x84\xAA\xAC\x85\x86xy";
  for (int i = 0; i < 50'000; ++i) {
    std::string text(random() % 60, 'x');
    for (char& c : text) {
      if (random() % 3 == 0) c = kBytes[random() % kBytes.size()];
    }
    ASSERT_EQ(hasFoldingLetter(text), hasFoldingLetterScalar(text)) << testing::PrintToString(text);
    const auto folded = fold(text);
    ASSERT_EQ(folded.origin.size(), folded.text.size() + 1);
    ASSERT_EQ(folded.origin.back(), text.size());
    ASSERT_EQ(folded.text == text, !hasFoldingLetterScalar(text));
    ASSERT_FALSE(hasFoldingLetter(folded.text) && folded.text.size() > text.size());
  }
}

}  // namespace
}  // namespace tavrine
