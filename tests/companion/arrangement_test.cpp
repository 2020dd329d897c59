#include "companion/watch/arrangement.h"

#include <TavrineShared/demo/sample_data.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>

namespace tavrine {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

AppSnapshot lab() { return SampleData::detail::snapshot(60, Timestamp()); }

std::vector<Item> arranged(View view, const AppSnapshot& snapshot, std::string_view filter,
                           const Sorting& sorting = {}) {
  return arrangedItems(view, snapshot, tablesOf(view, snapshot), filter, sorting);
}

// The texts of a column of the processes, as they are arranged.
std::vector<std::string> shown(const AppSnapshot& snapshot, std::string_view heading,
                               std::string_view filter, Sorting sorting) {
  const std::vector<ScreenTable> tables = tablesOf(View::processes, snapshot);
  std::size_t column = 0;
  while (tables[0].columns[column].heading != heading) ++column;
  if (sorting.column) sorting.column = column;
  std::vector<std::string> texts;
  for (const Item& item : arrangedItems(View::processes, snapshot, tables, filter, sorting)) {
    texts.push_back(tables[0].cell(item.row, column).text);
  }
  return texts;
}

constexpr Sorting kSorted{0, false};
constexpr Sorting kReversed{0, true};

TEST(ArrangedItems, numbersAreSortedTheLargestFirst) {
  EXPECT_THAT(shown(lab(), "PID", "", kSorted),
              ElementsAre("63518", "61840", "52904", "48237", "48211", "1187"));
  EXPECT_THAT(shown(lab(), "PID", "", kReversed),
              ElementsAre("1187", "48211", "48237", "52904", "61840", "63518"));
  EXPECT_THAT(
      shown(lab(), "Elapsed", "", kSorted),
      ElementsAre("9-03:44:02", "05:12:42", "05:12:38", "02:17:06", "01:08:04", "00:43:19"));
}

TEST(ArrangedItems, textsAreSortedByTheAlphabet) {
  EXPECT_THAT(shown(lab(), "User", "", kSorted),
              ElementsAre("drun", "kesho", "root", "tulo", "tulo", "vemra"));
}

TEST(ArrangedItems, whatIsNoNumberComesLast) {
  AppSnapshot snapshot = lab();
  snapshot.processes[0].cpuPercent = std::numeric_limits<double>::quiet_NaN();
  snapshot.processes[0].elapsed = "?";
  EXPECT_EQ(shown(snapshot, "CPU", "", kSorted).back(), "nan%");
  EXPECT_EQ(shown(snapshot, "CPU", "", kReversed).front(), "nan%");
  EXPECT_EQ(shown(snapshot, "Elapsed", "", kSorted).back(), "?");
}

TEST(ArrangedItems, aColumnThatIsNotThereSortsNothing) {
  const AppSnapshot snapshot = lab();
  EXPECT_EQ(arranged(View::processes, snapshot, "", {999, false}),
            arranged(View::processes, snapshot, ""));
}

TEST(ArrangedItems, aFilterKeepsRowsThatContainItAnywhere) {
  EXPECT_THAT(shown(lab(), "User", "JUPYTER", {}), ElementsAre("vemra"));
  EXPECT_THAT(shown(lab(), "PID", "gpu-lab-B", kSorted), ElementsAre("63518", "61840"));
  EXPECT_THAT(shown(lab(), "PID", "nowhere", {}), IsEmpty());
}

TEST(ArrangedItems, letterCaseIsIgnoredInAllAlphabets) {
  AppSnapshot snapshot = lab();
  snapshot.processes[3].command = "\u03A3\u0399\u0393\u039C\u0391";
  EXPECT_THAT(shown(snapshot, "PID", "\u03C3\u03B9\u03B3", {}).size(), 1U);
}

TEST(ArrangedItems, serversAreFollowedByTheirGPUsAndByTheRuns) {
  EXPECT_THAT(arranged(View::overview, lab(), ""),
              ElementsAre(Item{ItemKind::title, 0},
                          Item{ItemKind::row, 0, 0},
                          Item{ItemKind::row, 0, 1},
                          Item{ItemKind::row, 0, 2},
                          Item{ItemKind::row, 0, 3},
                          Item{ItemKind::gap},
                          Item{ItemKind::title, 1},
                          Item{ItemKind::row, 1, 0},
                          Item{ItemKind::row, 1, 1},
                          Item{ItemKind::gap},
                          Item{ItemKind::run, 0, 0},
                          Item{ItemKind::run, 0, 1}));
}

TEST(ArrangedItems, theOverviewHasAlertsThatAreMoreThanInformation) {
  AppSnapshot snapshot = lab();
  snapshot.servers.clear();
  snapshot.runs.clear();
  EXPECT_THAT(arranged(View::overview, snapshot, ""), IsEmpty());
  snapshot.alerts.resize(3, snapshot.alerts.front());
  snapshot.alerts[1].severity = AlertSeverity::warning;
  snapshot.alerts[2].severity = AlertSeverity::critical;
  EXPECT_THAT(arranged(View::overview, snapshot, ""),
              ElementsAre(Item{ItemKind::alert, 0, 2}, Item{ItemKind::alert, 0, 1}));
  snapshot.alerts[2].title = "Fire";
  EXPECT_THAT(arranged(View::overview, snapshot, "fire"), ElementsAre(Item{ItemKind::alert, 0, 2}));
}

TEST(ArrangedItems, aServerOrAGPUIsFound) {
  AppSnapshot snapshot = lab();
  EXPECT_THAT(arranged(View::overview, snapshot, "lab-b"),
              ElementsAre(Item{ItemKind::title, 1},
                          Item{ItemKind::row, 1, 0},
                          Item{ItemKind::row, 1, 1},
                          Item{ItemKind::gap},
                          Item{ItemKind::run, 0, 1}));
  snapshot.servers[0].gpus[2].name = "Odd one";
  EXPECT_THAT(arranged(View::overview, snapshot, "odd"),
              ElementsAre(Item{ItemKind::title, 0}, Item{ItemKind::row, 0, 2}));
}

TEST(ArrangedItems, runsAreFoundByNamesAndStatuses) {
  for (const char* const filter : {"llama", "gpu-lab-a", "accelerate", "healthy", "sft-v4"}) {
    EXPECT_THAT(arranged(View::runs, lab(), filter), testing::Contains(Item{ItemKind::row, 0, 0}));
  }
  EXPECT_THAT(arranged(View::runs, lab(), "warming"), ElementsAre(Item{ItemKind::row, 0, 1}));
}

TEST(ArrangedItems, ofSeveralTablesThoseWithoutRowsGo) {
  const AppSnapshot snapshot = lab();
  const std::vector<Item> items = arranged(View::sensors, snapshot, "eno1");
  ASSERT_EQ(items.size(), 3U);
  EXPECT_EQ(items[0].kind, ItemKind::title);
  EXPECT_EQ(tablesOf(View::sensors, snapshot)[items[0].table].title, "Interfaces");
  EXPECT_EQ(items[1].kind, ItemKind::heading);
  EXPECT_EQ(items[2].kind, ItemKind::row);
}

TEST(ArrangedItems, ofNothingIsNothing) {
  for (std::size_t i = 0; i < kViews.size(); ++i) {
    EXPECT_THAT(arranged(static_cast<View>(i), AppSnapshot::empty(), ""), IsEmpty());
  }
}

}  // namespace
}  // namespace tavrine
