#include <TavrineShared/recorder/recorder_records.h>

#include <TavrineShared/foundation/json_reader.h>
#include <TavrineShared/model/json_values.h>

#include <gtest/gtest.h>

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "tests/support/documents.h"
#include "tests/support/json_printing.h"
#include "tests/support/record_checks.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

StackFrame exampleStack() {
  return {.thread = "MainThread", .frames = {"train.py:step:12", "loop.py:run:3"}};
}

DCGMSample exampleSample() {
  return {.fp32Active = 0.125,
          .tensorActive = 0.75,
          .dramActive = 0.5,
          .tflopsAchieved = 212.5,
          .tflopsPeak = 312,
          .reason = "profiling"};
}

RecorderLogPoint examplePoint() {
  return {.t = at(1700000000),
          .phase = "step",
          .gpuUtil = 97.5,
          .vramMB = 40960,
          .powerW = 301.25,
          .dcgm = exampleSample(),
          .pySpy = std::vector<StackFrame>{exampleStack()},
          .text = "epoch 3",
          .cmdline = "python train.py"};
}

RecorderActiveEntry exampleEntry() {
  return {.pid = 4123,
          .owner = "ada",
          .logPath = "/var/log/a.jsonl",
          .adoptedFrom = "/tmp/a.jsonl",
          .cmdline = "python train.py",
          .openedAt = at(1700000000)};
}

RecorderHealth exampleHealth() {
  return {.serverName = "gpu-01",
          .logRoot = "/var/log/recorder",
          .activePids = {4123, 77},
          .activeRecorders = {exampleEntry()},
          .adoptedPaths = {"/tmp/a.jsonl"},
          .diskUsageGB = 1.5,
          .capGB = 20,
          .alertThresholdGB = 16.25,
          .retentionDays = 30,
          .ptraceScope = 1,
          .pySpyAvailable = true,
          .dcgmAvailable = true,
          .nvidiaSmiAvailable = true,
          .lastAlertSentAt = at(1700000001)};
}

/// What `{}` reads as, written.
constexpr std::string_view kDefaultHealth =
    R"({"activePids":[],"activeRecorders":[],"adoptedPaths":[],"alertThresholdGB":0,"capGB":0,)"
    R"("dcgmAvailable":false,"diskUsageGB":0,"logRoot":"","nvidiaSmiAvailable":false,)"
    R"("ptraceScope":0,"pySpyAvailable":false,"retentionDays":14,"serverName":""})";

// --- stacks and counters ---

TEST(StackFrame, followsTheConventions) {
  checkRecord(exampleStack(),
              R"({"frames":["train.py:step:12","loop.py:run:3"],"thread":"MainThread"})");
}

TEST(StackFrame, failsWithABadFrame) {
  EXPECT_EQ(placeOfFailure<StackFrame>(R"({"thread":"a","frames":["x",7]})"), "frames[1]");
  EXPECT_EQ(placeOfFailure<StackFrame>(R"({"thread":"a","frames":[null]})"), "frames[0]");
  EXPECT_EQ(placeOfFailure<StackFrame>(R"({"thread":"a"})"), "frames");
  EXPECT_TRUE(decode<StackFrame>(R"({"thread":"","frames":[]})").frames.empty());
}

TEST(DCGMSample, followsTheConventions) {
  checkRecord(exampleSample(),
              R"({"dram_active":0.5,"fp32_active":0.125,"reason":"profiling",)"
              R"("tensor_active":0.75,"tflops_achieved":212.5,"tflops_peak":312})");
}

// --- a line of a log ---

TEST(RecorderLogPoint, followsTheConventions) {
  checkRecord(examplePoint(),
              R"({"cmdline":"python train.py","dcgm":)" + encode(exampleSample()) +
                  R"(,"gpu_util":97.5,"phase":"step","power_w":301.25,"py_spy":[)" +
                  encode(exampleStack()) +
                  R"(],"t":"2023-11-14T22:13:20Z","text":"epoch 3","vram_mb":40960})",
              {{"t", readsSeconds()}, {"phase", defaultsTo(R"("snapshot")")}});
}

TEST(RecorderLogPoint, needsOnlyATime) {
  const RecorderLogPoint want = {.t = at(1700000000),
                                 .phase = "snapshot",
                                 .gpuUtil = {},
                                 .vramMB = {},
                                 .powerW = {},
                                 .dcgm = {},
                                 .pySpy = {},
                                 .text = {},
                                 .cmdline = {}};
  EXPECT_EQ(decode<RecorderLogPoint>(R"({"t":1700000000})"), want);
  // Neither `dcgm` nor anything else that is absent has a key.
  EXPECT_EQ(encode(want), R"({"phase":"snapshot","t":"2023-11-14T22:13:20Z"})");
}

TEST(RecorderLogPoint, isASnapshotUnlessItSaysOtherwise) {
  EXPECT_EQ(decode<RecorderLogPoint>(R"({"t":0,"phase":null})").phase, "snapshot");
  EXPECT_EQ(decode<RecorderLogPoint>(R"({"t":0,"phase":""})").phase, "");
  EXPECT_EQ(decode<RecorderLogPoint>(R"({"t":0,"phase":"Snapshot "})").phase, "Snapshot ");
}

TEST(RecorderLogPoint, keepsNoStacksApartFromNoDump) {
  const RecorderLogPoint noStacks = decode<RecorderLogPoint>(R"({"t":0,"py_spy":[]})");
  const RecorderLogPoint noDump = decode<RecorderLogPoint>(R"({"t":0})");
  ASSERT_TRUE(noStacks.pySpy.has_value());
  EXPECT_TRUE(noStacks.pySpy->empty());
  EXPECT_EQ(noDump.pySpy, std::nullopt);
  EXPECT_EQ(decode<RecorderLogPoint>(R"({"t":0,"py_spy":null})"), noDump);
  EXPECT_NE(noStacks, noDump);
  EXPECT_NE(std::hash<RecorderLogPoint>()(noStacks), std::hash<RecorderLogPoint>()(noDump));
  EXPECT_EQ(encode(noStacks), R"({"phase":"snapshot","py_spy":[],"t":"1970-01-01T00:00:00Z"})");
  EXPECT_EQ(encode(noDump), R"({"phase":"snapshot","t":"1970-01-01T00:00:00Z"})");
}

struct NestedRow {
  const char* name;
  std::string json;  ///< of the whole member
  std::string_view place;
};
void PrintTo(const NestedRow& row, std::ostream* out) { *out << row.json; }

class NestedInAPoint : public testing::TestWithParam<NestedRow> {};

TEST_P(NestedInAPoint, failsThePointWhenItIsBad) {
  EXPECT_EQ(placeOfFailure<RecorderLogPoint>(R"({"t":0,)" + GetParam().json + "}"),
            GetParam().place);
}

INSTANTIATE_TEST_SUITE_P(
    Values, NestedInAPoint,
    rows<NestedRow>({
        {"full", R"("dcgm":)" + encode(exampleSample()), "nowhere"},
        {"noPeak",
         R"("dcgm":)" + withoutMember(encode(exampleSample()), "tflops_peak"),
         "dcgm.tflops_peak"},
        {"noAchieved",
         R"("dcgm":)" + withoutMember(encode(exampleSample()), "tflops_achieved"),
         "nowhere"},
        {"noReason", R"("dcgm":)" + withoutMember(encode(exampleSample()), "reason"), "nowhere"},
        {"keyInCamelCase",
         R"("dcgm":{"fp32Active":0,"tensorActive":0,"dramActive":0,"tflopsPeak":0})",
         "dcgm.fp32_active"},
        {"stackWithoutFrames",
         R"("py_spy":[)" + encode(exampleStack()) + R"(,{"thread":"a"}])",
         "py_spy[1].frames"},
        {"stackIsNull", R"("py_spy":[null])", "py_spy[0]"},
        {"frameIsANumber", R"("py_spy":[{"thread":"a","frames":[1]}])", "py_spy[0].frames[0]"},
        {"stacksAreNoList", R"("py_spy":{})", "py_spy"},
    }),
    rowName);

TEST(RecorderLogPoint, knowsNoKeysInCamelCase) {
  EXPECT_EQ(rewritten<RecorderLogPoint>(
                R"({"t":0,"gpuUtil":1,"vramMB":2,"powerW":3,"pySpy":[],"phase":"p"})"),
            R"({"phase":"p","t":"1970-01-01T00:00:00Z"})");
}

// --- times ---

struct TimeRow {
  const char* name;
  std::string_view json;
  std::optional<double> seconds;  ///< nothing where the record fails
};
void PrintTo(const TimeRow& row, std::ostream* out) { *out << row.json; }

class RecorderTime : public testing::TestWithParam<TimeRow> {};

TEST_P(RecorderTime, isANumberOfSecondsOrADate) {
  const std::string point = withNewMember("{}", "t", GetParam().json);
  const std::string entry = withMember(encode(exampleEntry()), "openedAt", GetParam().json);
  const std::string health = withNewMember("{}", "lastAlertSentAt", GetParam().json);
  if (!GetParam().seconds) {
    EXPECT_EQ(placeOfFailure<RecorderLogPoint>(point), "t");
    EXPECT_EQ(placeOfFailure<RecorderActiveEntry>(entry), "openedAt");
    EXPECT_EQ(placeOfFailure<RecorderHealth>(health), "lastAlertSentAt");
    return;
  }
  EXPECT_EQ(decode<RecorderLogPoint>(point).t, at(*GetParam().seconds));
  EXPECT_EQ(decode<RecorderActiveEntry>(entry).openedAt, at(*GetParam().seconds));
  EXPECT_EQ(decode<RecorderHealth>(health).lastAlertSentAt, at(*GetParam().seconds));
}

INSTANTIATE_TEST_SUITE_P(Values, RecorderTime,
                         rows<TimeRow>({
                             {"seconds", "1700000000", 1700000000.0},
                             {"fraction", "1700000000.25", 1700000000.25},
                             {"exponent", "1.7e9", 1700000000.0},
                             {"zero", "0", 0.0},
                             {"before1970", "-0.5", -0.5},
                             {"date", R"("2023-11-14T22:13:20Z")", 1700000000.0},
                             {"dateWithOffset", R"("2023-11-15T00:13:20+02:00")", 1700000000.0},
                             {"dateWithFraction", R"("2023-11-14T22:13:20.25Z")", {}},
                             {"dateWithoutZone", R"("2023-11-14T22:13:20")", {}},
                             {"secondsInAText", R"("1700000000")", {}},
                             {"emptyText", R"("")", {}},
                             {"tooLarge", "1e999", {}},
                             {"boolean", "true", {}},
                             {"list", "[1700000000]", {}},
                             {"object", "{}", {}},
                         }),
                         rowName);

TEST(RecorderLogPoint, needsATime) {
  EXPECT_EQ(placeOfFailure<RecorderLogPoint>("{}"), "t");
  EXPECT_EQ(placeOfFailure<RecorderLogPoint>(R"({"t":null})"), "t");
}

TEST(RecorderLogPoint, losesItsFractionOfASecondWhenWritten) {
  EXPECT_EQ(rewritten<RecorderLogPoint>(R"({"t":1700000000.75})"),
            R"({"phase":"snapshot","t":"2023-11-14T22:13:20Z"})");
}

TEST(RecorderLogPoint, hashesEquallyWhateverTheSignOfAZero) {
  const RecorderLogPoint plus = decode<RecorderLogPoint>(R"({"t":0.0,"gpu_util":0.0})");
  const RecorderLogPoint minus = decode<RecorderLogPoint>(R"({"t":-0.0,"gpu_util":-0.0})");
  EXPECT_EQ(plus, minus);
  EXPECT_EQ(std::hash<RecorderLogPoint>()(plus), std::hash<RecorderLogPoint>()(minus));
}

// A log's lines know numbers of seconds only.
TEST(RecorderLogPoint, failsWithADateWhereDatesAreNotKnown) {
  const auto resultOf = [](std::string_view document) {
    JSONReader reader(document);
    DecodeContext context;
    context.timeTexts = TimeTexts::none;
    RecorderLogPoint point{};
    return ValueForm<RecorderLogPoint>::decode(reader, point, context);
  };
  EXPECT_EQ(resultOf(R"({"t":1700000000})"), JSONResult::ok);
  EXPECT_NE(resultOf(R"({"t":"2023-11-14T22:13:20Z"})"), JSONResult::ok);
  EXPECT_NE(resultOf(encode(examplePoint())), JSONResult::ok);
}

// --- a running recorder ---

TEST(RecorderActiveEntry, followsTheConventions) {
  checkRecord(
      exampleEntry(),
      R"({"adoptedFrom":"/tmp/a.jsonl","cmdline":"python train.py",)"
      R"("logPath":"/var/log/a.jsonl","openedAt":"2023-11-14T22:13:20Z",)"
      R"("owner":"ada","pid":4123})",
      {{"cmdline", defaultsTo(R"("")")}, {"openedAt", readsSeconds(defaultsTo(kAnyValue))}});
}

TEST(RecorderActiveEntry, wasOpenedJustNowIfNoTimeIsGiven) {
  for (const std::string_view document :
       {R"({"pid":1,"owner":"a","logPath":"l"})",
        R"({"pid":1,"owner":"a","logPath":"l","openedAt":null})"}) {
    const Timestamp before = currentTime();
    const RecorderActiveEntry entry = decode<RecorderActiveEntry>(document);
    EXPECT_LE(before, entry.openedAt);
    EXPECT_LE(entry.openedAt, currentTime());
    EXPECT_EQ(entry.cmdline, "");
    EXPECT_EQ(entry.adoptedFrom, std::nullopt);
  }
}

TEST(RecorderActiveEntry, needsAnOwner) {
  EXPECT_EQ(placeOfFailure<RecorderActiveEntry>(withoutMember(encode(exampleEntry()), "owner")),
            "owner");
}

// --- the supervisor ---

TEST(RecorderHealth, followsTheConventions) {
  checkRecord(exampleHealth(),
              R"({"activePids":[4123,77],"activeRecorders":[)" + encode(exampleEntry()) +
                  R"(],"adoptedPaths":["/tmp/a.jsonl"],"alertThresholdGB":16.25,"capGB":20,)"
                  R"("dcgmAvailable":true,"diskUsageGB":1.5,)"
                  R"("lastAlertSentAt":"2023-11-14T22:13:21Z","logRoot":"/var/log/recorder",)"
                  R"("nvidiaSmiAvailable":true,"ptraceScope":1,"pySpyAvailable":true,)"
                  R"("retentionDays":30,"serverName":"gpu-01"})",
              {{"serverName", defaultsTo(R"("")")},
               {"logRoot", defaultsTo(R"("")")},
               {"activePids", defaultsTo("[]")},
               {"activeRecorders", defaultsTo("[]")},
               {"adoptedPaths", defaultsTo("[]")},
               {"diskUsageGB", defaultsTo("0")},
               {"capGB", defaultsTo("0")},
               {"alertThresholdGB", defaultsTo("0")},
               {"retentionDays", defaultsTo("14")},
               {"ptraceScope", defaultsTo("0")},
               {"pySpyAvailable", defaultsTo("false")},
               {"dcgmAvailable", defaultsTo("false")},
               {"nvidiaSmiAvailable", defaultsTo("false")},
               {"lastAlertSentAt", readsSeconds()}});
}

TEST(RecorderHealth, isMadeOfDefaultsWhenNothingIsSaid) {
  const RecorderHealth health = decode<RecorderHealth>("{}");
  EXPECT_EQ(health.retentionDays, 14);
  EXPECT_EQ(health.ptraceScope, 0);
  EXPECT_EQ(health.lastAlertSentAt, std::nullopt);
  EXPECT_EQ(encode(health), kDefaultHealth) << "all is written but the time of no alert";
  EXPECT_EQ(decode<RecorderHealth>(kDefaultHealth), health);
}

TEST(RecorderHealth, keepsLogsForTwoWeeksUnlessItSaysOtherwise) {
  EXPECT_EQ(decode<RecorderHealth>(R"({"retentionDays":null})").retentionDays, 14);
  EXPECT_EQ(decode<RecorderHealth>(R"({"retentionDays":0})").retentionDays, 0);
  EXPECT_EQ(placeOfFailure<RecorderHealth>(R"({"retentionDays":"14"})"), "retentionDays");
}

struct BadElementRow {
  const char* name;
  std::string_view document;
  std::string_view place;
};
void PrintTo(const BadElementRow& row, std::ostream* out) { *out << row.document; }

class BadElementOfHealth : public testing::TestWithParam<BadElementRow> {};

TEST_P(BadElementOfHealth, failsTheReport) {
  EXPECT_EQ(placeOfFailure<RecorderHealth>(GetParam().document), GetParam().place);
}

INSTANTIATE_TEST_SUITE_P(
    Lists, BadElementOfHealth,
    rows<BadElementRow>({
        {"pidIsAText", R"({"activePids":[1,"2"]})", "activePids[1]"},
        {"pidIsNull", R"({"activePids":[null]})", "activePids[0]"},
        {"pidIsAFraction", R"({"activePids":[1,2,3.5]})", "activePids[2]"},
        {"pidIsTooLarge", R"({"activePids":[9223372036854775808]})", "activePids[0]"},
        {"recorderIsANumber", R"({"activeRecorders":[7]})", "activeRecorders[0]"},
        {"recorderWithoutOwner",
         R"({"activeRecorders":[{"pid":1,"logPath":"l"}]})",
         "activeRecorders[0].owner"},
        {"pathIsANumber", R"({"adoptedPaths":["a",7]})", "adoptedPaths[1]"},
        {"pathIsNull", R"({"adoptedPaths":["a",null]})", "adoptedPaths[1]"},
    }),
    rowName);

TEST(RecorderRecords, mayBeKeys) {
  RecorderLogPoint later = examplePoint();
  later.t = at(1700000000.25);
  EXPECT_EQ((std::unordered_set<RecorderLogPoint>{examplePoint(), later, examplePoint()}).size(),
            2U)
      << "fractions of a second count";
  EXPECT_EQ((std::unordered_set<RecorderHealth>{exampleHealth(), exampleHealth()}).size(), 1U);
}

}  // namespace
}  // namespace tavrine
