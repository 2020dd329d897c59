#include "companion/assemble/run_logs.h"

#include <gmock/gmock.h>

namespace tavrine {
namespace {

TEST(RunLogsOf, isOneForEachFolderWithALog) {
  Capture capture{};
  capture.texts = {{"runs/b/train.log", "b"},
                   {"runs/a/recorder.jsonl", "a"},
                   {"runs/c/notes.txt", ""},
                   {"runs/d", ""},
                   {"runsome/e/train.log", ""},
                   {"train.log", ""}};
  const std::vector<RunLogs> runs = runLogsOf(capture);
  ASSERT_EQ(runs.size(), 2U);
  EXPECT_EQ(runs[0].name, "a");
  EXPECT_EQ(runs[0].training, nullptr);
  EXPECT_EQ(runs[0].recorder, capture.text("runs/a/recorder.jsonl"));
  EXPECT_EQ(runs[1].name, "b");
  EXPECT_EQ(runs[1].training, capture.text("runs/b/train.log"));
  EXPECT_EQ(runs[1].recorder, nullptr);
}

TEST(RunLogsOf, isWithoutARunThatHasNone) { EXPECT_THAT(runLogsOf({}), testing::IsEmpty()); }

TEST(RunLogsOf, knowsTheirPlacesWhereTheCaptureDoes) {
  Capture capture{};
  capture.texts = {{"runs/a/train.log", ""}, {"runs/b/train.log", ""}};
  capture.info.runs.push_back(
      {.name = "b", .logPath = "/s/b.log", .logAgeSeconds = {}, .recorderPath = {}});
  const std::vector<RunLogs> runs = runLogsOf(capture);
  ASSERT_EQ(runs.size(), 2U);
  EXPECT_EQ(runs[0].places, nullptr);
  EXPECT_EQ(runs[1].places, &capture.info.runs.front());
}

}  // namespace
}  // namespace tavrine
