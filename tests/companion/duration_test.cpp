#include "companion/shell/duration.h"

#include <gtest/gtest.h>

#include <optional>
#include <ostream>
#include <string>

#include "tests/support/rows.h"

namespace tavrine {
namespace {

struct SecondsRow {
  const char* name;
  std::string text;
  std::optional<double> seconds;
};
void PrintTo(const SecondsRow& row, std::ostream* out) { *out << row.text; }

class SecondsNamed : public testing::TestWithParam<SecondsRow> {};

TEST_P(SecondsNamed, isANumberWithItsUnit) {
  EXPECT_EQ(secondsNamed(GetParam().text), GetParam().seconds);
}

INSTANTIATE_TEST_SUITE_P(Texts, SecondsNamed,
                         rows<SecondsRow>({
                             {"seconds", "90s", 90},
                             {"minutes", "15m", 900},
                             {"hours", "2h", 7200},
                             {"days", "1.5d", 129600},
                             {"aPart", "0.5s", 0.5},
                             {"empty", "", std::nullopt},
                             {"noUnit", "90", std::nullopt},
                             {"noNumber", "s", std::nullopt},
                             {"anotherUnit", "2w", std::nullopt},
                             {"upperCase", "2H", std::nullopt},
                             {"twoUnits", "1h30m", std::nullopt},
                             {"aBlankBetween", "90 s", std::nullopt},
                             {"none", "0s", std::nullopt},
                             {"negative", "-1s", std::nullopt},
                             {"endless", "infs", std::nullopt},
                             {"notANumber", "nans", std::nullopt},
                             {"beyondADouble", "1e308d", std::nullopt},
                         }),
                         rowName);

}  // namespace
}  // namespace tavrine
