#include "companion/diagnose/log_diagnosis.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace tavrine {
namespace {

using testing::ElementsAre;

// One sample each, so many seconds apart.
std::string logOf(int points, int apart, const std::string& rest = R"("gpu_util":95)") {
  std::string text;
  for (int i = 0; i < points; ++i) {
    text += R"({"t":)" + std::to_string(i * apart) + "," + rest + "}\n";
  }
  return text;
}

TEST(DiagnoseLog, judgesByTheEndOfTheLog) {
  EXPECT_EQ(diagnoseLog("a", logOf(1000, 10), {100, 0}).recentCount, 11U);
  EXPECT_EQ(diagnoseLog("a", logOf(1000, 10), {99, 0}).recentCount, 10U);
  EXPECT_EQ(diagnoseLog("a", logOf(1000, 10), RecentSpan::everything()).recentCount, 1000U);
}

TEST(DiagnoseLog, judgesBySomePointsHoweverFarApart) {
  EXPECT_EQ(diagnoseLog("a", logOf(1000, 3600), RecentSpan::usual()).recentCount, 10U);
  EXPECT_EQ(diagnoseLog("a", logOf(4, 3600), RecentSpan::usual()).recentCount, 4U);
  EXPECT_EQ(diagnoseLog("a", logOf(4, 3600), {60, 0}).recentCount, 1U);
}

TEST(DiagnoseLog, takesTheNewestPeriodicSample) {
  const auto diagnosis = diagnoseLog("a",
                                     "{\"t\":1,\"power_w\":7}\n{\"t\":2,\"phase\":\"stack\"}\nx\n",
                                     RecentSpan::usual());
  ASSERT_TRUE(diagnosis.latest.has_value());
  EXPECT_EQ(diagnosis.latest->powerW, 7);
  EXPECT_EQ(diagnosis.points.size(), 2U);
  EXPECT_EQ(diagnosis.droppedLines, 1U);
  EXPECT_EQ(diagnosis.evidence.verdict,
            RuntimeDiagnosis::derive(diagnosis.latest, diagnosis.recent()));
}

TEST(DiagnoseLog, keepsWhatThePointsCameTo) {
  auto diagnosis = diagnoseLog("a", logOf(20, 10), RecentSpan::usual());
  const DiagnosisEvidence evidence = diagnosis.evidence;
  diagnosis.forgetPoints();
  EXPECT_TRUE(diagnosis.points.empty());
  EXPECT_EQ(diagnosis.points.capacity(), 0U);
  EXPECT_TRUE(diagnosis.recent().empty());
  EXPECT_EQ(diagnosis.pointCount, 20U);
  EXPECT_EQ(diagnosis.evidence.newest, evidence.newest);
  EXPECT_EQ(diagnosis.latest->gpuUtil, 95);
}

TEST(DiagnoseLog, canDoWithoutPoints) {
  const auto diagnosis = diagnoseLog("a", "", RecentSpan::usual());
  EXPECT_EQ(diagnosis.latest, std::nullopt);
  EXPECT_EQ(diagnosis.evidence.verdict, RuntimeDiagnosis::unknown);
}

TEST(SortWorstFirst, goesByTheVerdictThenByTheUtilisation) {
  const std::string stack = R"("py_spy":[{"thread":"","frames":["FRAME"]}])";
  const auto withStack = [&stack](const std::string& frame) {
    std::string text = stack;
    return R"("gpu_util":95,)" + text.replace(text.find("FRAME"), 5, frame);
  };
  const auto withCounters = [](const std::string& tensor, const std::string& dram) {
    return R"("gpu_util":95,"dcgm":{"fp32_active":0,"tensor_active":)" + tensor +
           R"(,"dram_active":)" + dram + R"(,"tflops_peak":1})";
  };
  std::vector<LogDiagnosis> diagnoses;
  const auto add = [&diagnoses](const std::string& name, const std::string& rest) {
    diagnoses.push_back(diagnoseLog(name, logOf(3, 10, rest), RecentSpan::usual()));
  };
  add("compute", withCounters("0.9", "0"));
  add("mixed", withStack(":forward:"));
  add("unknown", R"("gpu_util":95)");
  add("memory", withCounters("0.1", "0.9"));
  add("communication", withStack("nccl"));
  add("unmeasured", R"("power_w":1)");
  add("starved", R"("gpu_util":5)");
  add("starved, too", R"("gpu_util":5)");
  add("idle", R"("gpu_util":0)");
  sortWorstFirst(diagnoses);
  std::vector<std::string> names;
  for (const LogDiagnosis& diagnosis : diagnoses) names.push_back(diagnosis.name);
  EXPECT_THAT(names,
              ElementsAre("idle",
                          "starved",
                          "starved, too",
                          "unmeasured",
                          "communication",
                          "memory",
                          "unknown",
                          "mixed",
                          "compute"));
}

}  // namespace
}  // namespace tavrine
