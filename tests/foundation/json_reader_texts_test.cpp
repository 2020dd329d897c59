#include <TavrineShared/foundation/json_reader.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/json_printing.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

using namespace std::string_view_literals;

// --- texts ---

struct TextRow {
  const char* name;
  std::string_view json;
  std::string_view text;
};
void PrintTo(const TextRow& row, std::ostream* out) { *out << row.json; }

class ReadText : public testing::TestWithParam<TextRow> {};

TEST_P(ReadText, givesWhatTheTextStandsFor) {
  const ExactBytes document(GetParam().json);
  std::string text = "what was there before";
  JSONReader reader(document.view());
  EXPECT_EQ(reader.readText(text), JSONResult::ok);
  EXPECT_EQ(text, GetParam().text);
  EXPECT_TRUE(reader.finish());

  std::string_view view;
  JSONReader viewReader(document.view());
  EXPECT_EQ(viewReader.readTextView(view), JSONResult::ok);
  EXPECT_EQ(view, GetParam().text);
  EXPECT_TRUE(viewReader.finish());
}

TEST_P(ReadText, givesTheSameForAKey) {
  const std::string document = "{" + std::string(GetParam().json) + ":12}";
  JSONReader reader(document);
  std::string_view key;
  std::int64_t value = 0;
  ASSERT_EQ(reader.enterObject(), JSONResult::ok);
  ASSERT_TRUE(reader.nextKey(key));
  EXPECT_EQ(key, GetParam().text);
  EXPECT_EQ(reader.readInteger(value), JSONResult::ok);
  EXPECT_EQ(value, 12);
}

INSTANTIATE_TEST_SUITE_P(
    Texts, ReadText,
    rows<TextRow>({
        {"empty", R"("")", ""},
        {"plain", R"("gpu-01")", "gpu-01"},
        {"quote", R"("\"")", "\""},
        {"backslash", R"("\\")", "\\"},
        {"slash", R"("\/")", "/"},
        {"bareSlash", R"("/")", "/"},
        {"backspace", R"("\b")", "\b"},
        {"formFeed", R"("\f")", "\f"},
        {"lineFeed", R"("\n")", "\n"},
        {"carriageReturn", R"("\r")", "\r"},
        {"tab", R"("\t")", "\t"},
        {"escapedBackslashAndLetter", R"("\\n")", "\\n"},
        {"allAtOnce", R"("\"\\\/\b\f\n\r\t")", "\"\\/\b\f\n\r\t"},
        {"nul", R"("a\u0000b")", "a\0b"sv},
        {"asciiByNumber", R"("\u0041\u007e")", "A~"},
        {"lastOfOneByte", R"("\u007F")", "\x7F"},
        {"firstOfTwoBytes", R"("\u0080")", "\xC2\x80"},
        {"lastOfTwoBytes", R"("\u07FF")", "\xDF\xBF"},
        {"firstOfThreeBytes", R"("\u0800")", "\xE0\xA0\x80"},
        {"lastBeforeTheSurrogates", R"("\uD7FF")", "\xED\x9F\xBF"},
        {"firstBehindTheSurrogates", R"("\uE000")", "\xEE\x80\x80"},
        {"lastOfThreeBytes", R"("\uFFFF")", "\xEF\xBF\xBF"},
        {"firstPair", R"("\uD800\uDC00")", "\xF0\x90\x80\x80"},
        {"lastPair", R"("\uDBFF\uDFFF")", "\xF4\x8F\xBF\xBF"},
        {"pair", R"("\uD83D\uDE00")", "\xF0\x9F\x98\x80"},
        {"pairInLowerCase", R"("\ud83d\ude00")", "\xF0\x9F\x98\x80"},
        {"pairsAndText",
         R"("a\uD83D\uDE00b\uD83D\uDE01c")",
         "a\xF0\x9F\x98\x80"
         "b\xF0\x9F\x98\x81"
         "c"},
        {"hexDigitsOfBothCases", R"("\u00eF\u00Ef")", "\xC3\xAF\xC3\xAF"},
        {"utf8AsItIs",
         "\"\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\"",
         "\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
        {"utf8AndEscapes", "\"\\n\xC3\xA9\\n\xE2\x82\xAC\\n\"", "\n\xC3\xA9\n\xE2\x82\xAC\n"},
        {"separatorByNumber", R"("\u2028")", "\xE2\x80\xA8"},
        {"looksLikeAnEnd", R"("\"]}, {\"a\":")", "\"]}, {\"a\":"},
    }),
    rowName);

/// What a text may hold beside plain letters, and what becomes of it.
constexpr std::pair<std::string_view, std::string_view> kSpecials[] = {
    {"", ""},
    {"\\\"", "\""},
    {"\\\\", "\\"},
    {"\\u0041", "A"},
    {"\\uD83D\\uDE00", "\xF0\x9F\x98\x80"},
    {"\xC3\xA9", "\xC3\xA9"},
    {"\xE2\x82\xAC", "\xE2\x82\xAC"},
    {"\xF0\x9F\x98\x80", "\xF0\x9F\x98\x80"},
    {"\x7F", "\x7F"},
};

TEST(ReadText, givesEverySpecialCharacterWhereverItStands) {
  for (const auto& [spelled, meant] : kSpecials) {
    for (std::size_t before = 0; before <= 40; ++before) {
      for (std::size_t behind = 0; behind <= 40; ++behind) {
        // The start moves through all places relative to the blocks of the scan, too.
        const std::string document = std::string(before % 17, ' ') + '"' +
                                     std::string(before, 'x') + std::string(spelled) +
                                     std::string(behind, 'y') + '"';
        const ExactBytes bytes(document);
        JSONReader reader(bytes.view());
        std::string text;
        ASSERT_EQ(reader.readText(text), JSONResult::ok) << document;
        ASSERT_EQ(text, std::string(before, 'x') + std::string(meant) + std::string(behind, 'y'));
        ASSERT_TRUE(reader.finish()) << document;
      }
    }
  }
}

TEST(ReadText, refusesEveryBadByteWhereverItStands) {
  for (const std::string_view bad :
       {"\n"sv, "\0"sv, "\x1F"sv, "\x80"sv, "\xC3"sv, "\xF4\x90"sv, "\\x"sv}) {
    for (std::size_t before = 0; before <= 40; ++before) {
      for (std::size_t behind = 0; behind <= 40; behind += 4) {
        const ExactBytes document('"' + std::string(before, 'x') + std::string(bad) +
                                  std::string(behind, 'y') + '"');
        JSONReader reader(document.view());
        std::string text;
        ASSERT_EQ(reader.readText(text), JSONResult::notJSON) << before << ' ' << behind;
        ASSERT_EQ(reader.syntaxError()->offset, 1 + before) << testing::PrintToString(bad);
      }
    }
  }
}

TEST(ReadText, keepsEveryCharacterOfUnicodeEscapedOrNot) {
  constexpr char kHex[] = "0123456789ABCDEF";
  const auto escaped = [&](unsigned unit) {
    return std::string{'\\',
                       'u',
                       kHex[unit >> 12U],
                       kHex[unit >> 8U & 0xFU],
                       kHex[unit >> 4U & 0xFU],
                       kHex[unit & 0xFU]};
  };
  const auto byte = [](unsigned value) { return static_cast<char>(value); };
  for (unsigned c = 0x20; c < 0x110000; ++c) {
    if (c >= 0xD800 && c < 0xE000) continue;
    std::string utf8;
    if (c < 0x80) {
      utf8 = {byte(c)};
    } else if (c < 0x800) {
      utf8 = {byte(0xC0 | c >> 6U), byte(0x80 | (c & 0x3F))};
    } else if (c < 0x10000) {
      utf8 = {byte(0xE0 | c >> 12U), byte(0x80 | (c >> 6U & 0x3F)), byte(0x80 | (c & 0x3F))};
    } else {
      utf8 = {byte(0xF0 | c >> 18U),
              byte(0x80 | (c >> 12U & 0x3F)),
              byte(0x80 | (c >> 6U & 0x3F)),
              byte(0x80 | (c & 0x3F))};
    }
    const std::string escape = c < 0x10000 ? escaped(c)
                                           : escaped(0xD800 + ((c - 0x10000) >> 10U)) +
                                                 escaped(0xDC00 + ((c - 0x10000) & 0x3FF));
    const std::string bare = c == '"' || c == '\\' ? "" : utf8;
    const std::string document = '"' + bare + escape + '"';
    JSONReader reader(document);
    std::string_view text;
    ASSERT_EQ(reader.readTextView(text), JSONResult::ok) << document;
    ASSERT_EQ(text, bare + utf8) << document;
  }
}

TEST(ReadTextView, copiesNothingWithoutEscapes) {
  const std::string document = "\"0123456789 0123456789\"";
  JSONReader reader(document);
  std::string_view view;
  ASSERT_EQ(reader.readTextView(view), JSONResult::ok);
  EXPECT_EQ(view.data(), document.data() + 1);
  EXPECT_EQ(view.size(), document.size() - 2);
}

// --- keys ---

struct KeyRow {
  const char* name;
  std::string_view object;
  std::string_view guess;
  JSONReader::KeyMatch match;
  std::string_view key = {};
};
void PrintTo(const KeyRow& row, std::ostream* out) { *out << row.object << " guess " << row.guess; }

class NextKey : public testing::TestWithParam<KeyRow> {};

TEST_P(NextKey, tellsWhetherTheGuessIsRight) {
  const KeyRow& row = GetParam();
  const ExactBytes document(row.object);
  JSONReader reader(document.view());
  std::string_view key;
  std::int64_t value = 0;
  ASSERT_EQ(reader.enterObject(), JSONResult::ok);
  const JSONReader::KeyMatch match = reader.nextKey(row.guess, key);
  // An escaped key may be the guessed one all the same; only the key counts then.
  ASSERT_EQ(static_cast<int>(match), static_cast<int>(row.match));
  if (match == JSONReader::KeyMatch::end) return;
  EXPECT_EQ(key, row.key);
  EXPECT_EQ(reader.readInteger(value), JSONResult::ok);
  EXPECT_EQ(value, 12);
  EXPECT_EQ(reader.nextKey(row.guess, key), JSONReader::KeyMatch::end);
  EXPECT_TRUE(reader.finish());
}

using enum JSONReader::KeyMatch;
INSTANTIATE_TEST_SUITE_P(
    Guesses, NextKey,
    rows<KeyRow>({
        {"right", R"({"name":12})", "name", expected, "name"},
        {"rightBeforeABlank", R"({"name" : 12})", "name", expected, "name"},
        {"rightBehindABlank", "{\n  \"name\": 12\n}", "name", expected, "name"},
        {"sameLength", R"({"host":12})", "name", other, "host"},
        {"lastLetterDiffers", R"({"namf":12})", "name", other, "namf"},
        {"longerKey", R"({"names":12})", "name", other, "names"},
        {"shorterKey", R"({"nam":12})", "name", other, "nam"},
        {"emptyKey", R"({"":12})", "name", other, ""},
        {"emptyGuess", R"({"name":12})", "", other, "name"},
        {"emptyBoth", R"({"":12})", "", expected, ""},
        {"otherCase", R"({"Name":12})", "name", other, "Name"},
        {"escapedButEqual", R"({"na\u006de":12})", "name", other, "name"},
        {"escapedAndAsLong", R"({"\u006e":12})", "123456", other, "n"},
        {"escapedQuoteAtItsEnd", R"({"name\"":12})", "name", other, "name\""},
        {"guessLongerThanTheDocument",
         R"({"a":12})",
         "longer than all that is left of it",
         other,
         "a"},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(Ends, NextKey,
                         rows<KeyRow>({
                             {"emptyObject", "{}", "name", end},
                             {"cutBehindTheBracket", "{", "name", end},
                             {"cutInTheKey", R"({"na)", "name", end},
                             {"cutBeforeTheQuote", R"({"name)", "name", end},
                             {"cutBehindTheKey", R"({"name")", "name", end},
                             {"noColon", R"({"name" 12})", "name", end},
                             {"noQuote", R"({name":12})", "name", end},
                             {"onlyQuotes", R"({""")", "", end},
                             {"manyQuotes", R"({"""""""":12})", "name", end},
                             {"number", "{12:12}", "name", end},
                             {"comma", "{,", "name", end},
                         }),
                         rowName);

TEST(NextKey, seesADifferenceInAnyPlaceOfAKeyOfAnyLength) {
  for (std::size_t length = 1; length <= 70; ++length) {
    const std::string guess(length, 'k');
    for (std::size_t place = 0; place <= length; ++place) {
      std::string key = guess;
      if (place < length) key[place] = 'K';
      // Up to the end of its memory, so that no comparison may read on.
      const ExactBytes document("{\"" + key + "\":");
      JSONReader reader(document.view());
      std::string_view found;
      ASSERT_EQ(reader.enterObject(), JSONResult::ok);
      ASSERT_EQ(reader.nextKey(guess, found),
                place < length ? JSONReader::KeyMatch::other : JSONReader::KeyMatch::expected);
      ASSERT_EQ(found, key);
    }
    for (std::size_t cut = 0; cut <= length; ++cut) {
      const ExactBytes document("{\"" + guess.substr(0, cut));
      JSONReader reader(document.view());
      std::string_view found;
      ASSERT_EQ(reader.enterObject(), JSONResult::ok);
      ASSERT_EQ(reader.nextKey(guess, found), JSONReader::KeyMatch::end);
      ASSERT_TRUE(reader.failed());
    }
  }
}

TEST(NextKey, finishesOrFailsAtTheEnd) {
  JSONReader empty("{}");
  std::string_view key;
  ASSERT_EQ(empty.enterObject(), JSONResult::ok);
  EXPECT_EQ(empty.nextKey("name", key), JSONReader::KeyMatch::end);
  EXPECT_TRUE(empty.finish());

  JSONReader broken(R"({"name" 12})");
  ASSERT_EQ(broken.enterObject(), JSONResult::ok);
  EXPECT_EQ(broken.nextKey("name", key), JSONReader::KeyMatch::end);
  ASSERT_TRUE(broken.failed());
  EXPECT_EQ(broken.syntaxError()->offset, 8U);
}

TEST(NextKey, findsTheSameKeysWithAndWithoutGuesses) {
  const std::string_view document = R"({"a":1,"b":2,"\u0063":3,"dd":4,"b":5,"":6})";
  const std::vector<std::string> want = {"a", "b", "c", "dd", "b", ""};
  for (const std::string_view guess : {"a"sv, "b"sv, "c"sv, "d"sv, "dd"sv, ""sv}) {
    JSONReader reader(document);
    std::vector<std::string> keys;
    std::string_view key;
    ASSERT_EQ(reader.enterObject(), JSONResult::ok);
    while (reader.nextKey(guess, key) != JSONReader::KeyMatch::end) {
      keys.emplace_back(key);
      reader.skip();
    }
    EXPECT_EQ(keys, want) << guess;
  }
}

}  // namespace
}  // namespace tavrine
