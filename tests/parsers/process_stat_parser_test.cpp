#include <TavrineShared/parsers/process_stat_parser.h>

#include <TavrineShared/model/field_table.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/huge_texts.h"
#include "tests/support/naive_process_parsers.h"
#include "tests/support/rows.h"
#include "tests/support/told.h"

namespace tavrine {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const Timestamp kTime(std::chrono::duration<double>(1700000000.25));

std::vector<ProcessStat> parse(std::string_view text, Findings* findings = nullptr) {
  return ProcessStatParser::parse(text, "gpu-01", kTime, findings);
}

// A line whose columns all hold 1, but for the one given.
std::string lineWith(std::size_t column, std::string_view cell) {
  std::string line;
  for (std::size_t i = 0; i < 10; ++i) {
    if (i != 0) line += ' ';
    line += i == column ? cell : "1";
  }
  return line;
}

TEST(ProcessStatParser, fillsEveryField) {
  EXPECT_THAT(
      parse(
          "   4123   4001 ada      Rl   98.5  1.2  1-02:03:04 2097152 python3  python3 -u a.py\n"),
      ElementsAre(ProcessStat{
          .serverName = "gpu-01",
          .pid = 4123,
          .parentPID = 4001,
          .owner = "ada",
          .state = "Rl",
          .cpuPercent = 98.5,
          .memoryPercent = 1.2,
          .residentMemoryKB = 2097152,
          .gpuMemoryMB = std::nullopt,
          .gpuBusID = std::nullopt,
          .elapsed = "1-02:03:04",
          .executable = "python3",
          .command = " python3 -u a.py",
          .kind = ProcessKind::other,
          .capturedAt = kTime,
      }));
}

TEST(ProcessStatParser, repairsTheServersName) {
  EXPECT_EQ(ProcessStatParser::parse(lineWith(0, "1"), "a\xFF", kTime).at(0).serverName,
            "a\xEF\xBF\xBD");
}

// Which lines of a text give records.

struct Lines {
  std::string_view name;
  std::string_view text;
  std::vector<std::int64_t> pids;
};

void PrintTo(const Lines& lines, std::ostream* out) { *out << lines.name; }

class ProcessStatParserLines : public testing::TestWithParam<Lines> {};

TEST_P(ProcessStatParserLines, giveThesePids) {
  std::vector<std::int64_t> pids;
  for (const ProcessStat& process : parse(GetParam().text)) pids.push_back(process.pid);
  EXPECT_EQ(pids, GetParam().pids);
}

const std::vector<Lines> kLinesRows = {
    {"empty", "", {}},
    {"blank lines", "\n \n\t\r\n", {}},
    {"header alone", "  PID  PPID USER STAT %CPU %MEM ELAPSED RSS COMMAND COMMAND\n", {}},
    {"header and rows",
     "PID PPID USER STAT %CPU %MEM ELAPSED RSS COMMAND COMMAND\n7 1 a S 0 0 0 0 x x\n",
     {7}},
    {"order of the lines, doubles kept",
     "4 1 a S 0 0 0 0 x x\n0 1 a S 0 0 0 0 x x\n4 1 a S 0 0 0 0 x x",
     {4, 0, 4}},
    {"8 columns", "1 1 a S 0 0 0 0\n", {}},
    {"9 columns", "1 1 a S 0 0 0 0 x\n", {}},
    {"9 columns and the separator behind them", "1 1 a S 0 0 0 0 x \n", {}},
    {"9 columns and a tab behind them", "1 1 a S 0 0 0 0 x\t", {}},
    {"9 columns and two blanks, of which one is the command", "1 1 a S 0 0 0 0 x  ", {1}},
    {"leading blanks and tabs", " \t 5 1 a S 0 0 0 0 x x", {5}},
    {"tabs and blanks mixed", "5\t1 \ta  S\t\t0 0 0 0\tx\tx", {5}},
    {"CR LF", "1 1 a S 0 0 0 0 x x\r\n2 1 a S 0 0 0 0 x x\r\n", {1, 2}},
    {"every other line break",
     "1 1 a S 0 0 0 0 x x\v2 1 a S 0 0 0 0 x x\f3 1 a S 0 0 0 0 x x\r4 1 a S 0 0 0 0 x x"
     "\xC2\x85"
     "5 1 a S 0 0 0 0 x x\xE2\x80\xA8"
     "6 1 a S 0 0 0 0 x x\xE2\x80\xA9"
     "7 1 a S 0 0 0 0 x x",
     {1, 2, 3, 4, 5, 6, 7}},
    {"no-break spaces separate nothing", "1\xC2\xA0 1 a S 0 0 0 0 x x", {}},
    {"pid with signs", "+3 1 a S 0 0 0 0 x x\n-3 1 a S 0 0 0 0 x x", {3, -3}},
    {"largest pid", "9223372036854775807 1 a S 0 0 0 0 x x", {9223372036854775807}},
    {"pid beyond 64 bits", "9223372036854775808 1 a S 0 0 0 0 x x", {}},
    {"pid 1.0", "1.0 1 a S 0 0 0 0 x x", {}},
    {"pid with a NUL", std::string_view("1\0 1 a S 0 0 0 0 x x", 21), {}},
    {"pid behind a byte order mark",
     "\xEF\xBB\xBF"
     "1 1 a S 0 0 0 0 x x",
     {}},
    {"parent that is no integer", "1 - a S 0 0 0 0 x x", {}},
    {"parent beyond 64 bits", "1 9223372036854775808 a S 0 0 0 0 x x", {}},
    {"negative parent", "1 -1 a S 0 0 0 0 x x", {1}},
};

INSTANTIATE_TEST_SUITE_P(, ProcessStatParserLines, rows(kLinesRows));

// What is in the last two columns.

struct Command {
  std::string_view name;
  std::string_view rest;  // of the line, behind eight columns
  std::string_view executable;
  std::string_view command;
};

void PrintTo(const Command& row, std::ostream* out) { *out << row.name; }

class ProcessStatParserCommand : public testing::TestWithParam<Command> {};

TEST_P(ProcessStatParserCommand, isTheRestOfTheLine) {
  const auto records = parse("1 1 a S 0 0 0 0 " + std::string(GetParam().rest));
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].executable, GetParam().executable);
  EXPECT_EQ(records[0].command, GetParam().command);
}

const std::vector<Command> kCommandRows = {
    {"one word", "x y", "x", "y"},
    {"blanks inside", "x a  b", "x", "a  b"},
    {"blanks before and behind", "x   a ", "x", "  a "},
    {"tabs", "x\t\ta\tb\t", "x", "\ta\tb\t"},
    {"blanks before the executable", "   x a", "x", "a"},
    {"only blanks", "x   ", "x", "  "},
    {"other white space", "x \xC2\xA0y", "x", "\xC2\xA0y"},
    {"an executable with a blank shifts", "tmux: server tmux new", "tmux:", "server tmux new"},
    {"a NUL", std::string_view("x a\0b", 5), "x", std::string_view("a\0b", 3)},
    {"ill-formed", "x\xE2\x80 \xFFy", "x\xEF\xBF\xBD", "\xEF\xBF\xBDy"},
    {"the tree of --forest", " \\_ sshd  \\_ sshd: ada", "\\_", "sshd  \\_ sshd: ada"},
};

INSTANTIATE_TEST_SUITE_P(, ProcessStatParserCommand, rows(kCommandRows));

// Numbers.

struct Number {
  std::string_view cell;
  double value;
};

void PrintTo(const Number& row, std::ostream* out) { *out << row.cell; }

class ProcessStatParserShare : public testing::TestWithParam<Number> {};

TEST_P(ProcessStatParserShare, isReadOrZero) {
  const double cpu = parse(lineWith(4, GetParam().cell)).at(0).cpuPercent;
  const double memory = parse(lineWith(5, GetParam().cell)).at(0).memoryPercent;
  if (std::isnan(GetParam().value)) {
    EXPECT_TRUE(std::isnan(cpu) && std::isnan(memory));
    return;
  }
  EXPECT_EQ(cpu, GetParam().value);
  EXPECT_EQ(memory, GetParam().value);
}

const std::vector<Number> kShareRows = {
    {"0.0", 0},
    {"99.9", 99.9},
    {"1234", 1234},
    {"1e2", 100},
    {"-3.5", -3.5},
    {"inf", std::numeric_limits<double>::infinity()},
    {"nan", NAN},
    {"-", 0},
    {"12,5", 0},
    {"12%", 0},
    {"1e999", 0},
    {"\xFF", 0},
};

INSTANTIATE_TEST_SUITE_P(, ProcessStatParserShare, rows(kShareRows));

struct Resident {
  std::string_view cell;
  std::int64_t value;
};

void PrintTo(const Resident& row, std::ostream* out) { *out << row.cell; }

class ProcessStatParserResident : public testing::TestWithParam<Resident> {};

TEST_P(ProcessStatParserResident, isAnIntegerOrZero) {
  EXPECT_EQ(parse(lineWith(7, GetParam().cell)).at(0).residentMemoryKB, GetParam().value);
}

const std::vector<Resident> kResidentRows = {
    {"0", 0},
    {"123456", 123456},
    {"+7", 7},
    {"-7", -7},
    {"9223372036854775807", INT64_MAX},
    {"9223372036854775808", 0},
    {"1.5", 0},
    {"12M", 0},
    {"-", 0},
};

INSTANTIATE_TEST_SUITE_P(, ProcessStatParserResident, rows(kResidentRows));

// Kinds.

struct Classified {
  std::string_view executable;
  std::string_view command;
  std::string_view owner;
  ProcessKind kind;
};

void PrintTo(const Classified& row, std::ostream* out) {
  *out << row.owner << ": " << row.executable << ' ' << row.command;
}

class ProcessStatParserKind : public testing::TestWithParam<Classified> {};

TEST_P(ProcessStatParserKind, isFoundByKeywordsThenByOwner) {
  const Classified& row = GetParam();
  const std::string line = "1 1 " + std::string(row.owner) + " S 0 0 0 0 " +
                           std::string(row.executable) + " " + std::string(row.command);
  EXPECT_EQ(parse(line).at(0).kind, row.kind);
}

constexpr auto kTraining = ProcessKind::training;
constexpr auto kGPU = ProcessKind::gpu;
constexpr auto kScheduler = ProcessKind::scheduler;
constexpr auto kNotebook = ProcessKind::notebook;
constexpr auto kSystem = ProcessKind::system;
constexpr auto kOther = ProcessKind::other;

const std::vector<Classified> kClassifiedRows = {
    {"torchrun", "x", "ada", kTraining},
    {"python", "-m deepspeed", "ada", kTraining},
    {"accelerate", "launch", "ada", kTraining},
    {"python", "train.py", "ada", kTraining},
    {"python", "pretrain.py --lr 1", "ada", kTraining},
    {"python", "-m my.Trainer", "ada", kTraining},
    {"python", "/opt/PyTorch/x", "ada", kTraining},
    {"python", "tensorflow_serve", "ada", kTraining},
    {"nvidia-smi", "-l", "ada", kGPU},
    {"NVTOP", "x", "ada", kGPU},
    {"nv-hostengine", "dcgm", "ada", kGPU},
    {"x", "/usr/local/cuda-12/bin/x", "ada", kGPU},
    {"slurmstepd", "x", "ada", kScheduler},
    {"srun", "x", "ada", kScheduler},
    {"sbatch", "x", "ada", kScheduler},
    {"ray::f", "x", "ada", kScheduler},
    {"raylet", "x", "ada", kScheduler},
    {"jupyter-lab", "x", "ada", kNotebook},
    {"python", "-m ipykernel_launcher", "ada", kNotebook},
    {"x", "notebooks/a", "ada", kNotebook},
    {"x", "labapp", "ada", kNotebook},
    {"cron", "/usr/sbin/cron", "root", kSystem},
    {"x", "y", "daemon", kSystem},
    {"x", "y", "messagebus", kSystem},
    {"x", "y", "systemd-network", kSystem},
    {"x", "y", "systemd-resolve", kSystem},
    {"x", "/lib/systemd/systemd --user", "ada", kSystem},
    {"sshd", "sshd: ada@pts/0", "ada", kSystem},
    {"x", "y", "Root", kOther},
    {"x", "y", "roots", kOther},
    {"x", "y", "systemd-timesync", kOther},
    {"bash", "-bash", "ada", kOther},
    {"sshd", "-D", "ada", kOther},
    // Rank decides, not place, and the owner last.
    {"python", "train.py", "root", kTraining},
    {"jupyter", "torchrun", "ada", kTraining},
    {"nvtop", "torchrun", "ada", kTraining},
    {"sbatch", "cuda", "ada", kGPU},
    {"jupyter", "srun", "ada", kScheduler},
    {"systemd", "jupyter", "root", kNotebook},
    // The executable and the command are one text with a blank between them.
    {"train", ".py", "ada", kOther},
    {"x", "  train.py", "ada", kTraining},
    // Letters that become ASCII, or no longer are, when they are lower-cased.
    {"ipy\xE2\x84\xAA"
     "ernel",
     "x",
     "ada",
     kNotebook},  // the Kelvin sign
    {"tra\xC4\xB0ner", "x", "ada", kOther},
    {"NV\xC4\xB0"
     "DIA-SM\xC4\xB0",
     "x",
     "ada",
     kOther},
    {"nvidia-sm\xC4\xB0", "x", "ada", kGPU},
    {"\xC3\x84 TRAIN.PY", "x", "ada", kTraining},
    {"cu\xFF"
     "da",
     "x",
     "ada",
     kOther},
};

INSTANTIATE_TEST_SUITE_P(, ProcessStatParserKind, rows(kClassifiedRows));

// Findings.

std::vector<std::string> told(std::string_view text) {
  Findings findings;
  EXPECT_EQ(parse(text, &findings), parse(text));
  return toldLines(findings);
}

TEST(ProcessStatParserFindings, areNoneForWhatIsWhole) {
  EXPECT_THAT(told("\n" + lineWith(0, "1")), IsEmpty());
}

TEST(ProcessStatParserFindings, tellOfLinesThatGiveNoRecord) {
  EXPECT_THAT(
      told("PID PPID USER STAT %CPU %MEM ELAPSED RSS COMMAND COMMAND\n\n"
           "error: no such option\r\n1 x a S 0 0 0 0 x x\nx 1 a S 0 0 0 0 x x\n   \n"),
      ElementsAre("1:0 header_skipped \"PID PPID USER STAT %CPU %MEM ELAPSED RSS COMMAND "
                  "COMMAND\" the names of the columns",
                  "3:0 line_dropped \"error: no such option\" fewer than 10 columns",
                  "4:0 line_dropped \"1 x a S 0 0 0 0 x x\" the second column is not an integer",
                  "5:0 line_dropped \"x 1 a S 0 0 0 0 x x\" the first column is not an integer",
                  "6:0 line_dropped \"   \" fewer than 10 columns"));
}

TEST(ProcessStatParserFindings, tellWhatWasReadAsZeroOrRepairedFromLeftToRight) {
  EXPECT_THAT(told("1 1 \xFF\xC3\xA9 \xFE - x \xFF 1.5 \xFF \xFF"),
              ElementsAre("1:5 owner repaired \"\xEF\xBF\xBD\xC3\xA9\" ill-formed UTF-8",
                          "1:8 state repaired \"\xEF\xBF\xBD\" ill-formed UTF-8",
                          "1:10 cpuPercent read_as_zero \"-\" not a number",
                          "1:12 memoryPercent read_as_zero \"x\" not a number",
                          "1:14 elapsed repaired \"\xEF\xBF\xBD\" ill-formed UTF-8",
                          "1:16 residentMemoryKB read_as_zero \"1.5\" not an integer",
                          "1:20 executable repaired \"\xEF\xBF\xBD\" ill-formed UTF-8",
                          "1:22 command repaired \"\xEF\xBF\xBD\" ill-formed UTF-8"));
}

// The twin, and size.

TEST(ProcessStatParser, agreesWithItsNaiveTwinOnGeneratedTexts) {
  constexpr std::string_view kPieces[] = {
      "1",       "0",     "+7",      "1.5",     "-",        "inf",      "nan",  "root",
      "ada",     "S",     "train",   ".py",     "TRAINER",  "cuda",     "srun", "ray::",
      "jupyter", "sshd:", "systemd", "PID",     "\xC4\xB0", "\xCE\xA3", "\xFF", "\xE2\x84\xAA",
      "ernel",   "ipy",   "\xE2",    "\xC2\xA0"};
  constexpr std::string_view kSeparators[] = {" ", " ", " ", "  ", "\t", " \t "};
  constexpr std::string_view kEnds[] = {"\n", "\r\n", "\r", " \n", "\xE2\x80\xA8", "\n\n"};
  std::mt19937 random(21);
  const auto upTo = [&random](std::size_t most) {
    return std::uniform_int_distribution<std::size_t>(0, most)(random);
  };
  std::size_t records = 0;
  for (int i = 0; i < 20'000; ++i) {
    std::string text;
    for (std::size_t rows = upTo(3); rows > 0; --rows) {
      text += upTo(2) == 0 ? " " : "";
      text += upTo(9) == 0 ? "PID 1" : "7 1";
      for (std::size_t cells = 6 + upTo(4); cells > 0; --cells) {
        text += kSeparators[upTo(std::size(kSeparators) - 1)];
        text += kPieces[upTo(std::size(kPieces) - 1)];
        if (upTo(3) == 0) text += kPieces[upTo(std::size(kPieces) - 1)];
      }
      text += kEnds[upTo(std::size(kEnds) - 1)];
    }
    const auto expected = naive::parseProcesses(text, "gpu-01", kTime);
    ASSERT_TRUE(naive::areSameBits(parse(text), expected)) << testing::PrintToString(text);
    records += expected.size();
  }
  EXPECT_GT(records, 5'000U);
}

class ProcessStatParserHuge : public testing::TestWithParam<HugeText> {};

TEST_P(ProcessStatParserHuge, givesNothingAndEnds) {
  Findings findings;
  EXPECT_THAT(parse(GetParam().text(), &findings), IsEmpty());
  EXPECT_LE(findings.list().size(), Findings::kDefaultLimit);
}

INSTANTIATE_TEST_SUITE_P(, ProcessStatParserHuge, rows(kHugeTexts));

TEST(ProcessStatParser, readsAnEndlessCommand) {
  const std::string command(50'000'000, 'A');
  const auto records = parse(lineWith(9, command));
  ASSERT_EQ(records.size(), 1U);
  EXPECT_EQ(records[0].command, command);
}

}  // namespace
}  // namespace tavrine
