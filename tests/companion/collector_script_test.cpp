#include "companion/collect/collector_script.h"

#include "companion/collect/capture_builder.h"
#include "companion/collect/piece_reader.h"
#include "companion/shell/child_processes.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/captures.h"
#include "tests/support/rows.h"
#include "tests/support/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::UnorderedElementsAre;

TEST(MakeWord, isAnotherEachTime) {
  const std::string word = makeWord();
  EXPECT_THAT(word, testing::MatchesRegex("tavrine-[0-9a-f]+"));
  EXPECT_EQ(word.size(), 40U);
  EXPECT_NE(makeWord(), word);
}

// A shell that is here, by the words that start it; its name stands for it in the tests' names.
struct Shell {
  const char* name;
  std::vector<std::string> command;
};
void PrintTo(const Shell& shell, std::ostream* out) { *out << shell.name; }

bool isThere(const std::vector<std::string>& command) {
  std::vector<std::string> trial = command;
  trial.insert(trial.end(), {"-c", ":"});
  bool isFine = false;
  runChildren({{.command = trial,
                .input = "",
                .seconds = 10,
                .mostBytes = 1000,
                .onOutput = [](std::string_view) {},
                .onEnd =
                    [&](const ChildEnd& end) {
                      isFine = end.way == ChildEnd::Way::exited && end.status == 0;
                    }}},
              1,
              [] { return false; });
  return isFine;
}

class Script : public testing::TestWithParam<Shell> {
 protected:
  void SetUp() override {
    if (!isThere(GetParam().command)) GTEST_SKIP() << "there is no " << GetParam().name << " here";
    fs::create_directories(home_ / "bin");
    tool("sleep", "exit 0");  // the disks' second is not worth waiting for
    tool("nvidia-smi", "echo GPU \"$@\"");
  }

  void tool(std::string_view name, std::string_view script) {
    const fs::path file =
        home_.file("bin/" + std::string(name), "#!/bin/sh\n" + std::string(script) + "\n");
    fs::permissions(file, fs::perms::owner_all);
  }

  void put(const std::string& path, std::string_view content) {
    fs::create_directories((home_ / path).parent_path());
    std::ofstream(home_ / path, std::ios::binary) << content;
  }

  // All pieces that the script prints.
  std::vector<Piece> pieces(const CollectorOptions& options, const std::string& word = "W0RD") {
    std::vector<std::string> command = {
        "env",
        "HOME=" + home_.path().string(),
        "PATH=" + (home_ / "bin").string() + ":" + std::getenv("PATH")};
    command.insert(command.end(), GetParam().command.begin(), GetParam().command.end());
    command.emplace_back("-s");
    PieceReader reader(word, 1 << 24, 1 << 26);
    runChildren({{.command = command,
                  .input = collectorScript(options, word),
                  .seconds = 20,
                  .mostBytes = 1 << 26,
                  .onOutput = [&](std::string_view bytes) { reader.feed(bytes); },
                  .onEnd =
                      [](const ChildEnd& end) {
                        EXPECT_EQ(end.way, ChildEnd::Way::exited);
                        EXPECT_EQ(end.status, 0);
                        EXPECT_EQ(end.words, "");
                      }}},
                1,
                [] { return false; });
    std::vector<Piece> all = reader.take();
    EXPECT_EQ(all.empty() ? "nothing" : all.back().name, kLastPiece);
    return all;
  }

  // The texts of training logs by the paths of their files, from the home on.
  std::map<std::string, std::string> logs(std::vector<std::string> patterns) {
    CollectorOptions options;
    options.trainingLogs = std::move(patterns);
    std::map<std::string, std::string> texts;
    std::string path;
    for (const Piece& each : pieces(options)) {
      if (each.name == "training-log-path") path = each.text;
      if (each.name == "training-log-text") texts[fromHome(path)] = each.text;
    }
    return texts;
  }

  std::string fromHome(const std::string& path) const {
    const std::string prefix = home_.path().string() + "/";
    return path.starts_with(prefix) ? path.substr(prefix.size()) : path;
  }
  std::string below(const std::string& path) const { return (home_ / path).string(); }

  TemporaryFolder home_;
};

MATCHER_P2(IsPiece, name, text, "") { return arg.name == name && arg.text == text; }

TEST_P(Script, printsAllCommands) {
  const std::vector<Piece> all = pieces({});
  std::vector<std::string> names;
  for (const Piece& each : all) {
    names.push_back(each.name);
    EXPECT_EQ(each.status, 0) << each.name;
  }
  EXPECT_THAT(names,
              ElementsAre("gpus",
                          "gpu-processes",
                          "processes",
                          "load",
                          "disks",
                          "thermal",
                          "disk-free",
                          "done"));
  EXPECT_THAT(all[0].text, AllOf(HasSubstr("GPU --query-gpu=index,name,"), HasSubstr("=csv\n")));
  EXPECT_THAT(all[2].text, HasSubstr("PID"));
  EXPECT_THAT(all[4].text, AllOf(HasSubstr("---DPRE---"), HasSubstr("---DEND---\n")));
  EXPECT_THAT(all[6].text, HasSubstr("Filesystem"));
}

TEST_P(Script, tellsHowCommandsEnd) {
  tool("nvidia-smi", "echo failed; exit 9");
  EXPECT_EQ(pieces({})[0].status, 9);
  tool("nvidia-smi", "exec no-such-tool-anywhere");
  EXPECT_EQ(pieces({})[0].status, 127);
}

TEST_P(Script, waitsForNoCommandLongerThanAllowed) {
  if (!isThere({"/usr/bin/timeout", "1", "sh"})) GTEST_SKIP() << "there is no timeout here";
  tool("timeout", "[ \"$3\" = 4 ] || exit 1; shift 3; exec /usr/bin/timeout 0.1 \"$@\"");
  tool("nvidia-smi", "echo a; exec /bin/sleep 30");
  CollectorOptions options;
  options.commandSeconds = 4;
  const std::vector<Piece> all = pieces(options);
  EXPECT_EQ(all[0].text, "a\n");
  EXPECT_EQ(all[0].status, 124);
  EXPECT_EQ(all[3].status, 0);
}

TEST_P(Script, doesWithoutATimeoutThatIsNoUse) {
  tool("timeout", "echo usage >&2; exit 125");
  EXPECT_EQ(pieces({})[0].status, 0);
}

TEST_P(Script, doesNotLetACommandReadItsRest) {
  tool("nvidia-smi", "cat; echo read");
  EXPECT_EQ(pieces({})[0].text, "read\n");
}

// --- Which files ---

TEST_P(Script, findsFilesByPattern) {
  for (const char* const path : {"s/a/train.log",
                                 "s/b/train.log",
                                 "s/b/other.txt",
                                 "s/c1.log",
                                 "s/c2.log",
                                 "s/c3.log",
                                 "s/.hidden.log"}) {
    put(path, path);
  }
  using Names = std::vector<std::string>;
  const struct {
    const char* pattern;
    Names names;
  } table[] = {
      {"s/*/train.log", {"s/a/train.log", "s/b/train.log"}},
      {"s/b/*", {"s/b/other.txt", "s/b/train.log"}},
      {"s/c?.log", {"s/c1.log", "s/c2.log", "s/c3.log"}},
      {"s/c[12].log", {"s/c1.log", "s/c2.log"}},
      {"s/c[1-2].log", {"s/c1.log", "s/c2.log"}},
      {"s/c[!1-2].log", {"s/c3.log"}},
      {"s/a/train.log", {"s/a/train.log"}},
      {"s/*.log", {"s/c1.log", "s/c2.log", "s/c3.log"}},
      {"s/none*", {}},
      {"s", {}},
  };
  for (const auto& row : table) {
    Names names;
    for (const auto& [path, text] : logs({below(row.pattern)})) {
      names.push_back(path);
      EXPECT_EQ(text, path);
    }
    EXPECT_EQ(names, row.names) << row.pattern;
  }
}

TEST_P(Script, findsFilesInTheHome) {
  put("my logs/a.log", "x");
  EXPECT_THAT(logs({"~/my logs/*.log"}), ElementsAre(testing::Pair("my logs/a.log", "x")));
}

TEST_P(Script, joinsPatterns) {
  put("a.log", "x");
  put("b.log", "y");
  EXPECT_THAT(logs({below("b.log"), below("none"), below("a.log")}), testing::SizeIs(2));
}

TEST_P(Script, takesNothingForACommand) {
  const std::string mark = below("mark");
  const std::vector<std::string> hostile = {
      "'; touch " + mark + "; '",
      "$(touch " + mark + ")",
      "`touch " + mark + "`",
      "\"; touch " + mark + " #",
      "a\ntouch " + mark + "\n",
      "a; touch " + mark,
      "*; touch " + mark,
      "[a]$(touch " + mark + ")",
      "\\'; touch " + mark,
      "",
      "~",
      "-n",
      "a && touch " + mark,
      "[",
      "]",
      "[!",
      "~/$(touch " + mark + ")",
      "${x:=$(touch " + mark + ")}",
  };
  EXPECT_THAT(logs(hostile), IsEmpty());
  CollectorOptions options;
  options.recorderLogs = hostile;
  options.disks = hostile;
  pieces(options);
  for (const std::size_t each : {0U, 1U, 4U, 16U}) {
    options.agentFolder = hostile[each];
    pieces(options);
  }
  EXPECT_FALSE(fs::exists(mark));
}

TEST_P(Script, readsFilesWhateverTheyAreCalled) {
  const std::string mark = below("mark");
  const std::vector<std::string> names = {"-rf.log",
                                          "a b.log",
                                          "a\nb.log",
                                          "\n.log",
                                          "end\n\n.log",
                                          "$(touch mark).log",
                                          "`touch mark`.log",
                                          "'.log",
                                          "\".log",
                                          "\\n.log",
                                          "%s.log",
                                          "*.log",
                                          "[a].log",
                                          "a\tb.log",
                                          "\xFF.log",
                                          "W0RD end training-log-path 0\n.log",
                                          "~.log",
                                          "a\r.log"};
  std::map<std::string, std::string> want;
  for (const std::string& name : names) {
    put("s/" + name, "text of " + name);
    want["s/" + name] = "text of " + name;
  }
  std::map<std::string, std::string> got = logs({below("s/*.log")});
  // A name that holds a whole marker could only be made by somebody who knows the word.
  const std::string forged = "s/W0RD end training-log-path 0\n.log";
  want.erase(forged);
  EXPECT_THAT(got, testing::IsSupersetOf(want));
  EXPECT_FALSE(fs::exists("mark"));
  EXPECT_FALSE(fs::exists(mark));
}

TEST_P(Script, readsFilesOfItsOwnFolder) {
  put("-rf.log", "x");
  put("--help", "y");
  const fs::path before = fs::current_path();
  fs::current_path(home_.path());
  const auto texts = logs({"*.log", "--help"});
  fs::current_path(before);
  EXPECT_EQ(texts, (std::map<std::string, std::string>{{"-rf.log", "x"}, {"--help", "y"}}));
}

TEST_P(Script, followsNoLink) {
  put("a.log", "mine");
  fs::create_symlink(below("a.log"), below("b.log"));
  EXPECT_EQ(logs({below("*.log")}), (std::map<std::string, std::string>{{"a.log", "mine"}}));
}

TEST_P(Script, readsLogsWhateverIsInThem) {
  using namespace std::string_literals;
  const std::string log = "W0R begin a\nW0RD\nW0RDend x 0\n\0\xFF\r\n%s\\n$(x)\n\n\n"s;
  put("a.log", log);
  EXPECT_EQ(logs({below("a.log")}).at("a.log"), log);
  put("a.log", "");
  EXPECT_EQ(logs({below("a.log")}).at("a.log"), "");
}

TEST_P(Script, readsTheEndOfALargeLog) {
  put("a.log", std::string(2 << 20, 'x') + "end");
  const std::string text = logs({below("a.log")}).at("a.log");
  EXPECT_EQ(text.size(), std::size_t{1} << 20);
  EXPECT_TRUE(text.ends_with("xend"));
}

TEST_P(Script, passesOverWhatIsNoFile) {
  fs::create_directories(home_ / "s/folder.log");
  ASSERT_EQ(::mkfifo((home_ / "s/fifo.log").c_str(), 0600), 0);
  fs::create_symlink("nowhere", home_ / "s/dangling.log");
  put("s/a.log", "x");
  EXPECT_THAT(logs({below("s/*")}), ElementsAre(testing::Pair("s/a.log", "x")));
}

TEST_P(Script, readsNotMoreThanSome) {
  for (int i = 100; i < 170; ++i) put("s/" + std::to_string(i) + ".log", "x");
  EXPECT_THAT(logs({below("s/*")}), testing::SizeIs(64));
  CollectorOptions options;
  options.trainingLogs = {below("s/*")};
  const Capture capture = captureOf({}, pieces(options), "");
  ASSERT_NE(capture.result("training-log"), nullptr);
  EXPECT_EQ(capture.result("training-log")->leftOutFiles, 6);
  EXPECT_EQ(capture.result("recorder-log"), nullptr);
}

TEST_P(Script, tellsHowOldALogIs) {
  put("a.log", "x");
  fs::last_write_time(home_ / "a.log", fs::file_time_type::clock::now() - std::chrono::hours(1));
  CollectorOptions options;
  options.trainingLogs = {below("a.log")};
  const Capture capture = captureOf({}, pieces(options), "");
  ASSERT_NE(capture.run("a"), nullptr);
  EXPECT_NEAR(capture.run("a")->logAgeSeconds.value_or(-1), 3600, 10);
}

TEST_P(Script, readsReports) {
  put("agent [1]/status.json", "{}");
  put("agent [1]/notes.txt", "x");
  CollectorOptions options;
  options.agentFolder = "~/agent [1]";
  options.agentCommand = "printf '%s' '{\"status\":{}}'";
  EXPECT_THAT(pieces(options),
              AllOf(Contains(IsPiece("agent-file-path", below("agent [1]/status.json"))),
                    Contains(IsPiece("agent-file-text", "{}")),
                    Contains(IsPiece("agent-command", "{\"status\":{}}")),
                    Not(Contains(IsPiece("agent-file-text", "x")))));
}

TEST_P(Script, looksAtDisksInTheHome) {
  fs::create_directories(home_ / "my data");
  CollectorOptions options;
  options.disks = {"/", "~/my data"};
  const std::vector<Piece> all = pieces(options);
  EXPECT_EQ(all[6].status, 0);
  EXPECT_EQ(std::count(all[6].text.begin(), all[6].text.end(), '\n'), 3);
}

INSTANTIATE_TEST_SUITE_P(Shells, Script,
                         rows<Shell>({
                             {"sh", {"sh"}},
                             {"bash", {"bash", "--posix"}},
                             {"busybox", {"busybox", "sh"}},
                         }),
                         rowName);

}  // namespace
}  // namespace tavrine
