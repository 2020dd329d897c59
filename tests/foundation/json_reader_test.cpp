#include <TavrineShared/foundation/json_reader.h>

#include <TavrineShared/foundation/json_scan.h>

#include <gtest/gtest.h>

#include <bit>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/support/json_printing.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

std::size_t placeOf(const JSONReader& reader, std::string_view document) {
  return static_cast<std::size_t>(reader.position() - document.data());
}

// --- what is JSON ---

/// Reads the next value by its kind, all the way down.
bool readByKind(JSONReader& reader) {
  switch (reader.peek()) {
    case JSONKind::null:
      return reader.consumeNull();
    case JSONKind::boolean: {
      bool value;
      return reader.readBoolean(value) == JSONResult::ok;
    }
    case JSONKind::number: {
      double value;
      return reader.readDouble(value) != JSONResult::notJSON;
    }
    case JSONKind::text: {
      std::string value;
      return reader.readText(value) == JSONResult::ok;
    }
    case JSONKind::list:
      if (reader.enterList() != JSONResult::ok) return false;
      while (reader.nextElement()) {
        if (!readByKind(reader)) return false;
      }
      return !reader.failed();
    case JSONKind::object: {
      if (reader.enterObject() != JSONResult::ok) return false;
      std::string_view key;
      while (reader.nextKey(key)) {
        if (!readByKind(reader)) return false;
      }
      return !reader.failed();
    }
    case JSONKind::none:
      break;
  }
  return reader.skip();
}

/// Asks for a value of a kind that does not stand there.
bool readAsWrongType(JSONReader& reader) {
  std::int64_t integer;
  bool boolean;
  const JSONResult result =
      reader.peek() == JSONKind::number ? reader.readBoolean(boolean) : reader.readInteger(integer);
  return result != JSONResult::notJSON;
}

/// The ways in which a document can be gone through. All must agree on what is JSON.
struct Way {
  const char* name;
  bool (*go)(JSONReader& reader);
};
constexpr Way kWays[] = {
    {"skipped", [](JSONReader& reader) { return reader.skip(); }},
    {"read by kind", readByKind},
    {"read as a wrong type", readAsWrongType},
};

struct DocumentRow {
  const char* name;
  std::string_view document;
};
void PrintTo(const DocumentRow& row, std::ostream* out) {
  *out << testing::PrintToString(row.document);
}

class JSONDocument : public testing::TestWithParam<DocumentRow> {};

TEST_P(JSONDocument, isJSONWhicheverWayItIsRead) {
  const ExactBytes document(GetParam().document);
  for (const auto& [name, go] : kWays) {
    JSONReader reader(document.view());
    EXPECT_TRUE(go(reader)) << name;
    EXPECT_TRUE(reader.finish()) << name;
    EXPECT_FALSE(reader.failed()) << name;
    EXPECT_FALSE(reader.syntaxError().has_value()) << name;
  }
}

TEST_P(JSONDocument, isJSONInsideAnother) {
  const std::string outer = "{\"k\":[" + std::string(GetParam().document) + "," +
                            std::string(GetParam().document) +
                            "],\"l\":" + std::string(GetParam().document) + "}";
  for (const auto& [name, go] : kWays) {
    JSONReader reader(outer);
    EXPECT_TRUE(go(reader) && reader.finish()) << name;
  }
}

INSTANTIATE_TEST_SUITE_P(Values, JSONDocument,
                         rows<DocumentRow>({
                             {"null", "null"},
                             {"trueLiteral", "true"},
                             {"falseLiteral", "false"},
                             {"zero", "0"},
                             {"minusZero", "-0"},
                             {"negative", "-12"},
                             {"fraction", "12.50"},
                             {"zeroFraction", "0.0"},
                             {"exponent", "1e5"},
                             {"upperCaseExponent", "1E5"},
                             {"plusInTheExponent", "1e+5"},
                             {"minusInTheExponent", "1e-5"},
                             {"zerosInTheExponent", "1e-005"},
                             {"fractionAndExponent", "-0.5E+07"},
                             {"beyondAnyDouble", "1e999"},
                             {"belowAnyDouble", "-1e-999"},
                             {"exponentOfManyDigits", "1e99999999999999999999999999"},
                             {"fortyDigits", "1234567890123456789012345678901234567890"},
                             {"emptyText", "\"\""},
                             {"text", "\"gpu-01\""},
                             {"allEscapes", R"("\"\\\/\b\f\n\r\t\u0041\u00e9\u20AC")"},
                             {"escapedNUL", R"("\u0000")"},
                             {"escapedPair", R"("\uD83D\uDE00\ud83d\ude00")"},
                             {"escapedNoncharacter", R"("\uFFFF")"},
                             {"deleteCharacter", "\"\x7F\""},
                             {"lineSeparators", "\"\xE2\x80\xA8\xE2\x80\xA9\xC2\x85\""},
                             {"charactersOfEveryLength",
                              "\"\xC2\x80\xDF\xBF\xE0\xA0\x80\xEF\xBF\xBF\xF0\x90\x80\x80"
                              "\xF4\x8F\xBF\xBF\""},
                             {"charactersNextToTheSurrogates", "\"\xED\x9F\xBF\xEE\x80\x80\""},
                             {"emptyList", "[]"},
                             {"emptyObject", "{}"},
                             {"listOfLists", "[[],[[]],[]]"},
                             {"objectOfObjects", R"({"a":{},"b":{"c":{}}})"},
                             {"everyKindInAList", R"([null,true,false,0,-1.5,"a",[],{}])"},
                             {"everyKindInAnObject",
                              R"({"a":null,"b":true,"c":false,"d":0,"e":"a","f":[],"g":{}})"},
                             {"emptyKey", R"({"":1})"},
                             {"keyTwice", R"({"a":1,"a":2})"},
                             {"escapedKey", R"({"\u0061\n":1})"},
                         }),
                         rowName);

INSTANTIATE_TEST_SUITE_P(WhiteSpace, JSONDocument,
                         rows<DocumentRow>({
                             {"everyKindBeforeAndBehind", " \t\n\r1 \t\n\r"},
                             {"insideAnEmptyList", "[ \t\n\r]"},
                             {"insideAnEmptyObject", "{ \t\n\r}"},
                             {"betweenElements", "[ 1 ,\t2\r,\n3 ]"},
                             {"betweenMembers", "{ \"a\" : 1 ,\n\"b\"\t:\r2 }"},
                             {"carriageReturnLineFeed", "{\r\n  \"a\": [\r\n    1\r\n  ]\r\n}\r\n"},
                             {"deepIndentation",
                              "[\n                                        1,\n"
                              "                                        \t2\n\n\n]"},
                         }),
                         rowName);

struct BrokenRow {
  const char* name;
  std::string_view document;
  std::size_t offset;  ///< of the first byte that shows that this is not JSON
};
void PrintTo(const BrokenRow& row, std::ostream* out) {
  *out << testing::PrintToString(row.document);
}

class BrokenJSONDocument : public testing::TestWithParam<BrokenRow> {};

TEST_P(BrokenJSONDocument, isRefusedAtTheSamePlaceWhicheverWayItIsRead) {
  const ExactBytes document(GetParam().document);
  for (const auto& [name, go] : kWays) {
    JSONReader reader(document.view());
    const bool wentThrough = go(reader);
    EXPECT_FALSE(reader.finish()) << name;
    ASSERT_TRUE(reader.syntaxError().has_value()) << name;
    EXPECT_EQ(reader.syntaxError()->offset, GetParam().offset) << name;
    EXPECT_FALSE(reader.syntaxError()->reason.empty()) << name;
    // What is wrong behind the value is found by `finish` alone.
    EXPECT_EQ(wentThrough, reader.syntaxError()->reason == "something stands behind the value")
        << name;
  }
}

TEST_P(BrokenJSONDocument, isRefusedAsTheLastMemberOfAnObject) {
  const std::string outer = "{\"a\": [], \"b\": " + std::string(GetParam().document);
  for (const auto& [name, go] : kWays) {
    JSONReader reader(outer);
    EXPECT_FALSE(go(reader) && reader.finish()) << name;
  }
}

INSTANTIATE_TEST_SUITE_P(Whole, BrokenJSONDocument,
                         rows<BrokenRow>({
                             {"empty", "", 0},
                             {"onlyABlank", " ", 1},
                             {"onlyWhiteSpace", " \t\r\n \n", 6},
                             {"byteOrderMark", "\xEF\xBB\xBF{}", 0},
                             {"byteOrderMarkBehind", "{}\xEF\xBB\xBF", 2},
                             {"utf16", "\xFF\xFE[\0]\0"sv, 0},
                             {"utf16WithoutMark", "[\0]\0"sv, 1},
                             {"nul", "\0"sv, 0},
                             {"nulBehind", "1\0"sv, 1},
                             {"nulBetween", "[1,\0 2]"sv, 3},
                             {"noBreakSpace",
                              "\xC2\xA0"
                              "1",
                              0},
                             {"noBreakSpaceBehind", "1\xC2\xA0", 1},
                             {"formFeed", "\f1", 0},
                             {"formFeedBehind", "1\f", 1},
                             {"verticalTab", "\v1", 0},
                             {"lineSeparator",
                              "\xE2\x80\xA8"
                              "1",
                              0},
                             {"deleteCharacter",
                              "\x7F"
                              "1",
                              0},
                             {"twoValues", "1 2", 2},
                             {"twoLists", "[] []", 3},
                             {"twoTexts", "\"a\"\"b\"", 3},
                             {"letterBehind", "{}x", 2},
                             {"commaBehind", "1,", 1},
                             {"closingBehind", "[]]", 2},
                             {"lineComment", "1 // one", 2},
                             {"lineCommentBefore", "// one\n1", 0},
                             {"blockComment", "[1,/* two */2]", 3},
                             {"hashComment", "# one\n1", 0},
                         }),
                         rowName);

INSTANTIATE_TEST_SUITE_P(Words, BrokenJSONDocument,
                         rows<BrokenRow>({
                             {"cutTrue", "tru", 0},
                             {"cutFalse", "fals", 0},
                             {"cutNull", "nul", 0},
                             {"oneLetter", "t", 0},
                             {"capitalTrue", "True", 0},
                             {"upperCaseTrue", "TRUE", 0},
                             {"upperCaseEnd", "truE", 0},
                             {"capitalNull", "Null", 0},
                             {"none", "None", 0},
                             {"undefined", "undefined", 0},
                             {"trueAndMore", "truex", 4},
                             {"nullAndMore", "nullnull", 4},
                             {"nan", "NaN", 0},
                             {"lowerCaseNan", "nan", 0},
                             {"infinity", "Infinity", 0},
                             {"minusInfinity", "-Infinity", 1},
                             {"inf", "inf", 0},
                             {"minusInf", "-inf", 1},
                             {"bareWord", "gpu", 0},
                             {"singleQuotes", "'a'", 0},
                             {"singleQuotedElement", "['a']", 1},
                         }),
                         rowName);

INSTANTIATE_TEST_SUITE_P(Numbers, BrokenJSONDocument,
                         rows<BrokenRow>({
                             {"leadingZero", "01", 0},
                             {"twoZeros", "00", 0},
                             {"negativeLeadingZero", "-01", 1},
                             {"leadingZeroBeforeThePoint", "01.5", 0},
                             {"minus", "-", 1},
                             {"twoMinuses", "--1", 1},
                             {"minusAndBlank", "- 1", 1},
                             {"plus", "+1", 0},
                             {"pointAtTheEnd", "1.", 2},
                             {"pointBeforeTheExponent", "1.e5", 2},
                             {"pointAtTheStart", ".5", 0},
                             {"negativePointAtTheStart", "-.5", 1},
                             {"onlyAPoint", ".", 0},
                             {"twoPoints", "1.2.3", 3},
                             {"comma", "1,5", 1},
                             {"emptyExponent", "1e", 2},
                             {"plusWithoutExponent", "1e+", 3},
                             {"minusWithoutExponent", "1E-", 3},
                             {"twoSignsInTheExponent", "1e+-5", 3},
                             {"fractionInTheExponent", "1e5.5", 3},
                             {"exponentOnly", "e5", 0},
                             {"twoExponents", "1e5e5", 3},
                             {"hexadecimal", "0x10", 1},
                             {"underscore", "1_000", 1},
                             {"suffix", "1f", 1},
                             {"fractionAndSuffix", "1.5f", 3},
                             {"fullwidthDigit", "\xEF\xBC\x91", 0},
                         }),
                         rowName);

INSTANTIATE_TEST_SUITE_P(Texts, BrokenJSONDocument,
                         rows<BrokenRow>({
                             {"onlyAQuote", "\"", 0},
                             {"unclosed", "\"abc", 0},
                             {"unclosedAndLong", "\"abcdefghijklmnopqrstuvwxyz0123456789", 0},
                             {"closedByAnEscapedQuote", "\"a\\\"", 0},
                             {"endsInABackslash", "\"a\\", 2},
                             {"nul", "\"a\0b\""sv, 2},
                             {"lineFeed", "\"a\n\"", 2},
                             {"carriageReturn", "\"\r\"", 1},
                             {"tab", "\"\t\"", 1},
                             {"unitSeparator", "\"\x1F\"", 1},
                             {"escapedLetterX", R"("\x41")", 1},
                             {"escapedLetterA", R"("\a")", 1},
                             {"escapedLetterV", R"("\v")", 1},
                             {"escapedZero", R"("\0")", 1},
                             {"escapedSingleQuote", R"("\'")", 1},
                             {"escapedBlank", R"("\ ")", 1},
                             {"escapedLineFeed", "\"\\\n\"", 1},
                             {"capitalN", R"("\N")", 1},
                             {"capitalU", R"("\U0041")", 1},
                             {"escapedNonASCII", "\"\\\xC3\xA9\"", 1},
                             {"noDigits", R"("\u")", 1},
                             {"threeDigits", R"("\u004")", 1},
                             {"threeDigitsAtTheEnd", R"("\u004)", 1},
                             {"noDigitsAtTheEnd", R"("\u)", 1},
                             {"letterG", R"("\u004G")", 1},
                             {"signedDigits", R"("\u+041")", 1},
                             {"blankBeforeTheDigits", R"("\u 041")", 1},
                             {"bracedDigits", R"("\u{41}")", 1},
                             {"hexadecimalPrefix", R"("\u0x41")", 1},
                         }),
                         rowName);

INSTANTIATE_TEST_SUITE_P(Surrogates, BrokenJSONDocument,
                         rows<BrokenRow>({
                             {"loneHigh", R"("\uD83D")", 1},
                             {"loneLow", R"("\uDE00")", 1},
                             {"lowestHigh", R"("\uD800")", 1},
                             {"highestHigh", R"("\uDBFF")", 1},
                             {"lowestLow", R"("\uDC00")", 1},
                             {"highestLow", R"("\uDFFF")", 1},
                             {"reversed", R"("\uDE00\uD83D")", 1},
                             {"twoHighs", R"("\uD83D\uD83D\uDE00")", 1},
                             {"highAndText", R"("ab\uD83Dcdefghij")", 3},
                             {"highAndOtherEscape", R"("\uD83D\nabcde")", 1},
                             {"highAndOrdinaryEscape", R"("\uD83D\u0041")", 1},
                             {"highAndBareDigits", R"("\uD83DuDE00")", 1},
                             {"highAndCutLow", R"("\uD83D\uDE0")", 1},
                             {"highAndNothing", R"("\uD83D)", 1},
                             {"highAndCutLowAtTheEnd", R"("\uD83D\uDE0)", 1},
                             {"lowBehindAPair", R"("\uD83D\uDE00\uDE00")", 13},
                         }),
                         rowName);

// In each, the ill-formed part begins behind "a".
INSTANTIATE_TEST_SUITE_P(
    IllFormedUTF8, BrokenJSONDocument,
    rows<BrokenRow>({
        {"loneContinuation", "\"a\x80\"", 2},
        {"lastContinuation", "\"a\xBF\"", 2},
        {"overlongTwo", "\"a\xC0\x80\"", 2},
        {"overlongTwoOfDelete", "\"a\xC1\xBF\"", 2},
        {"overlongThree", "\"a\xE0\x80\x80\"", 2},
        {"longestOverlongThree", "\"a\xE0\x9F\xBF\"", 2},
        {"overlongFour", "\"a\xF0\x80\x80\x80\"", 2},
        {"longestOverlongFour", "\"a\xF0\x8F\xBF\xBF\"", 2},
        {"cutTwo", "\"a\xC3\"", 2},
        {"cutThree", "\"a\xE2\x82\"", 2},
        {"cutThreeAfterOne", "\"a\xE2\"", 2},
        {"cutFour", "\"a\xF0\x9F\x98\"", 2},
        {"cutByTheEnd", "\"a\xF0\x9F\x98", 2},
        {"cutTwoByTheEnd", "\"a\xC3", 2},
        {"twoAndALetter", "\"a\xC3z\"", 2},
        {"threeAndALetter", "\"a\xE2\x82z\"", 2},
        {"highSurrogate", "\"a\xED\xA0\x80\"", 2},
        {"lowSurrogate", "\"a\xED\xBF\xBF\"", 2},
        {"surrogatePair", "\"a\xED\xA0\xBD\xED\xB8\x80\"", 2},
        {"beyondTheLast", "\"a\xF4\x90\x80\x80\"", 2},
        {"fiveBytes", "\"a\xF8\x88\x80\x80\x80\"", 2},
        {"sixBytes", "\"a\xFC\x84\x80\x80\x80\x80\"", 2},
        {"F5", "\"a\xF5\x80\x80\x80\"", 2},
        {"FE", "\"a\xFE\"", 2},
        {"FF", "\"a\xFF\"", 2},
        {"latin1", "\"a\xE9t\xE9\"", 2},
        {"behindManyGoodOnes", "\"\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\xC3\xA9\x80\"", 11},
        {"inAKey", "{\"a\xFF\":1}", 3},
        {"outsideATextOrKey", "[\xC3\xA9]", 1},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(Lists, BrokenJSONDocument,
                         rows<BrokenRow>({
                             {"onlyOpened", "[", 1},
                             {"onlyClosed", "]", 0},
                             {"unclosed", "[1", 2},
                             {"unclosedBehindAComma", "[1,", 3},
                             {"trailingComma", "[1,]", 3},
                             {"leadingComma", "[,1]", 1},
                             {"onlyAComma", "[,]", 1},
                             {"twoCommas", "[1,,2]", 3},
                             {"noComma", "[1 2]", 3},
                             {"noCommaBeforeAList", "[[][]]", 3},
                             {"colon", "[1:2]", 2},
                             {"semicolon", "[1;2]", 2},
                             {"closedAsAnObject", "[1}", 2},
                             {"emptyClosedAsAnObject", "[}", 1},
                             {"closedInTheWrongOrder", "[{]}", 2},
                             {"innerUnclosed", "[[1]", 4},
                         }),
                         rowName);

INSTANTIATE_TEST_SUITE_P(Objects, BrokenJSONDocument,
                         rows<BrokenRow>({
                             {"onlyOpened", "{", 1},
                             {"onlyClosed", "}", 0},
                             {"unclosed", R"({"a":1)", 6},
                             {"unclosedBehindAComma", R"({"a":1,)", 7},
                             {"unclosedBehindAKey", R"({"a")", 4},
                             {"unclosedBehindAColon", R"({"a":)", 5},
                             {"unclosedKey", R"({"a)", 1},
                             {"trailingComma", R"({"a":1,})", 7},
                             {"leadingComma", R"({,"a":1})", 1},
                             {"onlyAComma", "{,}", 1},
                             {"twoCommas", R"({"a":1,,"b":2})", 7},
                             {"noComma", R"({"a":1 "b":2})", 7},
                             {"noColon", R"({"a" 1})", 5},
                             {"equalsSign", R"({"a"=1})", 4},
                             {"twoColons", R"({"a"::1})", 5},
                             {"keyWithoutValue", R"({"a"})", 4},
                             {"colonWithoutValue", R"({"a":})", 5},
                             {"colonWithoutKey", "{:1}", 1},
                             {"bareKey", "{a:1}", 1},
                             {"numberAsKey", "{1:2}", 1},
                             {"nullAsKey", "{null:2}", 1},
                             {"singleQuotedKey", "{'a':1}", 1},
                             {"listAsKey", "{[]:1}", 1},
                             {"setOfValues", R"({"a","b"})", 4},
                             {"badEscapeInAKey", R"({"\q":1})", 2},
                             {"lineFeedInAKey", "{\"a\n\":1}", 3},
                             {"surrogateInAKey", R"({"\uD800":1})", 2},
                             {"closedAsAList", R"({"a":1])", 6},
                             {"emptyClosedAsAList", "{]", 1},
                             {"keyOfThreeQuotes", R"({""":1})", 3},
                             {"innerUnclosed", R"({"a":{"b":1})", 12},
                         }),
                         rowName);

// A whole number stays JSON when it is cut, a bracket or a text never does.
TEST(JSONReader, refusesEveryDocumentThatIsCutShort) {
  const std::string_view whole =
      " {\"a\": [1.5e+3, true, null, {\"b\\u00e9\": \"\\ud83d\\ude00 \xE2\x82\xAC\"}, []], \"c\": "
      "{}}";
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    const ExactBytes document(whole.substr(0, length));
    for (const auto& [name, go] : kWays) {
      JSONReader reader(document.view());
      EXPECT_EQ(go(reader) && reader.finish(), length == whole.size()) << name << ' ' << length;
    }
  }
}

TEST(JSONReader, takesOnlyFourBytesForWhiteSpace) {
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    const bool isWhiteSpace = c == ' ' || c == '\t' || c == '\n' || c == '\r';
    for (const std::string& document : {"["s + c + "null]",
                                        "[null"s + c + "]",
                                        "[null,"s + c + "null]",
                                        "{\"a\""s + c + ":null}",
                                        "{\"a\":"s + c + "null}",
                                        "{"s + c + "\"a\":null}",
                                        c + "null"s,
                                        "null"s + c}) {
      JSONReader reader(document);
      EXPECT_EQ(reader.skip() && reader.finish(), isWhiteSpace) << testing::PrintToString(document);
    }
  }
}

TEST(JSONReader, refusesEveryControlCharacterInATextAndNoOther) {
  for (int byte = 0; byte < 128; ++byte) {
    const std::string document = "\"long enough for a block" +
                                 std::string(1, static_cast<char>(byte)) + "and some more of it\"";
    JSONReader reader(document);
    // A quote ends the text early, a backslash makes an escape that does not exist.
    EXPECT_EQ(reader.skip() && reader.finish(), byte >= 0x20 && byte != '"' && byte != '\\')
        << byte;
  }
}

// --- after the end of JSON ---

TEST(JSONReader, answersEveryCallWithNotJSONOnceItHasFailed) {
  const std::string_view document = "[1, [2], {\"a\":3}, 4x, \"b\", null, true]";
  JSONReader reader(document);
  ASSERT_EQ(reader.enterList(), JSONResult::ok);
  EXPECT_FALSE((reader.skipRestOfList(), reader.finish()));
  ASSERT_TRUE(reader.failed());
  EXPECT_EQ(reader.syntaxError()->offset, 19U);
  EXPECT_EQ(reader.syntaxError()->reason, "expected ',' or ']'");

  std::int64_t integer = 7;
  double number = 7;
  bool boolean = true;
  std::string text = "as before";
  std::string_view view = "as before";
  std::string_view key;
  EXPECT_EQ(reader.peek(), JSONKind::none);
  EXPECT_FALSE(reader.skip());
  EXPECT_FALSE(reader.consumeNull());
  EXPECT_EQ(reader.readInteger(integer), JSONResult::notJSON);
  EXPECT_EQ(reader.readDouble(number), JSONResult::notJSON);
  EXPECT_EQ(reader.readBoolean(boolean), JSONResult::notJSON);
  EXPECT_EQ(reader.readText(text), JSONResult::notJSON);
  EXPECT_EQ(reader.readTextView(view), JSONResult::notJSON);
  EXPECT_EQ(reader.enterList(), JSONResult::notJSON);
  EXPECT_EQ(reader.enterObject(), JSONResult::notJSON);
  EXPECT_FALSE(reader.nextElement());
  EXPECT_FALSE(reader.nextKey(key));
  EXPECT_EQ(reader.nextKey("a", key), JSONReader::KeyMatch::end);
  reader.skipRestOfList();
  reader.skipRestOfObject();
  EXPECT_FALSE(reader.finish());
  EXPECT_EQ(integer, 7);
  EXPECT_EQ(number, 7);
  EXPECT_TRUE(boolean);
  EXPECT_EQ(text, "as before");
  // The first error is the one that is told.
  EXPECT_EQ(reader.syntaxError()->offset, 19U);
}

TEST(JSONReader, failsAsSoonAsAListIsEnteredThatIsCutOff) {
  JSONReader reader("[");
  ASSERT_EQ(reader.enterList(), JSONResult::ok);
  // Only the next call can tell that there is neither an element nor an end.
  const bool hasElement = reader.nextElement();
  EXPECT_FALSE(hasElement && reader.skip());
  EXPECT_TRUE(reader.failed());
}

// --- kinds ---

struct ValueRow {
  const char* name;
  std::string_view json;
  JSONKind kind;
  std::optional<std::int64_t> integer = {};
  std::optional<double> number = {};
  std::optional<std::string> text = {};
  std::optional<bool> boolean = {};
};
void PrintTo(const ValueRow& row, std::ostream* out) { *out << testing::PrintToString(row.json); }

class JSONValue : public testing::TestWithParam<ValueRow> {
 protected:
  /// What reading a value of another type comes to.
  JSONResult mismatch() const {
    return GetParam().kind == JSONKind::null ? JSONResult::null : JSONResult::wrongType;
  }

  /// Calls `read` on the value in the middle of a list, and checks that it consumed just that.
  template <class Read>
  void expectToConsumeOneValue(const char* what, const Read& read) {
    SCOPED_TRACE(what);
    const std::string document = "[\"before\" , " + std::string(GetParam().json) + " , \"behind\"]";
    JSONReader reader(document);
    std::string text;
    ASSERT_EQ(reader.enterList(), JSONResult::ok);
    ASSERT_TRUE(reader.nextElement());
    ASSERT_EQ(reader.readText(text), JSONResult::ok);
    ASSERT_TRUE(reader.nextElement());
    EXPECT_EQ(placeOf(reader, document), 12U);
    EXPECT_EQ(reader.peek(), GetParam().kind);
    read(reader);
    EXPECT_EQ(placeOf(reader, document), 12U + GetParam().json.size());
    ASSERT_TRUE(reader.nextElement());
    ASSERT_EQ(reader.readText(text), JSONResult::ok);
    EXPECT_EQ(text, "behind");
    EXPECT_FALSE(reader.nextElement());
    EXPECT_TRUE(reader.finish());
  }
};

TEST_P(JSONValue, isSkippedWhole) {
  expectToConsumeOneValue("skip", [](JSONReader& reader) { EXPECT_TRUE(reader.skip()); });
}

TEST_P(JSONValue, isConsumedWholeByEveryRead) {
  const ValueRow& row = GetParam();
  expectToConsumeOneValue("readInteger", [&](JSONReader& reader) {
    std::int64_t value = 0;
    const JSONResult otherwise = row.kind == JSONKind::number ? JSONResult::outOfRange : mismatch();
    EXPECT_EQ(reader.readInteger(value), row.integer ? JSONResult::ok : otherwise);
    EXPECT_EQ(value, row.integer.value_or(0));
  });
  expectToConsumeOneValue("readDouble", [&](JSONReader& reader) {
    double value = 0;
    const JSONResult otherwise = row.kind == JSONKind::number ? JSONResult::outOfRange : mismatch();
    EXPECT_EQ(reader.readDouble(value), row.number ? JSONResult::ok : otherwise);
    EXPECT_EQ(value, row.number.value_or(0));
  });
  expectToConsumeOneValue("readBoolean", [&](JSONReader& reader) {
    bool value = false;
    EXPECT_EQ(reader.readBoolean(value), row.boolean ? JSONResult::ok : mismatch());
    EXPECT_EQ(value, row.boolean.value_or(false));
  });
  expectToConsumeOneValue("readText", [&](JSONReader& reader) {
    std::string value;
    EXPECT_EQ(reader.readText(value), row.text ? JSONResult::ok : mismatch());
    EXPECT_EQ(value, row.text.value_or(""));
  });
  expectToConsumeOneValue("readTextView", [&](JSONReader& reader) {
    std::string_view value;
    EXPECT_EQ(reader.readTextView(value), row.text ? JSONResult::ok : mismatch());
    EXPECT_EQ(value, row.text.value_or(""));
  });
  expectToConsumeOneValue("enterList", [&](JSONReader& reader) {
    const JSONResult want = row.kind == JSONKind::list ? JSONResult::ok : mismatch();
    ASSERT_EQ(reader.enterList(), want);
    if (want == JSONResult::ok) reader.skipRestOfList();
  });
  expectToConsumeOneValue("enterObject", [&](JSONReader& reader) {
    const JSONResult want = row.kind == JSONKind::object ? JSONResult::ok : mismatch();
    ASSERT_EQ(reader.enterObject(), want);
    if (want == JSONResult::ok) reader.skipRestOfObject();
  });
}

TEST_P(JSONValue, isConsumedAsNullOnlyIfItIsNull) {
  JSONReader reader(GetParam().json);
  const bool isNull = GetParam().kind == JSONKind::null;
  EXPECT_EQ(reader.consumeNull(), isNull);
  EXPECT_EQ(placeOf(reader, GetParam().json), isNull ? GetParam().json.size() : 0U);
  EXPECT_FALSE(reader.failed());
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, JSONValue,
    rows<ValueRow>({
        {"null", "null", JSONKind::null},
        {"trueLiteral", "true", JSONKind::boolean, {}, {}, {}, true},
        {"falseLiteral", "false", JSONKind::boolean, {}, {}, {}, false},
        {"integer", "12", JSONKind::number, 12, 12.0},
        {"negativeInteger", "-12", JSONKind::number, -12, -12.0},
        {"fraction", "12.5", JSONKind::number, {}, 12.5},
        {"integralFraction", "12.50e1", JSONKind::number, 125, 125.0},
        {"beyondIntegers", "1e19", JSONKind::number, {}, 1e19},
        {"beyondDoubles", "1e999", JSONKind::number},
        {"belowDoubles", "1e-999", JSONKind::number, {}, 0.0},
        {"emptyText", R"("")", JSONKind::text, {}, {}, ""},
        {"text", R"("12")", JSONKind::text, {}, {}, "12"},
        {"textWithEscapes", R"("a\"\u0062]")", JSONKind::text, {}, {}, "a\"b]"},
        {"emptyList", "[]", JSONKind::list},
        {"blankList", "[ \n ]", JSONKind::list},
        {"list", R"([1,[2,"]"],{"a":[]}])", JSONKind::list},
        {"emptyObject", "{}", JSONKind::object},
        {"blankObject", "{ \n }", JSONKind::object},
        {"object", R"({"a":{"b":[1,"}"]},"c":"d"})", JSONKind::object},
    }),
    rowName);

TEST(JSONReader, peeksAtEveryByte) {
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    JSONKind want = JSONKind::none;
    if (c == '{') want = JSONKind::object;
    if (c == '[') want = JSONKind::list;
    if (c == '"') want = JSONKind::text;
    if (c == 't' || c == 'f') want = JSONKind::boolean;
    if (c == 'n') want = JSONKind::null;
    if (c == '-' || (c >= '0' && c <= '9')) want = JSONKind::number;
    const ExactBytes document(std::string_view(&c, 1));
    EXPECT_EQ(JSONReader(document.view()).peek(), want) << byte;
  }
  EXPECT_EQ(JSONReader("").peek(), JSONKind::none);
  EXPECT_EQ(JSONReader(std::string_view()).peek(), JSONKind::none);
  EXPECT_EQ(JSONReader(" \n\t [").peek(), JSONKind::list);
}

TEST(JSONReader, walksListsAndObjectsElementByElement) {
  JSONReader reader(R"({"a": [1, [], 3], "b": {}, "c": {"d": [[4]]}})");
  std::string seen;
  std::string_view key;
  std::int64_t value;
  ASSERT_EQ(reader.enterObject(), JSONResult::ok);
  ASSERT_TRUE(reader.nextKey(key));
  EXPECT_EQ(key, "a");
  ASSERT_EQ(reader.enterList(), JSONResult::ok);
  ASSERT_TRUE(reader.nextElement());
  EXPECT_EQ(reader.readInteger(value), JSONResult::ok);
  EXPECT_EQ(value, 1);
  ASSERT_TRUE(reader.nextElement());
  ASSERT_EQ(reader.enterList(), JSONResult::ok);
  EXPECT_FALSE(reader.nextElement());
  ASSERT_TRUE(reader.nextElement());
  EXPECT_EQ(reader.readInteger(value), JSONResult::ok);
  EXPECT_EQ(value, 3);
  EXPECT_FALSE(reader.nextElement());
  ASSERT_TRUE(reader.nextKey(key));
  EXPECT_EQ(key, "b");
  ASSERT_EQ(reader.enterObject(), JSONResult::ok);
  EXPECT_FALSE(reader.nextKey(key));
  ASSERT_TRUE(reader.nextKey(key));
  EXPECT_EQ(key, "c");
  ASSERT_EQ(reader.enterObject(), JSONResult::ok);
  ASSERT_TRUE(reader.nextKey(key));
  EXPECT_EQ(key, "d");
  ASSERT_EQ(reader.enterList(), JSONResult::ok);
  ASSERT_TRUE(reader.nextElement());
  ASSERT_EQ(reader.enterList(), JSONResult::ok);
  ASSERT_TRUE(reader.nextElement());
  EXPECT_EQ(reader.readInteger(value), JSONResult::ok);
  EXPECT_EQ(value, 4);
  EXPECT_FALSE(reader.nextElement());
  EXPECT_FALSE(reader.nextElement());
  EXPECT_FALSE(reader.nextKey(key));
  EXPECT_FALSE(reader.nextKey(key));
  EXPECT_TRUE(reader.finish());
}

TEST(JSONReader, skipsTheRestFromAnyElementOn) {
  const std::string_view document = R"([[1, {"a": 2}, [3], "4"], {"a": 1, "b": [2], "c": {}}])";
  for (int read = 0; read <= 4; ++read) {
    JSONReader reader(document);
    ASSERT_EQ(reader.enterList(), JSONResult::ok);
    ASSERT_TRUE(reader.nextElement());
    ASSERT_EQ(reader.enterList(), JSONResult::ok);
    for (int i = 0; i < read; ++i) ASSERT_TRUE(reader.nextElement() && reader.skip());
    reader.skipRestOfList();
    ASSERT_TRUE(reader.nextElement());
    ASSERT_EQ(reader.enterObject(), JSONResult::ok);
    std::string_view key;
    for (int i = 0; i < read && i < 3; ++i) ASSERT_TRUE(reader.nextKey(key) && reader.skip());
    reader.skipRestOfObject();
    EXPECT_FALSE(reader.nextElement());
    EXPECT_TRUE(reader.finish()) << read;
  }
}

TEST(JSONReader, finishesOnlyBehindTheValue) {
  JSONReader reader("  [1] \n\t ");
  ASSERT_TRUE(reader.skip());
  EXPECT_TRUE(reader.finish());
  EXPECT_TRUE(reader.finish());

  JSONReader unread("1");
  EXPECT_FALSE(unread.finish());
  EXPECT_EQ(unread.syntaxError()->offset, 0U);
}

// --- integers ---

struct IntegerRow {
  const char* name;
  std::string json;
  std::optional<std::int64_t> value;  ///< no value: out of range
};
void PrintTo(const IntegerRow& row, std::ostream* out) { *out << row.json.substr(0, 100); }

class ReadInteger : public testing::TestWithParam<IntegerRow> {};

TEST_P(ReadInteger, isExactOrRefused) {
  const ExactBytes document(GetParam().json);
  JSONReader reader(document.view());
  std::int64_t value = 77;
  EXPECT_EQ(reader.readInteger(value), GetParam().value ? JSONResult::ok : JSONResult::outOfRange);
  EXPECT_EQ(value, GetParam().value.value_or(77));
  EXPECT_TRUE(reader.finish());
}

constexpr std::int64_t kLargest = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kSmallest = std::numeric_limits<std::int64_t>::min();
const std::string kMillionZeros(1'000'000, '0');

INSTANTIATE_TEST_SUITE_P(
    Plain, ReadInteger,
    rows<IntegerRow>({
        {"zero", "0", 0},
        {"minusZero", "-0", 0},
        {"one", "1", 1},
        {"twelve", "12", 12},
        {"minusTwelve", "-12", -12},
        {"eighteenDigits", "123456789012345678", 123456789012345678},
        {"largest", "9223372036854775807", kLargest},
        {"oneBeyondTheLargest", "9223372036854775808", {}},
        {"smallest", "-9223372036854775808", kSmallest},
        {"oneBeyondTheSmallest", "-9223372036854775809", {}},
        {"largestOfNineteenDigits", "9999999999999999999", {}},
        {"twentyDigits", "10000000000000000000", {}},
        {"unsignedLargest", "18446744073709551615", {}},
        // Both wrap to small numbers when 64 bits overflow unseen.
        {"twoToThe64", "18446744073709551616", {}},
        {"twoToThe64AndTwelve", "18446744073709551628", {}},
        {"minusTwoToThe64", "-18446744073709551616", {}},
        {"fortyDigits", "1234567890123456789012345678901234567890", {}},
        {"fortyNegativeDigits", "-1234567890123456789012345678901234567890", {}},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(WithPointOrExponent, ReadInteger,
                         rows<IntegerRow>({
                             {"zeroFraction", "12.0", 12},
                             {"longZeroFraction", "12.000000000000", 12},
                             {"exponent", "12e0", 12},
                             {"fractionMadeWhole", "1.2e1", 12},
                             {"negativeExponent", "120e-1", 12},
                             {"capitalExponent", "1.2E+01", 12},
                             {"negative", "-1.2e1", -12},
                             {"leadingZeroFraction", "0.0012e4", 12},
                             {"zeroAndPoint", "0.0", 0},
                             {"minusZeroAndPoint", "-0.0", 0},
                             {"zeroAndHugeExponent", "0e99999999999999999999", 0},
                             {"zeroAndHugeNegativeExponent", "0.000e-99999999999999999999", 0},
                             {"largestWithPoint", "9223372036854775807.0", kLargest},
                             {"largestWithExponent", "9223372036854775807e0", kLargest},
                             {"largestShiftedDown", "92233720368547758070e-1", kLargest},
                             {"largestShiftedUp", "0.9223372036854775807e19", kLargest},
                             {"smallestWithPoint", "-9223372036854775808.0", kSmallest},
                             {"smallestShiftedUp", "-922337203685477580.8e1", kSmallest},
                             {"oneBeyondTheLargestWithPoint", "9223372036854775808.0", {}},
                             {"oneBeyondTheLargestWithExponent", "9223372036854775808e0", {}},
                             {"oneBeyondTheLargestShiftedUp", "0.9223372036854775808e19", {}},
                             {"oneBeyondTheSmallestShiftedUp", "-922337203685477580.9e1", {}},
                             {"tenToThe18", "1e18", 1'000'000'000'000'000'000},
                             {"tenToThe19", "1e19", {}},
                             {"tenToThe20", "1e20", {}},
                             {"tenToThe30", "1e30", {}},
                             {"minusTenToThe30", "-1e30", {}},
                             {"hugeExponent", "1e99999999999999999999", {}},
                             {"half", "12.5", {}},
                             {"negativeHalf", "-0.5", {}},
                             {"tenth", "1e-1", {}},
                             {"tinyFraction", "12.0000000000000000001", {}},
                             {"fractionBehindTheLargest", "9223372036854775807.5", {}},
                             {"tooSmallExponent", "120e-2", {}},
                             {"hugeNegativeExponent", "1e-99999999999999999999", {}},
                         }),
                         rowName);

INSTANTIATE_TEST_SUITE_P(
    WithManyZeros, ReadInteger,
    rows<IntegerRow>({
        {"behindThePoint", "12." + kMillionZeros, 12},
        {"behindThePointAndOne", "12." + kMillionZeros + "1", {}},
        {"shiftedDown", "12" + kMillionZeros + "e-1000000", 12},
        {"shiftedDownTooLittle", "12" + kMillionZeros + "e-999981", {}},
        {"shiftedDownToTheLargest", "9223372036854775807" + kMillionZeros + "e-1000000", kLargest},
        {"shiftedDownTooFar", "12" + kMillionZeros + "e-1000001", {}},
        {"shiftedUp", "0." + kMillionZeros + "12e1000002", 12},
        {"shiftedUpTooFar", "0." + kMillionZeros + "12e1000021", {}},
        {"shiftedUpTooLittle", "0." + kMillionZeros + "12e1000001", {}},
        {"inTheExponent", "12e" + kMillionZeros, 12},
        {"inANegativeExponent", "120e-" + kMillionZeros + "1", 12},
        {"onlyZeros", "0." + kMillionZeros + "e1000000", 0},
        {"notShifted", "1" + kMillionZeros, {}},
    }),
    rowName);

// Both twins say whether a text of digits, point and exponent is an integer within 64 bits; this
// one keeps every digit.
std::optional<std::int64_t> naiveInteger(const std::string& digits, std::size_t point,
                                         std::int64_t exponent, bool isNegative) {
  std::string all = digits;
  std::int64_t place = static_cast<std::int64_t>(point) + exponent;  // of the point in `all`
  while (place > static_cast<std::int64_t>(all.size())) all += '0';
  for (; place < 0; ++place) all.insert(all.begin(), '0');
  std::string whole = all.substr(0, static_cast<std::size_t>(place));
  if (all.find_first_not_of('0', static_cast<std::size_t>(place)) != std::string::npos) return {};
  whole.erase(0, whole.find_first_not_of('0'));
  if (whole.empty()) return 0;
  const std::string limit = isNegative ? "9223372036854775808" : "9223372036854775807";
  if (whole.size() > limit.size() || (whole.size() == limit.size() && whole > limit)) return {};
  std::uint64_t magnitude = 0;
  for (const char c : whole) magnitude = magnitude * 10 + static_cast<unsigned>(c - '0');
  return static_cast<std::int64_t>(isNegative ? 0 - magnitude : magnitude);
}

TEST(ReadIntegerAgainstItsTwin, agreesOnGeneratedNumbers) {
  std::mt19937 random(1);
  int accepted = 0;
  for (int round = 0; round < 200'000; ++round) {
    std::string digits;
    if (random() % 4 == 0) {
      digits = std::to_string((std::uint64_t{1} << 63U) - 3 + random() % 6);
    } else {
      const std::size_t count = 1 + random() % 22;
      while (digits.size() < count) {
        digits += random() % 2 == 0 ? '0' : static_cast<char>('0' + random() % 10);
      }
    }
    digits.append(random() % 3 * random() % 4, '0');
    const std::size_t point = 1 + random() % digits.size();
    if (digits[0] == '0' && point > 1) digits[0] = '1';
    // Around the exponent that makes the digits whole.
    const auto exponent = static_cast<std::int64_t>(random() % 3 == 0 ? digits.size() - point : 0) +
                          static_cast<std::int64_t>(random() % 5) - 2;
    const bool isNegative = random() % 2 == 0;

    std::string json = (isNegative ? "-" : "") + digits.substr(0, point);
    if (point < digits.size()) json += '.' + digits.substr(point);
    if (exponent != 0 || random() % 2 == 0) json += 'e' + std::to_string(exponent);
    const std::optional<std::int64_t> want = naiveInteger(digits, point, exponent, isNegative);
    accepted += want ? 1 : 0;

    JSONReader reader(json);
    std::int64_t value = 0;
    ASSERT_EQ(reader.readInteger(value), want ? JSONResult::ok : JSONResult::outOfRange) << json;
    ASSERT_EQ(value, want.value_or(0)) << json;
  }
  // Both answers must have been met often for the comparison to mean anything.
  EXPECT_GT(accepted, 20'000);
  EXPECT_LT(accepted, 180'000);
}

// --- doubles ---

struct DoubleRow {
  const char* name;
  std::string json;
  std::optional<double> value;  ///< no value: out of range
};
void PrintTo(const DoubleRow& row, std::ostream* out) { *out << row.json.substr(0, 100); }

class ReadDouble : public testing::TestWithParam<DoubleRow> {};

TEST_P(ReadDouble, isExactlyRounded) {
  const ExactBytes document(GetParam().json);
  JSONReader reader(document.view());
  double value = 77;
  ASSERT_EQ(reader.readDouble(value), GetParam().value ? JSONResult::ok : JSONResult::outOfRange);
  if (GetParam().value) {
    EXPECT_EQ(value, *GetParam().value);
    EXPECT_EQ(std::signbit(value), std::signbit(*GetParam().value));
  }
  EXPECT_TRUE(reader.finish());
}

constexpr double kLargestDouble = std::numeric_limits<double>::max();
constexpr double kSmallestDenormal = std::numeric_limits<double>::denorm_min();
constexpr double kSmallestNormal = std::numeric_limits<double>::min();

INSTANTIATE_TEST_SUITE_P(
    Ordinary, ReadDouble,
    rows<DoubleRow>({
        {"zero", "0", 0.0},
        {"minusZero", "-0", -0.0},
        {"zeroFraction", "0.0", 0.0},
        {"minusZeroFraction", "-0.0", -0.0},
        {"minusZeroExponent", "-0e5", -0.0},
        {"one", "1", 1.0},
        {"minusOne", "-1", -1.0},
        {"half", "0.5", 0.5},
        {"tenth", "0.1", 0x1.999999999999ap-4},
        {"percentage", "87.25", 87.25},
        {"largestExactInteger", "9007199254740992", 9007199254740992.0},
        {"tieBehindIt", "9007199254740993", 9007199254740992.0},
        {"aboveTheTie", "9007199254740993.0000000000000001", 9007199254740994.0},
        {"oddTie", "9007199254740995", 9007199254740996.0},
        {"largestPowerInOneStep", "1e22", 1e22},
        {"onePowerMore", "1e23", 0x1.52d02c7e14af6p+76},
        {"smallestPowerInOneStep", "1e-22", 0x1.e392010175ee6p-74},
        {"onePowerLess", "1e-23", 0x1.82db34012b251p-77},
        {"seventeenDigits", "0.30000000000000004", 0x1.3333333333334p-2},
        {"nineteenDigits", "1234567890123456789", 1234567890123456768.0},
        {"twentyDigits", "12345678901234567890", 12345678901234567168.0},
    }),
    rowName);

// Numbers on which conversions have been wrong before: halfway between two doubles, or off it by
// one unit in a far digit.
INSTANTIATE_TEST_SUITE_P(
    Hard, ReadDouble,
    rows<DoubleRow>({
        {"justAboveATie",
         "1.00000000000000011102230246251565404236316680908203126",
         0x1.0000000000001p+0},
        {"tieToEvenBelow", "1.00000000000000011102230246251565404236316680908203125", 1.0},
        {"justBelowATie", "1.00000000000000011102230246251565404236316680908203124", 1.0},
        {"tieToEvenAbove",
         "1.00000000000000033306690738754696212708950042724609375",
         0x1.0000000000002p+0},
        {"longTwo",
         "2.225073858507201136057409796709131975934819546351645648e-308",
         0x1.ffffffffffffep-1023},
        {"largestDenormal", "2.2250738585072011e-308", 0x1.ffffffffffffep-1023},
        {"smallestNormal", "2.2250738585072014e-308", kSmallestNormal},
        {"tieAtTheSmallestNormal", "2.2250738585072012e-308", kSmallestNormal},
        {"nineDigitExponentForm", "6929495644600919.5", 0x1.89e56ee5e7a58p+52},
        {"elevenDigits", "3.7455744005952583e15", 0x1.a9d28ff412a75p+51},
        {"negativeFarExponent", "8.1e-255", 0x1.e67cb1f6a3cd1p-845},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    AtTheLimits, ReadDouble,
    rows<DoubleRow>({
        {"largest", "1.7976931348623157e308", kLargestDouble},
        {"largestRoundedDown", "1.7976931348623158e308", kLargestDouble},
        {"justBelowTheTieAboveTheLargest", "1.797693134862315807937e308", kLargestDouble},
        {"justAboveTheTieAboveTheLargest", "1.797693134862315807938e308", {}},
        {"smallestBeyond", "1.7976931348623159e308", {}},
        {"negativeLargest", "-1.7976931348623157e308", -kLargestDouble},
        {"negativeBeyond", "-1.7976931348623159e308", {}},
        {"manyDigitsAndAFraction", std::string(400, '1') + ".5", {}},
        {"manyDigitsButASmallerExponent",
         std::string(400, '1') + ".5e-100",
         0x1.53ca79555bde0p+993},
        {"e309", "1e309", {}},
        {"e999", "1e999", {}},
        {"minusE999", "-1e999", {}},
        {"hugeExponent", "1e99999999999999999999", {}},
        {"smallestDenormal", "5e-324", kSmallestDenormal},
        {"aboveHalfOfIt", "2.4703282292062328e-324", kSmallestDenormal},
        {"belowHalfOfIt", "2.4703282292062327e-324", 0.0},
        {"negativeBelowHalfOfIt", "-2.4703282292062327e-324", -0.0},
        {"underflow", "1e-400", 0.0},
        {"negativeUnderflow", "-1e-400", -0.0},
        {"belowAnyDouble", "1e-999", 0.0},
        {"hugeNegativeExponent", "1e-99999999999999999999", 0.0},
        {"negativeHugeNegativeExponent", "-12.5e-99999999999999999999", -0.0},
        {"zeroAndHugeExponent", "0e99999999999999999999", 0.0},
        {"minusZeroAndHugeExponent", "-0.0e99999999999999999999", -0.0},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    AMillionDigits, ReadDouble,
    rows<DoubleRow>({
        {"threes", "3." + std::string(1'000'000, '3'), 10.0 / 3},
        {"nines", "0." + std::string(1'000'000, '9'), 1.0},
        {"wholeNumber", "1" + kMillionZeros, {}},
        {"wholeNumberNegative", "-1" + kMillionZeros, {}},
        {"zerosBehindThePoint", "1.5" + kMillionZeros, 1.5},
        {"shiftedDown", "15" + kMillionZeros + "e-1000001", 1.5},
        {"shiftedUp", "0." + kMillionZeros + "15e1000001", 1.5},
        {"shiftedUpALittleLess", "0." + kMillionZeros + "1e1000000", 0.1},
        {"shiftedUpToTheLargest",
         "0." + kMillionZeros + "17976931348623157e1000309",
         kLargestDouble},
        {"shiftedUpBeyond", "0." + kMillionZeros + "1e1000310", {}},
        {"shiftedDownToTheSmallest", "5" + kMillionZeros + "e-1000324", kSmallestDenormal},
        {"shiftedDownBelow", "-5" + kMillionZeros + "e-1000330", -0.0},
        {"underflow", "0." + kMillionZeros + "1", 0.0},
        {"negativeUnderflow", "-0." + kMillionZeros + "1", -0.0},
        {"onlyZeros", "0." + kMillionZeros, 0.0},
        {"onlyZerosNegative", "-0." + kMillionZeros + "e1000000", -0.0},
        {"tieBrokenByTheLast", "9007199254740993." + kMillionZeros + "1", 9007199254740994.0},
        {"tieNotBroken", "9007199254740993." + kMillionZeros, 9007199254740992.0},
        {"exponent", "1e" + kMillionZeros + "5", 1e5},
    }),
    rowName);

/// The C library's answer, in whose exactness we trust, for numbers with a decimal point whatever
/// the locale of the test.
double librarysDouble(const std::string& json) {
  static const locale_t classic = newlocale(LC_ALL_MASK, "C", nullptr);
  return strtod_l(json.c_str(), nullptr, classic);
}

void expectTheLibrarysDouble(const std::string& json) {
  JSONReader reader(json);
  double value = 77;
  const JSONResult result = reader.readDouble(value);
  const double want = librarysDouble(json);
  if (std::isinf(want)) {
    ASSERT_EQ(result, JSONResult::outOfRange) << json;
  } else {
    ASSERT_EQ(result, JSONResult::ok) << json;
    ASSERT_EQ(std::bit_cast<std::uint64_t>(value), std::bit_cast<std::uint64_t>(want)) << json;
  }
  ASSERT_TRUE(reader.finish()) << json;
}

double anyFiniteDouble(std::mt19937_64& random) {
  while (true) {
    const auto value = std::bit_cast<double>(random());
    if (std::isfinite(value)) return value;
  }
}

template <class Float, class... Format>
std::string textOf(Float value, Format... format) {
  std::string text(2000, '\0');
  const auto result = std::to_chars(text.data(), text.data() + text.size(), value, format...);
  text.resize(static_cast<std::size_t>(result.ptr - text.data()));
  return text;
}

TEST(ReadDoubleAgainstTheLibrary, agreesOnShortestAndLongFormsOfAllMagnitudes) {
  std::mt19937_64 random(2);
  for (int round = 0; round < 50'000; ++round) {
    const double value = anyFiniteDouble(random);
    expectTheLibrarysDouble(textOf(value));
    expectTheLibrarysDouble(
        textOf(value, std::chars_format::scientific, static_cast<int>(random() % 25)));
  }
}

TEST(ReadDoubleAgainstTheLibrary, agreesOnRandomDigits) {
  std::mt19937_64 random(3);
  for (int round = 0; round < 150'000; ++round) {
    std::string json = random() % 2 == 0 ? "-" : "";
    const std::size_t whole = 1 + random() % 21;
    json += static_cast<char>(whole == 1 ? '0' + random() % 10 : '1' + random() % 9);
    for (std::size_t i = 1; i < whole; ++i) json += static_cast<char>('0' + random() % 10);
    if (random() % 2 == 0) {
      json += '.';
      for (std::size_t i = 1 + random() % 21; i > 0; --i) {
        json += static_cast<char>('0' + random() % 10);
      }
    }
    switch (random() % 4) {
      case 0:
        json += "e" + std::to_string(static_cast<int>(random() % 60) - 30);
        break;
      case 1:
        json += "E" + std::to_string(static_cast<int>(random() % 720) - 360);
        break;
      case 2:
        json += "e+" + std::to_string(random() % 30);
        break;
      default:
        break;
    }
    expectTheLibrarysDouble(json);
  }
}

// Where the fast ways of reading end: mantissas around 2^53, exponents around 22, 19 digits.
TEST(ReadDoubleAgainstTheLibrary, agreesAroundTheEdgesOfTheFastWays) {
  std::mt19937_64 random(4);
  for (int round = 0; round < 50'000; ++round) {
    const std::uint64_t edge =
        random() % 2 == 0 ? std::uint64_t{1} << 53U : 9'999'999'999'999'999'999U;
    std::string digits = std::to_string(edge - 40 + random() % 80);
    if (random() % 3 == 0) digits.append(random() % 5, '0');
    if (random() % 2 == 0) digits.insert(1 + random() % digits.size(), ".");
    if (digits.back() == '.') digits += '0';
    digits += 'e' + std::to_string(static_cast<int>(random() % 56) - 28);
    expectTheLibrarysDouble(digits);
  }
}

// A point halfway between two doubles has up to 767 digits; one of them decides.
TEST(ReadDoubleAgainstTheLibrary, agreesOnTiesAndNextToThem) {
  std::mt19937_64 random(5);
  for (int round = 0; round < 4'000; ++round) {
    const double below = std::abs(anyFiniteDouble(random));
    const double above = std::nextafter(below, std::numeric_limits<double>::infinity());
    if (std::isinf(above)) continue;
    // Exact, as a long double has room for one more bit and for smaller exponents.
    const long double tie = (static_cast<long double>(below) + static_cast<long double>(above)) / 2;
    std::string json = textOf(tie, std::chars_format::scientific, 1100);
    expectTheLibrarysDouble(json);
    const std::size_t lastDigit = json.find('e') - 1;
    json[lastDigit] = '1';
    expectTheLibrarysDouble(json);
    json.erase(json.find('.') + 1 + random() % 700, lastDigit - json.find('.') - 750);
    expectTheLibrarysDouble(json);
  }
}

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

// --- size and depth ---

constexpr std::size_t kMillion = 1'000'000;

std::string repeated(std::string_view part, std::size_t count) {
  std::string text;
  text.reserve(part.size() * count);
  for (std::size_t i = 0; i < count; ++i) text += part;
  return text;
}

TEST(JSONReaderDepth, isWithoutLimit) {
  const std::string documents[] = {
      repeated("[", kMillion) + repeated("]", kMillion),
      repeated("{\"a\":", kMillion) + "1" + repeated("}", kMillion),
      repeated("[{\"a\":", kMillion / 2) + "[]" + repeated("}]", kMillion / 2),
      repeated("[1,[],", kMillion) + "2" + repeated(",{}]", kMillion),
      repeated("{\"a\":[],\"b\":[", kMillion / 2) + repeated("],\"c\":null}", kMillion / 2),
  };
  for (const std::string& document : documents) {
    JSONReader reader(document);
    EXPECT_TRUE(reader.skip()) << document.substr(0, 20);
    EXPECT_TRUE(reader.finish()) << document.substr(0, 20);
    // Dropped where something else is wanted.
    JSONReader other(document);
    std::int64_t value;
    EXPECT_EQ(other.readInteger(value), JSONResult::wrongType) << document.substr(0, 20);
    EXPECT_TRUE(other.finish()) << document.substr(0, 20);
  }
}

TEST(JSONReaderDepth, doesNotHideWhatIsWrongFarDown) {
  const std::string open = repeated("[", kMillion);
  const std::string close = repeated("]", kMillion);
  const std::pair<std::string, std::size_t> documents[] = {
      {open, kMillion},
      {repeated("{\"a\":", kMillion), 5 * kMillion},
      {open + close.substr(1), 2 * kMillion - 1},
      {open + close + "]", 2 * kMillion},
      {open + "}" + close, kMillion},
      {open + "1 2" + close, kMillion + 2},
      {open + close.substr(1) + "}", 2 * kMillion - 1},
      {"{\"a\":" + open + close + "]", 2 * kMillion + 5},
  };
  for (const auto& [document, offset] : documents) {
    JSONReader reader(document);
    EXPECT_FALSE(reader.skip() && reader.finish());
    ASSERT_TRUE(reader.failed());
    EXPECT_EQ(reader.syntaxError()->offset, offset);
  }
}

// The kinds of the open levels are remembered in words of 64 bits: every depth around their edges,
// with every single level closed wrongly once.
TEST(JSONReaderDepth, remembersTheKindOfEveryLevel) {
  std::mt19937 random(6);
  for (std::size_t depth = 1; depth <= 200; ++depth) {
    std::string open;
    std::string close;
    for (std::size_t i = 0; i < depth; ++i) {
      const bool isObject = random() % 2 == 0;
      open += isObject ? "{\"\":" : "[";
      close.insert(close.begin(), isObject ? '}' : ']');
    }
    const std::string document = open + "0" + close;
    JSONReader reader(document);
    ASSERT_TRUE(reader.skip() && reader.finish()) << document;
    for (std::size_t i = 0; i < depth; ++i) {
      std::string broken = document;
      char& bracket = broken[open.size() + 1 + i];
      bracket = bracket == '}' ? ']' : '}';
      JSONReader brokenReader(broken);
      ASSERT_FALSE(brokenReader.skip()) << broken;
      ASSERT_EQ(brokenReader.syntaxError()->offset, open.size() + 1 + i) << broken;
    }
  }
}

TEST(JSONReaderDepth, goesUpAndDownAcrossItsWords) {
  // 60 levels, then a comb that goes ten down and up again, over and over.
  const std::string tooth = repeated("{\"a\":[", 5) + repeated("]}", 5);
  std::string comb = tooth;
  for (int i = 0; i < 100; ++i) comb += "," + tooth;
  for (const std::size_t depth : {50U, 54U, 55U, 59U, 60U, 63U, 64U, 65U, 118U, 127U, 128U, 129U}) {
    const std::string document = repeated("[", depth) + comb + repeated("]", depth);
    JSONReader reader(document);
    EXPECT_TRUE(reader.skip() && reader.finish()) << depth;
  }
}

TEST(JSONReaderSize, takesATextOfTwoHundredMegabytesWithoutCopyingIt) {
  std::string document(200'000'000, 'x');
  document.front() = '"';
  document.back() = '"';
  {
    JSONReader reader(document);
    EXPECT_TRUE(reader.skip() && reader.finish());
  }
  {
    JSONReader reader(document);
    std::string_view text;
    ASSERT_EQ(reader.readTextView(text), JSONResult::ok);
    EXPECT_EQ(text.data(), document.data() + 1);
    EXPECT_EQ(text.size(), document.size() - 2);
  }
  document[199'999'990] = '\x01';
  {
    JSONReader reader(document);
    EXPECT_FALSE(reader.skip());
    EXPECT_EQ(reader.syntaxError()->offset, 199'999'990U);
  }
}

// --- the scans and their plain twins ---

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
