#include "companion/parse/likely_content.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

#include "tests/support/rows.h"

namespace tavrine {
namespace {

using namespace std::string_literals;

const std::string kPoint = R"({"t": 1763142590, "phase": "snapshot", "gpu_util": 9})";
const std::string kGPU = "0, NVIDIA L40S, 97 %, 41872 MiB, 46068 MiB, 61, 312.42 W, 350.00 W\n";
const std::string kPIDs = "    PID    PPID USER  COMMAND\n      1       0 root  init\n";

struct Row {
  const char* name;
  std::string text;
  std::string reader;  // in the words; of what nothing reads, a part of them
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.text.substr(0, 80); }

class LikelyContent : public testing::TestWithParam<Row> {};

TEST_P(LikelyContent, isToldByTheBeginning) {
  const std::string words = likelyContent(GetParam().text, "");
  if (GetParam().reader.empty()) {
    EXPECT_EQ(words, "");
  } else {
    EXPECT_TRUE(words.starts_with("it looks like ")) << words;
    EXPECT_NE(words.find(GetParam().reader), std::string::npos) << words;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Texts, LikelyContent,
    rows<Row>({
        {"empty", "", ""},
        {"blank", " \n", ""},
        {"prose", "A lab.\n", ""},
        {"bytes", "\0\xFF\xFE\x80"s, ""},
        {"numbers", "0, a, 1, 2, 3, 4, 5, 6\n", ""},
        {"utf16", "\xFF\xFE{\0"s, "looks like UTF-16"},
        {"utf16BigEndian", "\xFE\xFF\0{"s, "looks like UTF-16"},
        {"packed", "\x1F\x8B\x08", "gzip"},
        {"markedDocument", "\xEF\xBB\xBF{}", "byte order mark"},
        {"markedText", "\xEF\xBB\xBF" + std::string("A lab."), ""},
        {"recorderLog", kPoint + "\n", "a recorder's log, which 'tavrine diagnose' reads"},
        {"longRecorderLog", kPoint + "\n" + std::string(1 << 20, 'x'), "'tavrine diagnose'"},
        {"recorderLogOfCRLF", kPoint + "\r\n" + kPoint + "\r\n", "CR LF"},
        {"snapshot", R"( {"timestamp": "2026-11-15T17:48:25Z"})", "'tavrine show'"},
        {"captureInfo",
         R"({"server": "a", "host": "b", "takenAt": "2026-11-15T17:48:25Z"})",
         "whose folder 'tavrine assemble' reads"},
        {"anotherDocument", R"({"a": 1})", ""},
        {"dump", "Process 4711: python\nThread 4711 (idle)\n", "'tavrine classify'"},
        {"processOfAnotherSort", "Process started\n", ""},
        {"processTable", kPIDs, "'tavrine parse processes'"},
        {"gpus", kGPU, "'tavrine parse gpus'"},
        {"gpusThatStopTheirReader", kGPU + "1, A, 1, 1, 1, 1, 1, 1, 1, 1, 1, nan\n", ""},
        {"snapshotCutOff", R"({"runs": [{"logTail": "step 3 loss: 0.5)", ""},
        {"snapshotWithoutTime", R"({"runs": [{"logTail": "step 3 loss: 0.5"}]})", ""},
        {"listOfRuns", R"([{"logTail": "step 3 loss: 0.5"}])", ""},
        {"exportedPage", "<!DOCTYPE html><pre>step 3 loss: 0.5</pre>", ""},
        {"trainingLogInBrackets", "[2026-11-22 10:00] step 3 loss: 0.5\n", "training-log'"},
        {"trainingLog", "step 3 loss: 0.5\n", "'tavrine parse training-log'"},
    }));

TEST(LikelyContent, isNotWhatTheReaderReadsItself) {
  EXPECT_EQ(likelyContent(kPoint, "diagnose"), "");
  EXPECT_EQ(likelyContent(kPIDs, "parse processes"), "");
  EXPECT_NE(likelyContent(kPIDs, "parse gpus"), "");
}

TEST(UnreadableContent, isWhatIsNoText) {
  EXPECT_EQ(unreadableContent(kPoint), "");
  EXPECT_EQ(unreadableContent("\xFF\xFEl\0"s), likelyContent("\xFF\xFE"s, ""));
  EXPECT_EQ(unreadableContent("\x1F\x8B"), likelyContent("\x1F\x8B", ""));
}

}  // namespace
}  // namespace tavrine
