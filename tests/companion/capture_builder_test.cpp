#include "companion/collect/capture_builder.h"

#include "companion/capture/capture_folder.h"
#include "companion/collect/collector_script.h"

#include <gmock/gmock.h>

#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/json_conventions.h>

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/captures.h"
#include "tests/support/rows.h"
#include "tests/support/temporary_folder.h"

namespace tavrine {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;
using testing::UnorderedElementsAre;

CaptureInfo info() {
  CaptureInfo info{};
  info.server = "gpu-01";
  info.host = "gpu-01.lab";
  info.takenAt = kCaptureTime;
  return info;
}

Piece piece(std::string name, std::string text, std::optional<std::int64_t> status = 0) {
  const std::size_t bytes = text.size();
  return {std::move(name), std::move(text), status, bytes};
}

// The three pieces of a file on the host.
void addFile(std::vector<Piece>& pieces, std::string_view kind, std::string path, std::string text,
             std::string age = "7") {
  const std::string name(kind);
  pieces.push_back(piece(name + "-path", std::move(path)));
  pieces.push_back(piece(name + "-age", std::move(age)));
  pieces.push_back(piece(name + "-text", std::move(text)));
}

std::vector<std::string> namesOf(const Capture& capture) {
  std::vector<std::string> names;
  for (const CapturedRun& run : capture.info.runs) names.push_back(run.name);
  return names;
}

// --- Names of runs ---

struct NameRow {
  const char* name;
  std::string path;
  std::string run;
};
void PrintTo(const NameRow& row, std::ostream* out) { *out << testing::PrintToString(row.path); }

class RunNameOf : public testing::TestWithParam<NameRow> {};

TEST_P(RunNameOf, isTheFileOrItsFolder) { EXPECT_EQ(runNameOf(GetParam().path), GetParam().run); }

TEST_P(RunNameOf, isANameThatAFolderKeeps) {
  const std::string name = runNameOf(GetParam().path);
  EXPECT_EQ(asFileName(name), name);
  EXPECT_EQ(asFileName(name + "-999"), name + "-999");
  EXPECT_TRUE(isWellFormedUTF8(name));
}

INSTANTIATE_TEST_SUITE_P(
    Paths, RunNameOf,
    rows<NameRow>({
        {"file", "/scratch/llama-7b.log", "llama-7b"},
        {"folderOfACommonFile", "/scratch/llama-7b/train.log", "llama-7b"},
        {"letterCase", "/scratch/llama-7b/Train.LOG", "llama-7b"},
        {"recorder", "/scratch/llama-7b/recorder.jsonl", "llama-7b"},
        {"onlyTheLastEnding", "/scratch/llama.v2.log", "llama.v2"},
        {"noEnding", "/scratch/llama", "llama"},
        {"onlyAnEnding", "/scratch/llama/.log", "llama"},
        {"commonWithoutAFolder", "train.log", "train"},
        {"commonAtTheRoot", "/train.log", "train"},
        {"slashesAtTheEnd", "/scratch/llama//", "llama"},
        {"twoSlashes", "/scratch//llama//train.log", "llama"},
        {"empty", "", "_"},
        {"root", "/", "_"},
        {"here", ".", "_"},
        {"above", "..", "_."},
        {"aboveAsAFolder", "../train.log", "_.."},
        {"upAndAway", "a/../../b/out.log", "b"},
        {"hidden", "/scratch/.llama.log", "_.llama"},
        {"likeAnOption", "/scratch/-rf.log", "_-rf"},
        {"controls", "/s/a\n\t\x1b\x7f.log", "a____"},
        {"notUTF8", "/s/a\xFF.log", "a\xEF\xBF\xBD"},
        {"long", "/s/" + std::string(300, 'x') + ".log", std::string(120, 'x')},
        {"longAndNotUTF8",
         "/s/x" + std::string(300, '\xFF') + ".log",
         // A character of three bytes is never cut.
         "x" + repairedUTF8(std::string(39, '\xFF'))},
    }),
    rowName);

// --- Commands ---

TEST(CaptureOf, keepsWhatCommandsPrintedAndHowTheyEnded) {
  const Capture capture = captureOf(info(),
                                    {piece("gpus", "0, A\n"),
                                     piece("gpu-processes", "", 127),
                                     piece("load", "0.1\n", 124),
                                     piece("thermal", "x", std::nullopt)},
                                    "");
  EXPECT_EQ(capture.info.problem, std::nullopt);
  EXPECT_THAT(capture.texts,
              UnorderedElementsAre(Pair("gpus.csv", "0, A\n"),
                                   Pair("loadavg.txt", "0.1\n"),
                                   Pair("thermal.txt", "x")));
  EXPECT_EQ(capture.result("gpus")->status, 0);
  EXPECT_EQ(capture.result("gpu-processes")->status, 127);
  EXPECT_EQ(capture.result("load")->status, 124);
  EXPECT_EQ(capture.result("thermal")->status, -1);
  EXPECT_EQ(capture.result("disks"), nullptr);
}

TEST(CaptureOf, saysHowMuchWasCut) {
  Piece cut = piece("gpus", "0123");
  cut.bytes = 10;
  const Capture capture = captureOf(info(), {cut, piece("load", "1")}, "");
  EXPECT_EQ(capture.result("gpus")->cutBytes, 6);
  EXPECT_EQ(capture.result("load")->cutBytes, std::nullopt);
}

TEST(CaptureOf, saysWhatWentWrong) {
  EXPECT_EQ(captureOf(info(), {}, "no answer").info.problem, "no answer");
  EXPECT_THAT(captureOf(info(), {}, "no answer").texts, IsEmpty());
}

// --- Runs ---

TEST(CaptureOf, joinsTheLogsOfARun) {
  std::vector<Piece> pieces;
  addFile(pieces, kTrainingLogPiece, "/s/llama/train.log", "loss: 1\n");
  addFile(pieces, kRecorderLogPiece, "/rec/llama.jsonl", "{}\n");
  const Capture capture = captureOf(info(), pieces, "");
  EXPECT_THAT(namesOf(capture), ElementsAre("llama"));
  EXPECT_EQ(capture.run("llama")->logPath, "/s/llama/train.log");
  EXPECT_EQ(capture.run("llama")->logAgeSeconds, 7);
  EXPECT_EQ(capture.run("llama")->recorderPath, "/rec/llama.jsonl");
  EXPECT_EQ(*capture.text("runs/llama/train.log"), "loss: 1\n");
  EXPECT_EQ(*capture.text("runs/llama/recorder.jsonl"), "{}\n");
}

TEST(CaptureOf, tellsRunsOfOneNameApart) {
  std::vector<Piece> pieces;
  addFile(pieces, kTrainingLogPiece, "/a/llama.log", "1");
  addFile(pieces, kTrainingLogPiece, "/b/llama.log", "2");
  addFile(pieces, kTrainingLogPiece, "/c/llama/train.log", "3");
  const Capture capture = captureOf(info(), pieces, "");
  EXPECT_THAT(namesOf(capture), ElementsAre("llama", "llama-2", "llama-3"));
  EXPECT_EQ(*capture.text("runs/llama-3/train.log"), "3");
  EXPECT_EQ(capture.run("llama-2")->logPath, "/b/llama.log");
}

TEST(CaptureOf, tellsLongNamesApartOnDiskToo) {
  std::vector<Piece> pieces;
  addFile(pieces, kTrainingLogPiece, "/a/" + std::string(300, 'x') + "1.log", "1");
  addFile(pieces, kTrainingLogPiece, "/a/" + std::string(300, 'x') + "2.log", "2");
  const Capture capture = captureOf(info(), pieces, "");
  const TemporaryFolder folder;
  writeCapture(capture, folder / "gpu-01");
  Findings findings;
  EXPECT_EQ(readCapture(folder / "gpu-01", findings).texts, capture.texts);
}

TEST(CaptureOf, passesOverAFileWithoutAText) {
  EXPECT_THAT(captureOf(info(), {piece("training-log-path", "/a/b.log")}, "").info.runs, IsEmpty());
  EXPECT_THAT(captureOf(info(), {piece("training-log-text", "loss: 1")}, "").info.runs, IsEmpty());
  EXPECT_THAT(
      captureOf(info(), {piece("training-log", "x"), piece("training-log-", "x")}, "").texts,
      IsEmpty());
}

TEST(CaptureOf, keepsALogThatIsCutOff) {
  const Capture capture = captureOf(
      info(),
      {piece("training-log-path", "/a/b.log"), piece("training-log-text", "loss", std::nullopt)},
      "it ended");
  EXPECT_EQ(*capture.text("runs/b/train.log"), "loss");
  EXPECT_EQ(capture.run("b")->logAgeSeconds, std::nullopt);
}

class AgeOfALog : public testing::TestWithParam<const char*> {};

TEST_P(AgeOfALog, isUnknownWhereItIsNoWholeNumber) {
  std::vector<Piece> pieces;
  addFile(pieces, kTrainingLogPiece, "/a/b.log", "loss: 1", GetParam());
  const Capture capture = captureOf(info(), pieces, "");
  EXPECT_EQ(capture.run("b")->logAgeSeconds, std::nullopt);
  EXPECT_NO_THROW(encode(capture.info));
}

INSTANTIATE_TEST_SUITE_P(Texts, AgeOfALog,
                         testing::Values("", "nan", "inf", "-inf", "1e999", "x", "7 "));

// --- The agent ---

TEST(CaptureOf, keepsTheReportsOfTheAgent) {
  std::vector<Piece> pieces;
  addFile(pieces, kAgentFilePiece, "/var/agent/status.json", "{}");
  addFile(pieces, kAgentFilePiece, "/var/agent/a b.json", "[]");
  pieces.push_back(piece(std::string(kAgentCommandPiece), "{\"status\":{}}"));
  EXPECT_THAT(captureOf(info(), pieces, "").texts,
              UnorderedElementsAre(Pair("agent/status.json", "{}"),
                                   Pair("agent/a b.json", "[]"),
                                   Pair("agent/reports.json", "{\"status\":{}}")));
}

TEST(CaptureOf, keepsItsFilesBelowItsFolder) {
  std::vector<Piece> pieces;
  addFile(pieces, kAgentFilePiece, "..", "x");
  addFile(pieces, kAgentFilePiece, "/a/..", "x");
  addFile(pieces, kAgentFilePiece, "", "x");
  addFile(pieces, kAgentFilePiece, "/", "x");
  addFile(pieces, kAgentFilePiece, std::string("/a\0b.json", 9), "x");
  EXPECT_THAT(captureOf(info(), pieces, "").texts,
              UnorderedElementsAre(Pair("agent/_..", "x"),
                                   Pair("agent/_", "x"),
                                   Pair("agent/a_b.json", "x")));
}

}  // namespace
}  // namespace tavrine
