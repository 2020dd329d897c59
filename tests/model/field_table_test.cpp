#include <TavrineShared/model/field_table.h>

#include <TavrineShared/model/findings.h>
#include <TavrineShared/model/gpu_server.h>
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
#include <unordered_set>
#include <vector>

#include "tests/support/record_checks.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

using TextMap = std::map<std::string, std::string>;

Timestamp at(double seconds) { return Timestamp(std::chrono::duration<double>(seconds)); }

// --- one record for all rules ---

struct Part {
  std::int64_t index;
  std::string label;
  std::optional<double> weight;

  bool operator==(const Part&) const = default;
  static const RecordTable& table();
};

const RecordTable& Part::table() {
  using R = Part;
  static constexpr auto fields =
      fieldsOf<R>(field<&R::index>(), field<&R::label>(), field<&R::weight>());
  static constexpr RecordTable table{"Part", fields};
  return table;
}

/// A field for every type and every rule; the names are in no order.
struct EveryRule {
  std::int64_t count;
  double ratio;
  bool ok;
  std::string name;
  UUID id;
  Timestamp seenAt;
  RunStatus status;
  std::optional<std::int64_t> limit;
  std::optional<double> share;
  std::optional<bool> startTLS;
  std::optional<std::string> note;
  std::optional<Timestamp> lastSeenAt;
  std::optional<RunHealth> health;
  std::optional<UUID> parent;
  std::optional<Part> part;
  std::optional<std::vector<Part>> stack;
  std::vector<Part> parts;
  std::vector<std::string> commands;
  std::vector<Part> strictParts;
  std::vector<double> loads;
  std::int64_t days;
  std::string phase;
  std::string path;
  bool enabled;
  double usage;
  std::vector<std::string> templates;
  std::vector<std::int64_t> pids;
  TextMap settings;
  TextMap tags;
  bool running;
  std::optional<std::int64_t> tier;
  std::int64_t sizeBytes;
  std::int64_t capBytes;
  Timestamp t;
  Timestamp openedAt;
  std::optional<Timestamp> alertSentAt;
  double gpuUtil;
  std::optional<double> vramMB;

  bool operator==(const EveryRule&) const = default;
  static const RecordTable& table();
};

constexpr double kDecodingTime = 1'000'000'000;

const RecordTable& EveryRule::table() {
  using R = EveryRule;
  static constexpr auto fields =
      fieldsOf<R>(field<&R::count>(),
                  field<&R::ratio>(),
                  field<&R::ok>(),
                  field<&R::name>(),
                  field<&R::id>(),
                  field<&R::seenAt>(),
                  field<&R::status>(),
                  field<&R::limit>(),
                  field<&R::share>(),
                  field<&R::startTLS>(),
                  field<&R::note>(),
                  field<&R::lastSeenAt>(),
                  field<&R::health>(),
                  field<&R::parent>(),
                  field<&R::part>(),
                  field<&R::stack>(),
                  lossyList<&R::parts>(),
                  lossyList<&R::commands>(),
                  field<&R::strictParts>(),
                  field<&R::loads>(),
                  defaulted<&R::days>([] { return std::int64_t{14}; }),
                  defaulted<&R::phase>([] { return std::string("snapshot"); }),
                  defaulted<&R::path>(),
                  defaulted<&R::enabled>(),
                  defaulted<&R::usage>(),
                  defaulted<&R::templates>([] {
                    return std::vector<std::string>{"concise", "detailed"};
                  }),
                  defaulted<&R::pids>(),
                  defaulted<&R::settings>(),
                  field<&R::tags>(),
                  forgiving<&R::running>(),
                  forgiving<&R::tier>(),
                  flexibleInt64<&R::sizeBytes>(),
                  flexibleInt64<&R::capBytes>([] { return std::int64_t{53'687'091'200}; }),
                  secondsOrDate(field<&R::t>()),
                  secondsOrDate(defaulted<&R::openedAt>([] { return at(kDecodingTime); })),
                  secondsOrDate(field<&R::alertSentAt>()),
                  field<&R::gpuUtil>("gpu_util"),
                  field<&R::vramMB>("vram_mb"));
  static constexpr RecordTable table{"EveryRule", fields};
  return table;
}

EveryRule fullExample() {
  return {.count = 12,
          .ratio = 0.25,
          .ok = true,
          .name = "gpu-01",
          .id = *UUID::fromText("0F8FAD5B-D9CB-469F-A165-70867728950E"),
          .seenAt = at(1794764905),
          .status = RunStatus::warmingUp,
          .limit = 5,
          .share = 0.5,
          .startTLS = false,
          .note = "a \"note\"",
          .lastSeenAt = at(1700000000),
          .health = RunHealth::memoryRisk,
          .parent = UUID{},
          .part = Part{1, "one", 1.5},
          .stack = std::vector<Part>{{2, "two", {}}},
          .parts = {{3, "three", 3.5}, {4, "", {}}},
          .commands = {"python train.py", ""},
          .strictParts = {{5, "five", {}}, {6, "six", 6.5}},
          .loads = {0.5, 1, 2.25},
          .days = 30,
          .phase = "step",
          .path = "/var/log",
          .enabled = true,
          .usage = 99.5,
          .templates = {"one"},
          .pids = {10, 20},
          .settings = {{"batch", "32"}, {"lr", "3e-4"}},
          .tags = {{"team", "vision"}},
          .running = true,
          .tier = 2,
          .sizeBytes = 1234,
          .capBytes = 4321,
          .t = at(1700000001),
          .openedAt = at(1700000002),
          .alertSentAt = at(1700000003),
          .gpuUtil = 87.5,
          .vramMB = 4096};
}

constexpr std::string_view kFullDocument =
    R"({"alertSentAt":"2023-11-14T22:13:23Z","capBytes":4321,"commands":["python train.py",""],)"
    R"("count":12,"days":30,"enabled":true,"gpu_util":87.5,"health":"memory_risk",)"
    R"("id":"0F8FAD5B-D9CB-469F-A165-70867728950E","lastSeenAt":"2023-11-14T22:13:20Z",)"
    R"("limit":5,"loads":[0.5,1,2.25],"name":"gpu-01","note":"a \"note\"","ok":true,)"
    R"("openedAt":"2023-11-14T22:13:22Z","parent":"00000000-0000-0000-0000-000000000000",)"
    R"("part":{"index":1,"label":"one","weight":1.5},)"
    R"("parts":[{"index":3,"label":"three","weight":3.5},{"index":4,"label":""}],)"
    R"("path":"/var/log","phase":"step","pids":[10,20],"ratio":0.25,"running":true,)"
    R"("seenAt":"2026-11-15T17:48:25Z","settings":{"batch":"32","lr":"3e-4"},"share":0.5,)"
    R"("sizeBytes":1234,"stack":[{"index":2,"label":"two"}],"startTLS":false,)"
    R"("status":"warming_up",)"
    R"("strictParts":[{"index":5,"label":"five"},{"index":6,"label":"six","weight":6.5}],)"
    R"("t":"2023-11-14T22:13:21Z","tags":{"team":"vision"},"templates":["one"],"tier":2,)"
    R"("usage":99.5,"vram_mb":4096})";

FieldRules rulesWith(FieldRule openedAt) {
  return {{"parts", dropsBadElements()},
          {"commands", dropsBadElements()},
          {"days", defaultsTo("14")},
          {"phase", defaultsTo(R"("snapshot")")},
          {"path", defaultsTo(R"("")")},
          {"enabled", defaultsTo("false")},
          {"usage", defaultsTo("0")},
          {"templates", defaultsTo(R"(["concise","detailed"])")},
          {"pids", defaultsTo("[]")},
          {"settings", defaultsTo("{}")},
          {"running", forgives("false")},
          {"tier", forgives(kNoValue)},
          {"sizeBytes", defaultsTo("0")},
          {"capBytes", defaultsTo("53687091200")},
          {"t", readsSeconds()},
          {"openedAt", readsSeconds(openedAt)},
          {"alertSentAt", readsSeconds()}};
}

TEST(EveryRule, followsTheConventions) {
  checkRecord(fullExample(), kFullDocument, rulesWith(defaultsTo(R"("2001-09-09T01:46:40Z")")));
}

TEST(EveryRule, followsThemWhereADefaultCannotBeKnown) {
  checkRecord(fullExample(), kFullDocument, rulesWith(defaultsTo(kAnyValue)));
}

TEST(Part, followsTheConventions) {
  checkRecord(Part{7, "seven", 7.5}, R"({"index":7,"label":"seven","weight":7.5})");
}

// --- each rule in the words of its messages ---

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

// --- which failure is told ---

struct Four {
  std::int64_t d;
  std::int64_t b;
  std::int64_t c;
  std::int64_t a;

  bool operator==(const Four&) const = default;
  static const RecordTable& table();
};

const RecordTable& Four::table() {
  using R = Four;
  static constexpr auto fields =
      fieldsOf<R>(field<&R::d>(), field<&R::b>(), field<&R::c>(), field<&R::a>());
  static constexpr RecordTable table{"Four", fields};
  return table;
}

TEST(RecordDecoding, tellsTheFailingFieldDeclaredFirstWhateverTheOrderOfTheKeys) {
  enum State { good, missing, null, wrongType, outOfRange, kStates };
  constexpr std::string_view kDeclared = "dbca";
  const std::map<State, std::string> values = {{good, "1"},
                                               {null, "null"},
                                               {wrongType, "[]"},
                                               {outOfRange, "1.5"}};
  const std::map<State, std::string> reasons = {
      {missing, "required key is missing"},
      {null, "expected a 64-bit integer, found null"},
      {wrongType, "expected a 64-bit integer, found a list"},
      {outOfRange, "not a 64-bit integer"}};
  int combinations = 0;
  for (int code = 0; code < kStates * kStates * kStates * kStates; ++code) {
    std::map<char, State> states;
    for (int i = 0, rest = code; i < 4; ++i, rest /= kStates) {
      states[kDeclared[static_cast<std::size_t>(i)]] = static_cast<State>(rest % kStates);
    }
    std::string want = "none";
    for (const char key : kDeclared) {
      if (states[key] == good) continue;
      want = std::string(1, key) + ": " + reasons.at(states[key]);
      break;
    }
    std::string order = "abcd";
    do {
      std::string document;
      for (const char key : order) {
        if (states[key] == missing) continue;
        document += document.empty() ? "{" : ",";
        document += std::string("\"") + key + "\":" + values.at(states[key]);
      }
      document += document.empty() ? "{}" : "}";
      std::string got = "none";
      try {
        decode<Four>(document);
      } catch (const DecodingError& error) {
        got = error.what();
      }
      ASSERT_EQ(got, want) << document;
      ++combinations;
    } while (std::next_permutation(order.begin(), order.end()));
  }
  EXPECT_EQ(combinations, 625 * 24);
}

TEST(RecordDecoding, tellsTheFirstFailureInsideARecordInside) {
  // `part` is declared before `stack`, and its `index` before its `label`.
  const std::string document(kFullDocument);
  std::string broken = document;
  const auto replace = [&broken](std::string_view from, std::string_view to) {
    broken.replace(broken.find(from), from.size(), to);
  };
  replace(R"("part":{"index":1,"label":"one","weight":1.5})", R"("part":{"weight":"x","label":1})");
  replace(R"("stack":[{"index":2)", R"("stack":[{"index":null)");
  try {
    decode<EveryRule>(broken);
    ADD_FAILURE() << "decodes";
  } catch (const DecodingError& error) {
    EXPECT_STREQ(error.what(), "part.index: required key is missing");
  }
}

TEST(RecordDecoding, countsADroppedElementOnceHoweverManyOfItsFieldsFail) {
  Findings findings;
  decode<LossyOnly>(R"({"a":[{"index":"x","label":7,"weight":[]},{}]})", &findings);
  EXPECT_EQ(findings.count(), 2U);
  EXPECT_EQ(findings.list()[0].reason, "index: expected a 64-bit integer, found a text");
}

// --- keys ---

TEST(FieldKey, isTheNameOfTheMemberUnlessGiven) {
  EXPECT_EQ(detail::memberName<&Part::index>(), "index");
  EXPECT_EQ(detail::memberName<&EveryRule::startTLS>(), "startTLS");
  EXPECT_EQ(detail::memberName<&EveryRule::t>(), "t");
  EXPECT_EQ(detail::memberName<&GPUStat::pcieLinkWidth>(), "pcieLinkWidth");
  EXPECT_EQ(detail::memberName<&Finding::path>(), "path");
  EXPECT_EQ(field<&EveryRule::gpuUtil>().key, "gpuUtil");
  EXPECT_EQ(field<&EveryRule::gpuUtil>("gpu_util").key, "gpu_util");
  EXPECT_EQ(lossyList<&EveryRule::parts>("other").key, "other");
  EXPECT_EQ(forgiving<&EveryRule::running>("other").key, "other");
  EXPECT_EQ(defaulted<&EveryRule::path>({}, "other").key, "other");
  EXPECT_EQ(flexibleInt64<&EveryRule::sizeBytes>({}, "other").key, "other");
  EXPECT_EQ(secondsOrDate(field<&EveryRule::t>("other")).key, "other");
}

TEST(RecordTable, listsItsFieldsInBothOrders) {
  const RecordTable& table = EveryRule::table();
  EXPECT_EQ(table.name, "EveryRule");
  ASSERT_EQ(table.fields.size(), 38U);
  EXPECT_EQ(table.fields.front().key, "count");
  EXPECT_EQ(table.fields.back().key, "vram_mb");
  ASSERT_EQ(table.byKey.size(), table.fields.size());
  EXPECT_TRUE(std::is_sorted(table.byKey.begin(),
                             table.byKey.end(),
                             [](const Field& a, const Field& b) { return a.key < b.key; }));
}

TEST(RecordTable, findsEveryKeyAndNoOther) {
  const RecordTable& table = EveryRule::table();
  const auto keyAt = [&table](std::size_t place) { return table.byKey[place].key; };
  const std::size_t none = table.fields.size();
  const auto isKey = [&](std::string_view key) {
    return std::any_of(table.fields.begin(), table.fields.end(), [key](const Field& field) {
      return field.key == key;
    });
  };
  for (std::size_t place = 0; place < none; ++place) EXPECT_EQ(table.find(keyAt(place)), place);
  for (std::size_t place = 0; place < none; ++place) {
    const std::string key(keyAt(place));
    // What differs from a key in one place only, which is where a hasty comparison would err.
    for (std::size_t i = 0; i < key.size(); ++i) {
      for (int byte = 0; byte < 256; ++byte) {
        std::string other = key;
        other[i] = static_cast<char>(byte);
        EXPECT_EQ(table.find(other) == none, !isKey(other)) << other;
      }
      EXPECT_TRUE(table.find(key.substr(0, i)) == none || isKey(key.substr(0, i)));
      EXPECT_TRUE(table.find(key.substr(i + 1)) == none || isKey(key.substr(i + 1)));
    }
    EXPECT_EQ(table.find(key + '\0'), none);
    EXPECT_EQ(table.find(key + key), none);
  }
  EXPECT_EQ(table.find(""), none);
  EXPECT_EQ(table.find(std::string(100'000, 'x')), none);
}

/// Keys of all lengths, some of which differ in the middle only.
struct OddKeys {
  std::optional<std::int64_t> a, b, c, d, e, f, g, h;

  bool operator==(const OddKeys&) const = default;
  static const RecordTable& table();
};

const RecordTable& OddKeys::table() {
  using R = OddKeys;
  static constexpr auto fields =
      fieldsOf<R>(field<&R::a>("a_name_of_more_than_thirty_two_characters_A_and_more"),
                  field<&R::b>("a_name_of_more_than_thirty_two_characters_B_and_more"),
                  field<&R::c>("a name with blanks"),
                  field<&R::d>("nineteen_characters"),
                  field<&R::e>("nineteen_charaCters"),
                  field<&R::f>("x"),
                  field<&R::g>("X"),
                  field<&R::h>("xX"));
  static constexpr RecordTable table{"OddKeys", fields};
  return table;
}

TEST(RecordTable, tellsApartKeysThatResembleEachOther) {
  checkRecord(OddKeys{1, 2, 3, 4, 5, 6, 7, 8},
              R"({"X":7,"a name with blanks":3,)"
              R"("a_name_of_more_than_thirty_two_characters_A_and_more":1,)"
              R"("a_name_of_more_than_thirty_two_characters_B_and_more":2,)"
              R"("nineteen_charaCters":5,"nineteen_characters":4,"x":6,"xX":8})");
}

/// Keys whose order depends on how bytes are compared.
struct Accents {
  bool small, accent, capital, beyond, underscore;

  bool operator==(const Accents&) const = default;
  static const RecordTable& table();
};

const RecordTable& Accents::table() {
  using R = Accents;
  static constexpr auto fields = fieldsOf<R>(field<&R::small>("a"),
                                             field<&R::accent>("\xC3\xA9"),
                                             field<&R::capital>("B"),
                                             field<&R::beyond>("\xF0\x9F\x98\x80"),
                                             field<&R::underscore>("_"));
  static constexpr RecordTable table{"Accents", fields};
  return table;
}

TEST(RecordEncoding, sortsKeysByTheirBytes) {
  constexpr std::string_view kDocument =
      "{\"B\":true,\"_\":true,\"a\":true,\"\xC3\xA9\":true,\"\xF0\x9F\x98\x80\":true}";
  EXPECT_EQ(encode(Accents{true, true, true, true, true}), kDocument);
  EXPECT_EQ(decode<Accents>(kDocument), (Accents{true, true, true, true, true}));
}

TEST(RecordEncoding, leavesOutWhatHasNoValue) {
  EXPECT_EQ(encode(OddKeys{}), "{}");
  EXPECT_EQ(encode(OddKeys{}, JSONStyle::pretty), "{}");
  EXPECT_EQ(encode(Part{1, "x", {}}), R"({"index":1,"label":"x"})");
  EXPECT_EQ(encode(Part{1, "x", {}}, JSONStyle::pretty),
            "{\n  \"index\": 1,\n  \"label\": \"x\"\n}");
}

// --- what cannot be written ---

std::string encodingErrorOf(const EveryRule& record) {
  std::string compact;
  try {
    return encode(record);
  } catch (const EncodingError& error) {
    compact = error.what();
  }
  try {
    return encode(record, JSONStyle::pretty);
  } catch (const EncodingError& error) {
    EXPECT_EQ(compact, error.what());
  }
  return compact;
}

TEST(RecordEncoding, saysWhereAValueHasNoForm) {
  const std::string notFinite = ": a number that is not finite has no JSON form";
  const std::string noTime = ": a time outside the years 0000 to 9999 has no JSON form";
  EveryRule record = fullExample();
  EXPECT_EQ(encodingErrorOf(record), kFullDocument);

  record.ratio = kNaN;
  EXPECT_EQ(encodingErrorOf(record), "ratio" + notFinite);
  record = fullExample();
  record.share = -kInfinity;
  EXPECT_EQ(encodingErrorOf(record), "share" + notFinite);
  record = fullExample();
  record.gpuUtil = kInfinity;
  EXPECT_EQ(encodingErrorOf(record), "gpu_util" + notFinite);
  record = fullExample();
  record.loads[2] = kNaN;
  EXPECT_EQ(encodingErrorOf(record), "loads[2]" + notFinite);
  record = fullExample();
  record.part->weight = kInfinity;
  EXPECT_EQ(encodingErrorOf(record), "part.weight" + notFinite);
  record = fullExample();
  record.parts[1].weight = kNaN;
  EXPECT_EQ(encodingErrorOf(record), "parts[1].weight" + notFinite);
  record = fullExample();
  (*record.stack)[0].weight = kNaN;
  EXPECT_EQ(encodingErrorOf(record), "stack[0].weight" + notFinite);
  record = fullExample();
  record.seenAt = at(253402300800);
  EXPECT_EQ(encodingErrorOf(record), "seenAt" + noTime);
  record = fullExample();
  record.t = at(-62167219201);
  EXPECT_EQ(encodingErrorOf(record), "t" + noTime);
  record = fullExample();
  record.alertSentAt = at(kNaN);
  EXPECT_EQ(encodingErrorOf(record), "alertSentAt" + noTime);
  record = fullExample();
  record.openedAt = at(1e300);
  EXPECT_EQ(encodingErrorOf(record), "openedAt" + noTime);
}

TEST(RecordEncoding, writesTextsThatAreNotUTF8AsReplacementCharacters) {
  EveryRule record = fullExample();
  record.name = "a\xFF";
  record.settings = {{"k\xC3", "v\xE2\x82"}};
  const std::string document = encode(record);
  EXPECT_NE(document.find("\"name\":\"a\xEF\xBF\xBD\""), std::string::npos);
  EXPECT_NE(document.find("{\"k\xEF\xBF\xBD\":\"v\xEF\xBF\xBD\"}"), std::string::npos);
  EXPECT_EQ(decode<EveryRule>(document).name, "a\xEF\xBF\xBD");
}

// --- hashes ---

TEST(RecordHash, isEqualForEqualRecords) {
  EveryRule zero = fullExample();
  EveryRule minusZero = fullExample();
  zero.ratio = 0.0;
  minusZero.ratio = -0.0;
  zero.share = 0.0;
  minusZero.share = -0.0;
  zero.loads = {0.0, 1};
  minusZero.loads = {-0.0, 1};
  zero.seenAt = at(0.0);
  minusZero.seenAt = at(-0.0);
  ASSERT_EQ(zero, minusZero);
  EXPECT_EQ(std::hash<EveryRule>()(zero), std::hash<EveryRule>()(minusZero));
  EXPECT_EQ(encode(zero), encode(minusZero)) << "and equal records are written alike";
}

TEST(RecordHash, differsWhereValuesHaveChangedPlaces) {
  const std::hash<OddKeys> hash;
  std::unordered_set<std::size_t> hashes;
  OddKeys record{};
  for (std::optional<std::int64_t> OddKeys::*const member : {&OddKeys::a,
                                                             &OddKeys::b,
                                                             &OddKeys::c,
                                                             &OddKeys::d,
                                                             &OddKeys::e,
                                                             &OddKeys::f,
                                                             &OddKeys::g,
                                                             &OddKeys::h}) {
    for (const std::int64_t value : {0, 1, 2}) {
      record.*member = value;
      hashes.insert(hash(record));
    }
    record.*member = {};
  }
  hashes.insert(hash(record));
  EXPECT_EQ(hashes.size(), 8U * 3 + 1);
}

TEST(RecordHash, letsRecordsBeKeys) {
  const std::unordered_set<Part> parts = {{1, "a", {}}, {1, "b", {}}, {1, "a", {}}};
  EXPECT_EQ(parts.size(), 2U);
  EXPECT_TRUE(parts.contains(Part{1, "b", {}}));
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

// Losses inside a record that fails are told whichever of its keys comes first.
TEST(DecodeWithFindings, doesNotDependOnTheOrderOfKeys) {
  for (const std::string_view document : {
           R"([{"gpus":[{},7],"id":"x","name":3}])",
           R"([{"name":3,"gpus":[{},7],"id":"x"}])",
           R"([{"id":"x","name":3,"gpus":[{},7]}])",
       }) {
    Findings findings;
    try {
      decode<std::vector<ServerSummary>>(document, &findings);
      ADD_FAILURE() << document;
    } catch (const DecodingError& error) {
      EXPECT_STREQ(error.what(), "[0].id: not a UUID");
      EXPECT_EQ(error.found(), "\"x\"");
    }
    EXPECT_EQ(findings.count(FindingOutcome::elementDropped), 2U) << document;
  }
}

// --- every table of the library ---

TEST(EveryTable, listsTheMembersAsTheyLieInMemory) {
  checkLayout<Finding>();
  checkLayout<GPUStat>();
  checkLayout<ServerSummary>();
}

}  // namespace
}  // namespace tavrine
