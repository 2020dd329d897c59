#include <TavrineShared/foundation/json_writer.h>

#include <TavrineShared/foundation/json_reader.h>
#include <TavrineShared/foundation/unicode_text.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <ostream>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

#include "tests/support/json_printing.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// --- layout ---

struct LayoutRow {
  const char* name;
  void (*write)(JSONWriter& writer);
  std::string_view compact;
  std::string_view pretty;
};
void PrintTo(const LayoutRow& row, std::ostream* out) { *out << row.compact; }

class JSONLayout : public testing::TestWithParam<LayoutRow> {};

TEST_P(JSONLayout, isCompactOrPretty) {
  JSONWriter compact(JSONStyle::compact);
  GetParam().write(compact);
  EXPECT_EQ(compact.take(), GetParam().compact);
  JSONWriter pretty(JSONStyle::pretty);
  GetParam().write(pretty);
  EXPECT_EQ(pretty.take(), GetParam().pretty);
}

INSTANTIATE_TEST_SUITE_P(
    Documents, JSONLayout,
    rows<LayoutRow>({
        {"null", [](JSONWriter& w) { w.null(); }, "null", "null"},
        {"trueLiteral", [](JSONWriter& w) { w.boolean(true); }, "true", "true"},
        {"falseLiteral", [](JSONWriter& w) { w.boolean(false); }, "false", "false"},
        {"integer", [](JSONWriter& w) { w.integer(12); }, "12", "12"},
        {"text", [](JSONWriter& w) { w.text("a"); }, R"("a")", R"("a")"},
        {"plainText", [](JSONWriter& w) { w.plainText("a"); }, R"("a")", R"("a")"},
        {"emptyList",
         [](JSONWriter& w) {
           w.beginList();
           w.endList();
         },
         "[]",
         "[]"},
        {"emptyObject",
         [](JSONWriter& w) {
           w.beginObject();
           w.endObject();
         },
         "{}",
         "{}"},
        {"list",
         [](JSONWriter& w) {
           w.beginList();
           for (int i = 1; i <= 3; ++i) {
             w.element();
             w.integer(i);
           }
           w.endList();
         },
         "[1,2,3]",
         "[\n  1,\n  2,\n  3\n]"},
        {"object",
         [](JSONWriter& w) {
           w.beginObject();
           w.plainKey("a");
           w.integer(1);
           w.key("b");
           w.text("c");
           w.endObject();
         },
         R"({"a":1,"b":"c"})",
         "{\n  \"a\": 1,\n  \"b\": \"c\"\n}"},
        {"emptyOnesInside",
         [](JSONWriter& w) {
           w.beginList();
           w.element();
           w.beginList();
           w.endList();
           w.element();
           w.beginObject();
           w.endObject();
           w.element();
           w.null();
           w.endList();
         },
         "[[],{},null]",
         "[\n  [],\n  {},\n  null\n]"},
        {"nested",
         [](JSONWriter& w) {
           w.beginObject();
           w.plainKey("servers");
           w.beginList();
           w.element();
           w.beginObject();
           w.plainKey("gpus");
           w.beginList();
           w.endList();
           w.plainKey("ok");
           w.boolean(true);
           w.endObject();
           w.element();
           w.integer(2);
           w.endList();
           w.plainKey("tags");
           w.beginObject();
           w.endObject();
           w.endObject();
         },
         R"({"servers":[{"gpus":[],"ok":true},2],"tags":{}})",
         "{\n"
         "  \"servers\": [\n"
         "    {\n"
         "      \"gpus\": [],\n"
         "      \"ok\": true\n"
         "    },\n"
         "    2\n"
         "  ],\n"
         "  \"tags\": {}\n"
         "}"},
        {"keysAreEscaped",
         [](JSONWriter& w) {
           w.beginObject();
           w.key("a\"\n");
           w.null();
           w.key("");
           w.null();
           w.endObject();
         },
         R"({"a\"\n":null,"":null})",
         "{\n  \"a\\\"\\n\": null,\n  \"\": null\n}"},
    }),
    rowName);

TEST(JSONWriter, indentsAnyDepth) {
  // Deeper than the first buffer is long.
  constexpr std::size_t kDepth = 300;
  JSONWriter writer(JSONStyle::pretty);
  std::string want;
  writer.beginList();
  want += "[\n";
  for (std::size_t i = 1; i < kDepth; ++i) {
    writer.element();
    writer.beginList();
    want += std::string(2 * i, ' ') + (i + 1 < kDepth ? "[\n" : "[]");
  }
  for (std::size_t i = kDepth; i > 0; --i) {
    writer.endList();
    if (i < kDepth) want += "\n" + std::string(2 * (i - 1), ' ') + "]";
  }
  EXPECT_EQ(writer.take(), want);
}

TEST(JSONWriter, isEmptyAfterItsDocumentWasTaken) {
  for (const JSONStyle style : {JSONStyle::compact, JSONStyle::pretty}) {
    JSONWriter writer(style);
    EXPECT_EQ(writer.take(), "");
    std::string first;
    for (int round = 0; round < 3; ++round) {
      writer.beginList();
      writer.element();
      writer.text("x");
      writer.endList();
      const std::string document = writer.take();
      EXPECT_EQ(document, style == JSONStyle::compact ? "[\"x\"]" : "[\n  \"x\"\n]");
      EXPECT_EQ(writer.take(), "");
    }
  }
}

// --- texts ---

std::string written(std::string_view text) {
  JSONWriter writer(JSONStyle::compact);
  writer.text(text);
  return writer.take();
}

TEST(JSONWriterText, escapesWhatItMustAndNothingElse) {
  for (int byte = 0; byte < 128; ++byte) {
    const char c = static_cast<char>(byte);
    std::string want(1, c);
    if (byte < 0x20) {
      constexpr char kHex[] = "0123456789abcdef";
      want = "\\u00"s + kHex[byte / 16] + kHex[byte % 16];
    }
    if (c == '\b') want = "\\b";
    if (c == '\t') want = "\\t";
    if (c == '\n') want = "\\n";
    if (c == '\f') want = "\\f";
    if (c == '\r') want = "\\r";
    if (c == '"') want = "\\\"";
    if (c == '\\') want = "\\\\";
    EXPECT_EQ(written(std::string(1, c)), '"' + want + '"') << byte;
    EXPECT_EQ(written("before" + std::string(1, c) + "and some more behind"),
              "\"before" + want + "and some more behind\"")
        << byte;
  }
}

struct TextRow {
  const char* name;
  std::string_view text;
  std::string_view json;  ///< without its quotes
};
void PrintTo(const TextRow& row, std::ostream* out) { *out << testing::PrintToString(row.text); }

class WrittenText : public testing::TestWithParam<TextRow> {};

TEST_P(WrittenText, isAsItShouldBe) {
  const ExactBytes text(GetParam().text);
  EXPECT_EQ(written(text.view()), '"' + std::string(GetParam().json) + '"');
}

TEST_P(WrittenText, isTheSameInAKey) {
  JSONWriter writer(JSONStyle::compact);
  writer.beginObject();
  writer.key(GetParam().text);
  writer.null();
  writer.endObject();
  EXPECT_EQ(writer.take(), "{\"" + std::string(GetParam().json) + "\":null}");
}

INSTANTIATE_TEST_SUITE_P(
    WellFormed, WrittenText,
    rows<TextRow>({
        {"empty", "", ""},
        {"noTextAtAll", std::string_view(), ""},
        {"plain", "gpu-01", "gpu-01"},
        {"slash", "</a>", "</a>"},
        {"deleteCharacter", "\x7F", "\x7F"},
        {"c1Control", "\xC2\x85", "\xC2\x85"},
        {"lineSeparators", "\xE2\x80\xA8\xE2\x80\xA9", "\xE2\x80\xA8\xE2\x80\xA9"},
        {"byteOrderMark", "\xEF\xBB\xBF", "\xEF\xBB\xBF"},
        {"nul", "a\0b"sv, "a\\u0000b"},
        {"everyLength",
         "z\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80",
         "z\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80"},
        {"lastCharacter", "\xF4\x8F\xBF\xBF", "\xF4\x8F\xBF\xBF"},
        {"windowsPath", "C:\\new\\\"x\"", "C:\\\\new\\\\\\\"x\\\""},
    }),
    rowName);

// One U+FFFD, EF BF BD, for each maximal ill-formed part.
INSTANTIATE_TEST_SUITE_P(
    IllFormed, WrittenText,
    rows<TextRow>({
        {"loneContinuation", "a\x80z", "a\xEF\xBF\xBDz"},
        {"twoContinuations", "a\x80\x80z", "a\xEF\xBF\xBD\xEF\xBF\xBDz"},
        {"latin1", "\xE9t\xE9", "\xEF\xBF\xBDt\xEF\xBF\xBD"},
        {"cutTwo", "\xC3", "\xEF\xBF\xBD"},
        {"cutThree", "\xE2\x82", "\xEF\xBF\xBD"},
        {"cutFour", "\xF0\x9F\x98", "\xEF\xBF\xBD"},
        {"cutThreeThenALetter", "\xE2\x82z", "\xEF\xBF\xBDz"},
        {"cutThreeThenAnEscape", "\xE2\x82\n", "\xEF\xBF\xBD\\n"},
        {"cutFourThenAGoodOne", "\xF0\x9F\xC3\xA9", "\xEF\xBF\xBD\xC3\xA9"},
        {"surrogate", "\xED\xA0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"overlongTwo", "\xC0\x80", "\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"overlongThree", "\xE0\x80\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"beyondTheLast", "\xF4\x90\x80\x80", "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
        {"FF", "\xFF", "\xEF\xBF\xBD"},
        {"manyInARow",
         "\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF",
         "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"
         "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD"},
    }),
    rowName);

TEST(JSONWriterText, findsEverySpecialCharacterWhereverItStands) {
  const std::pair<std::string_view, std::string_view> specials[] = {{"\"", "\\\""},
                                                                    {"\n", "\\n"},
                                                                    {"\x01", "\\u0001"},
                                                                    {"\xC3\xA9", "\xC3\xA9"},
                                                                    {"\xFF", "\xEF\xBF\xBD"},
                                                                    {"\x7F", "\x7F"}};
  for (const auto& [meant, spelled] : specials) {
    for (std::size_t before = 0; before <= 40; ++before) {
      for (std::size_t behind = 0; behind <= 40; ++behind) {
        const ExactBytes text(std::string(before, 'x') + std::string(meant) +
                              std::string(behind, 'y'));
        ASSERT_EQ(
            written(text.view()),
            '"' + std::string(before, 'x') + std::string(spelled) + std::string(behind, 'y') + '"');
      }
    }
  }
}

// Texts that grow sixfold, around the sizes at which the room for them runs out.
TEST(JSONWriterText, findsRoomForAnything) {
  for (std::size_t length = 0; length < 700; ++length) {
    const std::string text(length, '\x1F');
    std::string want = "\"";
    for (std::size_t i = 0; i < length; ++i) want += "\\u001f";
    ASSERT_EQ(written(text), want + '"');
    ASSERT_EQ(written(std::string(length, '\xFF')).size(), 2 + 3 * length);
  }
}

TEST(JSONWriterText, readsBackAsTheRepairedText) {
  std::mt19937 random(1);
  for (int round = 0; round < 20'000; ++round) {
    std::string text(random() % 60, '\0');
    for (char& c : text) {
      c = static_cast<char>(random() % 3 == 0 ? random() % 256 : 'a' + random() % 26);
    }
    const std::string document = written(text);
    JSONReader reader(document);
    std::string again;
    ASSERT_EQ(reader.readText(again), JSONResult::ok) << document;
    ASSERT_TRUE(reader.finish());
    ASSERT_EQ(again, repairedUTF8(text));
  }
}

// --- integers ---

std::string written(std::int64_t value) {
  JSONWriter writer(JSONStyle::compact);
  writer.integer(value);
  return writer.take();
}

TEST(JSONWriterInteger, writesAllDigits) {
  EXPECT_EQ(written(std::int64_t{0}), "0");
  EXPECT_EQ(written(std::int64_t{7}), "7");
  EXPECT_EQ(written(std::int64_t{-7}), "-7");
  EXPECT_EQ(written(std::int64_t{100'000}), "100000");
  EXPECT_EQ(written(std::numeric_limits<std::int64_t>::max()), "9223372036854775807");
  EXPECT_EQ(written(std::numeric_limits<std::int64_t>::min()), "-9223372036854775808");
}

TEST(JSONWriterInteger, readsBackTheSame) {
  std::mt19937_64 random(2);
  for (int round = 0; round < 50'000; ++round) {
    const auto value = static_cast<std::int64_t>(random()) >> random() % 64;
    const std::string document = written(value);
    JSONReader reader(document);
    std::int64_t again = 0;
    ASSERT_EQ(reader.readInteger(again), JSONResult::ok) << document;
    ASSERT_TRUE(reader.finish());
    ASSERT_EQ(again, value);
  }
}

// --- doubles ---

std::string written(double value) {
  JSONWriter writer(JSONStyle::compact);
  EXPECT_TRUE(writer.number(value)) << value;
  return writer.take();
}

struct NumberRow {
  const char* name;
  double value;
  std::string_view json;
};
void PrintTo(const NumberRow& row, std::ostream* out) { *out << row.json; }

class WrittenNumber : public testing::TestWithParam<NumberRow> {};

TEST_P(WrittenNumber, isTheShortestThatReadsBackTheSame) {
  EXPECT_EQ(written(GetParam().value), GetParam().json);
}

INSTANTIATE_TEST_SUITE_P(Numbers, WrittenNumber,
                         rows<NumberRow>({
                             {"zero", 0.0, "0"},
                             {"minusZero", -0.0, "-0"},
                             {"one", 1.0, "1"},
                             {"minusOne", -1.0, "-1"},
                             {"integral", 81920.0, "81920"},
                             {"half", 0.5, "0.5"},
                             {"minusHalf", -0.5, "-0.5"},
                             {"tenth", 0.1, "0.1"},
                             {"hundredth", 0.01, "0.01"},
                             {"thousandth", 0.001, "0.001"},
                             {"tenThousandth", 0.0001, "1e-04"},
                             {"hundredThousandth", 0.00001, "1e-05"},
                             {"power", 68.39, "68.39"},
                             {"threeDecimals", 1234.125, "1234.125"},
                             {"zeroInTheDecimals", 1.005, "1.005"},
                             {"fourDecimals", 1234.0625, "1234.0625"},
                             {"sumOfTenths", 0.1 + 0.2, "0.30000000000000004"},
                             {"third", 1.0 / 3, "0.3333333333333333"},
                             {"manyZeros", 100000.0, "1e+05"},
                             {"fewZeros", 10000.0, "10000"},
                             {"million", 1200000.0, "1200000"},
                             {"largestExactInteger", 9007199254740992.0, "9007199254740992"},
                             {"twoToThe63", 9223372036854775808.0, "9223372036854775808"},
                             {"large", 1e22, "1e+22"},
                             {"largest", 1.7976931348623157e308, "1.7976931348623157e+308"},
                             {"lowest", -1.7976931348623157e308, "-1.7976931348623157e+308"},
                             {"smallestNormal", 2.2250738585072014e-308, "2.2250738585072014e-308"},
                             {"smallestDenormal", 5e-324, "5e-324"},
                         }),
                         rowName);

TEST(JSONWriterNumber, refusesWhatIsNotFiniteAndWritesNothing) {
  for (const double value : {kNaN, -kNaN, kInfinity, -kInfinity}) {
    JSONWriter writer(JSONStyle::compact);
    EXPECT_FALSE(writer.number(value));
    EXPECT_EQ(writer.take(), "");
  }
}

void expectTheLibrarysFormAndTheSameValueBack(double value) {
  char text[64];
  const auto result = std::to_chars(text, text + sizeof text, value);
  const std::string document = written(value);
  ASSERT_EQ(document, std::string_view(text, static_cast<std::size_t>(result.ptr - text)));
  JSONReader reader(document);
  double again = 0;
  ASSERT_EQ(reader.readDouble(again), JSONResult::ok) << document;
  ASSERT_TRUE(reader.finish());
  ASSERT_EQ(std::bit_cast<std::uint64_t>(again), std::bit_cast<std::uint64_t>(value)) << document;
}

TEST(JSONWriterNumber, writesAnyDoubleAsTheLibraryDoes) {
  std::mt19937_64 random(3);
  for (int round = 0; round < 100'000; ++round) {
    const auto value = std::bit_cast<double>(random());
    if (std::isfinite(value)) expectTheLibrarysFormAndTheSameValueBack(value);
  }
}

// The numbers that monitoring is full of: few decimals, or none, of all magnitudes.
TEST(JSONWriterNumber, writesShortDecimalsAsTheLibraryDoes) {
  std::mt19937_64 random(4);
  for (int round = 0; round < 200'000; ++round) {
    const double scale = std::pow(10.0, static_cast<double>(random() % 6));
    const auto digits = static_cast<double>(static_cast<std::int64_t>(random()) >> random() % 64);
    expectTheLibrarysFormAndTheSameValueBack(digits / scale);
    // And what lies next to them.
    expectTheLibrarysFormAndTheSameValueBack(std::nextafter(digits / scale, kInfinity));
    expectTheLibrarysFormAndTheSameValueBack(std::nextafter(digits / scale, -kInfinity));
  }
  for (int thousandths = -25'000; thousandths <= 25'000; ++thousandths) {
    expectTheLibrarysFormAndTheSameValueBack(thousandths / 1000.0);
    expectTheLibrarysFormAndTheSameValueBack(thousandths * 1000.0);
  }
  for (double power = 1e-30; power < 1e30; power *= 10) {
    for (const double value : {power, power - 0.5, power + 0.001, 3 * power, power * 1.001}) {
      expectTheLibrarysFormAndTheSameValueBack(value);
      expectTheLibrarysFormAndTheSameValueBack(-value);
    }
  }
}

// --- whole documents ---

/// Writes a random value, at most `depth` levels deep.
void writeAnything(JSONWriter& writer, std::mt19937_64& random, int depth) {
  switch (random() % (depth > 0 ? 8 : 6)) {
    case 0:
      return writer.null();
    case 1:
      return writer.boolean(random() % 2 == 0);
    case 2:
      return writer.integer(static_cast<std::int64_t>(random()));
    case 3:
      EXPECT_TRUE(writer.number(static_cast<double>(random() % 100'000) / 8));
      return;
    case 4:
      return writer.text(std::string(random() % 40, static_cast<char>(random() % 256)));
    case 5:
      return writer.plainText("plain");
    case 6:
      writer.beginList();
      for (std::uint64_t i = random() % 5; i > 0; --i) {
        writer.element();
        writeAnything(writer, random, depth - 1);
      }
      return writer.endList();
    default:
      writer.beginObject();
      for (std::uint64_t i = random() % 5; i > 0; --i) {
        writer.key(std::string(random() % 20, static_cast<char>(random() % 256)));
        writeAnything(writer, random, depth - 1);
      }
      return writer.endObject();
  }
}

/// A document without the white space outside its texts.
std::string withoutLayout(std::string_view document) {
  std::string text;
  bool isInText = false;
  for (std::size_t i = 0; i < document.size(); ++i) {
    const char c = document[i];
    if (!isInText && (c == ' ' || c == '\n')) continue;
    text += c;
    if (isInText && c == '\\') text += document[++i];
    if (c == '"') isInText = !isInText;
  }
  return text;
}

TEST(JSONWriter, writesTheSameJSONInBothStyles) {
  for (std::uint64_t seed = 0; seed < 2'000; ++seed) {
    std::mt19937_64 random(seed);
    std::mt19937_64 sameRandom(seed);
    JSONWriter compact(JSONStyle::compact);
    writeAnything(compact, random, 6);
    JSONWriter pretty(JSONStyle::pretty);
    writeAnything(pretty, sameRandom, 6);
    const std::string compactDocument = compact.take();
    const std::string prettyDocument = pretty.take();

    JSONReader compactReader(compactDocument);
    ASSERT_TRUE(compactReader.skip() && compactReader.finish()) << compactDocument;
    JSONReader prettyReader(prettyDocument);
    ASSERT_TRUE(prettyReader.skip() && prettyReader.finish()) << prettyDocument;
    ASSERT_EQ(withoutLayout(prettyDocument), compactDocument);
  }
}

// --- pieces ---

constexpr std::size_t kLongText = 70'000;

void writeLongList(JSONWriter& writer) {
  writer.beginList();
  for (std::int64_t i = 0; i < 50'000; ++i) {
    writer.element();
    writer.integer(i);
  }
  writer.element();
  writer.text(std::string(kLongText, 'x'));
  writer.element();
  writer.text("the end");
  writer.endList();
}

TEST(JSONWriter, handsOnADocumentInPieces) {
  for (const JSONStyle style : {JSONStyle::compact, JSONStyle::pretty}) {
    JSONWriter whole(style);
    writeLongList(whole);
    std::string document;
    std::size_t pieces = 0;
    std::size_t longest = 0;
    JSONWriter inPieces(style, [&](std::string_view piece) {
      document += piece;
      ++pieces;
      longest = std::max(longest, piece.size());
    });
    writeLongList(inPieces);
    EXPECT_GE(pieces, 4U);
    inPieces.flush();
    EXPECT_EQ(document, whole.take());
    EXPECT_LE(longest, kLongText + 16);
    const std::size_t all = std::exchange(pieces, 0);
    inPieces.flush();
    EXPECT_EQ(pieces, 0U) << "of " << all;
  }
}

TEST(JSONWriter, keepsADocumentThatNoSinkTakes) {
  JSONWriter writer(JSONStyle::compact);
  writer.text("all of it");
  writer.flush();
  EXPECT_EQ(writer.take(), "\"all of it\"");
}

TEST(JSONWriter, passesOnWhatItsSinkThrows) {
  JSONWriter writer(JSONStyle::compact,
                    [](std::string_view) { throw std::runtime_error("the disk is full"); });
  EXPECT_THROW(writeLongList(writer), std::runtime_error);
}

}  // namespace
}  // namespace tavrine
