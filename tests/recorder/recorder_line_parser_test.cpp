#include <TavrineShared/recorder/recorder_line_parser.h>

#include <TavrineShared/model/field_table.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/huge_texts.h"
#include "tests/support/naive_recorder_line_parser.h"
#include "tests/support/rows.h"
#include "tests/support/told.h"

namespace tavrine {
namespace {

using RecorderLineParser::latestSnapshot;
using RecorderLineParser::latestStack;
using RecorderLineParser::parse;
using testing::ElementsAre;
using testing::IsEmpty;

Timestamp seconds(double count) { return Timestamp(std::chrono::duration<double>(count)); }

TEST(RecorderLineParser, fillsEveryField) {
  EXPECT_THAT(
      parse(R"({"t":1700000000.25,"phase":"step","gpu_util":98.5,"vram_mb":40536,"power_w":312,)"
            R"("dcgm":{"fp32_active":0.5,"tensor_active":0.25,"dram_active":0.125,)"
            R"("tflops_achieved":120,"tflops_peak":989,"reason":"ok"},)"
            R"("py_spy":[{"thread":"MainThread","frames":["forward model.py:7"]}],)"
            R"("text":"a","cmdline":"python train.py"})"),
      ElementsAre(RecorderLogPoint{
          .t = seconds(1700000000.25),
          .phase = "step",
          .gpuUtil = 98.5,
          .vramMB = 40536,
          .powerW = 312,
          .dcgm = DCGMSample{0.5, 0.25, 0.125, 120, 989, "ok"},
          .pySpy = {{{"MainThread", {"forward model.py:7"}}}},
          .text = "a",
          .cmdline = "python train.py",
      }));
}

TEST(RecorderLineParser, leavesOptionalFieldsAbsent) {
  EXPECT_THAT(
      parse(R"({"t":1700000000})"),
      ElementsAre(RecorderLogPoint{seconds(1700000000), "snapshot", {}, {}, {}, {}, {}, {}, {}}));
}

// Which pieces of a text give points: the times, in their order.

struct Lines {
  std::string_view name;
  std::string_view text;
  std::vector<double> times;
};

void PrintTo(const Lines& lines, std::ostream* out) { *out << lines.name; }

class RecorderLineParserText : public testing::TestWithParam<Lines> {};

TEST_P(RecorderLineParserText, givesTheseTimes) {
  std::vector<double> times;
  for (const RecorderLogPoint& point : parse(GetParam().text)) {
    times.push_back(point.t.time_since_epoch().count());
  }
  EXPECT_EQ(times, GetParam().times);
  EXPECT_EQ(parse(GetParam().text), naive::parseRecorderLines(GetParam().text));
}

const std::vector<Lines> kLinesRows = {
    {"empty", "", {}},
    {"blank lines", "\n\n \n\t\n", {}},
    {"one line without its end", R"({"t":1})", {1}},
    {"lines in order", "{\"t\":1}\n{\"t\":2}\n", {1, 2}},
    {"lines out of order", "{\"t\":20}\n{\"t\":10}\n", {10, 20}},
    {"many out of order",
     "{\"t\":3}\n{\"t\":1}\n{\"t\":2}\n{\"t\":1}\n{\"t\":0}\n",
     {0, 1, 1, 2, 3}},
    {"negative times, fractions, exponents", "{\"t\":1e1}\n{\"t\":-0.5}\n{\"t\":0}", {-0.5, 0, 10}},
    {"blank lines between", "\n\n{\"t\":1}\n\n\n{\"t\":2}\n\n", {1, 2}},
    {"indented", "  {\"t\":1}\n\t{\"t\":2}\t\n\xC2\xA0{\"t\":3}\xE3\x80\x80\n", {1, 2, 3}},
    {"other texts between", "# log\n{\"t\":1}\n50%\n[{\"t\":2}]\n\"t\"\n", {1}},
    {"a byte order mark", "\xEF\xBB\xBF{\"t\":1}\n{\"t\":2}", {2}},
    {"cut off", "{\"t\":1}\n{\"t\":2,\"ph", {1}},
    {"text behind the object", "{\"t\":1} x\n{\"t\":2},\n{\"t\":3}", {3}},
    {"two objects in a line", "{\"t\":1}{\"t\":2}", {}},
    {"no time", "{}\n{\"phase\":\"a\"}", {}},
    {"null as time", "{\"t\":null}", {}},
    {"a text as time", "{\"t\":\"2026-11-15T17:48:25Z\"}\n{\"t\":\"1\"}", {}},
    {"other things as time", "{\"t\":true}\n{\"t\":[1]}\n{\"t\":{}}", {}},
    {"a time beyond a double", "{\"t\":1e999}", {}},
    {"NaN is no JSON", "{\"t\":NaN}\n{\"t\":Infinity}", {}},
    {"the first of two times counts", "{\"t\":1,\"t\":\"x\"}\n{\"t\":\"x\",\"t\":1}", {1}},
    {"a wrong type anywhere", "{\"t\":1,\"phase\":1}\n{\"t\":2,\"gpu_util\":\"1\"}", {}},
    {"nulls", "{\"t\":1,\"phase\":null,\"dcgm\":null,\"py_spy\":null,\"text\":null}", {1}},
    {"a sample without its peak",
     "{\"t\":1,\"dcgm\":{\"fp32_active\":0,\"tensor_active\":0,\"dram_active\":0}}",
     {}},
    {"a sample with just what it needs",
     "{\"t\":1,\"dcgm\":{\"fp32_active\":0,\"tensor_active\":0,\"dram_active\":0,"
     "\"tflops_peak\":1}}",
     {1}},
    {"a bad frame", "{\"t\":1,\"py_spy\":[{\"thread\":\"a\",\"frames\":[1]}]}", {}},
    {"unknown keys", "{\"t\":1,\"x\":{\"y\":[1,{}]}}", {1}},
    {"CR LF: one object", "{\"t\":1}\r\n", {1}},
    {"CR LF: two objects are one piece", "{\"t\":1}\r\n{\"t\":2}\r\n", {}},
    {"CR LF inside an object", "{\r\n\"t\":1\r\n}\n{\"t\":2}", {1, 2}},
    {"CR LF, then line feeds", "# a\r\n\n{\"t\":1}\n{\"t\":2}\r\n", {1, 2}},
    {"CR alone", "{\"t\":1}\r{\"t\":2}", {}},
    {"CR CR LF", "{\"t\":1}\r\r\n{\"t\":2}", {}},
    {"LF CR", "{\"t\":1}\n\r{\"t\":2}", {1, 2}},
    {"other line breaks end no line", "{\"t\":1}\xE2\x80\xA8{\"t\":2}\n{\"t\":3}\v", {3}},
    {"a NUL behind", std::string_view("{\"t\":1}\0\n{\"t\":2}", 16), {2}},
    {"ill-formed in a text", "{\"t\":1,\"text\":\"\xFF\"}\n{\"t\":2}", {1, 2}},
    {"ill-formed elsewhere", "{\"t\":1\xFF}\n\xFF{\"t\":2}\n{\"t\":3}", {3}},
    {"an ill-formed key", "{\"t\":1,\"a\xFF\":1}", {1}},
};

INSTANTIATE_TEST_SUITE_P(, RecorderLineParserText, rows(kLinesRows));

TEST(RecorderLineParser, keepsTheTextOrderOfEqualTimes) {
  std::vector<std::string> phases;
  for (const RecorderLogPoint& point :
       parse("{\"t\":2,\"phase\":\"a\"}\n{\"t\":1,\"phase\":\"b\"}\n"
             "{\"t\":2,\"phase\":\"c\"}\n{\"t\":1,\"phase\":\"d\"}\n"
             "{\"t\":-0.0,\"phase\":\"e\"}\n"
             "{\"t\":0.0,\"phase\":\"f\"}")) {
    phases.push_back(point.phase);
  }
  EXPECT_THAT(phases, ElementsAre("e", "f", "b", "d", "a", "c"));
}

TEST(RecorderLineParser, readsIllFormedTextAsReplacementCharacters) {
  const auto points = parse("{\"t\":1,\"text\":\"a\xE2\x80\xFF\"}");
  ASSERT_EQ(points.size(), 1U);
  EXPECT_EQ(points[0].text, "a\xEF\xBF\xBD\xEF\xBF\xBD");
}

// Shortcuts.

struct Latest {
  std::string_view name;
  std::string_view text;
  std::optional<double> snapshot;    // its time
  std::optional<std::string> stack;  // its thread
};

void PrintTo(const Latest& latest, std::ostream* out) { *out << latest.name; }

class RecorderLineParserLatest : public testing::TestWithParam<Latest> {};

TEST_P(RecorderLineParserLatest, isFoundFromTheEnd) {
  const std::optional<RecorderLogPoint> snapshot = latestSnapshot(GetParam().text);
  EXPECT_EQ(snapshot.has_value(), GetParam().snapshot.has_value());
  if (snapshot && GetParam().snapshot) {
    EXPECT_EQ(snapshot->t, seconds(*GetParam().snapshot));
  }
  const std::optional<StackFrame> stack = latestStack(GetParam().text);
  EXPECT_EQ(stack ? std::optional(stack->thread) : std::nullopt, GetParam().stack);
}

TEST_P(RecorderLineParserLatest, isTheSameOfThePoints) {
  const std::vector<RecorderLogPoint> points = parse(GetParam().text);
  const RecorderLogPoint* const snapshot = latestSnapshot(points);
  EXPECT_EQ(snapshot ? std::optional(*snapshot) : std::nullopt, latestSnapshot(GetParam().text));
  const StackFrame* const stack = latestStack(points);
  EXPECT_EQ(stack ? std::optional(*stack) : std::nullopt, latestStack(GetParam().text));
}

TEST(RecorderLineParser, tellsWhatTheNewestPassedOver) {
  constexpr std::string_view kLog = "{\"t\":1}\n{\"t\":\"now\"}\n{\"t\":2";
  for (const bool ofStack : {false, true}) {
    Findings findings;
    if (ofStack) {
      EXPECT_FALSE(latestStack(kLog, &findings));
    } else {
      EXPECT_TRUE(latestSnapshot(kLog, &findings));
    }
    EXPECT_EQ(findings.count(FindingOutcome::lineDropped), 2U);
  }
}

const std::vector<Latest> kLatestRows = {
    {"empty", "", {}, {}},
    {"blank lines", "\n\n \n\t\n", {}, {}},
    {"no object", "x\n", {}, {}},
    {"the phase as the recorder writes it",
     "{\"t\":1,\"phase\":\"snapshot\"}\n{\"t\":2,\"phase\":\"step\"}",
     1,
     {}},
    {"other phases behind",
     "{\"t\":1}\n{\"t\":2,\"phase\":\"step\"}\n{\"t\":3,\"phase\":\"step\"}",
     1,
     {}},
    {"the letter case counts", "{\"t\":1,\"phase\":\"Snapshot\"}", {}, {}},
    {"the empty phase is none", "{\"t\":1,\"phase\":\"\"}", {}, {}},
    {"newest, not last", "{\"t\":9}\n{\"t\":1}", 9, {}},
    {"a stack in the middle",
     "{\"t\":1}\n{\"t\":2,\"py_spy\":[{\"thread\":\"a\",\"frames\":[\"f\"]},"
     "{\"thread\":\"b\",\"frames\":[]}]}\n{\"t\":3}",
     3,
     "a"},
    {"an empty stack is skipped",
     "{\"t\":1,\"py_spy\":[{\"thread\":\"a\",\"frames\":[]}]}\n{\"t\":2,\"py_spy\":[]}",
     2,
     "a"},
    {"only an empty stack", "{\"t\":2,\"py_spy\":[]}", 2, {}},
};

INSTANTIATE_TEST_SUITE_P(, RecorderLineParserLatest, rows(kLatestRows));

TEST(RecorderLineParser, givesTheLastOfSnapshotsOfEqualTimes) {
  EXPECT_EQ(latestSnapshot("{\"t\":1,\"text\":\"a\"}\n{\"t\":1,\"text\":\"b\"}")->text, "b");
}

// Findings.

std::vector<std::string> told(std::string_view text) {
  Findings findings;
  EXPECT_EQ(parse(text, &findings), parse(text));
  return toldLines(findings);
}

TEST(RecorderLineParserFindings, areNoneForWhatIsWhole) {
  EXPECT_THAT(told("\n{\"t\":1}\n \n{\"t\":2}\r\n"), IsEmpty());
}

TEST(RecorderLineParserFindings, tellOfEachLineThatGivesNoPoint) {
  EXPECT_THAT(
      told("# log\n\n "
           "{\"t\":1,}\n{\"t\":\"2026-11-15T17:48:25Z\"}\n{\"phase\":\"a\"}\n{\"t\":null}\n"
           "{\"t\":1,\"dcgm\":{\"fp32_active\":\"x\"}}\n"),
      ElementsAre(
          "1:0 line_dropped \"# log\" does not begin with {",
          "3:9 line_dropped \"{\"t\":1,}\" not JSON: expected a key",
          "4:0 t line_dropped \"{\"t\":\"2026-11-15T17:48:25Z\"}\" expected a number of "
          "seconds",
          "5:0 t line_dropped \"{\"phase\":\"a\"}\" required key is missing",
          "6:0 t line_dropped \"{\"t\":null}\" expected a number of seconds",
          "7:0 dcgm.fp32_active line_dropped \"{\"t\":1,\"dcgm\":{\"fp32_active\":\"x\"}}\" "
          "expected a finite number, found a text"));
}

TEST(RecorderLineParserFindings, placeWhatIsNoJSONInATextWithCRLFEnds) {
  EXPECT_THAT(
      told("{\"t\":1}\r\n  {\"t\":2}\r\n\n{\"t\":3}\n{"),
      ElementsAre("2:3 line_dropped \"{\"t\":1}\r\n  {\"t\":2}\" not JSON: something stands "
                  "behind the value (CR LF ends no line)",
                  "5:2 line_dropped \"{\" not JSON: expected a key"));
}

TEST(RecorderLineParserFindings, tellOfWhatWasRepairedOrIgnored) {
  EXPECT_THAT(told("{\"t\":1,\"text\":\"\xFF\"}\n{\"t\":2,\"t\":3}\n{\"t\":\"\xFF\"}\n\xFF\n"),
              ElementsAre("1:0 repaired \"{\"t\":1,\"text\":\"\xEF\xBF\xBD\"}\" ill-formed UTF-8",
                          "2:0 t ignored \"3\" the key stands twice in its object; the first "
                          "value counts",
                          "3:0 t line_dropped \"{\"t\":\"\xEF\xBF\xBD\"}\" expected a number of "
                          "seconds",
                          "4:0 line_dropped \"\xEF\xBF\xBD\" does not begin with {"));
}

TEST(RecorderLineParserFindings, areCountedBeyondTheirLimit) {
  std::string text;
  for (int i = 0; i < 100; ++i) text += "{\"t\":true}\n{\"t\":1,\n{\"t\":1}\n";
  Findings findings(10);
  EXPECT_EQ(parse(text, &findings).size(), 100U);
  EXPECT_EQ(findings.list().size(), 10U);
  EXPECT_EQ(findings.count(FindingOutcome::lineDropped), 200U);
}

// The twin, and size.

TEST(RecorderLineParser, agreesWithItsNaiveTwinOnGeneratedTexts) {
  constexpr std::string_view kPieces[] = {"{\"t\":1}",
                                          "{\"t\":2,\"text\":\"\xFF\"}",
                                          "{\"t\":0.5,\"phase\":\"a\"}",
                                          "{\"t\":1,\"phase\":\"b\"}",
                                          "{\"t\":\"1\"}",
                                          "{\"t\":3",
                                          "}",
                                          "x",
                                          "\n",
                                          "\n",
                                          "\n",
                                          "\r\n",
                                          "\r",
                                          " ",
                                          "\xC2\xA0",
                                          "\xFF"};
  std::mt19937 random(24);
  const auto upTo = [&random](std::size_t most) {
    return std::uniform_int_distribution<std::size_t>(0, most)(random);
  };
  std::size_t points = 0;
  for (int i = 0; i < 40'000; ++i) {
    std::string text;
    for (std::size_t pieces = upTo(20); pieces > 0; --pieces) {
      text += kPieces[upTo(std::size(kPieces) - 1)];
    }
    std::size_t lines = 0;
    const auto expected = naive::parseRecorderLines(text, &lines);
    Findings findings;
    ASSERT_EQ(parse(text, &findings), expected) << testing::PrintToString(text);
    ASSERT_EQ(parse(text), expected) << testing::PrintToString(text);
    ASSERT_EQ(expected.size() + findings.count(FindingOutcome::lineDropped), lines);
    points += expected.size();
  }
  EXPECT_GT(points, 10'000U);
}

TEST(RecorderLineParser, sortsManyPointsAsAStableSortDoes) {
  std::mt19937 random(25);
  std::string text;
  for (int i = 0; i < 5000; ++i) {
    text +=
        "{\"t\":" + std::to_string(random() % 500) + ",\"text\":\"" + std::to_string(i) + "\"}\n";
  }
  EXPECT_EQ(parse(text), naive::parseRecorderLines(text));
}

class RecorderLineParserHuge : public testing::TestWithParam<HugeText> {};

TEST_P(RecorderLineParserHuge, givesNothingAndEnds) {
  Findings findings;
  EXPECT_THAT(parse(GetParam().text(), &findings), IsEmpty());
  EXPECT_LE(findings.list().size(), Findings::kDefaultLimit);
}

INSTANTIATE_TEST_SUITE_P(, RecorderLineParserHuge, rows(kHugeTexts));

TEST(RecorderLineParser, endsOnOneEndlessNest) {
  EXPECT_THAT(parse("{\"t\":1,\"x\":" + std::string(50'000'000, '[')), IsEmpty());
}

TEST(RecorderLineParser, readsOneLineOfManyKeys) {
  std::string text = "{";
  for (int i = 0; i < 1'000'000; ++i) text += "\"text\":\"a\",";
  Findings findings;
  EXPECT_EQ(parse(text + "\"t\":1}", &findings).size(), 1U);
  EXPECT_EQ(findings.count(FindingOutcome::ignored), 999'999U);
}

}  // namespace
}  // namespace tavrine
