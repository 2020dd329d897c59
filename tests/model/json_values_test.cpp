#include <TavrineShared/model/json_values.h>

#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/json_conventions.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/model/point.h"
#include "tests/support/json_printing.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

using TextMap = std::map<std::string, std::string>;

class Light : public Vocabulary<Light> {
 public:
  enum class Case : std::uint8_t { red, deepRed };
  constexpr Light(Case value = Case::red) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {Case::red, "red", "Red"},
      {Case::deepRed, "deep_red", "Deep Red"},
  });

 private:
  Case value_;
};

// --- each type, read and written ---

/// What one value in a document came to, in a line.
struct Outcome {
  JSONResult result;
  std::string told;
  std::string again;  ///< the value written, if there is one
  std::size_t position;
};

template <class T, class Form = ValueForm<T>>
Outcome outcomeOf(std::string_view document, TimeTexts timeTexts = TimeTexts::iso8601) {
  const ValueType& type = kValueType<T, Form>;
  DecodingProblem problem;
  DecodeContext context;
  context.problem = &problem;
  context.timeTexts = timeTexts;
  T value{};
  JSONReader reader(document);
  const char* const start = reader.position();
  Outcome outcome{type.decode(reader, &value, context), "", "", 0};
  outcome.position = static_cast<std::size_t>(reader.position() - document.data());
  if (outcome.result == JSONResult::ok) {
    EncodingProblem encodingProblem;
    EncodeContext encodeContext;
    encodeContext.problem = &encodingProblem;
    JSONWriter writer(JSONStyle::compact);
    if (type.isPresent != nullptr && !type.isPresent(&value)) {
      outcome.again = "no value";
    } else if (type.encode(writer, &value, encodeContext)) {
      outcome.again = writer.take();
    } else {
      outcome.told = encodingProblem.reason;
    }
  } else {
    context.tell(outcome.result, type, {start, reader.position()});
    outcome.told = problem.path.empty() ? problem.reason : problem.path + ": " + problem.reason;
  }
  return outcome;
}

struct ValueRow {
  const char* name;
  Outcome (*read)(std::string_view document, TimeTexts timeTexts);
  std::string_view json;
  JSONResult result;
  std::string_view want;  ///< the value written again, or the reason of the failure
  TimeTexts timeTexts = TimeTexts::iso8601;
};
void PrintTo(const ValueRow& row, std::ostream* out) { *out << row.json; }

class JSONValueForm : public testing::TestWithParam<ValueRow> {};

TEST_P(JSONValueForm, isReadAndWrittenOrRefusedWithAReason) {
  const ValueRow& row = GetParam();
  const Outcome outcome = row.read(row.json, row.timeTexts);
  EXPECT_EQ(outcome.result, row.result);
  EXPECT_EQ(outcome.result == JSONResult::ok ? outcome.again : outcome.told, row.want);
  EXPECT_EQ(outcome.position, row.json.size()) << "consumes exactly one value";
}

INSTANTIATE_TEST_SUITE_P(
    Integer, JSONValueForm,
    rows<ValueRow>({
        {"good", outcomeOf<std::int64_t>, "12", JSONResult::ok, "12"},
        {"integralFraction", outcomeOf<std::int64_t>, "1.2e1", JSONResult::ok, "12"},
        {"largest",
         outcomeOf<std::int64_t>,
         "9223372036854775807",
         JSONResult::ok,
         "9223372036854775807"},
        {"tooLarge",
         outcomeOf<std::int64_t>,
         "9223372036854775808",
         JSONResult::outOfRange,
         "not a 64-bit integer"},
        {"fraction",
         outcomeOf<std::int64_t>,
         "12.5",
         JSONResult::outOfRange,
         "not a 64-bit integer"},
        {"null",
         outcomeOf<std::int64_t>,
         "null",
         JSONResult::null,
         "expected a 64-bit integer, found null"},
        {"boolean",
         outcomeOf<std::int64_t>,
         "true",
         JSONResult::wrongType,
         "expected a 64-bit integer, found true or false"},
        {"text",
         outcomeOf<std::int64_t>,
         R"("12")",
         JSONResult::wrongType,
         "expected a 64-bit integer, found a text"},
        {"list",
         outcomeOf<std::int64_t>,
         "[12]",
         JSONResult::wrongType,
         "expected a 64-bit integer, found a list"},
        {"object",
         outcomeOf<std::int64_t>,
         R"({"a":12})",
         JSONResult::wrongType,
         "expected a 64-bit integer, found an object"},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    Double, JSONValueForm,
    rows<ValueRow>({
        {"good", outcomeOf<double>, "12.5", JSONResult::ok, "12.5"},
        {"integral", outcomeOf<double>, "12.0", JSONResult::ok, "12"},
        {"minusZero", outcomeOf<double>, "-0.0", JSONResult::ok, "0"},
        {"underflow", outcomeOf<double>, "1e-999", JSONResult::ok, "0"},
        {"tooLarge", outcomeOf<double>, "1e999", JSONResult::outOfRange, "not a finite number"},
        {"null",
         outcomeOf<double>,
         "null",
         JSONResult::null,
         "expected a finite number, found null"},
        {"text",
         outcomeOf<double>,
         R"("12.5")",
         JSONResult::wrongType,
         "expected a finite number, found a text"},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    BooleanAndText, JSONValueForm,
    rows<ValueRow>({
        {"trueLiteral", outcomeOf<bool>, "true", JSONResult::ok, "true"},
        {"falseLiteral", outcomeOf<bool>, "false", JSONResult::ok, "false"},
        {"zeroIsNoBoolean",
         outcomeOf<bool>,
         "0",
         JSONResult::wrongType,
         "expected true or false, found a number"},
        {"nullIsNoBoolean",
         outcomeOf<bool>,
         "null",
         JSONResult::null,
         "expected true or false, found null"},
        {"text", outcomeOf<std::string>, R"("a\nb")", JSONResult::ok, R"("a\nb")"},
        {"emptyText", outcomeOf<std::string>, R"("")", JSONResult::ok, R"("")"},
        {"numberIsNoText",
         outcomeOf<std::string>,
         "3",
         JSONResult::wrongType,
         "expected a text, found a number"},
        {"nullIsNoText",
         outcomeOf<std::string>,
         "null",
         JSONResult::null,
         "expected a text, found null"},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(Time, JSONValueForm,
                         rows<ValueRow>({
                             {"good",
                              outcomeOf<Timestamp>,
                              R"("2026-11-15T17:48:25Z")",
                              JSONResult::ok,
                              R"("2026-11-15T17:48:25Z")"},
                             {"offset",
                              outcomeOf<Timestamp>,
                              R"("2026-11-15T19:48:25+02:00")",
                              JSONResult::ok,
                              R"("2026-11-15T17:48:25Z")"},
                             {"escaped",
                              outcomeOf<Timestamp>,
                              R"("2026-11-15\u005417:48:25\u005a")",
                              JSONResult::ok,
                              R"("2026-11-15T17:48:25Z")"},
                             {"fractionOfASecond",
                              outcomeOf<Timestamp>,
                              R"("2026-11-15T17:48:25.5Z")",
                              JSONResult::malformed,
                              "not a time of the form 2026-11-15T17:48:25Z"},
                             {"withoutZone",
                              outcomeOf<Timestamp>,
                              R"("2026-11-15T17:48:25")",
                              JSONResult::malformed,
                              "not a time of the form 2026-11-15T17:48:25Z"},
                             {"impossibleDate",
                              outcomeOf<Timestamp>,
                              R"("2026-02-30T17:48:25Z")",
                              JSONResult::malformed,
                              "not a time of the form 2026-11-15T17:48:25Z"},
                             {"number",
                              outcomeOf<Timestamp>,
                              "1794764905",
                              JSONResult::wrongType,
                              "expected a time of the form 2026-11-15T17:48:25Z, found a number"},
                             {"null",
                              outcomeOf<Timestamp>,
                              "null",
                              JSONResult::null,
                              "expected a time of the form 2026-11-15T17:48:25Z, found null"},
                         }),
                         rowName);

template <class T>
constexpr auto secondsOutcomeOf = outcomeOf<T, detail::SecondsOrDateForm<T>>;

INSTANTIATE_TEST_SUITE_P(
    TimeOrSeconds, JSONValueForm,
    rows<ValueRow>({
        {"seconds",
         secondsOutcomeOf<Timestamp>,
         "1700000000",
         JSONResult::ok,
         R"("2023-11-14T22:13:20Z")"},
        {"fraction",
         secondsOutcomeOf<Timestamp>,
         "1700000000.75",
         JSONResult::ok,
         R"("2023-11-14T22:13:20Z")"},
        {"beforeTheEpoch",
         secondsOutcomeOf<Timestamp>,
         "-0.25",
         JSONResult::ok,
         R"("1969-12-31T23:59:59Z")"},
        {"date",
         secondsOutcomeOf<Timestamp>,
         R"("2023-11-14T22:13:20Z")",
         JSONResult::ok,
         R"("2023-11-14T22:13:20Z")"},
        {"tooLarge",
         secondsOutcomeOf<Timestamp>,
         "1e999",
         JSONResult::outOfRange,
         "not a number of seconds or a time of the form 2026-11-15T17:48:25Z"},
        {"secondsAsText",
         secondsOutcomeOf<Timestamp>,
         R"("1700000000")",
         JSONResult::malformed,
         "not a number of seconds or a time of the form 2026-11-15T17:48:25Z"},
        {"boolean",
         secondsOutcomeOf<Timestamp>,
         "true",
         JSONResult::wrongType,
         "expected a number of seconds or a time of the form 2026-11-15T17:48:25Z, found true or "
         "false"},
        {"null",
         secondsOutcomeOf<Timestamp>,
         "null",
         JSONResult::null,
         "expected a number of seconds or a time of the form 2026-11-15T17:48:25Z, found null"},
        {"optionalSeconds",
         secondsOutcomeOf<std::optional<Timestamp>>,
         "1700000000",
         JSONResult::ok,
         R"("2023-11-14T22:13:20Z")"},
        {"optionalDate",
         secondsOutcomeOf<std::optional<Timestamp>>,
         R"("2023-11-14T22:13:20Z")",
         JSONResult::ok,
         R"("2023-11-14T22:13:20Z")"},
        {"optionalNull",
         secondsOutcomeOf<std::optional<Timestamp>>,
         "null",
         JSONResult::ok,
         "no value"},
        {"optionalTooLarge",
         secondsOutcomeOf<std::optional<Timestamp>>,
         "-1e999",
         JSONResult::outOfRange,
         "not a number of seconds or a time of the form 2026-11-15T17:48:25Z"},
        {"optionalMalformed",
         secondsOutcomeOf<std::optional<Timestamp>>,
         R"("yesterday")",
         JSONResult::malformed,
         "not a number of seconds or a time of the form 2026-11-15T17:48:25Z"},
    }),
    rowName);

struct SecondsOnlyRow {
  const char* name;
  std::string_view json;
  JSONResult result;          ///< of a required time
  JSONResult optionalResult;  ///< of an optional one
  std::string_view time = {};
};
void PrintTo(const SecondsOnlyRow& row, std::ostream* out) { *out << row.json; }

class SecondsOnly : public testing::TestWithParam<SecondsOnlyRow> {};

// Recorder lines know no way of writing a time but as seconds.
TEST_P(SecondsOnly, takesNoTextForATime) {
  const auto& [name, json, result, optionalResult, time] = GetParam();
  const Outcome required = secondsOutcomeOf<Timestamp>(json, TimeTexts::none);
  EXPECT_EQ(required.result, result);
  EXPECT_EQ(required.again, time);
  EXPECT_EQ(required.position, json.size());
  const Outcome optional = secondsOutcomeOf<std::optional<Timestamp>>(json, TimeTexts::none);
  EXPECT_EQ(optional.result, optionalResult);
  EXPECT_EQ(optional.again, json == "null" ? "no value" : time);
  EXPECT_EQ(optional.position, json.size());
}

INSTANTIATE_TEST_SUITE_P(
    Values, SecondsOnly,
    rows<SecondsOnlyRow>({
        {"seconds", "1700000000.25", JSONResult::ok, JSONResult::ok, R"("2023-11-14T22:13:20Z")"},
        {"zero", "0", JSONResult::ok, JSONResult::ok, R"("1970-01-01T00:00:00Z")"},
        {"date", R"("2023-11-14T22:13:20Z")", JSONResult::wrongType, JSONResult::wrongType},
        {"malformedDate", R"("soon")", JSONResult::wrongType, JSONResult::wrongType},
        {"list", "[1]", JSONResult::wrongType, JSONResult::wrongType},
        {"tooLarge", "1e999", JSONResult::outOfRange, JSONResult::outOfRange},
        {"null", "null", JSONResult::null, JSONResult::ok},
    }),
    rowName);

TEST(SecondsOnly, holdsForTimesDeepInside) {
  EXPECT_EQ(
      outcomeOf<std::vector<Timestamp>>(R"(["2023-11-14T22:13:20Z"])", TimeTexts::none).result,
      JSONResult::inner);
  EXPECT_EQ(outcomeOf<std::vector<Timestamp>>(R"(["2023-11-14T22:13:20Z"])").result,
            JSONResult::ok);
}

INSTANTIATE_TEST_SUITE_P(
    UUIDAndVocabulary, JSONValueForm,
    rows<ValueRow>({
        {"upperCaseUUID",
         outcomeOf<UUID>,
         R"("0F8FAD5B-D9CB-469F-A165-70867728950E")",
         JSONResult::ok,
         R"("0F8FAD5B-D9CB-469F-A165-70867728950E")"},
        {"lowerCaseUUID",
         outcomeOf<UUID>,
         R"("0f8fad5b-d9cb-469f-a165-70867728950e")",
         JSONResult::ok,
         R"("0F8FAD5B-D9CB-469F-A165-70867728950E")"},
        {"cutUUID",
         outcomeOf<UUID>,
         R"("0F8FAD5B-D9CB-469F-A165-70867728950")",
         JSONResult::malformed,
         "not a UUID"},
        {"numberIsNoUUID",
         outcomeOf<UUID>,
         "15",
         JSONResult::wrongType,
         "expected a UUID, found a number"},
        {"nullIsNoUUID", outcomeOf<UUID>, "null", JSONResult::null, "expected a UUID, found null"},
        {"word", outcomeOf<Light>, R"("deep_red")", JSONResult::ok, R"("deep_red")"},
        {"unknownWord",
         outcomeOf<Light>,
         R"("Deep Red")",
         JSONResult::malformed,
         "not one of red, deep_red"},
        {"numberIsNoWord",
         outcomeOf<Light>,
         "1",
         JSONResult::malformed,
         "not one of red, deep_red"},
        {"nullIsNoWord",
         outcomeOf<Light>,
         "null",
         JSONResult::malformed,
         "not one of red, deep_red"},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    Optional, JSONValueForm,
    rows<ValueRow>({
        {"value", outcomeOf<std::optional<double>>, "12.5", JSONResult::ok, "12.5"},
        {"null", outcomeOf<std::optional<double>>, "null", JSONResult::ok, "no value"},
        {"wrongType",
         outcomeOf<std::optional<double>>,
         R"("12.5")",
         JSONResult::wrongType,
         "expected a finite number, found a text"},
        {"outOfRange",
         outcomeOf<std::optional<double>>,
         "1e999",
         JSONResult::outOfRange,
         "not a finite number"},
        {"emptyText", outcomeOf<std::optional<std::string>>, R"("")", JSONResult::ok, R"("")"},
        {"record",
         outcomeOf<std::optional<Point>>,
         R"({"x":1,"y":2})",
         JSONResult::ok,
         R"({"x":1,"y":2})"},
        {"badRecord",
         outcomeOf<std::optional<Point>>,
         R"({"x":1})",
         JSONResult::inner,
         "y: required key is missing"},
        {"list", outcomeOf<std::optional<std::vector<Point>>>, "[]", JSONResult::ok, "[]"},
        {"badList",
         outcomeOf<std::optional<std::vector<Point>>>,
         "[7]",
         JSONResult::inner,
         "[0]: expected an object, found a number"},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    Record, JSONValueForm,
    rows<ValueRow>({
        {"good", outcomeOf<Point>, R"({"x":1,"y":2.5})", JSONResult::ok, R"({"x":1,"y":2.5})"},
        {"otherOrder",
         outcomeOf<Point>,
         R"({"y":2.5,"x":1})",
         JSONResult::ok,
         R"({"x":1,"y":2.5})"},
        {"missingKey", outcomeOf<Point>, "{}", JSONResult::inner, "x: required key is missing"},
        {"wrongTypeInside",
         outcomeOf<Point>,
         R"({"x":[],"y":2.5})",
         JSONResult::inner,
         "x: expected a 64-bit integer, found a list"},
        {"null", outcomeOf<Point>, "null", JSONResult::null, "expected an object, found null"},
        {"list",
         outcomeOf<Point>,
         R"([1,2.5])",
         JSONResult::wrongType,
         "expected an object, found a list"},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    PlainList, JSONValueForm,
    rows<ValueRow>({
        {"empty", outcomeOf<std::vector<std::int64_t>>, "[]", JSONResult::ok, "[]"},
        {"integers",
         outcomeOf<std::vector<std::int64_t>>,
         "[ 1, 2.0 ,3]",
         JSONResult::ok,
         "[1,2,3]"},
        {"badElement",
         outcomeOf<std::vector<std::int64_t>>,
         R"([1,"2",3])",
         JSONResult::inner,
         "[1]: expected a 64-bit integer, found a text"},
        {"nullElement",
         outcomeOf<std::vector<std::int64_t>>,
         "[1,2,null]",
         JSONResult::inner,
         "[2]: expected a 64-bit integer, found null"},
        {"elementOutOfRange",
         outcomeOf<std::vector<double>>,
         "[1e999]",
         JSONResult::inner,
         "[0]: not a finite number"},
        {"badRecord",
         outcomeOf<std::vector<Point>>,
         R"([{"x":1,"y":2},{"x":1,"y":true},7])",
         JSONResult::inner,
         "[1].y: expected a finite number, found true or false"},
        {"listOfLists",
         outcomeOf<std::vector<std::vector<double>>>,
         "[[],[1,2]]",
         JSONResult::ok,
         "[[],[1,2]]"},
        {"badInnerList",
         outcomeOf<std::vector<std::vector<double>>>,
         "[[],[1,[]]]",
         JSONResult::inner,
         "[1][1]: expected a finite number, found a list"},
        {"null",
         outcomeOf<std::vector<double>>,
         "null",
         JSONResult::null,
         "expected a list, found null"},
        {"object",
         outcomeOf<std::vector<double>>,
         R"({"0":1})",
         JSONResult::wrongType,
         "expected a list, found an object"},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(TextMap, JSONValueForm,
                         rows<ValueRow>({
                             {"empty", outcomeOf<TextMap>, "{}", JSONResult::ok, "{}"},
                             {"texts",
                              outcomeOf<TextMap>,
                              R"({"lr":"3e-4","batch":"32"})",
                              JSONResult::ok,
                              R"({"batch":"32","lr":"3e-4"})"},
                             {"keysWithEscapes",
                              outcomeOf<TextMap>,
                              R"({"a\n\u00e9":"\"","":""})",
                              JSONResult::ok,
                              "{\"\":\"\",\"a\\n\xC3\xA9\":\"\\\"\"}"},
                             {"keysInTheOrderOfTheirBytes",
                              outcomeOf<TextMap>,
                              R"({"\u00e9":"4","b":"3","a":"2","B":"1"})",
                              JSONResult::ok,
                              "{\"B\":\"1\",\"a\":\"2\",\"b\":\"3\",\"\xC3\xA9\":\"4\"}"},
                             {"keyTwice",
                              outcomeOf<TextMap>,
                              R"({"a":"1","b":"2","a":"3"})",
                              JSONResult::ok,
                              R"({"a":"1","b":"2"})"},
                             {"keyTwiceButEscaped",
                              outcomeOf<TextMap>,
                              R"({"a":"1","\u0061":"3"})",
                              JSONResult::ok,
                              R"({"a":"1"})"},
                             {"secondValueIsNoText",
                              outcomeOf<TextMap>,
                              R"({"a":"1","a":2})",
                              JSONResult::ok,
                              R"({"a":"1"})"},
                             {"number",
                              outcomeOf<TextMap>,
                              R"({"a":"1","b":2,"c":"3"})",
                              JSONResult::inner,
                              "b: expected a text, found a number"},
                             {"nullMember",
                              outcomeOf<TextMap>,
                              R"({"a":null})",
                              JSONResult::inner,
                              "a: expected a text, found null"},
                             {"object",
                              outcomeOf<TextMap>,
                              R"({"a":{"b":"c"}})",
                              JSONResult::inner,
                              "a: expected a text, found an object"},
                             {"list",
                              outcomeOf<TextMap>,
                              "[]",
                              JSONResult::wrongType,
                              "expected an object of texts, found a list"},
                             {"text",
                              outcomeOf<TextMap>,
                              R"("{}")",
                              JSONResult::wrongType,
                              "expected an object of texts, found a text"},
                             {"null",
                              outcomeOf<TextMap>,
                              "null",
                              JSONResult::null,
                              "expected an object of texts, found null"},
                         }),
                         rowName);

TEST(JSONValueForm, leavesSyntaxErrorsToTheReader) {
  struct Row {
    Outcome (*read)(std::string_view document, TimeTexts timeTexts);
    std::string_view json;
  };
  for (const auto& [read, json] : {Row{outcomeOf<std::int64_t>, "-"},
                                   Row{outcomeOf<double>, "1."},
                                   Row{outcomeOf<bool>, "tru"},
                                   Row{outcomeOf<std::string>, R"("abc)"},
                                   Row{outcomeOf<Timestamp>, R"("2026-11-15T17:48:25Z)"},
                                   Row{outcomeOf<Timestamp>, "01"},
                                   Row{outcomeOf<UUID>, "\"\x01\""},
                                   Row{outcomeOf<Light>, R"("red\q")"},
                                   Row{outcomeOf<std::optional<double>>, "nul"},
                                   Row{outcomeOf<Point>, R"({"x":1,"y":2)"},
                                   Row{outcomeOf<Point>, R"({"x":1,"y":02})"},
                                   Row{outcomeOf<std::optional<Point>>, R"({"x":1,)"},
                                   Row{outcomeOf<std::vector<double>>, "[1,2"},
                                   Row{outcomeOf<std::vector<double>>, "[1,]"},
                                   Row{outcomeOf<TextMap>, R"({"a":"b")"},
                                   Row{outcomeOf<TextMap>, R"({"a":"b","c":})"}}) {
    const Outcome outcome = read(json, TimeTexts::iso8601);
    EXPECT_EQ(outcome.told, "") << json;
    EXPECT_NE(outcome.result, JSONResult::wrongType) << json;
    EXPECT_EQ(outcome.position, json.size()) << json;
  }
}

TEST(TextMapForm, tellsOfARepeatedKey) {
  Findings findings;
  DecodeContext context;
  context.findings = &findings;
  TextMap map;
  JSONReader reader(R"({"a":"1","b":"2","a":["3"]})");
  EXPECT_EQ(ValueForm<TextMap>::decode(reader, map, context), JSONResult::ok);
  EXPECT_EQ(map, (TextMap{{"a", "1"}, {"b", "2"}}));
  ASSERT_EQ(findings.list().size(), 1U);
  EXPECT_EQ(findings.list()[0].path, "a");
  EXPECT_EQ(findings.list()[0].outcome, FindingOutcome::ignored);
  EXPECT_EQ(findings.list()[0].found, R"(["3"])");
}

TEST(TextMapForm, startsFromNothing) {
  TextMap map = {{"old", "value"}};
  JSONReader reader(R"({"new":"value"})");
  EXPECT_EQ(ValueForm<TextMap>::decode(reader, map, {}), JSONResult::ok);
  EXPECT_EQ(map, (TextMap{{"new", "value"}}));
}

TEST(SecondsOrDateForm, keepsFractions) {
  Timestamp time{};
  JSONReader reader("1700000000.25");
  EXPECT_EQ(detail::SecondsOrDateForm<Timestamp>::decode(reader, time, {}), JSONResult::ok);
  EXPECT_EQ(time.time_since_epoch().count(), 1700000000.25);
}

// --- what has no JSON form ---

template <class T>
std::string encodingProblemOf(const T& value) {
  EncodingProblem problem;
  EncodeContext context;
  context.problem = &problem;
  JSONWriter writer(JSONStyle::compact);
  if (ValueForm<T>::encode(writer, value, context)) return "none";
  return problem.path + ": " + std::string(problem.reason);
}

TEST(EncodeContext, tellsWhereAValueHasNoForm) {
  const double infinity = std::numeric_limits<double>::infinity();
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const Timestamp far{std::chrono::duration<double>(1e18)};
  const std::string notFinite = "a number that is not finite has no JSON form";
  const std::string noTime = "a time outside the years 0000 to 9999 has no JSON form";
  EXPECT_EQ(encodingProblemOf(1.5), "none");
  EXPECT_EQ(encodingProblemOf(nan), ": " + notFinite);
  EXPECT_EQ(encodingProblemOf(-infinity), ": " + notFinite);
  EXPECT_EQ(encodingProblemOf(far), ": " + noTime);
  EXPECT_EQ(encodingProblemOf(Timestamp{std::chrono::duration<double>(nan)}), ": " + noTime);
  EXPECT_EQ(encodingProblemOf(std::optional<double>(infinity)), ": " + notFinite);
  EXPECT_EQ(encodingProblemOf(std::vector<double>{1, 2, nan, infinity}), "[2]: " + notFinite);
  EXPECT_EQ(encodingProblemOf(Point{1, nan}), "y: " + notFinite);
  EXPECT_EQ(encodingProblemOf(std::vector<Point>{{1, 2}, {3, nan}}), "[1].y: " + notFinite);
}

// --- hashes ---

template <class T>
std::size_t hashOfValue(const T& value) {
  return kValueType<T>.hash(&value);
}

TEST(ValueHash, isEqualForEqualValues) {
  EXPECT_EQ(hashOfValue(0.0), hashOfValue(-0.0));
  EXPECT_EQ(hashOfValue(Timestamp{std::chrono::duration<double>(0.0)}),
            hashOfValue(Timestamp{std::chrono::duration<double>(-0.0)}));
  EXPECT_EQ(hashOfValue(std::optional<double>(0.0)), hashOfValue(std::optional<double>(-0.0)));
  EXPECT_EQ(hashOfValue(std::vector<double>{0.0, 1}), hashOfValue(std::vector<double>{-0.0, 1}));
  EXPECT_EQ(hashOfValue(Point{1, 0.0}), hashOfValue(Point{1, -0.0}));
  EXPECT_EQ(hashOfValue(Point{1, 2}), std::hash<Point>()(Point{1, 2}));
  EXPECT_EQ(hashOfValue(TextMap{{"a", "b"}}), hashOfValue(TextMap{{"a", "b"}}));
  std::string spacious = "text";
  spacious.reserve(1000);
  EXPECT_EQ(hashOfValue(spacious), hashOfValue(std::string("text")));
}

TEST(ValueHash, differsForValuesThatDiffer) {
  EXPECT_NE(hashOfValue(std::optional<std::int64_t>()),
            hashOfValue(std::optional<std::int64_t>(0)));
  EXPECT_NE(hashOfValue(std::vector<double>{}), hashOfValue(std::vector<double>{0}));
  EXPECT_NE(hashOfValue(std::vector<double>{1, 2}), hashOfValue(std::vector<double>{2, 1}));
  EXPECT_NE(hashOfValue(Point{1, 2}), hashOfValue(Point{2, 1}));
  EXPECT_NE(hashOfValue(TextMap{{"a", "b"}}), hashOfValue(TextMap{{"b", "a"}}));
  EXPECT_NE(hashOfValue(TextMap{{"a", "b"}}), hashOfValue(TextMap{{"a", ""}, {"b", ""}}));
  EXPECT_NE(hashOfValue(std::vector<std::string>{"ab", "c"}),
            hashOfValue(std::vector<std::string>{"a", "bc"}));
  // Numbers that are neighbours in a table must not fall together.
  std::vector<std::size_t> hashes;
  for (std::int64_t x = 0; x < 100; ++x) {
    for (int y = 0; y < 100; ++y) hashes.push_back(hashOfValue(Point{x, y / 4.0}));
  }
  std::sort(hashes.begin(), hashes.end());
  EXPECT_EQ(std::adjacent_find(hashes.begin(), hashes.end()), hashes.end());
}

// --- flexible integers ---

struct FlexibleRow {
  const char* name;
  std::string_view json;
  JSONResult result;
  std::optional<std::int64_t> value = {};
};
void PrintTo(const FlexibleRow& row, std::ostream* out) { *out << row.json; }

class DecodeFlexibleInt64 : public testing::TestWithParam<FlexibleRow> {};

TEST_P(DecodeFlexibleInt64, givesAnIntegerNoValueOrAFailure) {
  JSONReader reader(GetParam().json);
  std::optional<std::int64_t> value = 77;
  EXPECT_EQ(decodeFlexibleInt64(reader, value, {}), GetParam().result);
  EXPECT_EQ(value, GetParam().value);
  EXPECT_TRUE(reader.finish());
}

INSTANTIATE_TEST_SUITE_P(Values, DecodeFlexibleInt64,
                         rows<FlexibleRow>({
                             {"integer", "12", JSONResult::ok, 12},
                             {"integralFraction", "12.0", JSONResult::ok, 12},
                             {"largest",
                              "9223372036854775807",
                              JSONResult::ok,
                              std::numeric_limits<std::int64_t>::max()},
                             {"smallest",
                              "-9223372036854775808",
                              JSONResult::ok,
                              std::numeric_limits<std::int64_t>::min()},
                             {"null", "null", JSONResult::ok, {}},
                             {"fraction", "12.5", JSONResult::outOfRange},
                             {"tooLarge", "9223372036854775808", JSONResult::outOfRange},
                             {"huge", "1e30", JSONResult::outOfRange},
                             {"text", R"("12")", JSONResult::wrongType},
                             {"boolean", "true", JSONResult::wrongType},
                             {"list", "[12]", JSONResult::wrongType},
                             {"object", "{}", JSONResult::wrongType},
                         }),
                         rowName);

}  // namespace
}  // namespace tavrine
