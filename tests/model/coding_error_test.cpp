#include <TavrineShared/model/coding_error.h>

#include <gtest/gtest.h>

#include <stdexcept>
#include <type_traits>

#include "tests/support/json_printing.h"

namespace tavrine {
namespace {

TEST(DecodingError, saysWhereAndWhyInOneLine) {
  const DecodingError error(DecodingError::Kind::keyNotFound,
                            "servers[2].gpus[0].name",
                            "required key is missing");
  EXPECT_EQ(error.kind(), DecodingError::Kind::keyNotFound);
  EXPECT_EQ(error.path(), "servers[2].gpus[0].name");
  EXPECT_EQ(error.reason(), "required key is missing");
  EXPECT_STREQ(error.what(), "servers[2].gpus[0].name: required key is missing");
}

TEST(DecodingError, hasNoPathAtTheRoot) {
  const DecodingError error(DecodingError::Kind::notJSON, "", "not JSON: expected a value");
  EXPECT_EQ(error.path(), "");
  EXPECT_STREQ(error.what(), "not JSON: expected a value");
}

TEST(EncodingError, saysWhereAndWhyInOneLine) {
  const EncodingError error("gpus[1].powerDrawW", "a number that is not finite has no JSON form");
  EXPECT_EQ(error.path(), "gpus[1].powerDrawW");
  EXPECT_EQ(error.reason(), "a number that is not finite has no JSON form");
  EXPECT_STREQ(error.what(), "gpus[1].powerDrawW: a number that is not finite has no JSON form");
  EXPECT_STREQ(EncodingError("", "no form").what(), "no form");
}

// Who does not care for the difference catches both as what they are.
static_assert(std::is_base_of_v<std::runtime_error, DecodingError>);
static_assert(std::is_base_of_v<std::runtime_error, EncodingError>);

}  // namespace
}  // namespace tavrine
