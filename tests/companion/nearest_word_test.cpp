#include "companion/shell/nearest_word.h"

#include <gtest/gtest.h>

#include <array>
#include <ostream>
#include <string>

#include "tests/support/rows.h"

namespace tavrine {
namespace {

const auto kKnown = std::to_array<std::string>(
    {"show", "schema", "gpus", "gpu-processes", "--color", "--json", "--processes", "GPUStat"});

struct Row {
  const char* name;
  std::string typed;
  std::string meant;  // empty where nothing is near enough
};

void PrintTo(const Row& row, std::ostream* out) { *out << row.typed.substr(0, 80); }

class DidYouMean : public testing::TestWithParam<Row> {};

TEST_P(DidYouMean, isTheNearestWordOrNone) {
  const Row& row = GetParam();
  const std::string expected = row.meant.empty() ? "" : "; did you mean " + row.meant + "?";
  EXPECT_EQ(didYouMean(row.typed, kKnown), expected) << row.typed;
}

INSTANTIATE_TEST_SUITE_P(Words, DidYouMean,
                         rows<Row>({
                             {"exchanged", "shwo", "show"},
                             {"leftOut", "shw", "show"},
                             {"putIn", "shoow", "show"},
                             {"anotherCharacter", "shiw", "show"},
                             {"letterCase", "SHOW", "show"},
                             {"twoSlipsInALongWord", "--procceses", "--processes"},
                             {"threeSlips", "--brosezzes", ""},
                             {"twoSlipsInAShortWord", "swho2", ""},
                             {"dashes", "gpu_processes", "gpu-processes"},
                             {"begun", "--proc", "--processes"},
                             {"begunByTooLittle", "--pr", ""},
                             {"moreAround", "--no-color", "--color"},
                             {"aSlipBeforeAPart", "gpu", "gpus"},
                             {"another", "status", ""},
                             {"empty", "", ""},
                             {"dashesAlone", "--", ""},
                             {"long", std::string(100'000, 'x'), ""},
                             {"bytesThatAreNoText", "sho\xff", "show"},
                         }));

TEST(DidYouMean, isNothingWhereNothingIsKnown) { EXPECT_EQ(didYouMean("show", {}), ""); }

TEST(MeantOrKnown, isTheWordMeantOrAllThatAreKnown) {
  const auto known = std::to_array<std::string>({"show", "schema"});
  EXPECT_EQ(meantOrKnown("shwo", known), "; did you mean show?");
  EXPECT_EQ(meantOrKnown("status", known), " (known: show, schema)");
}

}  // namespace
}  // namespace tavrine
