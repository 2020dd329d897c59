#include <TavrineShared/foundation/literal_scanner.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/rows.h"

namespace tavrine {
namespace {

using Literals = std::vector<std::string_view>;
using Occurrence = std::pair<std::size_t, std::size_t>;  // where, and of which literal

std::vector<Occurrence> found(const Literals& literals, std::string_view text) {
  const LiteralScanner scanner(literals);
  const ExactBytes exact(text);
  std::vector<Occurrence> occurrences;
  scanner.scan(exact.view(), [&](std::size_t literal, std::size_t offset) {
    occurrences.emplace_back(offset, literal);
    return true;
  });
  return occurrences;
}

// Every place, every literal, every byte.
std::vector<Occurrence> naivelyFound(const Literals& literals, std::string_view text) {
  const auto lower = [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  };
  std::vector<Occurrence> occurrences;
  for (std::size_t at = 0; at < text.size(); ++at) {
    for (std::size_t k = 0; k < literals.size(); ++k) {
      const std::string_view part = text.substr(at, literals[k].size());
      if (std::equal(part.begin(),
                     part.end(),
                     literals[k].begin(),
                     literals[k].end(),
                     [&](char a, char b) { return lower(a) == b; })) {
        occurrences.emplace_back(at, k);
      }
    }
  }
  return occurrences;
}

std::vector<Occurrence> sorted(std::vector<Occurrence> occurrences) {
  std::sort(occurrences.begin(), occurrences.end());
  return occurrences;
}

const Literals kLiterals = {"lr",
                            "nan",
                            "loss",
                            "step",
                            "iter",
                            "val_loss",
                            "it/s",
                            "iters/s",
                            "samples/s",
                            "--dataset",
                            "model",
                            "ab",
                            "\xC4\xB0",
                            "\xE2\x84\xAA",
                            "aaa"};

TEST(LiteralScanner, findsLiteralsOfEveryLengthAtEveryPlace) {
  for (std::size_t size = 2; size <= 24; ++size) {
    const std::string literal = std::string("abcdefghijklmnopqrstuvwxyz").substr(0, size);
    for (std::size_t before = 0; before < 20; ++before) {
      for (std::size_t behind = 0; behind < 20; ++behind) {
        const std::string text = std::string(before, '.') + literal + std::string(behind, '.');
        EXPECT_EQ(found({literal}, text), (std::vector<Occurrence>{{before, 0}})) << text;
      }
    }
  }
}

TEST(LiteralScanner, ignoresTheCaseOfLettersAlone) {
  EXPECT_EQ(found({"it/s"}, "IT/S It/s it\x0Fs").size(), 2U);
  EXPECT_EQ(found({"val_loss"}, "VAL_LOSS val\x7Floss val?loss").size(), 1U);
  EXPECT_EQ(found({"a b"}, std::string_view("a b a\0b A B", 11)).size(), 2U);
  EXPECT_EQ(found({"\xC4\xB0"}, "\xC4\xB0 \xE4\xB0 \xC4\x90").size(), 1U);
}

TEST(LiteralScanner, findsWhatOverlaps) {
  EXPECT_EQ(sorted(found({"loss", "val_loss", "ss", "s_l"}, "val_loss_loss")),
            (std::vector<Occurrence>{{0, 1}, {4, 0}, {6, 2}, {7, 3}, {9, 0}, {11, 2}}));
  EXPECT_EQ(sorted(found({"aaa"}, "aaaaa")), (std::vector<Occurrence>{{0, 0}, {1, 0}, {2, 0}}));
}

TEST(LiteralScanner, stopsWhenTold) {
  const LiteralScanner scanner(kLiterals);
  std::size_t calls = 0;
  scanner.scan("loss step loss step loss", [&](std::size_t, std::size_t) { return ++calls < 3; });
  EXPECT_EQ(calls, 3U);
}

TEST(LiteralScanner, findsNothingInNothing) {
  EXPECT_TRUE(found(kLiterals, "").empty());
  EXPECT_TRUE(found({}, "loss").empty());
}

TEST(LiteralScanner, keepsTheOrderOfWhatDoesNotOverlap) {
  const LiteralScanner scanner(kLiterals);
  const std::string text = "lrnanlossstepiterlrval_lossit/siters/ssamples/slr--datasetmodelabnanlr";
  for (std::size_t from = 0; from < text.size(); ++from) {
    std::size_t end = 0;
    scanner.scan(std::string_view(text).substr(from), [&](std::size_t literal, std::size_t offset) {
      if (offset >= end) end = offset + kLiterals[literal].size();
      EXPECT_GE(offset + kLiterals[literal].size(), end);
      return true;
    });
  }
}

TEST(LiteralScanner, agreesWithItsNaiveTwin) {
  std::mt19937 random(7);
  const std::vector<std::string_view> parts = {
      "lr",    "nan",     "loss",     "step", "iter", "val_", "it/",  "s/s",
      "iters", "samples", "--data",   "set",  "mod",  "el",   "a",    "b",
      "\xC4",  "\xB0",    "\xE2\x84", "\xAA", " ",    "\n",   "LOSS", "Step"};
  for (int i = 0; i < 20'000; ++i) {
    std::string text;
    for (std::size_t count = random() % 12; count > 0; --count)
      text += parts[random() % parts.size()];
    ASSERT_EQ(sorted(found(kLiterals, text)), naivelyFound(kLiterals, text)) << text;
  }
  for (int i = 0; i < 200; ++i) {
    std::string text(2000, ' ');
    for (char& c : text) c = static_cast<char>(random() % 256);
    ASSERT_EQ(sorted(found(kLiterals, text)), naivelyFound(kLiterals, text));
  }
}

}  // namespace
}  // namespace tavrine
