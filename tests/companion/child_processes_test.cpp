#include "companion/shell/child_processes.h"

#include <gmock/gmock.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstring>
#include <filesystem>
#include <ostream>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "tests/support/rows.h"
#include "tests/support/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;
using Way = ChildEnd::Way;

struct Outcome {
  std::string output;
  ChildEnd end{};
  int ends = 0;
};

struct Limits {
  double seconds = 20;
  std::size_t mostBytes = std::size_t{1} << 30;
};

bool never() { return false; }

ChildTask taskFor(std::vector<std::string> command, std::string input, const Limits& limits,
                  Outcome& outcome) {
  return {.command = std::move(command),
          .input = std::move(input),
          .seconds = limits.seconds,
          .mostBytes = limits.mostBytes,
          .onOutput = [&outcome](std::string_view bytes) { outcome.output += bytes; },
          .onEnd =
              [&outcome](const ChildEnd& end) {
                outcome.end = end;
                ++outcome.ends;
              }};
}

Outcome run(std::vector<std::string> command, std::string input = "", const Limits& limits = {}) {
  Outcome outcome;
  runChildren({taskFor(std::move(command), std::move(input), limits, outcome)}, 1, never);
  EXPECT_EQ(outcome.ends, 1);
  return outcome;
}

Outcome runScript(const std::string& script, std::string input = "", const Limits& limits = {}) {
  return run({"sh", "-c", script}, std::move(input), limits);
}

std::size_t openDescriptors() {
  const fs::directory_iterator all("/proc/self/fd");
  return static_cast<std::size_t>(std::distance(begin(all), end(all)));
}

bool hasChildren() { return ::waitpid(-1, nullptr, WNOHANG) != -1 || errno != ECHILD; }

// Nothing is left of a test.
class ChildProcesses : public testing::Test {
 protected:
  void TearDown() override {
    EXPECT_EQ(openDescriptors(), descriptors_);
    EXPECT_FALSE(hasChildren());
  }

 private:
  std::size_t descriptors_ = openDescriptors();
};

// --- How one ends ---

struct EndRow {
  const char* name;
  std::vector<std::string> command;
  Way way;
  int status;
  std::string output;
  std::string words;  ///< or the number of the error, where it was not started
};
void PrintTo(const EndRow& row, std::ostream* out) { *out << row.name; }

class Ends : public ChildProcesses, public testing::WithParamInterface<EndRow> {};

TEST_P(Ends, areToldAsTheyAre) {
  const EndRow& row = GetParam();
  const Outcome outcome = run(row.command);
  EXPECT_EQ(outcome.end.way, row.way);
  EXPECT_EQ(outcome.end.status, row.status);
  EXPECT_EQ(outcome.output, row.output);
  // The system's words are in the language of the user.
  EXPECT_EQ(outcome.end.words,
            row.way == Way::notStarted ? std::strerror(std::stoi(row.words)) : row.words);
}

INSTANTIATE_TEST_SUITE_P(
    Children, Ends,
    rows<EndRow>({
        {"fine", {"sh", "-c", "echo out; echo words >&2"}, Way::exited, 0, "out\n", "words\n"},
        {"silent", {"true"}, Way::exited, 0, "", ""},
        {"failed", {"sh", "-c", "exit 3"}, Way::exited, 3, "", ""},
        {"killed", {"sh", "-c", "echo a; kill -9 $$"}, Way::signalled, 9, "a\n", ""},
        {"terminated", {"sh", "-c", "kill -15 $$"}, Way::signalled, 15, "", ""},
        {"notThere", {"no-such-program-anywhere"}, Way::notStarted, 0, "", std::to_string(ENOENT)},
        {"noProgram", {"/etc/passwd"}, Way::notStarted, 0, "", std::to_string(EACCES)},
        {"folder", {"/"}, Way::notStarted, 0, "", std::to_string(EACCES)},
        {"argumentsAsTheyAre",
         {"printf", "%s|", "a b", "$(x)", "", "*"},
         Way::exited,
         0,
         "a b|$(x)||*|",
         ""},
        {"noInput", {"cat"}, Way::exited, 0, "", ""},
    }),
    rowName);

using Child = ChildProcesses;

TEST_F(Child, diesOfItsPipeAsAnyProgramDoes) {
  // Our ignoring of the signal is not handed on.
  EXPECT_EQ(runScript("yes | head -n 1; kill -13 $$").end.status, 13);
}

TEST_F(Child, readsItsInput) {
  const std::string large(3 << 20, 'x');  // many times what a pipe holds
  EXPECT_EQ(run({"cat"}, large).output, large);
  EXPECT_EQ(run({"wc", "-c"}, large).output, std::to_string(large.size()) + "\n");
}

TEST_F(Child, needNotReadItsInput) {
  const std::string large(3 << 20, 'x');
  EXPECT_EQ(run({"true"}, large).end.way, Way::exited);
  EXPECT_EQ(runScript("head -c 1", large).output, "x");
  EXPECT_EQ(runScript("exec <&-; sleep 0.2; echo on", large).output, "on\n");
}

TEST_F(Child, mayPrintAndReadAtTheSameTime) {
  const std::string large(1 << 20, 'x');
  EXPECT_EQ(runScript("head -c 1000000 /dev/zero; cat >/dev/null; echo end", large).output.size(),
            1000004U);
}

TEST_F(Child, isHeardToTheEnd) {
  EXPECT_EQ(runScript("head -c 2000000 /dev/zero").output.size(), 2000000U);
}

TEST_F(Child, mayCloseItsOutputAndGoOn) {
  const Outcome outcome = runScript("echo a; exec >&- 2>&-; sleep 0.2; exit 4");
  EXPECT_EQ(outcome.output, "a\n");
  EXPECT_EQ(outcome.end.status, 4);
}

TEST_F(Child, keepsTheEndOfManyWords) {
  const Outcome outcome = runScript("i=0; while [ $i -lt 3000 ]; do echo $i; i=$((i+1)); done >&2");
  EXPECT_LE(outcome.end.words.size(), 4096U);
  EXPECT_TRUE(outcome.end.words.ends_with("2998\n2999\n"));
}

// --- Limits ---

TEST_F(Child, isKilledAtItsDeadline) {
  for (const char* const script : {"echo a; sleep 60",
                                   "echo a; trap '' TERM INT HUP; sleep 60; sleep 60",
                                   "echo a; exec >&- 2>&- <&-; sleep 60"}) {
    const Outcome outcome = runScript(script, "", {.seconds = 0.2});
    EXPECT_EQ(outcome.end.way, Way::tooLate) << script;
    EXPECT_EQ(outcome.output, "a\n");
    EXPECT_GE(outcome.end.seconds, 0.2);
    EXPECT_LT(outcome.end.seconds, 5);
  }
}

TEST_F(Child, takesItsOwnChildrenWithIt) {
  const TemporaryFolder folder;
  const std::string mark = (folder / "mark").string();
  runScript("(sleep 0.4; touch " + mark + ") & sleep 60", "", {.seconds = 0.1});
  std::this_thread::sleep_for(std::chrono::milliseconds(500));
  EXPECT_FALSE(fs::exists(mark));
}

TEST_F(Child, isKilledForPrintingTooMuch) {
  const Outcome outcome = run({"yes"}, "", {.mostBytes = 1 << 20});
  EXPECT_EQ(outcome.end.way, Way::tooMuch);
  EXPECT_LE(outcome.output.size(), std::size_t{1} << 20);
  EXPECT_LT(outcome.end.seconds, 5);
}

TEST_F(Child, mayPrintAllThatItMay) {
  EXPECT_EQ(runScript("head -c 1000 /dev/zero", "", {.mostBytes = 1000}).end.way, Way::exited);
  EXPECT_EQ(runScript("head -c 1001 /dev/zero", "", {.mostBytes = 1000}).end.way, Way::tooMuch);
}

TEST_F(Child, isNotWaitedForOnceItHasEnded) {
  const Outcome outcome = runScript("echo a; sleep 3 & exit 5");
  EXPECT_EQ(outcome.end.way, Way::exited);
  EXPECT_EQ(outcome.end.status, 5);
  EXPECT_EQ(outcome.output, "a\n");
  EXPECT_LT(outcome.end.seconds, 2);
}

TEST_F(Child, isOverEvenWhereOthersGoOnPrinting) {
  for (const char* const script : {"timeout 3 yes & exit 5", "timeout 3 yes >&2 & exit 5"}) {
    const Outcome outcome = runScript(script);
    EXPECT_EQ(outcome.end.status, 5) << script;
    EXPECT_LT(outcome.end.seconds, 2) << script;
  }
}

// --- Many ---

TEST_F(Child, isOneOfManyAtOnce) {
  std::vector<Outcome> outcomes(200);
  std::vector<ChildTask> tasks;
  for (std::size_t i = 0; i < outcomes.size(); ++i) {
    tasks.push_back(taskFor({"sh", "-c", "read x; echo $x; exit " + std::to_string(i % 100)},
                            std::to_string(i) + "\n",
                            {},
                            outcomes[i]));
  }
  runChildren(tasks, 32, never);
  for (std::size_t i = 0; i < outcomes.size(); ++i) {
    EXPECT_EQ(outcomes[i].ends, 1);
    EXPECT_EQ(outcomes[i].output, std::to_string(i) + "\n");
    EXPECT_EQ(outcomes[i].end.status, static_cast<int>(i % 100));
  }
}

TEST_F(Child, isNotOneMoreThanMayBe) {
  const TemporaryFolder folder;
  // Each counts those that are there while it is.
  const std::string script =
      "cd " + folder.path().string() + " && touch $$ && ls | wc -l; " + "sleep 0.1; rm $$";
  std::vector<Outcome> outcomes(9);
  std::vector<ChildTask> tasks;
  for (Outcome& each : outcomes) tasks.push_back(taskFor({"sh", "-c", script}, "", {}, each));
  runChildren(tasks, 3, never);
  int most = 0;
  for (const Outcome& each : outcomes) most = std::max(most, std::stoi(each.output));
  EXPECT_EQ(most, 3);
}

TEST_F(Child, waitsForADescriptor) {
  rlimit before{};
  ::getrlimit(RLIMIT_NOFILE, &before);
  const rlimit few{40, before.rlim_max};
  std::vector<Outcome> outcomes(40);
  std::vector<ChildTask> tasks;
  for (Outcome& each : outcomes) tasks.push_back(taskFor({"echo", "a"}, "", {}, each));
  ::setrlimit(RLIMIT_NOFILE, &few);
  runChildren(tasks, 40, never);
  ::setrlimit(RLIMIT_NOFILE, &before);
  for (const Outcome& each : outcomes) EXPECT_EQ(each.output, "a\n") << each.end.words;
}

TEST_F(Child, saysSoWhereThereIsNoDescriptorAtAll) {
  rlimit before{};
  ::getrlimit(RLIMIT_NOFILE, &before);
  const rlimit none{3, before.rlim_max};
  Outcome outcome;
  const std::vector<ChildTask> tasks = {taskFor({"echo", "a"}, "", {}, outcome)};
  ::setrlimit(RLIMIT_NOFILE, &none);
  runChildren(tasks, 1, never);
  ::setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(outcome.end.way, Way::notStarted);
  EXPECT_EQ(outcome.end.words, std::strerror(EMFILE));
}

TEST_F(Child, stopsWhenAllAreToldTo) {
  std::vector<Outcome> outcomes(5);
  std::vector<ChildTask> tasks;
  tasks.push_back(taskFor({"true"}, "", {}, outcomes[0]));
  for (std::size_t i = 1; i < 5; ++i) {
    tasks.push_back(taskFor({"sleep", "60"}, "", {}, outcomes[i]));
  }
  runChildren(tasks, 3, [&outcomes] { return outcomes[0].ends > 0; });
  EXPECT_EQ(outcomes[0].end.way, Way::exited);
  for (std::size_t i = 1; i < 5; ++i) {
    EXPECT_EQ(outcomes[i].ends, 1);
    EXPECT_EQ(outcomes[i].end.way, Way::stopped);
    EXPECT_LT(outcomes[i].end.seconds, 5);
  }
}

TEST_F(Child, isNotStartedOnceAllAreToldToStop) {
  const TemporaryFolder folder;
  Outcome outcome;
  runChildren({taskFor({"touch", (folder / "mark").string()}, "", {}, outcome)}, 1, [] {
    return true;
  });
  EXPECT_EQ(outcome.end.way, Way::stopped);
  EXPECT_THAT(folder.names(), testing::IsEmpty());
}

TEST_F(Child, mayBeNone) { runChildren({}, 32, never); }

TEST_F(Child, isOneAtATimeWhereNoneMayBe) {
  Outcome outcome;
  runChildren({taskFor({"true"}, "", {}, outcome)}, 0, never);
  EXPECT_EQ(outcome.end.way, Way::exited);
}

}  // namespace
}  // namespace tavrine
