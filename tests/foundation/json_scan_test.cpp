#include <TavrineShared/foundation/json_scan.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <random>
#include <string>
#include <string_view>

#include "tests/support/rows.h"

namespace tavrine {
namespace {

class JSONScan : public testing::Test {
 protected:
  static void expectTheTwinsToAgree(std::string_view bytes) {
    const char* const begin = bytes.data();
    const char* const end = begin + bytes.size();
    ASSERT_EQ(json_scan::plainTextEnd(begin, end), json_scan::plainTextEndScalar(begin, end))
        << testing::PrintToString(bytes);
    ASSERT_EQ(json_scan::blanksEnd(begin, end), json_scan::blanksEndScalar(begin, end))
        << testing::PrintToString(bytes);
  }
};

TEST_F(JSONScan, stopsAtEveryByteThatEndsPlainTextAndAtNoOther) {
  for (int byte = 0; byte < 256; ++byte) {
    const bool ends = byte < 0x20 || byte == '"' || byte == '\\' || byte >= 0x80;
    for (std::size_t place = 0; place < 34; ++place) {
      std::string text(34, 'x');
      text[place] = static_cast<char>(byte);
      const char* const begin = text.data();
      const char* const want = begin + (ends ? place : text.size());
      EXPECT_EQ(json_scan::plainTextEnd(begin, begin + text.size()), want) << byte;
      EXPECT_EQ(json_scan::plainTextEndScalar(begin, begin + text.size()), want) << byte;
    }
  }
}

TEST_F(JSONScan, stopsAtEveryByteThatIsNoBlank) {
  for (int byte = 0; byte < 256; ++byte) {
    for (std::size_t place = 0; place < 34; ++place) {
      std::string text(34, ' ');
      text[place] = static_cast<char>(byte);
      const char* const begin = text.data();
      const char* const want = begin + (byte == ' ' ? text.size() : place);
      EXPECT_EQ(json_scan::blanksEnd(begin, begin + text.size()), want) << byte;
      EXPECT_EQ(json_scan::blanksEndScalar(begin, begin + text.size()), want) << byte;
    }
  }
}

TEST_F(JSONScan, agreesWithItsTwinOnRandomBytesAtAllAlignments) {
  std::mt19937 random(7);
  for (int round = 0; round < 200; ++round) {
    // Mostly bytes over which the scans run on, so that they get past their first block.
    std::string bytes(96, '\0');
    for (char& c : bytes) {
      c = static_cast<char>(random() % 40 == 0 ? random() % 256 : (round % 2 == 0 ? ' ' : 'x'));
    }
    for (std::size_t start = 0; start < 16; ++start) {
      for (std::size_t length = 0; start + length <= bytes.size(); ++length) {
        expectTheTwinsToAgree(std::string_view(bytes).substr(start, length));
      }
    }
  }
}

TEST_F(JSONScan, findsTheEndOfAnIndentationWhateverItGuesses) {
  for (std::size_t width = 0; width <= 40; ++width) {
    for (std::size_t behind = 0; behind <= 20; ++behind) {
      const ExactBytes bytes(std::string(width, ' ') + std::string(behind, 'x'));
      const char* const begin = bytes.view().data();
      const char* const end = begin + bytes.view().size();
      for (std::ptrdiff_t first = 0; first < 16; ++first) {
        std::ptrdiff_t guess = first;
        ASSERT_EQ(json_scan::indentationEnd(begin, end, guess), begin + width) << first;
        // The next line is as wide, with what has been learned from this one.
        ASSERT_GE(guess, 0);
        ASSERT_LT(guess, 16);
        ASSERT_EQ(json_scan::indentationEnd(begin, end, guess), begin + width) << first;
      }
    }
  }
}

TEST_F(JSONScan, comparesEveryByte) {
  std::mt19937 random(8);
  for (std::size_t length = 0; length <= 70; ++length) {
    std::string text(length, '\0');
    for (char& c : text) c = static_cast<char>(random() % 256);
    const ExactBytes bytes(text);
    EXPECT_TRUE(json_scan::equal(bytes.view().data(), text));
    for (std::size_t place = 0; place < length; ++place) {
      for (const int flipped : {0x01, 0x20, 0x80, 0xFF}) {
        std::string other = text;
        other[place] = static_cast<char>(other[place] ^ flipped);
        EXPECT_FALSE(json_scan::equal(bytes.view().data(), other)) << length << ' ' << place;
      }
    }
  }
}

TEST_F(JSONScan, readsNothingBehindTheEnd) {
  for (std::size_t length = 0; length < 70; ++length) {
    for (const char c : {'x', ' '}) {
      const ExactBytes bytes(std::string(length, c));
      expectTheTwinsToAgree(bytes.view());
    }
  }
  EXPECT_EQ(json_scan::plainTextEnd(nullptr, nullptr), nullptr);
  EXPECT_EQ(json_scan::blanksEnd(nullptr, nullptr), nullptr);
}

}  // namespace
}  // namespace tavrine
