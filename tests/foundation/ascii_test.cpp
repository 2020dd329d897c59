#include <TavrineShared/foundation/ascii.h>

#include <gtest/gtest.h>

#include <string>

namespace tavrine {
namespace {

std::string allBytesThat(bool (*test)(char)) {
  std::string bytes;
  for (int byte = 0; byte < 256; ++byte) {
    if (test(static_cast<char>(byte))) bytes.push_back(static_cast<char>(byte));
  }
  return bytes;
}

TEST(ASCII, knowsItsCharactersAmongAllBytes) {
  EXPECT_EQ(allBytesThat(ascii::isDigit), "0123456789");
  EXPECT_EQ(allBytesThat(ascii::isUpper), "ABCDEFGHIJKLMNOPQRSTUVWXYZ");
  EXPECT_EQ(allBytesThat(ascii::isLower), "abcdefghijklmnopqrstuvwxyz");
}

TEST(ASCII, makesCapitalLettersSmallAndNothingElse) {
  std::string lowered;
  for (const char c : allBytesThat(ascii::isUpper)) lowered.push_back(ascii::lower(c));
  EXPECT_EQ(lowered, "abcdefghijklmnopqrstuvwxyz");
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    if (ascii::isUpper(c)) continue;
    EXPECT_EQ(ascii::lower(c), c) << byte;
  }
}

}  // namespace
}  // namespace tavrine
