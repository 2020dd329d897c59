#include <TavrineShared/model/json_conventions.h>

#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/gpu_server.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <map>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/json_printing.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

using TextMap = std::map<std::string, std::string>;

// --- a small tree of records, lenient at two levels ---

struct Leaf {
  std::int64_t a;
  std::optional<std::string> b;

  bool operator==(const Leaf&) const = default;
  static const RecordTable& table();
};

const RecordTable& Leaf::table() {
  using R = Leaf;
  static constexpr auto fields = fieldsOf<R>(field<&R::a>(), field<&R::b>());
  static constexpr RecordTable table{"Leaf", fields};
  return table;
}

struct Branch {
  std::string name;
  std::vector<Leaf> leaves;
  std::int64_t last;
  bool alive;

  bool operator==(const Branch&) const = default;
  static const RecordTable& table();
};

const RecordTable& Branch::table() {
  using R = Branch;
  static constexpr auto fields = fieldsOf<R>(field<&R::name>(),
                                             lossyList<&R::leaves>(),
                                             field<&R::last>(),
                                             forgiving<&R::alive>());
  static constexpr RecordTable table{"Branch", fields};
  return table;
}

struct Tree {
  std::vector<Branch> branches;
  TextMap tags;

  bool operator==(const Tree&) const = default;
  static const RecordTable& table();
};

const RecordTable& Tree::table() {
  using R = Tree;
  static constexpr auto fields = fieldsOf<R>(lossyList<&R::branches>(), defaulted<&R::tags>());
  static constexpr RecordTable table{"Tree", fields};
  return table;
}

std::vector<std::string> linesOf(const Findings& findings) {
  std::vector<std::string> lines;
  for (const Finding& finding : findings.list()) {
    lines.push_back(finding.path + " (" + finding.found + ") " +
                    std::string(finding.outcome.title()) + ": " + finding.reason);
  }
  return lines;
}

// --- values at the root ---

TEST(Decode, takesAnyValueAtTheRoot) {
  EXPECT_EQ(decode<std::int64_t>(" 12 "), 12);
  EXPECT_EQ(decode<double>("-1.5"), -1.5);
  EXPECT_EQ(decode<bool>("true"), true);
  EXPECT_EQ(decode<std::string>(R"("a\u00e9")"), "a\xC3\xA9");
  EXPECT_EQ(decode<std::vector<std::int64_t>>("[1,2]"), (std::vector<std::int64_t>{1, 2}));
  EXPECT_EQ(decode<std::optional<double>>("null"), std::nullopt);
  EXPECT_EQ(decode<std::optional<double>>("2"), 2.0);
  EXPECT_EQ(decode<TextMap>(R"({"a":"b"})"), (TextMap{{"a", "b"}}));
  EXPECT_EQ(decode<Leaf>(R"({"a":1})"), (Leaf{1, {}}));
  EXPECT_EQ(decode<std::vector<Leaf>>(R"([{"a":1},{"a":2,"b":"c"}])"),
            (std::vector<Leaf>{{1, {}}, {2, "c"}}));
}

TEST(Encode, writesAnyValueAtTheRoot) {
  EXPECT_EQ(encode(std::int64_t{12}), "12");
  EXPECT_EQ(encode(-1.5), "-1.5");
  EXPECT_EQ(encode(true), "true");
  EXPECT_EQ(encode(std::string("a\n")), R"("a\n")");
  EXPECT_EQ(encode(std::vector<std::int64_t>{}), "[]");
  EXPECT_EQ(encode(TextMap{{"a", "b"}}), R"({"a":"b"})");
  EXPECT_EQ(encode(Leaf{1, {}}), R"({"a":1})");
  EXPECT_EQ(encode(std::vector<Leaf>{{1, {}}, {2, "c"}}), R"([{"a":1},{"a":2,"b":"c"}])");
}

// Outside a record there is no key to leave out.
TEST(Encode, writesNullForNoValueWhereThereIsNoKey) {
  EXPECT_EQ(encode(std::optional<double>()), "null");
  EXPECT_EQ(encode(std::optional<double>(2)), "2");
  const std::vector<std::optional<std::string>> list = {"a", std::nullopt, "b"};
  EXPECT_EQ(encode(list), R"(["a",null,"b"])");
  EXPECT_EQ(decode<std::vector<std::optional<std::string>>>(encode(list)), list);
}

TEST(Encode, isCompactOrPretty) {
  const Tree tree = {{{"oak", {{1, "x"}}, 2, true}, {"elm", {}, 3, false}}, {}};
  EXPECT_EQ(encode(tree),
            R"({"branches":[{"alive":true,"last":2,"leaves":[{"a":1,"b":"x"}],"name":"oak"},)"
            R"({"alive":false,"last":3,"leaves":[],"name":"elm"}],"tags":{}})");
  EXPECT_EQ(encode(tree, JSONStyle::pretty),
            "{\n"
            "  \"branches\": [\n"
            "    {\n"
            "      \"alive\": true,\n"
            "      \"last\": 2,\n"
            "      \"leaves\": [\n"
            "        {\n"
            "          \"a\": 1,\n"
            "          \"b\": \"x\"\n"
            "        }\n"
            "      ],\n"
            "      \"name\": \"oak\"\n"
            "    },\n"
            "    {\n"
            "      \"alive\": false,\n"
            "      \"last\": 3,\n"
            "      \"leaves\": [],\n"
            "      \"name\": \"elm\"\n"
            "    }\n"
            "  ],\n"
            "  \"tags\": {}\n"
            "}");
  EXPECT_EQ(decode<Tree>(encode(tree)), tree);
  EXPECT_EQ(decode<Tree>(encode(tree, JSONStyle::pretty)), tree);
}

TEST(Encode, givesTheSameInPieces) {
  const std::vector<Leaf> leaves(20'000, Leaf{1, "text"});
  for (const JSONStyle style : {JSONStyle::compact, JSONStyle::pretty}) {
    std::string document;
    std::size_t pieces = 0;
    encode(leaves, style, [&](std::string_view piece) {
      document += piece;
      ++pieces;
    });
    EXPECT_EQ(document, encode(leaves, style));
    EXPECT_GT(pieces, 1U);
  }
  const std::vector<double> bad = {1, std::numeric_limits<double>::infinity()};
  EXPECT_THROW(encode(bad, JSONStyle::compact, [](std::string_view) {}), EncodingError);
}

TEST(Encode, throwsWhereAValueHasNoForm) {
  const double infinity = std::numeric_limits<double>::infinity();
  try {
    ADD_FAILURE() << encode(std::vector<double>{1, infinity});
  } catch (const EncodingError& error) {
    EXPECT_EQ(error.path(), "[1]");
    EXPECT_STREQ(error.what(), "[1]: a number that is not finite has no JSON form");
  }
  try {
    ADD_FAILURE() << encode(infinity);
  } catch (const EncodingError& error) {
    EXPECT_EQ(error.path(), "");
    EXPECT_STREQ(error.what(), "a number that is not finite has no JSON form");
  }
}

// --- errors ---

struct ErrorRow {
  const char* name;
  std::string_view document;
  DecodingError::Kind kind;
  std::string_view path;
  std::string_view what;
};
void PrintTo(const ErrorRow& row, std::ostream* out) {
  *out << testing::PrintToString(row.document);
}

class DecodeBranches : public testing::TestWithParam<ErrorRow> {};

TEST_P(DecodeBranches, throwsWithPathAndReason) {
  for (Findings findings; Findings* const told : {static_cast<Findings*>(nullptr), &findings}) {
    try {
      ADD_FAILURE() << encode(decode<std::vector<Branch>>(GetParam().document, told));
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.kind(), GetParam().kind);
      EXPECT_EQ(error.path(), GetParam().path);
      EXPECT_STREQ(error.what(), std::string(GetParam().what).c_str());
    }
  }
}

using Kind = DecodingError::Kind;

INSTANTIATE_TEST_SUITE_P(
    Mismatches, DecodeBranches,
    rows<ErrorRow>({
        {"rootIsAnObject", "{}", Kind::typeMismatch, "", "expected a list, found an object"},
        {"rootIsNull", "null", Kind::valueNotFound, "", "expected a list, found null"},
        {"elementIsANumber",
         R"([{"name":"a","last":1}, 7])",
         Kind::typeMismatch,
         "[1]",
         "[1]: expected an object, found a number"},
        {"elementIsNull",
         "[null]",
         Kind::valueNotFound,
         "[0]",
         "[0]: expected an object, found null"},
        {"keyIsMissing",
         R"([{"name":"a","last":1},{"name":"a"}])",
         Kind::keyNotFound,
         "[1].last",
         "[1].last: required key is missing"},
        {"keyIsNull",
         R"([{"name":null,"last":1}])",
         Kind::valueNotFound,
         "[0].name",
         "[0].name: expected a text, found null"},
        {"keyIsOfAnotherType",
         R"([{"name":"a","last":"b"}])",
         Kind::typeMismatch,
         "[0].last",
         "[0].last: expected a 64-bit integer, found a text"},
        {"keyIsOutOfRange",
         R"([{"name":"a","last":1e30}])",
         Kind::dataCorrupted,
         "[0].last",
         "[0].last: not a 64-bit integer"},
    }),
    rowName);

INSTANTIATE_TEST_SUITE_P(
    NotJSON, DecodeBranches,
    rows<ErrorRow>({
        {"empty",
         "",
         Kind::notJSON,
         "",
         "not JSON: the document ends where a value is due at line 1, column 1"},
        {"onlyWhiteSpace",
         " \n ",
         Kind::notJSON,
         "",
         "not JSON: the document ends where a value is due at line 2, column 2"},
        {"byteOrderMark",
         "\xEF\xBB\xBF[]",
         Kind::notJSON,
         "",
         "not JSON: expected a value at line 1, column 1"},
        {"somethingBehind",
         "[] x",
         Kind::notJSON,
         "",
         "not JSON: something stands behind the value at line 1, column 4"},
        {"unclosed",
         "[\n  {\"name\": \"a\"\n",
         Kind::notJSON,
         "",
         "not JSON: expected ',' or '}' at line 3, column 1"},
        {"columnsAreCharacters",
         "[\"\xC3\xA9\xE2\x82\xAC\", x]",
         Kind::notJSON,
         "",
         "not JSON: expected a value at line 1, column 8"},
        {"controlCharacter",
         "[{\"name\":\"a\tb\"}]",
         Kind::notJSON,
         "",
         "not JSON: a control character in a text at line 1, column 12"},
        {"illFormedUTF8",
         "[\"\xFF\"]",
         Kind::notJSON,
         "",
         "not JSON: ill-formed UTF-8 at line 1, column 3"},
        {"loneSurrogate",
         R"(["\ud800"])",
         Kind::notJSON,
         "",
         "not JSON: a surrogate without its partner at line 1, column 3"},
        {"leadingZero",
         "[01]",
         Kind::notJSON,
         "",
         "not JSON: a number with a leading zero at line 1, column 2"},
        // Whatever had been decoded, or had failed to be, before the document broke off.
        {"behindAMismatch",
         R"([{"name":7,"last":1}, ])",
         Kind::notJSON,
         "",
         "not JSON: expected a value at line 1, column 23"},
        {"inAnUnknownKey",
         R"([{"name":"a","last":1,"other":[tru]}])",
         Kind::notJSON,
         "",
         "not JSON: expected a value at line 1, column 32"},
        {"inASecondValueOfAKey",
         R"([{"name":"a","last":1,"last":nul}])",
         Kind::notJSON,
         "",
         "not JSON: expected a value at line 1, column 30"},
        {"inADroppedElement",
         R"([{"name":"a","last":1,"leaves":[{"a":1,"x":.5}]}])",
         Kind::notJSON,
         "",
         "not JSON: expected a value at line 1, column 44"},
        {"inAForgivenValue",
         R"([{"name":"a","last":1,"alive":"\q"}])",
         Kind::notJSON,
         "",
         "not JSON: an unknown escape at line 1, column 32"},
        {"inAnUnreadableList",
         R"([{"name":"a","last":1,"leaves":{"a":01}}])",
         Kind::notJSON,
         "",
         "not JSON: a number with a leading zero at line 1, column 37"},
    }),
    rowName);

TEST(Decode, leavesNoPartOfARecordThatFails) {
  std::optional<Branch> branch;
  EXPECT_THROW(branch = decode<Branch>(R"({"name":"a","leaves":[{"a":1}]})"), DecodingError);
  EXPECT_FALSE(branch.has_value());
}

TEST(Decode, readsDocumentsThatEndWhereTheirMemoryDoes) {
  const std::string whole = encode(Tree{{{"oak", {{1, "x"}}, 2, true}}, {{"k", "v"}}});
  for (std::size_t length = 0; length <= whole.size(); ++length) {
    const ExactBytes document(std::string_view(whole).substr(0, length));
    if (length == whole.size()) {
      EXPECT_EQ(decode<Tree>(document.view()).branches.size(), 1U);
    } else {
      EXPECT_THROW(decode<Tree>(document.view()), DecodingError) << length;
    }
  }
}

// --- findings ---

TEST(DecodeWithFindings, tellsEveryLossWithItsPath) {
  Findings findings;
  const Tree tree = decode<Tree>(R"({
    "branches": [
      {"name": "oak", "last": 1, "leaves": [{"a": 1}, {"b": "x"}, 7, {"a": 2, "b": 3}]},
      {"name": "elm", "last": 2, "leaves": null},
      {"name": "fir", "last": 3, "leaves": {"a": 1}, "alive": "yes"},
      {"name": "ash", "leaves": [{"a": 4}]},
      null,
      {"name": "yew", "last": 5, "last": 6, "alive": true, "unknown": [1]}
    ],
    "tags": {"a": "b", "a": "c"}
  })",
                                 &findings);
  EXPECT_EQ(tree,
            (Tree{{{"oak", {{1, {}}}, 1, false},
                   {"elm", {}, 2, false},
                   {"fir", {}, 3, false},
                   {"yew", {}, 5, true}},
                  {{"a", "b"}}}));
  EXPECT_EQ(linesOf(findings),
            (std::vector<std::string>{
                "branches[0].leaves[1] () element dropped: a: required key is missing",
                "branches[0].leaves[2] (7) element dropped: expected an object, found a number",
                "branches[0].leaves[3] (3) element dropped: b: expected a text, found a number",
                "branches[2].leaves ({\"a\": 1}) read as an empty list: expected a list, found an "
                "object",
                "branches[2].alive (\"yes\") default used: expected true or false, found a text",
                "branches[3] () element dropped: last: required key is missing",
                "branches[4] (null) element dropped: expected an object, found null",
                "branches[5].last (6) ignored: the key stands twice in its object; the first value "
                "counts",
                "tags.a (\"c\") ignored: the key stands twice in its object; the first value "
                "counts"}));
  EXPECT_EQ(findings.count(), 9U);
  EXPECT_EQ(findings.lossCount(), 9U);
}

TEST(DecodeWithFindings, tellsNothingWhereNothingIsLost) {
  Findings findings;
  decode<Tree>(R"({"branches":[{"name":"a","last":1,"alive":null},{"name":"b","last":2,)"
               R"("leaves":null,"more":{"a":[1e999]}}],"tags":null})",
               &findings);
  EXPECT_EQ(linesOf(findings), std::vector<std::string>{});
}

TEST(DecodeWithFindings, addsToWhatWasFoundBefore) {
  Findings findings;
  decode<Tree>(R"({"branches":[7]})", &findings);
  decode<Tree>(R"({"branches":[8]})", &findings);
  EXPECT_EQ(linesOf(findings),
            (std::vector<std::string>{
                "branches[0] (7) element dropped: expected an object, found a number",
                "branches[0] (8) element dropped: expected an object, found a number"}));
}

TEST(DecodeWithFindings, cutsLongPartsOfTheDocument) {
  Findings findings;
  const std::string text(1'000'000, 'x');
  decode<Tree>(
      R"({"branches":[")" + text + R"("],"tags":{")" + text + R"(":"a",")" + text + R"(":"b"}})",
      &findings);
  ASSERT_EQ(findings.list().size(), 2U);
  EXPECT_EQ(findings.list()[0].found, "\"" + std::string(78, 'x') + "\xE2\x80\xA6");
  EXPECT_EQ(findings.list()[1].path, "tags." + std::string(79, 'x') + "\xE2\x80\xA6");
}

/// A document of random losses, in which keys stand in any order.
std::string randomTree(std::mt19937& random) {
  const auto oneOf = [&random](const std::vector<std::string>& choices) {
    return choices[random() % choices.size()];
  };
  const auto object = [&random](std::vector<std::string> members) {
    std::shuffle(members.begin(), members.end(), random);
    std::string text = "{";
    for (const std::string& member : members) text += (text.size() > 1 ? "," : "") + member;
    return text + "}";
  };
  std::string branches;
  for (std::size_t i = random() % 6; i > 0; --i) {
    std::string leaves;
    for (std::size_t j = random() % 4; j > 0; --j) {
      if (!leaves.empty()) leaves += ',';
      leaves += oneOf({"7",
                       "null",
                       "{}",
                       R"({"a":1})",
                       R"({"a":1,"b":2})",
                       R"({"b":"x","a":1})",
                       R"({"a":1,"a":2})"});
    }
    std::vector<std::string> members = {oneOf({R"("name":"a")", R"("name":1)", R"("other":1)"}),
                                        oneOf({R"("last":1)", R"("last":1.5)", R"("last":null)"}),
                                        R"("leaves":)" + oneOf({"[" + leaves + "]", "7", "null"}),
                                        oneOf({R"("alive":true)", R"("alive":1)"})};
    if (random() % 3 == 0) members.push_back(R"("last":7)");
    if (!branches.empty()) branches += ',';
    branches += object(members);
  }
  return R"({"branches":[)" + branches + "]}";
}

// What is asked about losses changes neither the records nor the number of losses.
TEST(DecodeWithFindings, readsAndCountsTheSameWhateverIsKept) {
  std::mt19937 random(1);
  std::size_t total = 0;
  for (int round = 0; round < 5'000; ++round) {
    const std::string document = randomTree(random);
    const Tree tree = decode<Tree>(document);
    Findings all;
    ASSERT_EQ(decode<Tree>(document, &all), tree) << document;
    ASSERT_EQ(all.list().size(), all.count());
    total += all.count();
    for (const std::size_t limit : {0U, 1U, 2U, 3U}) {
      Findings some(limit);
      ASSERT_EQ(decode<Tree>(document, &some), tree) << document;
      for (const FindingOutcome outcome : FindingOutcome::allCases()) {
        ASSERT_EQ(some.count(outcome), all.count(outcome))
            << outcome.title() << " with a limit of " << limit << ": " << document;
      }
      ASSERT_EQ(some.list().size(), std::min(limit, all.count()));
      ASSERT_TRUE(std::equal(some.list().begin(), some.list().end(), all.list().begin()))
          << document;
    }
  }
  EXPECT_GT(total, 20'000U) << "losses must have been met for the comparison to mean anything";
}

// --- size ---

TEST(Decode, dropsAMillionBadElements) {
  constexpr std::size_t kMillion = 1'000'000;
  std::string document = "{\"branches\":[";
  for (std::size_t i = 0; i < kMillion; ++i)
    document += i == 0 ? "{\"name\":\"a\"}" : ",{\"name\":1}";
  document += "]}";
  EXPECT_TRUE(decode<Tree>(document).branches.empty());

  Findings findings;
  EXPECT_TRUE(decode<Tree>(document, &findings).branches.empty());
  EXPECT_EQ(findings.count(FindingOutcome::elementDropped), kMillion);
  EXPECT_EQ(findings.count(), kMillion);
  ASSERT_EQ(findings.list().size(), Findings::kDefaultLimit);
  EXPECT_EQ(findings.list().front().reason, "last: required key is missing");
  EXPECT_EQ(findings.list().back().path, "branches[9999]");
}

TEST(Decode, dropsGPUsByTheMillion) {
  constexpr std::size_t kMillion = 1'000'000;
  std::string document =
      R"({"id":"0F8FAD5B-D9CB-469F-A165-70867728950E","name":"a","host":"b",)"
      R"("state":"demo","activeRuns":0,"lastSeen":"2026-11-15T17:48:25Z","gpus":[)";
  for (std::size_t i = 0; i < kMillion; ++i)
    document += i == 0 ? "{\"index\":1}" : ",{\"index\":1}";
  document += "]}";
  Findings findings(2);
  EXPECT_TRUE(decode<ServerSummary>(document, &findings).gpus.empty());
  EXPECT_EQ(findings.count(), kMillion);
  EXPECT_EQ(
      linesOf(findings),
      (std::vector<std::string>{"gpus[0] () element dropped: name: required key is missing",
                                "gpus[1] () element dropped: name: required key is missing"}));
}

TEST(Decode, passesOverAMillionLevels) {
  constexpr std::size_t kMillion = 1'000'000;
  const std::string deep = std::string(kMillion, '[') + std::string(kMillion, ']');
  Findings findings;
  const Tree tree = decode<Tree>(R"({"unknown":)" + deep + R"(,"branches":[)" + deep +
                                     R"(,{"name":"a","last":1,"leaves":[)" + deep +
                                     R"(],"alive":)" + deep + R"(}]})",
                                 &findings);
  EXPECT_EQ(tree, (Tree{{{"a", {}, 1, false}}, {}}));
  EXPECT_EQ(findings.count(), 3U);
  EXPECT_EQ(findings.list()[0].found, std::string(79, '[') + "\xE2\x80\xA6");
  EXPECT_THROW(decode<Tree>(deep), DecodingError);
  EXPECT_THROW(decode<Tree>(R"({"unknown":)" + deep.substr(1) + "}"), DecodingError);
}

TEST(Decode, keepsATextOfAnySize) {
  const std::string text(50'000'000, 'x');
  const Leaf leaf = decode<Leaf>(R"({"a":1,"b":")" + text + R"("})");
  EXPECT_TRUE(leaf.b == text);
}

}  // namespace
}  // namespace tavrine
