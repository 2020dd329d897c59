#include "companion/watch/screen_model.h"

#include <TavrineShared/demo/sample_data.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>

namespace tavrine {
namespace {

const SnapshotSource kSource = {.name = "lab", .poll = {}, .staleAfterSeconds = 10};

AppSnapshot lab(std::int64_t tick = 60) {
  return SampleData::detail::snapshot(tick, Timestamp(std::chrono::duration<double>(1e9)));
}

AppSnapshot labOfProcesses(std::size_t count) {
  AppSnapshot snapshot = lab();
  snapshot.processes.resize(count, snapshot.processes.front());
  for (std::size_t i = 0; i < count; ++i) {
    snapshot.processes[i].pid = static_cast<std::int64_t>(i);
    snapshot.processes[i].gpuMemoryMB = {};
    snapshot.processes[i].cpuPercent = 0;
  }
  return snapshot;
}

ScreenModel modelOf(AppSnapshot snapshot, ScreenSize size = {24, 80}) {
  ScreenModel model(kSource, size);
  model.tell({std::move(snapshot), {}});
  return model;
}

void type(ScreenModel& model, std::string_view keys) {
  for (const char key : keys) model.press({Key::character, static_cast<char32_t>(key)});
}

TEST(ScreenModel, beginsWithTheOverview) {
  const ScreenModel model(kSource, {24, 80});
  EXPECT_EQ(model.view(), View::overview);
  EXPECT_EQ(model.snapshot(), nullptr);
  EXPECT_EQ(model.sourceName(), "lab");
}

TEST(ScreenModel, goesToViewsByNumberAndInTurn) {
  ScreenModel model = modelOf(lab());
  type(model, "4");
  EXPECT_EQ(model.view(), View::processes);
  model.press({Key::tab});
  EXPECT_EQ(model.view(), View::users);
  model.press({Key::right});
  model.press({Key::right});
  EXPECT_EQ(model.view(), View::overview);
  model.press({Key::left});
  EXPECT_EQ(model.view(), View::sensors);
  model.press({Key::backTab});
  EXPECT_EQ(model.view(), View::users);
}

TEST(ScreenModel, scrollsNoFurtherThanThereIs) {
  ScreenModel model = modelOf(labOfProcesses(100));
  type(model, "4");
  const std::size_t fits = model.fitting();
  EXPECT_EQ(fits, 20U);
  model.press({Key::up});
  EXPECT_EQ(model.top(), 0U);
  type(model, "jj");
  EXPECT_EQ(model.top(), 2U);
  model.press({Key::pageDown});
  EXPECT_EQ(model.top(), 2 + fits - 1);
  model.press({Key::end});
  EXPECT_EQ(model.top(), 100 - fits);
  model.press({Key::down});
  model.press({Key::pageDown});
  EXPECT_EQ(model.top(), 100 - fits);
  type(model, "k");
  EXPECT_EQ(model.top(), 99 - fits);
  model.press({Key::home});
  EXPECT_EQ(model.top(), 0U);
}

TEST(ScreenModel, comesBackToWhereOneWas) {
  ScreenModel model = modelOf(labOfProcesses(100));
  type(model, "4jjj14");
  EXPECT_EQ(model.top(), 3U);
}

TEST(ScreenModel, staysWithinWhatIsLeft) {
  ScreenModel model = modelOf(labOfProcesses(100));
  type(model, "4G");
  model.resize({50, 80});
  EXPECT_EQ(model.top(), 100U - 46U);
  model.tell({labOfProcesses(3), {}});
  EXPECT_EQ(model.top(), 0U);
  EXPECT_EQ(model.count(), 3U);
}

TEST(ScreenModel, keepsTheSelectedRunInSight) {
  AppSnapshot snapshot = lab();
  snapshot.runs.resize(20, snapshot.runs.front());
  ScreenModel model = modelOf(snapshot, {24, 80});
  type(model, "2");
  EXPECT_EQ(model.fitting(), 5U);
  type(model, "jjjjj");
  EXPECT_EQ(model.selected(), 5U);
  EXPECT_EQ(model.top(), 1U);
  type(model, "kkkk");
  EXPECT_EQ(model.top(), 1U);
  type(model, "k");
  EXPECT_EQ(model.top(), 0U);
  type(model, "G");
  EXPECT_EQ(model.selected(), 19U);
  EXPECT_EQ(model.top(), 15U);
}

TEST(ScreenModel, filtersWhileOneTypes) {
  ScreenModel model = modelOf(lab());
  type(model, "4/");
  EXPECT_TRUE(model.isTyping());
  type(model, "tul");
  EXPECT_EQ(model.count(), 2U);
  type(model, "q1");
  EXPECT_EQ(model.filter(), "tulq1");
  EXPECT_FALSE(model.hasQuit());
  EXPECT_EQ(model.count(), 0U);
  model.press({Key::backspace});
  model.press({Key::backspace});
  EXPECT_EQ(model.count(), 2U);
  model.press({Key::enter});
  EXPECT_FALSE(model.isTyping());
  type(model, "5");
  EXPECT_EQ(model.filter(), "tul");
  model.press({Key::escape});
  EXPECT_EQ(model.filter(), "");
}

TEST(ScreenModel, escapeThrowsTheFilterAwayWhileOneTypes) {
  ScreenModel model = modelOf(lab());
  type(model, "/abc");
  model.press({Key::escape});
  EXPECT_FALSE(model.isTyping());
  EXPECT_EQ(model.filter(), "");
}

TEST(ScreenModel, aFilterIsTextAndHasAnEnd) {
  ScreenModel model = modelOf(lab());
  type(model, "/");
  for (const char32_t c : {U'\x1', U'\x9B', char32_t{0xD800}, char32_t{0x110000}}) {
    model.press({Key::character, c});
  }
  EXPECT_EQ(model.filter(), "");
  for (const char32_t c : {U'\u00E9', U'\u663E', U'\U0001F600'}) model.press({Key::character, c});
  EXPECT_EQ(model.filter(), "\u00E9\u663E\U0001F600");
  model.press({Key::backspace});
  EXPECT_EQ(model.filter(), "\u00E9\u663E");
  type(model, std::string(10000, 'x'));
  EXPECT_LE(model.filter().size(), 210U);
}

TEST(ScreenModel, opensARunAndGoesBack) {
  ScreenModel model = modelOf(lab());
  model.press({Key::enter});
  EXPECT_EQ(model.page(), Page::view);
  type(model, "2j");
  model.press({Key::enter});
  EXPECT_EQ(model.page(), Page::run);
  ASSERT_NE(model.openRun(), nullptr);
  EXPECT_EQ(model.openRun()->name, "vision-ablation-b32");
  type(model, "jjj");
  EXPECT_EQ(model.top(), 3U);
  model.press({Key::escape});
  EXPECT_EQ(model.page(), Page::view);
  EXPECT_EQ(model.selected(), 1U);
}

TEST(ScreenModel, followsTheOpenRunUntilItIsGone) {
  ScreenModel model = modelOf(lab());
  type(model, "2j");
  model.press({Key::enter});
  AppSnapshot turned = lab(61);
  std::swap(turned.runs[0], turned.runs[1]);
  model.tell({turned, {}});
  ASSERT_NE(model.openRun(), nullptr);
  EXPECT_EQ(model.openRun()->name, "vision-ablation-b32");
  turned.runs.erase(turned.runs.begin());
  model.tell({turned, {}});
  EXPECT_EQ(model.openRun(), nullptr);
  EXPECT_EQ(model.page(), Page::view);
}

TEST(ScreenModel, sortsByOneColumnAfterTheOther) {
  ScreenModel model = modelOf(lab());
  type(model, "4");
  const std::size_t columns = model.tables()[0].columns.size();
  for (std::size_t i = 0; i < columns; ++i) {
    type(model, "s");
    EXPECT_EQ(model.sorting().column, i);
  }
  type(model, "s");
  EXPECT_EQ(model.sorting(), Sorting());
  const std::vector<Item> before = model.items();
  type(model, "r");
  EXPECT_TRUE(model.sorting().isReversed);
  EXPECT_EQ(model.items().front(), before.back());
  type(model, "1sr");
  EXPECT_EQ(model.sorting(), Sorting());
}

TEST(ScreenModel, keepsTheLastGoodSnapshot) {
  ScreenModel model = modelOf(lab());
  model.tell({std::nullopt, "damaged"});
  EXPECT_EQ(model.problem(), "damaged");
  ASSERT_NE(model.snapshot(), nullptr);
  EXPECT_EQ(model.items().size(), 12U);
  model.tell({lab(), {}});
  EXPECT_EQ(model.problem(), "");
}

TEST(ScreenModel, helpIsLaidOverWhateverThereIs) {
  ScreenModel model = modelOf(lab());
  type(model, "2");
  model.press({Key::enter});
  type(model, "?");
  EXPECT_EQ(model.page(), Page::help);
  type(model, "h");
  EXPECT_EQ(model.page(), Page::run);
  type(model, "?3");
  EXPECT_EQ(model.page(), Page::view);
  EXPECT_EQ(model.view(), View::alerts);
}

TEST(ScreenModel, pausesAndQuits) {
  ScreenModel model = modelOf(lab());
  type(model, "p");
  EXPECT_TRUE(model.isPaused());
  type(model, "p");
  EXPECT_FALSE(model.isPaused());
  type(model, "q");
  EXPECT_TRUE(model.hasQuit());
}

TEST(ScreenModel, theFrameFillsAnyScreen) {
  for (std::size_t rows = 0; rows < 100; ++rows) {
    for (const char view : {'1', '2', '3', '6'}) {
      ScreenModel model = modelOf(lab(), {rows, 80});
      type(model, {&view, 1});
      const ScreenFrame frame = model.frame();
      EXPECT_EQ(frame.title + frame.tabs + frame.head + frame.body + frame.footer, rows);
      EXPECT_GE(model.fitting(), 1U);
      EXPECT_GE(frame.body + 1, std::min<std::size_t>(rows, 2));
    }
  }
}

}  // namespace
}  // namespace tavrine
