#include "tests/support/record_checks.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {
namespace {

/// Whether the checks find anything wrong.
template <class Check>
bool isFoundWrong(const Check& check) {
  testing::TestPartResultArray results;
  {
    const testing::ScopedFakeTestPartResultReporter reporter(
        testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD,
        &results);
    check();
  }
  for (int i = 0; i < results.size(); ++i) {
    if (results.GetTestPartResult(i).failed()) return true;
  }
  return false;
}

struct Sample {
  std::int64_t first;
  std::optional<double> second;
  std::vector<std::string> third;

  bool operator==(const Sample&) const = default;
  static const RecordTable& table();
};

const RecordTable& Sample::table() {
  using R = Sample;
  static constexpr auto fields =
      fieldsOf<R>(defaulted<&R::first>(), field<&R::second>(), lossyList<&R::third>());
  static constexpr RecordTable table{"Sample", fields};
  return table;
}

const Sample kExample = {7, 2.5, {"a", "b"}};
constexpr std::string_view kDocument = R"({"first":7,"second":2.5,"third":["a","b"]})";
const FieldRules kRules = {{"first", defaultsTo("0")}, {"third", dropsBadElements()}};

FieldRules without(const std::string& key) {
  FieldRules rules = kRules;
  rules.erase(key);
  return rules;
}

FieldRules with(const std::string& key, const FieldRule& rule) {
  FieldRules rules = kRules;
  rules[key] = rule;
  return rules;
}

TEST(CheckRecord, isContentWithARecordThatDoesWhatItsTestSays) {
  checkRecord(kExample, kDocument, kRules);
}

TEST(CheckRecord, noticesARuleThatTheTestDoesNotKnow) {
  EXPECT_TRUE(isFoundWrong([] { checkRecord(kExample, kDocument, without("first")); }));
  EXPECT_TRUE(isFoundWrong([] { checkRecord(kExample, kDocument, without("third")); }));
}

TEST(CheckRecord, noticesARuleThatTheRecordDoesNotKeep) {
  EXPECT_TRUE(
      isFoundWrong([] { checkRecord(kExample, kDocument, with("first", defaultsTo("14"))); }));
  EXPECT_TRUE(isFoundWrong([] { checkRecord(kExample, kDocument, with("first", forgives("0"))); }));
  EXPECT_TRUE(
      isFoundWrong([] { checkRecord(kExample, kDocument, with("second", defaultsTo("0"))); }));
  EXPECT_TRUE(
      isFoundWrong([] { checkRecord(kExample, kDocument, with("second", forgives(kNoValue))); }));
  EXPECT_TRUE(
      isFoundWrong([] { checkRecord(kExample, kDocument, with("third", defaultsTo("[]"))); }));
  EXPECT_TRUE(
      isFoundWrong([] { checkRecord(kExample, kDocument, with("fourth", defaultsTo("0"))); }));
}

TEST(CheckRecord, noticesAnotherDocument) {
  for (const std::string_view document : {R"({"first":8,"second":2.5,"third":["a","b"]})",
                                          R"({"first":7,"second":2.5,"theThird":["a","b"]})",
                                          R"({"first":7,"third":["a","b"]})",
                                          R"({"third":["a","b"],"second":2.5,"first":7})"}) {
    EXPECT_TRUE(isFoundWrong([&] { checkRecord(kExample, document, kRules); })) << document;
  }
}

TEST(CheckRecord, noticesAnExampleThatIsNotFull) {
  EXPECT_TRUE(isFoundWrong([] {
    checkRecord(Sample{7, {}, {"a", "b"}}, R"({"first":7,"third":["a","b"]})", kRules);
  }));
  EXPECT_TRUE(isFoundWrong([] {
    checkRecord(Sample{7, 2.5, {}}, R"({"first":7,"second":2.5,"third":[]})", kRules);
  }));
}

/// Compares all but one of its fields.
struct Careless {
  std::int64_t first;
  std::int64_t second;

  bool operator==(const Careless& other) const { return first == other.first; }
  static const RecordTable& table();
};

const RecordTable& Careless::table() {
  using R = Careless;
  static constexpr auto fields = fieldsOf<R>(field<&R::first>(), field<&R::second>());
  static constexpr RecordTable table{"Careless", fields};
  return table;
}

TEST(CheckRecord, noticesAFieldThatDoesNotCount) {
  EXPECT_TRUE(isFoundWrong([] { checkRecord(Careless{1, 2}, R"({"first":1,"second":2})"); }));
}

/// Its hash tells apart what its comparison does not.
struct MindsSigns {
  double value;

  bool operator==(const MindsSigns&) const = default;
  static const RecordTable& table();
};

const RecordTable& MindsSigns::table() {
  using R = MindsSigns;
  static constexpr auto fields = fieldsOf<R>(field<&R::value>());
  static constexpr RecordTable table{"MindsSigns", fields};
  return table;
}

}  // namespace
}  // namespace tavrine

template <>
struct std::hash<tavrine::MindsSigns> {
  std::size_t operator()(const tavrine::MindsSigns& record) const noexcept {
    return std::hash<std::uint64_t>()(std::bit_cast<std::uint64_t>(record.value));
  }
};

namespace tavrine {
namespace {

TEST(CheckRecord, noticesThatEqualNumbersHashDifferently) {
  EXPECT_TRUE(isFoundWrong([] { checkRecord(MindsSigns{2.5}, R"({"value":2.5})"); }));
}

// Two members of one type, listed the wrong way round: everything else about them is right.
struct Swapped {
  std::int64_t first;
  std::int64_t second;

  bool operator==(const Swapped&) const = default;
  static const RecordTable& table();
};

const RecordTable& Swapped::table() {
  using R = Swapped;
  static constexpr auto fields = fieldsOf<R>(field<&R::second>(), field<&R::first>());
  static constexpr RecordTable table{"Swapped", fields};
  return table;
}

TEST(CheckLayout, noticesMembersOutOfOrder) {
  EXPECT_TRUE(isFoundWrong([] { checkLayout<Swapped>(); }));
  EXPECT_FALSE(isFoundWrong([] { checkLayout<Sample>(); }));
}

}  // namespace
}  // namespace tavrine
