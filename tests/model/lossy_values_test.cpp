#include <TavrineShared/model/lossy_values.h>

#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/findings.h>
#include <TavrineShared/model/json_conventions.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "tests/model/point.h"
#include "tests/support/json_printing.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

// --- lenient lists ---

struct LossyRow {
  const char* name;
  std::string_view json;
  std::string_view points;
  std::vector<std::string> lost = {};
};
void PrintTo(const LossyRow& row, std::ostream* out) { *out << row.json; }

class DecodeLossyArray : public testing::TestWithParam<LossyRow> {};

std::string asJSON(const std::vector<Point>& points) {
  JSONWriter writer(JSONStyle::compact);
  EncodeContext context;
  EXPECT_TRUE(ValueForm<std::vector<Point>>::encode(writer, points, context));
  return writer.take();
}

TEST_P(DecodeLossyArray, keepsWhatIsGoodAndTellsWhatIsNot) {
  const std::string document = "[" + std::string(GetParam().json) + ",\"behind\"]";
  const CodingPath root{nullptr, "points"};
  Findings findings;
  DecodeContext context;
  context.path = &root;
  context.findings = &findings;
  JSONReader reader(document);
  ASSERT_EQ(reader.enterList(), JSONResult::ok);
  ASSERT_TRUE(reader.nextElement());
  std::vector<Point> points = {{9, 9}};
  decodeLossyArray(reader, points, context);
  EXPECT_EQ(asJSON(points), GetParam().points);

  std::vector<std::string> lost;
  for (const Finding& finding : findings.list()) {
    lost.push_back(finding.path + " (" + finding.found + ") " +
                   std::string(finding.outcome.title()) + ": " + finding.reason);
  }
  EXPECT_EQ(lost, GetParam().lost);

  // The list and nothing else has been consumed.
  std::string behind;
  ASSERT_TRUE(reader.nextElement());
  EXPECT_EQ(reader.readText(behind), JSONResult::ok);
  EXPECT_FALSE(reader.nextElement());
  EXPECT_TRUE(reader.finish());
}

TEST_P(DecodeLossyArray, readsTheSameWithoutFindings) {
  JSONReader reader(GetParam().json);
  std::vector<Point> points;
  decodeLossyArray(reader, points, {});
  EXPECT_EQ(asJSON(points), GetParam().points);
  EXPECT_TRUE(reader.finish());
}

INSTANTIATE_TEST_SUITE_P(
    Lists, DecodeLossyArray,
    rows<LossyRow>({
        {"empty", "[]", "[]"},
        {"good", R"([{"x":1,"y":2},{"x":3,"y":4}])", R"([{"x":1,"y":2},{"x":3,"y":4}])"},
        {"twoBadOnesBetweenGoodOnes",
         R"([{"x":1,"y":2}, 7, {}, {"x":3,"y":4}])",
         R"([{"x":1,"y":2},{"x":3,"y":4}])",
         {"points[1] (7) element dropped: expected an object, found a number",
          "points[2] () element dropped: x: required key is missing"}},
        {"onlyBadOnes",
         R"([null, "a", true, []])",
         "[]",
         {"points[0] (null) element dropped: expected an object, found null",
          "points[1] (\"a\") element dropped: expected an object, found a text",
          "points[2] (true) element dropped: expected an object, found true or false",
          "points[3] ([]) element dropped: expected an object, found a list"}},
        {"badFieldOfTheFirst",
         R"([{"x":1.5,"y":2},{"x":3,"y":4}])",
         R"([{"x":3,"y":4}])",
         {"points[0] (1.5) element dropped: x: not a 64-bit integer"}},
        {"badFieldOfTheLast",
         R"([{"x":1,"y":2},{"x":3,"y":1e999}])",
         R"([{"x":1,"y":2}])",
         {"points[1] (1e999) element dropped: y: not a finite number"}},
        {"nullField",
         R"([{"x":null,"y":2}])",
         "[]",
         {"points[0] (null) element dropped: x: expected a 64-bit integer, found null"}},
        {"null", "null", "[]"},
        {"number",
         "5",
         "[]",
         {"points (5) read as an empty list: expected a list, found a number"}},
        {"text",
         R"("[]")",
         "[]",
         {"points (\"[]\") read as an empty list: expected a list, found a text"}},
        {"boolean",
         "false",
         "[]",
         {"points (false) read as an empty list: expected a list, found true or false"}},
        {"object",
         "{}",
         "[]",
         {"points ({}) read as an empty list: expected a list, found an object"}},
        {"objectOfLists",
         R"({"x":[{"x":1,"y":2}]})",
         "[]",
         {"points ({\"x\":[{\"x\":1,\"y\":2}]}) read as an empty list: expected a list, found an "
          "object"}},
    }),
    rowName);

TEST(DecodeLossyArray, keepsTextsAmongOtherThings) {
  JSONReader reader(R"(["a", 3, "b", null, ["c"], ""])");
  std::vector<std::string> texts;
  decodeLossyArray(reader, texts, {});
  EXPECT_EQ(texts, (std::vector<std::string>{"a", "b", ""}));
  EXPECT_TRUE(reader.finish());
}

TEST(DecodeLossyArray, doesNotSortOrMergeItsElements) {
  JSONReader reader("[3, 1, 3, 2]");
  std::vector<std::int64_t> numbers;
  decodeLossyArray(reader, numbers, {});
  EXPECT_EQ(numbers, (std::vector<std::int64_t>{3, 1, 3, 2}));
}

TEST(DecodeLossyArray, leavesSyntaxErrorsToTheReader) {
  Findings findings;
  DecodeContext context;
  context.findings = &findings;
  JSONReader reader(R"([{"x":1,"y":2}, {"x":01}])");
  std::vector<Point> points;
  decodeLossyArray(reader, points, context);
  EXPECT_TRUE(reader.failed());
  EXPECT_EQ(findings.count(), 0U);
}

TEST(DecodeLossyArray, needsNoRoomForFindingsToCountThem) {
  const CodingPath root{nullptr, "points"};
  for (const std::size_t limit : {0U, 1U, 2U, 5U}) {
    Findings findings(limit);
    DecodeContext context;
    context.path = &root;
    context.findings = &findings;
    // Two lists, as room may have run out before a list begins.
    JSONReader reader(R"([[7, {"x":1,"y":2}, {"x":1}], [{"x":"a"}, null]])");
    ASSERT_EQ(reader.enterList(), JSONResult::ok);
    std::vector<Point> points;
    ASSERT_TRUE(reader.nextElement());
    decodeLossyArray(reader, points, context);
    EXPECT_EQ(points, (std::vector<Point>{{1, 2}}));
    ASSERT_TRUE(reader.nextElement());
    decodeLossyArray(reader, points, context);
    EXPECT_TRUE(points.empty());
    EXPECT_EQ(findings.count(FindingOutcome::elementDropped), 4U) << "with a limit of " << limit;
    EXPECT_EQ(findings.list().size(), std::min<std::size_t>(limit, 4));
  }
}

TEST(LossyDecodable, neverFails) {
  struct Row {
    std::string_view json;
    std::optional<Point> value;
  };
  for (const auto& [json, value] : {Row{R"({"x":1,"y":2})", Point{1, 2}},
                                    Row{R"({"x":1})", {}},
                                    Row{"7", {}},
                                    Row{"null", {}},
                                    Row{"[[]]", {}}}) {
    LossyDecodable<Point> element;
    JSONReader reader(json);
    EXPECT_EQ(ValueForm<LossyDecodable<Point>>::decode(reader, element, {}), JSONResult::ok)
        << json;
    EXPECT_EQ(element.value, value) << json;
    EXPECT_TRUE(reader.finish()) << json;
  }
}

TEST(LossyDecodable, isReadOutOfADocument) {
  EXPECT_EQ(decode<LossyDecodable<std::int64_t>>("7").value, 7);
  EXPECT_EQ(decode<LossyDecodable<std::int64_t>>("\"7\"").value, std::nullopt);
  const auto list = decode<std::vector<LossyDecodable<std::string>>>(R"(["a",7,null,"b"])");
  EXPECT_EQ(list, (std::vector<LossyDecodable<std::string>>{{"a"}, {{}}, {{}}, {"b"}}));
  EXPECT_EQ(encode(list), R"(["a",null,null,"b"])");
}

TEST(LossyDecodable, tellsWhatWasDropped) {
  const CodingPath root{nullptr, "point"};
  Findings findings;
  DecodeContext context;
  context.path = &root;
  context.findings = &findings;
  LossyDecodable<Point> element;
  JSONReader reader(R"({"x":1,"y":"2"})");
  EXPECT_EQ(ValueForm<LossyDecodable<Point>>::decode(reader, element, context), JSONResult::ok);
  ASSERT_EQ(findings.list().size(), 1U);
  EXPECT_EQ(findings.list()[0].path, "point");
  EXPECT_EQ(findings.list()[0].reason, "y: expected a finite number, found a text");
  EXPECT_EQ(findings.list()[0].found, "\"2\"");
}

template <class T>
std::string schemaText() {
  JSONWriter writer(JSONStyle::compact);
  std::vector<const RecordTable*> records;
  writer.beginObject();
  ValueForm<T>::schema({writer, records});
  writer.endObject();
  return writer.take();
}

TEST(LossyDecodable, isDescribedAsWhatItHolds) {
  using Lossy = LossyDecodable<std::int64_t>;
  EXPECT_EQ(ValueForm<Lossy>::describe(), ValueForm<std::int64_t>::describe());
  EXPECT_EQ(schemaText<Lossy>(), schemaText<std::int64_t>());
}

TEST(LossyDecodable, hashesLikeAnOptional) {
  const auto hash = [](std::optional<std::int64_t> value) {
    return ValueForm<LossyDecodable<std::int64_t>>::hash({value});
  };
  EXPECT_EQ(hash(7), hash(7));
  EXPECT_NE(hash(7), hash(8));
  EXPECT_NE(hash(0), hash(std::nullopt));
}

}  // namespace
}  // namespace tavrine
