#include "companion/collect/collect_options.h"

#include "companion/shell/host.h"

#include <gmock/gmock.h>

#include <CLI/CLI.hpp>

#include <algorithm>
#include <cstdlib>
#include <ostream>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/home_for_now.h"
#include "tests/support/rows.h"
#include "tests/support/temporary_folder.h"

namespace tavrine {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Words = std::vector<std::string>;

// As the verbs do it.
CollectOptions parsed(Words words) {
  CLI::App app;
  CollectOptions options;
  addCollectOptions(app, options);
  std::reverse(words.begin(), words.end());  // as CLI11 takes them
  app.parse(words);
  applyConfig(app, options);
  return options;
}

// The configuration in a home without one.
class Config : public testing::Test {
 protected:
  void SetUp() override { ::unsetenv("XDG_CONFIG_HOME"); }

  CollectOptions with(std::string_view config, Words words = {}) {
    words.push_back("--config=" + home_.file("config.toml", config).string());
    return parsed(std::move(words));
  }

  std::string complaint(std::string_view config) {
    try {
      with(config);
    } catch (const std::runtime_error& error) {
      return error.what();
    }
    return "none";
  }

  TemporaryFolder home_;
  HomeForNow homeForNow_{home_.path().c_str()};
};

// --- Hosts ---

struct HostRow {
  const char* name;
  std::string text;
  std::string server;
  std::string destination;
};
void PrintTo(const HostRow& row, std::ostream* out) { *out << testing::PrintToString(row.text); }

class GoodHost : public testing::TestWithParam<HostRow> {};

TEST_P(GoodHost, isUnderstood) {
  CollectOptions options;
  options.hosts = {GetParam().text};
  const CollectRequest request = options.resolved();
  ASSERT_EQ(request.hosts.size(), 1U);
  EXPECT_EQ(request.hosts[0].server, GetParam().server);
  EXPECT_EQ(request.hosts[0].destination, GetParam().destination);
}

INSTANTIATE_TEST_SUITE_P(Hosts, GoodHost,
                         rows<HostRow>({
                             {"plain", "gpu-01", "gpu-01", "gpu-01"},
                             {"user", "ada@gpu-01.lab", "gpu-01.lab", "ada@gpu-01.lab"},
                             {"twoAts", "ada@lab@gpu-01", "gpu-01", "ada@lab@gpu-01"},
                             {"named", "a=ada@10.0.1.52", "a", "ada@10.0.1.52"},
                             {"namedWithAnEquals", "a=b=c", "a", "b=c"},
                             {"unicode", "g\xC3\xA4", "g\xC3\xA4", "g\xC3\xA4"},
                             {"thisMachine", ".", hostName(), ""},
                             {"thisMachineNamed", "a=.", "a", ""},
                             {"address", "::1", "::1", "::1"},
                         }),
                         rowName);

class BadHost : public testing::TestWithParam<HostRow> {};

TEST_P(BadHost, isRefused) {
  CollectOptions options;
  options.hosts = {"gpu-01", GetParam().text};
  try {
    options.resolved();
    FAIL() << "it is taken";
  } catch (const std::runtime_error& error) {
    EXPECT_THAT(error.what(), HasSubstr(GetParam().server));
  }
}

INSTANTIATE_TEST_SUITE_P(Hosts, BadHost,
                         rows<HostRow>({
                             {"empty", "", "is empty", ""},
                             {"option", "-oProxyCommand=x", "begins with -", ""},
                             {"optionBehindAName", "a=-oProxyCommand=x", "begins with -", ""},
                             {"optionAsAName", "-a=b", "begins with -", ""},
                             {"optionBehindAUser", "ada@-oProxyCommand", "begins with -", ""},
                             {"noName", "=gpu-01", "is empty", ""},
                             {"noDestination", "a=", "is empty", ""},
                             {"nobody", "ada@", "is empty", ""},
                             {"blank", "a b", "blanks", ""},
                             {"lineFeed", "a\nb", "blanks", ""},
                             {"patternWithoutQuotes", "/scratch/a/train.log", "needs quotes", ""},
                             {"nul", std::string("a\0b", 3), "blanks", ""},
                             {"escape", "a\x1b[2J", "control", ""},
                             {"delete", "a\x7f", "control", ""},
                             {"wideBlank", "a\xC2\xA0", "blanks", ""},
                             {"notUTF8", "a\xFF", "is not UTF-8", ""},
                             {"twice", "gpu-01", "two hosts are named gpu-01; NAME=HOST", ""},
                             {"twiceByUser", "ada@gpu-01", "two hosts are named gpu-01", ""},
                             {"twiceByName", "gpu-01=other", "two hosts are named gpu-01", ""},
                         }),
                         rowName);

TEST(Hosts, areThisMachineWhereThereAreNone) {
  const CollectRequest request = CollectOptions{}.resolved();
  ASSERT_EQ(request.hosts.size(), 1U);
  EXPECT_EQ(request.hosts[0].server, hostName());
  EXPECT_EQ(request.hosts[0].destination, "");
}

TEST(Hosts, haveFoldersOfTheirOwn) {
  CollectOptions options;
  options.hosts = {"a/b=x", "a_b=y"};
  EXPECT_THROW(options.resolved(), std::runtime_error);
}

// --- The command line ---

TEST_F(Config, isNotNeeded) {
  const CollectOptions options = parsed({});
  EXPECT_THAT(options.hosts, IsEmpty());
  EXPECT_EQ(options.request.seconds, 30);
  EXPECT_EQ(options.request.atOnce, 32U);
  EXPECT_EQ(options.request.ssh, "ssh");
  EXPECT_EQ(options.request.script.commandSeconds, 10);
  EXPECT_THAT(options.request.script.disks, ElementsAre("/"));
}

TEST_F(Config, isNotNeededForAnything) {
  const CollectOptions options = parsed({"a",
                                         "b",
                                         "--training-logs=x y",
                                         "--training-logs",
                                         "z",
                                         "--recorder-logs=r",
                                         "--disk=/d",
                                         "--agent-folder=f",
                                         "--agent-command=c",
                                         "--captures=k",
                                         "--at-once=7",
                                         "--timeout=2m",
                                         "--command-timeout=5s",
                                         "--most-per-file=1",
                                         "--most-per-host=2",
                                         "--ssh=s",
                                         "--findings"});
  EXPECT_THAT(options.hosts, ElementsAre("a", "b"));
  EXPECT_THAT(options.request.script.trainingLogs, ElementsAre("x y", "z"));
  EXPECT_THAT(options.request.script.recorderLogs, ElementsAre("r"));
  EXPECT_THAT(options.request.script.disks, ElementsAre("/d"));
  EXPECT_EQ(options.request.script.agentFolder, "f");
  EXPECT_EQ(options.request.script.agentCommand, "c");
  EXPECT_EQ(options.captures, "k");
  EXPECT_EQ(options.request.atOnce, 7U);
  EXPECT_EQ(options.request.seconds, 120);
  EXPECT_EQ(options.request.script.commandSeconds, 5);
  EXPECT_EQ(options.request.mostBytesOfPiece, std::size_t{1} << 20);
  EXPECT_EQ(options.request.mostBytesOfHost, std::size_t{2} << 20);
  EXPECT_EQ(options.request.ssh, "s");
  EXPECT_TRUE(options.findings);
}

TEST_F(Config, takesNoWrongWords) {
  for (const char* const word : {"--at-once=0",
                                 "--at-once=1025",
                                 "--at-once=x",
                                 "--timeout=5",
                                 "--timeout=0s",
                                 "--timeout=-1s",
                                 "--timeout=infs",
                                 "--command-timeout=x",
                                 "--most-per-file=0",
                                 "--most-per-file=4097",
                                 "--most-per-host=-1",
                                 "--training-logs",
                                 "--unknown"}) {
    EXPECT_THROW(parsed({word}), CLI::ParseError) << word;
  }
}

TEST_F(Config, takesAnyTime) {
  EXPECT_EQ(parsed({"--command-timeout=99d"}).request.script.commandSeconds, 3600);
  EXPECT_EQ(parsed({"--command-timeout=0.1s"}).request.script.commandSeconds, 1);
  EXPECT_EQ(parsed({"--timeout=1e300s"}).request.seconds, 1e300);
}

// --- The file ---

TEST_F(Config, setsWhatTheCommandLineDoesNot) {
  const CollectOptions options = with(R"(# the lab
hosts = ["gpu-01", "b=ada@gpu-02"]
timeout = "1m"
at-once = 3
training-logs = ["/s/*/train.log", "~/a b.log"]
disk = "/data"
agent-command = "cat 'x'"
ssh = "/opt/ssh"
findings = true
)");
  EXPECT_THAT(options.hosts, ElementsAre("gpu-01", "b=ada@gpu-02"));
  EXPECT_EQ(options.request.seconds, 60);
  EXPECT_EQ(options.request.atOnce, 3U);
  EXPECT_THAT(options.request.script.trainingLogs, ElementsAre("/s/*/train.log", "~/a b.log"));
  EXPECT_THAT(options.request.script.disks, ElementsAre("/data"));
  EXPECT_EQ(options.request.script.agentCommand, "cat 'x'");
  EXPECT_EQ(options.request.ssh, "/opt/ssh");
  EXPECT_TRUE(options.findings);
}

TEST_F(Config, givesWayToTheCommandLine) {
  const char* const file = "hosts = [\"a\", \"b\"]\ntimeout = \"1m\"\ndisk = [\"/x\", \"/y\"]\n";
  const CollectOptions options = with(file, {"c", "--timeout=7s", "--disk=/z"});
  EXPECT_THAT(options.hosts, ElementsAre("c"));
  EXPECT_EQ(options.request.seconds, 7);
  EXPECT_THAT(options.request.script.disks, ElementsAre("/z"));
}

TEST_F(Config, isLookedForInTheHome) {
  std::filesystem::create_directories(home_ / ".config/tavrine");
  home_.file(".config/tavrine/config.toml", "hosts = \"a\"\n");
  EXPECT_EQ(defaultConfigFile(), home_ / ".config/tavrine/config.toml");
  EXPECT_THAT(parsed({}).hosts, ElementsAre("a"));
  std::filesystem::create_directories(home_ / "xdg/tavrine");
  home_.file("xdg/tavrine/config.toml", "hosts = \"b\"\n");
  ::setenv("XDG_CONFIG_HOME", (home_ / "xdg").c_str(), 1);
  EXPECT_THAT(parsed({}).hosts, ElementsAre("b"));
  ::setenv("XDG_CONFIG_HOME", "xdg", 1);
  EXPECT_THAT(parsed({}).hosts, ElementsAre("a"));
  ::unsetenv("XDG_CONFIG_HOME");
}

TEST_F(Config, isThereWhereItIsNamed) {
  EXPECT_THROW(parsed({"--config=" + (home_ / "none.toml").string()}), std::runtime_error);
  EXPECT_THROW(parsed({"--config=" + home_.path().string()}), std::runtime_error);
}

TEST_F(Config, mayBeEmpty) {
  EXPECT_THAT(with("").hosts, IsEmpty());
  EXPECT_THAT(with("# nothing\n\n").hosts, IsEmpty());
}

TEST_F(Config, isSharedByAllVerbs) {
  EXPECT_THAT(with("every = \"30s\"\nfile = \"/x\"\nhosts = \"a\"\n").hosts, ElementsAre("a"));
}

TEST_F(Config, isToldWhatItCannotSet) {
  const std::string file = (home_ / "config.toml").string();
  EXPECT_EQ(complaint("tiemout = \"1m\"\n"),
            file + ", line 1: there is no setting tiemout; did you mean timeout?");
  EXPECT_EQ(complaint("\n\nhelp = true\n"), file + ", line 3: there is no setting help");
  for (const char* const name : {"config", "script", "HOST", "json", "\"\"", "\"-timeout\""}) {
    EXPECT_THAT(complaint(std::string(name) + " = \"x\"\n"), HasSubstr("there is no setting"))
        << name;
  }
  EXPECT_THAT(complaint("[lab]\ntimeout = \"1m\"\n"),
              HasSubstr("there are no sections, such as lab"));
  EXPECT_THAT(complaint("timeout = \"1\"\n"), HasSubstr("must be such as 30s or 5m, not 1"));
  EXPECT_THAT(complaint("disk = [\"/\", \"\"]\n"), HasSubstr("must not be empty"));
  EXPECT_THAT(complaint("at-once = 0\n"),
              HasSubstr("line 1: --at-once: must be a whole number from 1 to 1024, not 0"));
  EXPECT_THAT(complaint("every = 3\ntimeout = \"1m\"\nat-once = -1"),
              HasSubstr("line 3: --at-once"));
}

TEST_F(Config, isToldWhatAValueMustBe) {
  const auto line = [this](const std::string& words) {
    return (home_ / "config.toml").string() + ", line 1: " + words;
  };
  EXPECT_EQ(complaint("at-once = \"7\"\n"), line("at-once must be a whole number"));
  EXPECT_EQ(complaint("at-once = [7]\n"), line("at-once is a list of texts in quotes"));
  EXPECT_EQ(complaint("ssh = 7\n"), line("ssh must be a text in quotes"));
  EXPECT_EQ(complaint("ssh = true\n"), line("ssh must be a text in quotes"));
  EXPECT_EQ(complaint("ssh = [\"ssh\"]\n"), line("ssh must be a text in quotes"));
  EXPECT_EQ(complaint("timeout = 30\n"), line("timeout must be a text in quotes"));
  EXPECT_EQ(complaint("hosts = 7\n"), line("hosts must be a list of texts"));
  EXPECT_EQ(complaint("disk = true\n"), line("disk must be a list of texts"));
  EXPECT_EQ(complaint("redact = \"true\"\n"), line("redact must be true or false"));
  EXPECT_EQ(complaint("redact = 1\n"), line("redact must be true or false"));
}

TEST_F(Config, knowsTheHomeFolder) {
  EXPECT_EQ(with("captures = \"~/kept\"\n").captures, (home_ / "kept").string());
  EXPECT_EQ(with("ssh = \"~/bin/ssh\"\n").request.ssh, (home_ / "bin/ssh").string());
  EXPECT_EQ(with("captures = \"kept~/a\"\n").captures, "kept~/a");
  // A host has homes of its own.
  EXPECT_THAT(with("disk = \"~/\"\n").request.script.disks, ElementsAre("~/"));
}

TEST_F(Config, meansWhatItSays) {
  EXPECT_FALSE(with("redact = false\n").redact);
  EXPECT_TRUE(with("redact = true\n").redact);
  EXPECT_THAT(with("disk = []\n").request.script.disks, ElementsAre("/"));
  EXPECT_EQ(with("agent-command = \"a # \\\"b\\\"\" # c\n").request.script.agentCommand,
            "a # \"b\"");
}

}  // namespace
}  // namespace tavrine
