#include <TavrineShared/foundation/json_reader.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <ostream>
#include <string>
#include <string_view>

#include "tests/support/json_printing.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

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

}  // namespace
}  // namespace tavrine
