#include "companion/watch/screen_text.h"

#include "companion/views/visible_text.h"

#include <TavrineShared/demo/sample_data.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <ctime>
#include <random>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {
namespace {

using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

constexpr Timestamp kNow{std::chrono::duration<double>(1794764905)};
const SnapshotSource kSource = {.name = "latest.json", .poll = {}, .staleAfterSeconds = 60};

AppSnapshot lab(std::int64_t tick = 60) { return SampleData::detail::snapshot(tick, kNow); }

ScreenModel modelOf(AppSnapshot snapshot, ScreenSize size = {24, 80}) {
  ScreenModel model(kSource, size);
  model.tell({std::move(snapshot), {}});
  return model;
}

void type(ScreenModel& model, std::string_view keys) {
  for (const char key : keys) {
    model.press(key == '\n' ? KeyPress{Key::enter}
                            : KeyPress{Key::character, static_cast<char32_t>(key)});
  }
}

std::string textOf(const std::vector<StyledLine>& lines) {
  std::string text;
  for (const StyledLine& line : lines) text.append(line.text()).append("\n");
  return text;
}

std::string shown(const ScreenModel& model, Glyphs glyphs = Glyphs::blocks) {
  return textOf(screenText(model, kNow, glyphs));
}

std::string shown(AppSnapshot snapshot, std::string_view keys, ScreenSize size = {24, 80}) {
  ScreenModel model = modelOf(std::move(snapshot), size);
  type(model, keys);
  return shown(model);
}

// What holds of every screen, whatever it shows.
void expectScreen(const ScreenModel& model) {
  for (const Glyphs glyphs : {Glyphs::blocks, Glyphs::ascii}) {
    const std::vector<StyledLine> lines = screenText(model, kNow, glyphs);
    ASSERT_EQ(lines.size(), model.size().rows);
    for (const StyledLine& line : lines) {
      ASSERT_LE(line.width(), model.size().columns) << line.text();
      ASSERT_EQ(visibleText(line.text()), line.text());
      if (glyphs == Glyphs::ascii) {
        ASSERT_TRUE(std::all_of(line.spans.begin(), line.spans.end(), [](const StyledSpan& span) {
          return std::all_of(span.text.begin(), span.text.end(), [](char c) {
            return c >= ' ' && c < 0x7F;
          });
        })) << line.text();
      }
    }
    if (lines.empty()) continue;
    ASSERT_EQ(titleText(model, kNow, glyphs), lines.front());
  }
}

constexpr auto kSizes = std::to_array<ScreenSize>(
    {{0, 0}, {1, 1}, {1, 0}, {0, 1}, {2, 3}, {5, 20}, {3, 500}, {24, 80}, {60, 200}, {300, 7}});
constexpr auto kPages = std::to_array<std::string_view>({"1",
                                                         "2",
                                                         "2\n",
                                                         "2j\n",
                                                         "2\nG",
                                                         "3",
                                                         "4",
                                                         "4sssss",
                                                         "4r",
                                                         "5",
                                                         "6",
                                                         "6G",
                                                         "?",
                                                         "/tul",
                                                         "4/tulo\n",
                                                         "/\x7Fnothing contains it",
                                                         "p"});

void expectScreensOf(const AppSnapshot& snapshot) {
  for (const ScreenSize size : kSizes) {
    for (const std::string_view keys : kPages) {
      SCOPED_TRACE(testing::Message() << size.rows << "x" << size.columns << " " << keys);
      ScreenModel model = modelOf(snapshot, size);
      type(model, keys);
      expectScreen(model);
    }
  }
}

TEST(ScreenText, fitsScreensOfAnySize) { expectScreensOf(lab()); }

TEST(ScreenText, ofNothingFits) { expectScreensOf(AppSnapshot::empty()); }

TEST(ScreenText, beforeTheFirstSnapshotFits) {
  for (const ScreenSize size : kSizes) {
    for (const std::string_view keys : kPages) {
      ScreenModel model(kSource, size);
      type(model, keys);
      model.tell({std::nullopt, "cannot be read: \x1B[2J"});
      expectScreen(model);
    }
  }
}

// Gives every text of the snapshot that somebody else writes.
AppSnapshot named(AppSnapshot snapshot, const std::string& name) {
  for (ServerSummary& server : snapshot.servers) {
    server.name = server.host = name;
    for (GPUStat& gpu : server.gpus) gpu.name = name;
  }
  for (TrainingRun& run : snapshot.runs) {
    run.name = run.serverName = run.framework = name;
    run.modelName = run.datasetName = name;
    run.logTail = name + "\n" + name + "\r\n\n" + name;
    run.hyperparameters = {{name, name}};
    for (CheckpointSummary& checkpoint : run.checkpoints) checkpoint.name = name;
    if (run.lastStackSample) run.lastStackSample->frames = {name};
  }
  for (TavrineAlert& alert : snapshot.alerts) {
    alert.title = alert.message = name;
    alert.serverName = alert.runName = name;
  }
  for (ProcessStat& process : snapshot.processes) {
    process.serverName = process.owner = process.elapsed = process.command = name;
  }
  for (UsageSummary& summary : snapshot.usageSummaries) {
    for (StudentUsage& user : summary.students) user.username = name;
  }
  for (SystemSensors& sensors : snapshot.sensors) {
    sensors.serverName = name;
    for (DiskIORate& disk : sensors.diskIO) disk.device = name;
  }
  for (NetworkSummary& network : snapshot.networkSummaries) {
    network.serverName = name;
    for (NetworkInsight& insight : network.insights) insight.title = insight.detail = name;
    for (NetworkInterfaceStat& interface : network.interfaces) interface.name = name;
    for (SSHAuthEvent& event : network.sshEvents) event.user = event.remoteIP = name;
    for (NetworkConnectionStat& connection : network.connections) connection.remoteAddress = name;
  }
  for (AgentStatus& agent : snapshot.agentStatuses) agent.version = name;
  return snapshot;
}

TEST(ScreenText, hostileNamesDoNothing) {
  expectScreensOf(named(lab(), "\x1B]0;owned\x07\u009B2J\u202E\xFF\n\t\x7F"));
}

TEST(ScreenText, wideAndEndlessNamesFit) {
  expectScreensOf(named(lab(), "\u663E\u5361\u663E\u5361\u663E\u5361\u663E"));
  expectScreensOf(named(lab(), std::string(5000, 'x')));
  expectScreensOf(named(lab(), ""));
  std::string combining = "a";
  for (int i = 0; i < 2000; ++i) combining += "\u0301";
  expectScreensOf(named(lab(), combining));
}

TEST(ScreenText, absurdFiguresFit) {
  for (const double value : {std::numeric_limits<double>::quiet_NaN(),
                             std::numeric_limits<double>::infinity(),
                             -1e300,
                             1e300,
                             0.0}) {
    AppSnapshot snapshot = lab();
    for (ServerSummary& server : snapshot.servers) {
      for (GPUStat& gpu : server.gpus) {
        gpu.index = std::numeric_limits<std::int64_t>::min();
        gpu.utilizationPercent = gpu.memoryUsedMB = gpu.memoryTotalMB = gpu.temperatureC = value;
        gpu.powerDrawW = gpu.powerLimitW = value;
      }
    }
    for (TrainingRun& run : snapshot.runs) {
      run.currentLoss = run.throughput = run.gpuUtilization = run.powerDrawW = value;
      run.etaSeconds = run.flopsTFLOPs = run.vramUsedGB = run.vramTotalGB = value;
      for (TrainingMetric& metric : run.metrics) metric.loss = metric.throughput = value;
      for (RecorderLogPoint& point : run.recorderPoints) point.gpuUtil = point.powerW = value;
    }
    expectScreensOf(snapshot);
  }
}

TEST(ScreenText, whateverIsTypedItFits) {
  std::mt19937 random(1);  // NOLINT(cert-msc51-cpp): the same keys each time
  const auto upTo = [&random](std::size_t count) { return random() % count; };
  ScreenModel model = modelOf(lab());
  for (int i = 0; i < 3000 && !testing::Test::HasFatalFailure(); ++i) {
    const auto key = static_cast<Key>(upTo(static_cast<std::size_t>(Key::backspace) + 1));
    const std::string_view letters = "123456jkgG srp/?hxyz\u00E9";
    const auto character = static_cast<unsigned char>(letters[upTo(letters.size())]);
    model.press({key, key == Key::character ? char32_t{character} : char32_t{0}});
    if (i % 7 == 0) model.resize({upTo(40), upTo(120)});
    if (i % 11 == 0) {
      AppSnapshot snapshot = lab(static_cast<std::int64_t>(i));
      snapshot.servers.resize(upTo(3));
      snapshot.runs.resize(upTo(3), snapshot.runs.front());
      snapshot.processes.resize(upTo(60), snapshot.processes.front());
      model.tell({std::move(snapshot), {}});
    }
    expectScreen(model);
  }
}

// --- What there is to see ---

TEST(ScreenText, theTitleTellsWhatIsShownAndHowOldItIs) {
  ScreenModel model = modelOf(lab());
  EXPECT_THAT(titleText(model, kNow, Glyphs::blocks).text(),
              AllOf(HasSubstr(" tavrine  2 servers, 6 GPUs  latest.json "),
                    HasSubstr(" now  17:48:25 UTC")));
  const auto after = [&](double seconds) {
    return titleText(model, kNow + std::chrono::duration<double>(seconds), Glyphs::blocks);
  };
  EXPECT_THAT(after(60).text(), AllOf(HasSubstr("1 min ago"), Not(HasSubstr("stale"))));
  EXPECT_THAT(after(60.5).text(), HasSubstr("stale, 1 min ago"));
  EXPECT_THAT(after(-100).text(), HasSubstr("its clock is ahead, in 1 min"));
  type(model, "p");
  EXPECT_THAT(after(0).text(), HasSubstr("PAUSED"));
}

TEST(ScreenText, aSnapshotOfNoTimeIsStale) {
  AppSnapshot snapshot = lab();
  snapshot.timestamp =
      Timestamp(std::chrono::duration<double>(std::numeric_limits<double>::quiet_NaN()));
  EXPECT_THAT(shown(snapshot, "1"), HasSubstr("stale, -"));
}

TEST(ScreenText, theOverviewShowsEveryGPU) {
  const std::string text = shown(lab(), "1");
  EXPECT_THAT(text, HasSubstr(" gpu-lab-a  Demo  4 GPUs at 77.7%  2207.2 W"));
  EXPECT_THAT(text, HasSubstr("49.3 / 78.1 GiB   551.1 W"));
  EXPECT_THAT(shown(lab(), "1", {24, 160}), HasSubstr("NVIDIA H100"));
  EXPECT_THAT(shown(lab(), "1", {24, 20}), HasSubstr("83.7%"));
}

TEST(ScreenText, aServerThatHasNeverAnsweredWasNeverSeen) {
  AppSnapshot snapshot = lab();
  snapshot.servers[0].lastSeen = Timestamp{};
  EXPECT_THAT(shown(snapshot, "1"), HasSubstr("2207.2 W  never seen  10.0.1.42"));
}

TEST(ScreenText, theOverviewShowsRunsAndAlerts) {
  AppSnapshot snapshot = lab();
  snapshot.alerts[0].severity = AlertSeverity::critical;
  const std::string text = shown(snapshot, "1");
  EXPECT_THAT(text, HasSubstr("\n llama-7b-sft-run-042    RUN ALIVE      loss 1.348 "));
  EXPECT_THAT(text, HasSubstr(" 3 h 31 min to go\n"));
  EXPECT_THAT(
      text,
      HasSubstr("\n Critical  Checkpoint saved  llama-7b-sft-run-042 on gpu-lab-a  7 min ago\n"));
}

TEST(ScreenText, trendsGrowWithTheSnapshots) {
  ScreenModel model(kSource, {24, 80});
  for (int i = 0; i < 3; ++i) {
    AppSnapshot snapshot = lab();
    snapshot.timestamp += std::chrono::duration<double>(i);
    for (ServerSummary& server : snapshot.servers) {
      for (GPUStat& gpu : server.gpus) gpu.utilizationPercent = 50 * i;
    }
    model.tell({snapshot, {}});
  }
  EXPECT_THAT(shown(model), HasSubstr("  100%      \u2581\u2584\u2588"));
}

TEST(ScreenText, aRunIsToldInALine) {
  const std::string text = shown(lab(), "2");
  EXPECT_THAT(
      text,
      HasSubstr("llama-7b-sft-run-042  RUN ALIVE      Running, Healthy        3 h 31 min to go"));
  EXPECT_THAT(text, HasSubstr("loss 1.348 "));
  EXPECT_THAT(text, HasSubstr("vision-ablation-b32   RUN ALIVE      Warming Up  "));
  EXPECT_THAT(shown(lab(63), "2"), HasSubstr("STALLED        Stalled"));
}

TEST(ScreenText, anOpenRunTellsEverything) {
  const std::string text = shown(lab(), "2\n", {70, 80});
  for (const char* const words : {"Loss 1.348 over the steps 1200 to 1295",
                                  "batch_size    32",
                                  "Settings",
                                  "Checkpoints",
                                  "the best so far",
                                  "Last stack",
                                  "  step=1296 loss=1.3477"}) {
    EXPECT_THAT(text, HasSubstr(words));
  }
}

TEST(ScreenText, theHeadingByWhichATableIsSortedIsMarked) {
  ScreenModel model = modelOf(lab());
  type(model, "4ss");
  const StyledLine headings = screenText(model, kNow, Glyphs::blocks)[2];
  EXPECT_THAT(headings.spans, testing::Contains(StyledSpan{"PID", Ink::reversed}));
  EXPECT_THAT(shown(model), HasSubstr("by PID\n"));
}

TEST(ScreenText, tellsWhereOneIs) {
  AppSnapshot snapshot = lab();
  snapshot.processes.resize(100, snapshot.processes.front());
  EXPECT_THAT(shown(snapshot, "4j"), HasSubstr("2-21 of 100\n"));
  EXPECT_THAT(shown(snapshot, "4G"), HasSubstr("81-100 of 100\n"));
}

TEST(ScreenText, tellsWhatIsWrongBesidesTheLastGoodOne) {
  ScreenModel model = modelOf(lab());
  model.tell({std::nullopt, "no snapshot: not JSON"});
  EXPECT_THAT(shown(model),
              AllOf(HasSubstr("gpu-lab-a"),
                    HasSubstr("\n This is the last good one: no snapshot: not JSON\n")));
}

TEST(ScreenText, tellsWhatWasLostInTheNewest) {
  ScreenModel model = modelOf(lab());
  model.tell({lab(61), "2 losses in it"});
  EXPECT_THAT(shown(model), HasSubstr("\n 2 losses in it\n"));
}

TEST(ScreenText, tellsThatNothingContainsTheFilter) {
  EXPECT_THAT(shown(lab(), "4/xyzzy\n"), HasSubstr("Nothing here contains xyzzy"));
  EXPECT_THAT(shown(AppSnapshot::empty(), "4"), HasSubstr("Nothing to show here."));
}

TEST(ScreenText, onANarrowScreenViewsAreNumbers) {
  EXPECT_THAT(shown(lab(), "2", {24, 40}), HasSubstr("\n 1  2 Runs  3  4  5  6 \n"));
}

TEST(ScreenText, columnsStayAlignedBehindWideCharacters) {
  AppSnapshot snapshot = lab();
  snapshot.processes[0].owner = "\u663E\u5361";
  ScreenModel model = modelOf(snapshot);
  type(model, "4");
  const std::vector<StyledLine> lines = screenText(model, kNow, Glyphs::blocks);
  const auto columnOf = [](const StyledLine& line, std::string_view words) {
    const std::string text = line.text();
    return StyledLine().add(text.substr(0, text.find(words))).width();
  };
  EXPECT_EQ(columnOf(lines[3], "Training"), columnOf(lines[2], "Kind"));
  EXPECT_EQ(columnOf(lines[4], "Training"), columnOf(lines[2], "Kind"));
}

TEST(ScreenText, aLargeLabIsDrawnQuickly) {
  AppSnapshot snapshot = lab();
  snapshot.servers.resize(600, snapshot.servers.front());
  for (ServerSummary& server : snapshot.servers) server.gpus.resize(8, server.gpus.front());
  snapshot.runs.resize(500, snapshot.runs.front());
  snapshot.processes.resize(10000, snapshot.processes.front());
  ScreenModel model = modelOf(std::move(snapshot), {60, 200});
  for (const std::string_view keys : {"1", "G", "2", "G", "4", "s", "G", "/python\n", "6"}) {
    const std::clock_t before = std::clock();
    type(model, keys);
    expectScreen(model);
    // Sanitizers take ten times as long, and a busy machine some more; a cost that grew with the
    // square of the rows would take minutes.
    EXPECT_LT(static_cast<double>(std::clock() - before) / CLOCKS_PER_SEC, 5) << keys;
  }
}

}  // namespace
}  // namespace tavrine
