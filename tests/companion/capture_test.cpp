#include "companion/capture/capture.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "tests/support/captures.h"
#include "tests/support/record_checks.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

struct NameRow {
  const char* name;
  std::string given;
  std::string safe;
};
void PrintTo(const NameRow& row, std::ostream* out) { *out << testing::PrintToString(row.given); }

class AsFileName : public testing::TestWithParam<NameRow> {};

TEST_P(AsFileName, isOnePartOfAPath) { EXPECT_EQ(asFileName(GetParam().given), GetParam().safe); }

TEST_P(AsFileName, staysAsItIs) { EXPECT_EQ(asFileName(GetParam().safe), GetParam().safe); }

INSTANTIATE_TEST_SUITE_P(
    Names, AsFileName,
    rows<NameRow>({
        {"plain", "gpu-01.lab", "gpu-01.lab"},
        {"blank", "a b", "a b"},
        {"slash", "a/b", "a_b"},
        {"nul", std::string("a\0b", 3), "a_b"},
        {"controls", "a\n\x1f\x7f", "a___"},
        {"unicode", "\xC3\xA4", "\xC3\xA4"},
        {"anyBytes", "\xFF\x80", "\xFF\x80"},
        {"empty", "", "_"},
        {"here", ".", "_."},
        {"above", "..", "_.."},
        {"option", "-rf", "_-rf"},
        {"asLongAsItMayBe", std::string(200, 'x'), std::string(200, 'x')},
        {"longer", std::string(201, 'x'), std::string(200, 'x')},
        {"noCharacterIsCut", std::string(199, 'x') + "\xC3\xA4", std::string(199, 'x')},
    }),
    rowName);

TEST(CommandResult, followsTheConventions) {
  checkRecord(CommandResult{.command = "gpus", .status = 127, .cutBytes = 9, .leftOutFiles = 3},
              R"({"command":"gpus","cutBytes":9,"leftOutFiles":3,"status":127})");
}

TEST(CapturedRun, followsTheConventions) {
  checkRecord(CapturedRun{.name = "a", .logPath = "/b", .logAgeSeconds = 7, .recorderPath = "/c"},
              R"({"logAgeSeconds":7,"logPath":"/b","name":"a","recorderPath":"/c"})");
}

TEST(CaptureInfo, followsTheConventions) {
  const CaptureInfo example{
      .server = "gpu-01",
      .host = "ada@gpu-01",
      .takenAt = kCaptureTime,
      .problem = "no answer",
      .commands = {{.command = "gpus", .status = 0, .cutBytes = {}, .leftOutFiles = {}}},
      .runs = {{.name = "a", .logPath = {}, .logAgeSeconds = {}, .recorderPath = {}}}};
  checkRecord(example,
              R"({"commands":[{"command":"gpus","status":0}],"host":"ada@gpu-01",)"
              R"("problem":"no answer","runs":[{"name":"a"}],"server":"gpu-01",)"
              R"("takenAt":"2026-11-15T17:48:25Z"})",
              {{"commands", dropsBadElements()}, {"runs", dropsBadElements()}});
}

TEST(Capture, findsByName) {
  Capture capture = healthyCapture();
  capture.info.runs.push_back(
      {.name = "llama", .logPath = {}, .logAgeSeconds = {}, .recorderPath = {}});
  EXPECT_EQ(*capture.text("thermal.txt"), "x86_pkg_temp\t45000\n");
  EXPECT_EQ(capture.text("thermal"), nullptr);
  EXPECT_EQ(capture.result("gpus")->command, "gpus");
  EXPECT_EQ(capture.result("gpus.csv"), nullptr);
  EXPECT_EQ(capture.run("llama")->name, "llama");
  EXPECT_EQ(capture.run("Llama"), nullptr);
}

TEST(Shortfall, isWhatTheCaptureDoesNotHave) {
  const auto words = [](std::optional<std::int64_t> bytes, std::optional<std::int64_t> files) {
    return shortfall({.command = "x", .status = 0, .cutBytes = bytes, .leftOutFiles = files});
  };
  EXPECT_EQ(words({}, {}), "");
  EXPECT_EQ(words(7, {}), "7 bytes more were not kept");
  EXPECT_EQ(words({}, 2), "2 files more were left out");
  EXPECT_EQ(words(7, 2), "2 files more were left out, and 7 bytes more were not kept");
  // A host may print any number.
  EXPECT_EQ(words(0, 0), "");
  EXPECT_EQ(words(-7, -2), "");
  EXPECT_EQ(words(7, -2), "7 bytes more were not kept");
}

}  // namespace
}  // namespace tavrine
