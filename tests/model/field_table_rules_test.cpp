#include <TavrineShared/model/field_table.h>

#include <TavrineShared/model/findings.h>
#include <TavrineShared/model/json_conventions.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/model/every_rule.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

// Each rule in the words of its messages.

struct RequiredOnly {
  std::int64_t a;
  bool operator==(const RequiredOnly&) const = default;
  static const RecordTable& table() {
    static constexpr auto fields = fieldsOf<RequiredOnly>(field<&RequiredOnly::a>());
    static constexpr RecordTable table{"RequiredOnly", fields};
    return table;
  }
};

struct OptionalOnly {
  std::optional<std::string> a;
  bool operator==(const OptionalOnly&) const = default;
  static const RecordTable& table() {
    static constexpr auto fields = fieldsOf<OptionalOnly>(field<&OptionalOnly::a>());
    static constexpr RecordTable table{"OptionalOnly", fields};
    return table;
  }
};

struct OptionalRecordOnly {
  std::optional<Part> a;
  bool operator==(const OptionalRecordOnly&) const = default;
  static const RecordTable& table() {
    static constexpr auto fields = fieldsOf<OptionalRecordOnly>(field<&OptionalRecordOnly::a>());
    static constexpr RecordTable table{"OptionalRecordOnly", fields};
    return table;
  }
};

struct LossyOnly {
  std::vector<Part> a;
  bool operator==(const LossyOnly&) const = default;
  static const RecordTable& table() {
    static constexpr auto fields = fieldsOf<LossyOnly>(lossyList<&LossyOnly::a>());
    static constexpr RecordTable table{"LossyOnly", fields};
    return table;
  }
};

struct PlainListOnly {
  std::vector<Part> a;
  bool operator==(const PlainListOnly&) const = default;
  static const RecordTable& table() {
    static constexpr auto fields = fieldsOf<PlainListOnly>(field<&PlainListOnly::a>());
    static constexpr RecordTable table{"PlainListOnly", fields};
    return table;
  }
};

struct DefaultedOnly {
  std::int64_t a;
  TextMap b;
  bool operator==(const DefaultedOnly&) const = default;
  static const RecordTable& table() {
    using R = DefaultedOnly;
    static constexpr auto fields =
        fieldsOf<R>(defaulted<&R::a>([] { return std::int64_t{14}; }), defaulted<&R::b>());
    static constexpr RecordTable table{"DefaultedOnly", fields};
    return table;
  }
};

struct ForgivingOnly {
  bool a;
  std::optional<std::int64_t> b;
  bool operator==(const ForgivingOnly&) const = default;
  static const RecordTable& table() {
    using R = ForgivingOnly;
    static constexpr auto fields = fieldsOf<R>(forgiving<&R::a>(), forgiving<&R::b>());
    static constexpr RecordTable table{"ForgivingOnly", fields};
    return table;
  }
};

struct FlexibleOnly {
  std::int64_t a;
  bool operator==(const FlexibleOnly&) const = default;
  static const RecordTable& table() {
    using R = FlexibleOnly;
    static constexpr auto fields =
        fieldsOf<R>(flexibleInt64<&R::a>([] { return std::int64_t{50}; }));
    static constexpr RecordTable table{"FlexibleOnly", fields};
    return table;
  }
};

struct TimesOnly {
  Timestamp a;
  Timestamp b;
  std::optional<Timestamp> c;
  bool operator==(const TimesOnly&) const = default;
  static const RecordTable& table() {
    using R = TimesOnly;
    static constexpr auto fields =
        fieldsOf<R>(secondsOrDate(field<&R::a>()),
                    secondsOrDate(defaulted<&R::b>([] { return at(kDecodingTime); })),
                    secondsOrDate(field<&R::c>()));
    static constexpr RecordTable table{"TimesOnly", fields};
    return table;
  }
};

/// The record as it is written, or what was wrong; and a line for each finding.
template <class R>
std::string outcomeOf(std::string_view document) {
  Findings findings;
  std::string outcome;
  try {
    outcome = encode(decode<R>(document, &findings));
  } catch (const DecodingError& error) {
    outcome = error.what();
  }
  for (const Finding& finding : findings.list()) {
    outcome += "\n" + finding.path + " (" + finding.found + ") " +
               std::string(finding.outcome.title()) + ": " + finding.reason;
  }
  return outcome;
}

struct RuleRow {
  const char* name;
  std::string (*read)(std::string_view document);
  std::string_view document;
  std::string_view outcome;
};
void PrintTo(const RuleRow& row, std::ostream* out) { *out << row.document; }

class FieldRuleOf : public testing::TestWithParam<RuleRow> {};

TEST_P(FieldRuleOf, givesThisRecordOrThisReason) {
  EXPECT_EQ(GetParam().read(GetParam().document), GetParam().outcome);
}

INSTANTIATE_TEST_SUITE_P(
    Required, FieldRuleOf,
    rows<RuleRow>({
        {"good", outcomeOf<RequiredOnly>, R"({"a":12})", R"({"a":12})"},
        {"missing", outcomeOf<RequiredOnly>, "{}", "a: required key is missing"},
        {"null",
         outcomeOf<RequiredOnly>,
         R"({"a":null})",
         "a: expected a 64-bit integer, found null"},
        {"boolean",
         outcomeOf<RequiredOnly>,
         R"({"a":true})",
         "a: expected a 64-bit integer, found true or false"},
        {"text",
         outcomeOf<RequiredOnly>,
         R"({"a":"12"})",
         "a: expected a 64-bit integer, found a text"},
        {"list",
         outcomeOf<RequiredOnly>,
         R"({"a":[12]})",
         "a: expected a 64-bit integer, found a list"},
        {"object",
         outcomeOf<RequiredOnly>,
         R"({"a":{"a":12}})",
         "a: expected a 64-bit integer, found an object"},
        {"fraction", outcomeOf<RequiredOnly>, R"({"a":12.5})", "a: not a 64-bit integer"},
        {"tooLarge", outcomeOf<RequiredOnly>, R"({"a":1e30})", "a: not a 64-bit integer"},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    Optional, FieldRuleOf,
    rows<RuleRow>({
        {"good", outcomeOf<OptionalOnly>, R"({"a":"x"})", R"({"a":"x"})"},
        {"empty", outcomeOf<OptionalOnly>, R"({"a":""})", R"({"a":""})"},
        {"missing", outcomeOf<OptionalOnly>, "{}", "{}"},
        {"null", outcomeOf<OptionalOnly>, R"({"a":null})", "{}"},
        {"number", outcomeOf<OptionalOnly>, R"({"a":3})", "a: expected a text, found a number"},
        {"list", outcomeOf<OptionalOnly>, R"({"a":[]})", "a: expected a text, found a list"},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(OptionalRecord, FieldRuleOf,
                         rows<RuleRow>({
                             {"good",
                              outcomeOf<OptionalRecordOnly>,
                              R"({"a":{"index":1,"label":"x"}})",
                              R"({"a":{"index":1,"label":"x"}})"},
                             {"missing", outcomeOf<OptionalRecordOnly>, "{}", "{}"},
                             {"null", outcomeOf<OptionalRecordOnly>, R"({"a":null})", "{}"},
                             {"missingInside",
                              outcomeOf<OptionalRecordOnly>,
                              R"({"a":{"index":1}})",
                              "a.label: required key is missing"},
                             {"emptyInside",
                              outcomeOf<OptionalRecordOnly>,
                              R"({"a":{}})",
                              "a.index: required key is missing"},
                             {"wrongTypeInside",
                              outcomeOf<OptionalRecordOnly>,
                              R"({"a":{"index":"1","label":"x"}})",
                              "a.index: expected a 64-bit integer, found a text"},
                             {"list",
                              outcomeOf<OptionalRecordOnly>,
                              R"({"a":[]})",
                              "a: expected an object, found a list"},
                         }),
                         rowName);

INSTANTIATE_TEST_SUITE_P(
    LossyList, FieldRuleOf,
    rows<RuleRow>({
        {"good",
         outcomeOf<LossyOnly>,
         R"({"a":[{"index":1,"label":"x"}]})",
         R"({"a":[{"index":1,"label":"x"}]})"},
        {"empty", outcomeOf<LossyOnly>, R"({"a":[]})", R"({"a":[]})"},
        {"missing", outcomeOf<LossyOnly>, "{}", R"({"a":[]})"},
        {"null", outcomeOf<LossyOnly>, R"({"a":null})", R"({"a":[]})"},
        {"number",
         outcomeOf<LossyOnly>,
         R"({"a":5})",
         "{\"a\":[]}\na (5) read as an empty list: expected a list, found a number"},
        {"object",
         outcomeOf<LossyOnly>,
         R"({"a":{}})",
         "{\"a\":[]}\na ({}) read as an empty list: expected a list, found an object"},
        {"badElement",
         outcomeOf<LossyOnly>,
         R"({"a":[7,{"index":1,"label":"x"},{"index":2}]})",
         "{\"a\":[{\"index\":1,\"label\":\"x\"}]}\n"
         "a[0] (7) element dropped: expected an object, found a number\n"
         "a[2] () element dropped: label: required key is missing"},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    PlainList, FieldRuleOf,
    rows<RuleRow>({
        {"good",
         outcomeOf<PlainListOnly>,
         R"({"a":[{"index":1,"label":"x"}]})",
         R"({"a":[{"index":1,"label":"x"}]})"},
        {"missing", outcomeOf<PlainListOnly>, "{}", "a: required key is missing"},
        {"null", outcomeOf<PlainListOnly>, R"({"a":null})", "a: expected a list, found null"},
        {"number", outcomeOf<PlainListOnly>, R"({"a":5})", "a: expected a list, found a number"},
        {"badElement",
         outcomeOf<PlainListOnly>,
         R"({"a":[{"index":1,"label":"x"},7]})",
         "a[1]: expected an object, found a number"},
        {"badFieldOfAnElement",
         outcomeOf<PlainListOnly>,
         R"({"a":[{"index":1,"label":"x"},{"index":2,"label":null}]})",
         "a[1].label: expected a text, found null"},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    Defaulted, FieldRuleOf,
    rows<RuleRow>({
        {"good", outcomeOf<DefaultedOnly>, R"({"a":7,"b":{"x":"y"}})", R"({"a":7,"b":{"x":"y"}})"},
        {"zeroIsAValue", outcomeOf<DefaultedOnly>, R"({"a":0})", R"({"a":0,"b":{}})"},
        {"missing", outcomeOf<DefaultedOnly>, "{}", R"({"a":14,"b":{}})"},
        {"null", outcomeOf<DefaultedOnly>, R"({"a":null,"b":null})", R"({"a":14,"b":{}})"},
        {"text",
         outcomeOf<DefaultedOnly>,
         R"({"a":"7"})",
         "a: expected a 64-bit integer, found a text"},
        {"fraction", outcomeOf<DefaultedOnly>, R"({"a":7.5})", "a: not a 64-bit integer"},
        {"mapIsAList",
         outcomeOf<DefaultedOnly>,
         R"({"b":[]})",
         "b: expected an object of texts, found a list"},
        {"mapWithANumber",
         outcomeOf<DefaultedOnly>,
         R"({"b":{"x":"y","z":3}})",
         "b.z: expected a text, found a number"},
        // The first value counts, and it stands for the default.
        {"nullThenValue",
         outcomeOf<DefaultedOnly>,
         R"({"a":null,"a":7})",
         "{\"a\":14,\"b\":{}}\n"
         "a (7) ignored: the key stands twice in its object; the first value counts"},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    Forgiving, FieldRuleOf,
    rows<RuleRow>({
        {"good", outcomeOf<ForgivingOnly>, R"({"a":true,"b":3})", R"({"a":true,"b":3})"},
        {"missing", outcomeOf<ForgivingOnly>, "{}", R"({"a":false})"},
        {"null", outcomeOf<ForgivingOnly>, R"({"a":null,"b":null})", R"({"a":false})"},
        {"text",
         outcomeOf<ForgivingOnly>,
         R"({"a":"true","b":"3"})",
         "{\"a\":false}\n"
         "a (\"true\") default used: expected true or false, found a text\n"
         "b (\"3\") default used: expected a 64-bit integer, found a text"},
        {"number",
         outcomeOf<ForgivingOnly>,
         R"({"a":1,"b":1.5})",
         "{\"a\":false}\n"
         "a (1) default used: expected true or false, found a number\n"
         "b (1.5) default used: not a 64-bit integer"},
        {"list",
         outcomeOf<ForgivingOnly>,
         R"({"a":[true],"b":[3]})",
         "{\"a\":false}\n"
         "a ([true]) default used: expected true or false, found a list\n"
         "b ([3]) default used: expected a 64-bit integer, found a list"},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    FlexibleInteger, FieldRuleOf,
    rows<RuleRow>({
        {"good", outcomeOf<FlexibleOnly>, R"({"a":1234})", R"({"a":1234})"},
        {"integralFraction", outcomeOf<FlexibleOnly>, R"({"a":1234.0})", R"({"a":1234})"},
        {"zero", outcomeOf<FlexibleOnly>, R"({"a":0})", R"({"a":0})"},
        {"missing", outcomeOf<FlexibleOnly>, "{}", R"({"a":50})"},
        {"null", outcomeOf<FlexibleOnly>, R"({"a":null})", R"({"a":50})"},
        {"text",
         outcomeOf<FlexibleOnly>,
         R"({"a":"1234"})",
         "a: expected a 64-bit integer, found a text"},
        {"fraction", outcomeOf<FlexibleOnly>, R"({"a":12.5})", "a: not a 64-bit integer"},
        {"tooLarge",
         outcomeOf<FlexibleOnly>,
         R"({"a":9223372036854775808})",
         "a: not a 64-bit integer"},
        {"list",
         outcomeOf<FlexibleOnly>,
         R"({"a":[]})",
         "a: expected a 64-bit integer, found a list"},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    SecondsOrDate, FieldRuleOf,
    rows<RuleRow>({
        {"seconds",
         outcomeOf<TimesOnly>,
         R"({"a":1700000000,"b":1700000001.75,"c":-1})",
         R"({"a":"2023-11-14T22:13:20Z","b":"2023-11-14T22:13:21Z","c":"1969-12-31T23:59:59Z"})"},
        {"dates",
         outcomeOf<TimesOnly>,
         R"({"a":"2023-11-14T22:13:20Z","b":"2023-11-14T23:13:21+01:00","c":"1969-12-31T23:59:59Z"})",
         R"({"a":"2023-11-14T22:13:20Z","b":"2023-11-14T22:13:21Z","c":"1969-12-31T23:59:59Z"})"},
        {"onlyTheRequired",
         outcomeOf<TimesOnly>,
         R"({"a":0})",
         R"({"a":"1970-01-01T00:00:00Z","b":"2001-09-09T01:46:40Z"})"},
        {"nulls",
         outcomeOf<TimesOnly>,
         R"({"a":0,"b":null,"c":null})",
         R"({"a":"1970-01-01T00:00:00Z","b":"2001-09-09T01:46:40Z"})"},
        {"requiredMissing", outcomeOf<TimesOnly>, R"({"b":0,"c":0})", "a: required key is missing"},
        {"requiredNull",
         outcomeOf<TimesOnly>,
         R"({"a":null})",
         "a: expected a number of seconds or a time of the form 2026-11-15T17:48:25Z, found null"},
        {"requiredMalformed",
         outcomeOf<TimesOnly>,
         R"({"a":"today"})",
         "a: not a number of seconds or a time of the form 2026-11-15T17:48:25Z"},
        {"defaultedMalformed",
         outcomeOf<TimesOnly>,
         R"({"a":0,"b":"today"})",
         "b: not a number of seconds or a time of the form 2026-11-15T17:48:25Z"},
        {"optionalMalformed",
         outcomeOf<TimesOnly>,
         R"({"a":0,"c":"today"})",
         "c: not a number of seconds or a time of the form 2026-11-15T17:48:25Z"},
        {"defaultedOfWrongType",
         outcomeOf<TimesOnly>,
         R"({"a":0,"b":[]})",
         "b: expected a number of seconds or a time of the form 2026-11-15T17:48:25Z, found a "
         "list"},
        {"optionalOutOfRange",
         outcomeOf<TimesOnly>,
         R"({"a":0,"c":1e999})",
         "c: not a number of seconds or a time of the form 2026-11-15T17:48:25Z"},
    }),
    rowName);

TEST(FieldRuleOf, takesTheDefaultAnewForEachRecord) {
  struct Counted {
    static std::int64_t next() {
      static std::int64_t count = 0;
      return ++count;
    }
  };
  struct Fresh {
    std::int64_t a;
    static const RecordTable& make() {
      static constexpr auto fields =
          fieldsOf<Fresh>(defaulted<&Fresh::a>([] { return Counted::next(); }));
      static constexpr RecordTable table{"Fresh", fields};
      return table;
    }
    static const RecordTable& table() { return make(); }
  };
  EXPECT_EQ(decode<Fresh>("{}").a, 1);
  EXPECT_EQ(decode<Fresh>(R"({"a":7})").a, 7);
  EXPECT_EQ(decode<Fresh>("{}").a, 2) << "and not where there is a value";
}

TEST(FieldRuleOf, keepsTheFractionOfASecond) {
  EXPECT_EQ(decode<TimesOnly>(R"({"a":1700000000.25})").a.time_since_epoch().count(),
            1700000000.25);
}

TEST(RecordDecoding, countsADroppedElementOnceHoweverManyOfItsFieldsFail) {
  Findings findings;
  decode<LossyOnly>(R"({"a":[{"index":"x","label":7,"weight":[]},{}]})", &findings);
  EXPECT_EQ(findings.count(), 2U);
  EXPECT_EQ(findings.list()[0].reason, "index: expected a 64-bit integer, found a text");
}

struct ForgivingList {
  std::vector<std::string> texts;
  bool operator==(const ForgivingList&) const = default;
  static const RecordTable& table() {
    using R = ForgivingList;
    static constexpr auto fields = fieldsOf<R>(forgiving<&R::texts>());
    static constexpr RecordTable table{"ForgivingList", fields};
    return table;
  }
};

TEST(Forgiving, tellsWhatFailedInsideItsValue) {
  Findings findings;
  EXPECT_EQ(decode<ForgivingList>(R"({"texts":["a",3]})", &findings), ForgivingList{});
  ASSERT_EQ(findings.list().size(), 1U);
  const Finding& finding = findings.list().front();
  EXPECT_EQ(finding.path, "texts");
  EXPECT_EQ(finding.outcome, FindingOutcome::defaultUsed);
  EXPECT_EQ(finding.reason, "[1]: expected a text, found a number");
  EXPECT_EQ(finding.found, "3");
}

}  // namespace
}  // namespace tavrine
