#include <TavrineShared/model/gpu_server.h>

#include <TavrineShared/model/json_conventions.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "tests/support/json_printing.h"
#include "tests/support/record_checks.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kLargest = std::numeric_limits<double>::max();

GPUStat exampleGPU() {
  return {.index = 3,
          .name = "NVIDIA A100-SXM4-80GB",
          .utilizationPercent = 97.5,
          .memoryUsedMB = 40960,
          .memoryTotalMB = 81920,
          .temperatureC = 64,
          .powerDrawW = 301.25,
          .powerLimitW = 400,
          .fanSpeedPercent = 30,
          .smClockMHz = 1410,
          .memClockMHz = 1593,
          .eccErrorsTotal = 0,
          .pcieLinkGen = 4,
          .pcieLinkWidth = 16,
          .pstate = "P0"};
}

/// A GPU of which only the required fields are known.
GPUStat bareGPU(std::int64_t index) {
  return {.index = index,
          .name = "Tesla T4",
          .utilizationPercent = 0,
          .memoryUsedMB = 0,
          .memoryTotalMB = 15360,
          .temperatureC = 31,
          .powerDrawW = 8.5,
          .powerLimitW = 70,
          .fanSpeedPercent = {},
          .smClockMHz = {},
          .memClockMHz = {},
          .eccErrorsTotal = {},
          .pcieLinkGen = {},
          .pcieLinkWidth = {},
          .pstate = {}};
}

ServerSummary exampleServer() {
  return {.id = *UUID::fromText("0F8FAD5B-D9CB-469F-A165-70867728950E"),
          .name = "gpu-01",
          .host = "gpu-01.lab.example",
          .state = ServerConnectionState::degraded,
          .gpus = {bareGPU(0), bareGPU(1)},
          .activeRuns = 2,
          .diskFreeGB = 812.5,
          .lastSeen = Timestamp(std::chrono::duration<double>(1794764905))};
}

constexpr std::string_view kBareGPU0 =
    R"({"index":0,"memoryTotalMB":15360,"memoryUsedMB":0,"name":"Tesla T4","powerDrawW":8.5,)"
    R"("powerLimitW":70,"temperatureC":31,"utilizationPercent":0})";

/// The example with another list of GPUs; with none, without the key.
std::string serverWith(const std::optional<std::string>& gpus) {
  return R"({"id":"0f8fad5b-d9cb-469f-a165-70867728950e","name":"gpu-01",)"
         R"("host":"gpu-01.lab.example","state":"degraded",)" +
         (gpus ? R"("gpus":)" + *gpus + "," : "") +
         R"("activeRuns":2,"diskFreeGB":812.5,"lastSeen":"2026-11-15T17:48:25Z"})";
}

// --- JSON ---

TEST(GPUStat, followsTheConventions) {
  checkRecord(exampleGPU(),
              R"({"eccErrorsTotal":0,"fanSpeedPercent":30,"index":3,"memClockMHz":1593,)"
              R"("memoryTotalMB":81920,"memoryUsedMB":40960,"name":"NVIDIA A100-SXM4-80GB",)"
              R"("pcieLinkGen":4,"pcieLinkWidth":16,"powerDrawW":301.25,"powerLimitW":400,)"
              R"("pstate":"P0","smClockMHz":1410,"temperatureC":64,"utilizationPercent":97.5})");
}

TEST(GPUStat, writesNoKeyForWhatIsNotKnown) {
  EXPECT_EQ(encode(bareGPU(0)), kBareGPU0);
  EXPECT_EQ(decode<GPUStat>(kBareGPU0), bareGPU(0));
}

TEST(GPUStat, writesNothingDerived) {
  for (const std::string_view key : {"memoryFraction", "powerFraction", "pcieLinkText", "\"id\""}) {
    EXPECT_EQ(encode(exampleGPU()).find(key), std::string::npos) << key;
  }
}

TEST(GPUStat, refusesAnOptionalNumberOfAnotherType) {
  for (const std::string value : {R"("30")", R"("[N/A]")", "true", "[]", "{}"}) {
    std::string document(kBareGPU0);
    document.insert(1, R"("fanSpeedPercent":)" + value + ",");
    EXPECT_THROW(decode<GPUStat>(document), DecodingError) << value;
  }
}

TEST(ServerSummary, followsTheConventions) {
  checkRecord(exampleServer(),
              R"({"activeRuns":2,"diskFreeGB":812.5,"gpus":[)"
              R"({"index":0,"memoryTotalMB":15360,"memoryUsedMB":0,"name":"Tesla T4",)"
              R"("powerDrawW":8.5,"powerLimitW":70,"temperatureC":31,"utilizationPercent":0},)"
              R"({"index":1,"memoryTotalMB":15360,"memoryUsedMB":0,"name":"Tesla T4",)"
              R"("powerDrawW":8.5,"powerLimitW":70,"temperatureC":31,"utilizationPercent":0}],)"
              R"("host":"gpu-01.lab.example","id":"0F8FAD5B-D9CB-469F-A165-70867728950E",)"
              R"("lastSeen":"2026-11-15T17:48:25Z","name":"gpu-01","state":"degraded"})",
              {{"gpus", dropsBadElements()}});
}

TEST(ServerSummary, isWrittenReadably) {
  ServerSummary server = exampleServer();
  server.gpus = {bareGPU(0)};
  server.diskFreeGB = {};
  EXPECT_EQ(encode(server, JSONStyle::pretty),
            "{\n"
            "  \"activeRuns\": 2,\n"
            "  \"gpus\": [\n"
            "    {\n"
            "      \"index\": 0,\n"
            "      \"memoryTotalMB\": 15360,\n"
            "      \"memoryUsedMB\": 0,\n"
            "      \"name\": \"Tesla T4\",\n"
            "      \"powerDrawW\": 8.5,\n"
            "      \"powerLimitW\": 70,\n"
            "      \"temperatureC\": 31,\n"
            "      \"utilizationPercent\": 0\n"
            "    }\n"
            "  ],\n"
            "  \"host\": \"gpu-01.lab.example\",\n"
            "  \"id\": \"0F8FAD5B-D9CB-469F-A165-70867728950E\",\n"
            "  \"lastSeen\": \"2026-11-15T17:48:25Z\",\n"
            "  \"name\": \"gpu-01\",\n"
            "  \"state\": \"degraded\"\n"
            "}");
}

TEST(ServerSummary, dropsFractionsOfASecondWhenWritten) {
  ServerSummary server = exampleServer();
  server.lastSeen += std::chrono::duration<double>(0.75);
  EXPECT_NE(server, exampleServer());
  EXPECT_EQ(decode<ServerSummary>(encode(server)), exampleServer());
}

TEST(ServerSummary, needsNoDiskButATime) {
  std::string document = serverWith("[]");
  document.erase(document.find(R"("diskFreeGB")"),
                 std::string_view(R"("diskFreeGB":812.5,)").size());
  EXPECT_EQ(decode<ServerSummary>(document).diskFreeGB, std::nullopt);

  document = serverWith("[]");
  document.erase(document.find(R"(,"lastSeen")"),
                 std::string_view(R"(,"lastSeen":"2026-11-15T17:48:25Z")").size());
  try {
    decode<ServerSummary>(document);
    ADD_FAILURE() << "decodes";
  } catch (const DecodingError& error) {
    EXPECT_STREQ(error.what(), "lastSeen: required key is missing");
  }
}

struct GPUListRow {
  const char* name;
  std::optional<std::string> gpus;
  std::size_t kept;
};
void PrintTo(const GPUListRow& row, std::ostream* out) { *out << row.gpus.value_or("no key"); }

class GPUsOfAServer : public testing::TestWithParam<GPUListRow> {};

TEST_P(GPUsOfAServer, neverCostTheServer) {
  const ServerSummary server = decode<ServerSummary>(serverWith(GetParam().gpus));
  ServerSummary want = exampleServer();
  want.gpus.clear();
  for (std::size_t i = 0; i < GetParam().kept; ++i) want.gpus.push_back(bareGPU(0));
  EXPECT_EQ(server, want);
}

INSTANTIATE_TEST_SUITE_P(
    Lists, GPUsOfAServer,
    rows<GPUListRow>({
        {"missing", {}, 0},
        {"null", "null", 0},
        {"empty", "[]", 0},
        {"number", "5", 0},
        {"text", R"("none")", 0},
        {"boolean", "true", 0},
        {"object", "{}", 0},
        {"oneGPUNotInAList", std::string(kBareGPU0), 0},
        {"oneGood", "[" + std::string(kBareGPU0) + "]", 1},
        {"oneGoodAndOneWithOnlyAnIndex", "[" + std::string(kBareGPU0) + R"(,{"index":1}])", 1},
        {"goodOnesAroundBadOnes",
         "[null," + std::string(kBareGPU0) + ",7," + std::string(kBareGPU0) + ",[]]",
         2},
        {"onlyBadOnes", R"([null,{},[],"GPU 0"])", 0},
    }),
    rowName);

TEST(ServerList, keepsTheGoodGPUsAndTellsOfEachBadOne) {
  const auto gpuWith = [](std::string_view key, std::string_view value) {
    std::string text(kBareGPU0);
    const std::string quoted = "\"" + std::string(key) + "\":";
    const std::size_t from = text.find(quoted) + quoted.size();
    text.replace(from, text.find_first_of(",}", from) - from, value);
    return text;
  };
  const auto gpuWithout = [](std::string_view member) {
    std::string text(kBareGPU0);
    text.erase(text.find(member), member.size());
    return text;
  };
  const std::string good(kBareGPU0);
  const std::string document =
      "[" + serverWith("[" + good + "]") + "," +
      serverWith("[" + good + "," + gpuWithout(R"("name":"Tesla T4",)") + "," +
                 gpuWith("temperatureC", "null") + "," + gpuWith("utilizationPercent", R"("0 %")") +
                 "," + gpuWith("index", "9223372036854775808") + "," + gpuWith("index", "1.5") +
                 "," + gpuWith("memoryUsedMB", "1e999") + "," + "7" + "," + "null" + "," +
                 R"("GPU 0")" + "," + "[" + good + "]" + "," + "{}" + "," +
                 gpuWith("utilizationPercent", R"(0,"pcieLinkGen":"4")") + "," + good + "]") +
      "]";
  Findings findings;
  const auto servers = decode<std::vector<ServerSummary>>(document, &findings);
  ASSERT_EQ(servers.size(), 2U);
  EXPECT_EQ(servers[0].gpus, (std::vector<GPUStat>{bareGPU(0)}));
  EXPECT_EQ(servers[1].gpus, (std::vector<GPUStat>{bareGPU(0), bareGPU(0)}));

  std::vector<std::string> told;
  for (const Finding& finding : findings.list()) {
    EXPECT_EQ(finding.outcome, FindingOutcome::elementDropped);
    EXPECT_EQ(finding.line, std::nullopt);
    EXPECT_EQ(finding.column, std::nullopt);
    told.push_back(finding.path + " (" + finding.found + "): " + finding.reason);
  }
  EXPECT_EQ(told,
            (std::vector<std::string>{
                "[1].gpus[1] (): name: required key is missing",
                "[1].gpus[2] (null): temperatureC: expected a finite number, found null",
                "[1].gpus[3] (\"0 %\"): utilizationPercent: expected a finite number, found a text",
                "[1].gpus[4] (9223372036854775808): index: not a 64-bit integer",
                "[1].gpus[5] (1.5): index: not a 64-bit integer",
                "[1].gpus[6] (1e999): memoryUsedMB: not a finite number",
                "[1].gpus[7] (7): expected an object, found a number",
                "[1].gpus[8] (null): expected an object, found null",
                "[1].gpus[9] (\"GPU 0\"): expected an object, found a text",
                "[1].gpus[10] ([" + good.substr(0, 78) +
                    "\xE2\x80\xA6): expected an object, found a list",
                "[1].gpus[11] (): index: required key is missing",
                "[1].gpus[12] (\"4\"): pcieLinkGen: expected a 64-bit integer, found a text"}));
}

TEST(ServerList, failsWithABadServer) {
  try {
    decode<std::vector<ServerSummary>>("[" + serverWith("[]") + R"(,{"name":"gpu-02"}])");
    ADD_FAILURE() << "decodes";
  } catch (const DecodingError& error) {
    EXPECT_STREQ(error.what(), "[1].id: required key is missing");
  }
}

// --- derived values ---

struct FractionRow {
  const char* name;
  double part;
  double whole;
  double fraction;
};
void PrintTo(const FractionRow& row, std::ostream* out) { *out << row.part << " of " << row.whole; }

class FractionOf : public testing::TestWithParam<FractionRow> {};

TEST_P(FractionOf, liesBetweenZeroAndOne) {
  GPUStat gpu = bareGPU(0);
  gpu.memoryUsedMB = GetParam().part;
  gpu.memoryTotalMB = GetParam().whole;
  EXPECT_EQ(gpu.memoryFraction(), GetParam().fraction);
  // The other one looks at fields of its own.
  EXPECT_EQ(gpu.powerFraction(), 8.5 / 70);

  gpu = bareGPU(0);
  gpu.powerDrawW = GetParam().part;
  gpu.powerLimitW = GetParam().whole;
  EXPECT_EQ(gpu.powerFraction(), GetParam().fraction);
  EXPECT_EQ(gpu.memoryFraction(), 0);
}

INSTANTIATE_TEST_SUITE_P(
    Values, FractionOf,
    rows<FractionRow>({
        {"half", 40960, 81920, 0.5},
        {"none", 0, 81920, 0},
        {"minusZero", -0.0, 81920, 0},
        {"all", 81920, 81920, 1},
        {"justBelowAll", std::nextafter(81920, 0), 81920, std::nextafter(81920, 0) / 81920},
        {"justAboveAll", std::nextafter(81920, 100000), 81920, 1},
        {"moreThanAll", 90000, 81920, 1},
        {"negative", -1, 81920, 0},
        {"tiny", 5e-324, 1, 5e-324},
        {"ofZero", 40960, 0, 0},
        {"zeroOfZero", 0, 0, 0},
        {"ofMinusZero", 40960, -0.0, 0},
        {"ofANegative", 40960, -81920, 0},
        {"negativeOfANegative", -40960, -81920, 0},
        {"notANumber", kNaN, 81920, 0},
        {"ofNotANumber", 40960, kNaN, 0},
        {"bothNotNumbers", kNaN, kNaN, 0},
        {"infinite", kInfinity, 81920, 1},
        {"negativeInfinite", -kInfinity, 81920, 0},
        {"ofInfinity", 40960, kInfinity, 0},
        {"infiniteOfInfinity", kInfinity, kInfinity, 0},
        {"ofNegativeInfinity", 40960, -kInfinity, 0},
        {"notANumberOfInfinity", kNaN, kInfinity, 0},
        {"overflowingQuotient", kLargest, 0.5, 1},
    }),
    rowName);

TEST(FractionOf, isNeverMinusZero) {
  GPUStat gpu = bareGPU(0);
  gpu.memoryUsedMB = -0.0;
  gpu.powerDrawW = -5;
  EXPECT_FALSE(std::signbit(gpu.memoryFraction()));
  EXPECT_FALSE(std::signbit(gpu.powerFraction()));
}

struct LinkRow {
  const char* name;
  std::optional<std::int64_t> generation;
  std::optional<std::int64_t> width;
  std::optional<std::string> text;
};
void PrintTo(const LinkRow& row, std::ostream* out) { *out << row.text.value_or("none"); }

class PCIeLinkText : public testing::TestWithParam<LinkRow> {};

TEST_P(PCIeLinkText, needsBothNumbers) {
  GPUStat gpu = bareGPU(0);
  gpu.pcieLinkGen = GetParam().generation;
  gpu.pcieLinkWidth = GetParam().width;
  EXPECT_EQ(gpu.pcieLinkText(), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Values, PCIeLinkText,
                         rows<LinkRow>({
                             {"gen4x16", 4, 16, "PCIe Gen4 x16"},
                             {"gen3x8", 3, 8, "PCIe Gen3 x8"},
                             {"neither", {}, {}, {}},
                             {"onlyTheGeneration", 4, {}, {}},
                             {"onlyTheWidth", {}, 16, {}},
                             {"zeros", 0, 0, "PCIe Gen0 x0"},
                             {"negative", -1, -16, "PCIe Gen-1 x-16"},
                             // No digits are grouped, whatever the locale.
                             {"limits",
                              std::numeric_limits<std::int64_t>::min(),
                              std::numeric_limits<std::int64_t>::max(),
                              "PCIe Gen-9223372036854775808 x9223372036854775807"},
                         }),
                         rowName);

TEST(GPUStat, isIdentifiedByItsIndex) {
  EXPECT_EQ(exampleGPU().id(), 3);
  EXPECT_EQ(bareGPU(-1).id(), -1);
}

TEST(ServerSummary, isIdentifiedByItsID) {
  EXPECT_EQ(exampleServer().id.text(), "0F8FAD5B-D9CB-469F-A165-70867728950E");
}

TEST(ServerSummary, mayBeAKey) {
  ServerSummary other = exampleServer();
  other.gpus[1].pstate = "P8";
  const std::unordered_set<ServerSummary> servers = {exampleServer(), other, exampleServer()};
  EXPECT_EQ(servers.size(), 2U);
  EXPECT_TRUE(servers.contains(other));
}

}  // namespace
}  // namespace tavrine
