#include "companion/views/joined.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace tavrine {
namespace {

std::string withCommas(const std::vector<std::string>& list) {
  return joined(list, ", ", std::identity());
}

TEST(Joined, hasAllTextsInTheirOrder) {
  EXPECT_EQ(withCommas({}), "");
  EXPECT_EQ(withCommas({"b"}), "b");
  EXPECT_EQ(withCommas({"b", "a", "b"}), "b, a, b");
  EXPECT_EQ(withCommas({"", "a", ""}), ", a, ");
}

TEST(Joined, hasOfEachWhatIsAskedFor) {
  const std::vector<int> list = {1, 23};
  EXPECT_EQ(joined(list, "", [](int each) { return std::to_string(each); }), "123");
}

}  // namespace
}  // namespace tavrine
