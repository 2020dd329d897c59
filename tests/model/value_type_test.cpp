#include <TavrineShared/model/value_type.h>

#include <TavrineShared/model/findings.h>

#include <gtest/gtest.h>

#include <string>

namespace tavrine {
namespace {

TEST(CodingPath, namesKeysAndPositions) {
  const CodingPath servers{nullptr, "servers"};
  const CodingPath second{&servers, {}, 2};
  const CodingPath gpus{&second, "gpus"};
  const CodingPath first{&gpus, {}, 0};
  const CodingPath name{&first, "name"};
  EXPECT_EQ(CodingPath::text(nullptr), "");
  EXPECT_EQ(CodingPath::text(&servers), "servers");
  EXPECT_EQ(CodingPath::text(&second), "servers[2]");
  EXPECT_EQ(CodingPath::text(&gpus), "servers[2].gpus");
  EXPECT_EQ(CodingPath::text(&first), "servers[2].gpus[0]");
  EXPECT_EQ(CodingPath::text(&name), "servers[2].gpus[0].name");
}

TEST(CodingPath, countsFromBelowItsBase) {
  const CodingPath servers{nullptr, "servers"};
  const CodingPath second{&servers, {}, 2};
  const CodingPath gpus{&second, "gpus"};
  const CodingPath first{&gpus, {}, 0};
  EXPECT_EQ(CodingPath::text(&first, &second), "gpus[0]");
  EXPECT_EQ(CodingPath::text(&first, &gpus), "[0]");
  EXPECT_EQ(CodingPath::text(&first, &first), "");
  EXPECT_EQ(CodingPath::text(&first, nullptr), "servers[2].gpus[0]");
}

TEST(CodingPath, beginsWithAPositionInADocumentThatIsAList) {
  const CodingPath element{nullptr, {}, 3};
  const CodingPath inner{&element, {}, 1};
  const CodingPath key{&inner, "a"};
  EXPECT_EQ(CodingPath::text(&element), "[3]");
  EXPECT_EQ(CodingPath::text(&inner), "[3][1]");
  EXPECT_EQ(CodingPath::text(&key), "[3][1].a");
}

TEST(CodingPath, showsAnyKeyInAReadableForm) {
  const CodingPath map{nullptr, "map"};
  const std::string longKey(1000, 'x');
  const CodingPath longOne{&map, longKey};
  const CodingPath illFormed{&map, "a\xFF"};
  EXPECT_EQ(CodingPath::text(&longOne), "map." + excerpt(longKey));
  EXPECT_EQ(CodingPath::text(&illFormed), "map.a\xEF\xBF\xBD");
}

}  // namespace
}  // namespace tavrine
