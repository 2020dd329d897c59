#include "companion/diagnose/stack_input.h"

#include <TavrineShared/model/json_conventions.h>
#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/rows.h"

namespace tavrine {
namespace {

struct StacksRow {
  const char* name;
  std::string_view text;
  std::vector<StackFrame> stacks;
};
void PrintTo(const StacksRow& row, std::ostream* out) { *out << row.text; }

class ReadStacks : public testing::TestWithParam<StacksRow> {};

TEST_P(ReadStacks, takesEveryForm) { EXPECT_EQ(readStacks(GetParam().text), GetParam().stacks); }

INSTANTIATE_TEST_SUITE_P(
    Texts, ReadStacks,
    rows<StacksRow>({
        {"nothing", "", {}},
        {"aDump", "Thread 1 (idle)\n    f (a.py:2)\n", {{"1 (idle)", {"a.py:f:2"}}}},
        {"aListOfFrames", R"(["a", "b"])", {{"", {"a", "b"}}}},
        {"anEmptyListOfFrames", " [] ", {{"", {}}}},
        {"oneStack", R"({"thread": "T", "frames": ["a"]})", {{"T", {"a"}}}},
        {"aListOfStacks",
         R"([{"thread": "T", "frames": ["a"]}, {"thread": "U", "frames": []}])",
         {{"T", {"a"}}, {"U", {}}}},
        {"aDumpAsJSON",
         R"([{"thread_name": "M", "os_thread_id": 7, "active": true, "frames":
              [{"name": "f", "filename": "/x/a.py", "short_filename": "a.py", "line": 3}]}])",
         {{"7 (active): \"M\"", {"a.py:f:3"}}}},
        {"aDumpAsJSONWithoutWhatMayBeMissing",
         R"([{"frames": [{"name": "f", "filename": "/x/a.py", "line": 0}]}])",
         {{"", {"/x/a.py:f"}}}},
    }),
    rowName);

TEST(ReadStacks, saysWhatIsWrongWithJSON) {
  for (const std::string_view text : {"{", "[1]", R"([{"thread": 1}])", R"(["a", 1])", "{}"}) {
    EXPECT_THROW(readStacks(text), DecodingError) << text;
  }
}

}  // namespace
}  // namespace tavrine
