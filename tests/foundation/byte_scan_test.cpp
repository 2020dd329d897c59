#include <TavrineShared/foundation/byte_scan.h>

#include <gtest/gtest.h>

#include <array>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {
namespace {

using byte_scan::findLineBreak;
using byte_scan::findLineBreakScalar;
using byte_scan::lineBreakLength;
using byte_scan::skipASCII;
using byte_scan::skipASCIIScalar;

std::size_t asciiLength(std::string_view text) {
  return static_cast<std::size_t>(skipASCII(text.data(), text.data() + text.size()) - text.data());
}

std::size_t breakPlace(std::string_view text) {
  return static_cast<std::size_t>(findLineBreak(text.data(), text.data() + text.size()) -
                                  text.data());
}

TEST(SkipASCII, stopsAtTheFirstOtherByteWhereverItStands) {
  for (std::size_t length = 0; length < 70; ++length) {
    EXPECT_EQ(asciiLength(std::string(length, '\x7F')), length);
    for (std::size_t place = 0; place < length; ++place) {
      std::string text(length, '\0');
      text[place] = '\x80';
      text.back() = place + 1 < length ? '\xFF' : '\x80';
      EXPECT_EQ(asciiLength(text), place) << "of " << length;
      EXPECT_EQ(skipASCIIScalar(text.data(), text.data() + length), text.data() + place);
    }
  }
}

TEST(FindLineBreak, findsEveryBreakWhereverItStands) {
  for (const std::string_view lineBreak :
       {"\n", "\v", "\f", "\r", "\r\n", "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9"}) {
    for (std::size_t before = 0; before < 40; ++before) {
      for (std::size_t after = 0; after < 40; ++after) {
        const std::string text =
            std::string(before, 'x') + std::string(lineBreak) + std::string(after, 'y');
        ASSERT_EQ(breakPlace(text), before) << testing::PrintToString(lineBreak);
        const char* const place = text.data() + before;
        ASSERT_EQ(findLineBreakScalar(text.data(), text.data() + text.size()), place);
        ASSERT_EQ(static_cast<std::size_t>(lineBreakLength(place, text.data() + text.size())),
                  lineBreak.size());
      }
    }
  }
}

TEST(FindLineBreak, takesNoOtherByteForABreak) {
  for (int byte = 0; byte < 256; ++byte) {
    const std::string text(40, static_cast<char>(byte));
    const bool isBreak = byte >= 0x0A && byte <= 0x0D;
    EXPECT_EQ(breakPlace(text), isBreak ? 0 : text.size()) << "byte " << byte;
  }
}

TEST(FindLineBreak, takesNoNeighbourOfTheLongBreaksForOne) {
  for (const std::string_view other : {"\xC2\x84",
                                       "\xC2\x86",
                                       "\xC2\xA0",
                                       "\xE2\x80\xA7",
                                       "\xE2\x80\xAA\xE2\x80\xAC",
                                       "\xE2\x81\xA8",
                                       "\xE2\x80",
                                       "\xC2",
                                       "\xE2",
                                       "\xE2\x96\x88",
                                       "\xC3\x85",
                                       "\xE3\x80\xA8",
                                       "\x85",
                                       "\x80\xA8",
                                       "\xE2\x28\xA8",
                                       "\xE2\xC2\xA8"}) {
    std::string text;
    while (text.size() < 50) {
      EXPECT_EQ(breakPlace(text), text.size()) << testing::PrintToString(text);
      text += other;
    }
  }
}

TEST(FindLineBreak, looksAtNoByteBehindTheEnd) {
  for (const std::string_view cutBreak : {"\xE2\x80|\xA8", "\xE2|\x80\xA8", "\xC2|\x85", "|\n"}) {
    const std::size_t cut = cutBreak.find('|');
    for (std::size_t before = 0; before < 40; ++before) {
      const std::string text = std::string(before, 'x') + std::string(cutBreak.substr(0, cut)) +
                               std::string(cutBreak.substr(cut + 1));
      EXPECT_EQ(breakPlace(std::string_view(text).substr(0, before + cut)), before + cut);
    }
  }
}

TEST(LineBreakLength, looksAtNoByteBehindTheEnd) {
  const std::string_view text = "\r\n";
  EXPECT_EQ(lineBreakLength(text.data(), text.data() + 2), 2);
  EXPECT_EQ(lineBreakLength(text.data(), text.data() + 1), 1);
}

TEST(FindLineBreak, agreesWithItsScalarTwinOnAnyBytes) {
  // Mostly the bytes that breaks are made of, so that whole, cut and broken ones abound.
  constexpr std::string_view kBytes = "\n\v\f\r\x09\x0E\xC2\x85\xE2\x80\xA8\xA9xyz.";
  std::mt19937 random(1);
  for (int round = 0; round < 100'000; ++round) {
    std::string text(random() % 80, 'x');
    for (std::size_t i = random() % 40; i < text.size(); ++i) {
      text[i] = kBytes[random() % kBytes.size()];
    }
    const char* const end = text.data() + text.size();
    for (const char* p = text.data(); p != end; ++p) {
      ASSERT_EQ(findLineBreak(p, end), findLineBreakScalar(p, end)) << testing::PrintToString(text);
      ASSERT_EQ(skipASCII(p, end), skipASCIIScalar(p, end)) << testing::PrintToString(text);
    }
  }
}

TEST(Split, givesThePiecesThatItsTwinGives) {
  std::mt19937 random(5);
  for (int round = 0; round < 20'000; ++round) {
    std::string text(random() % 70, 'x');
    for (char& c : text) {
      if (random() % 6 == 0) c = ',';
    }
    std::vector<std::string_view> fast(1 + random() % 20);
    std::vector<std::string_view> slow(fast.size());
    fast.resize(byte_scan::split(text, ',', fast));
    slow.resize(byte_scan::splitScalar(text, ',', slow));
    ASSERT_EQ(fast, slow) << text;
  }
}

TEST(Split, keepsEmptyPiecesAndStopsWhereThereIsNoMoreRoom) {
  std::array<std::string_view, 3> pieces;
  EXPECT_EQ(byte_scan::split("", ',', pieces), 1U);
  EXPECT_EQ(pieces[0], "");
  EXPECT_EQ(byte_scan::split(",", ',', pieces), 2U);
  EXPECT_EQ(pieces[1], "");
  EXPECT_EQ(byte_scan::split("a,,b,c", ',', pieces), 3U);
  EXPECT_EQ(pieces[0], "a");
  EXPECT_EQ(pieces[1], "");
  EXPECT_EQ(pieces[2], "b");
}

}  // namespace
}  // namespace tavrine
