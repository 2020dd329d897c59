#include <TavrineShared/model/field_table.h>

#include <TavrineShared/model/findings.h>
#include <TavrineShared/model/gpu_server.h>
#include <TavrineShared/model/json_conventions.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <map>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "tests/model/every_rule.h"
#include "tests/support/record_checks.h"

namespace tavrine {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

// --- one record for all rules ---

FieldRules rulesWith(FieldRule openedAt) {
  return {{"parts", dropsBadElements()},
          {"commands", dropsBadElements()},
          {"days", defaultsTo("14")},
          {"phase", defaultsTo(R"("snapshot")")},
          {"path", defaultsTo(R"("")")},
          {"enabled", defaultsTo("false")},
          {"usage", defaultsTo("0")},
          {"templates", defaultsTo(R"(["concise","detailed"])")},
          {"pids", defaultsTo("[]")},
          {"settings", defaultsTo("{}")},
          {"running", forgives("false")},
          {"tier", forgives(kNoValue)},
          {"sizeBytes", defaultsTo("0")},
          {"capBytes", defaultsTo("53687091200")},
          {"t", readsSeconds()},
          {"openedAt", readsSeconds(openedAt)},
          {"alertSentAt", readsSeconds()}};
}

TEST(EveryRule, followsTheConventions) {
  checkRecord(fullExample(), kFullDocument, rulesWith(defaultsTo(R"("2001-09-09T01:46:40Z")")));
}

TEST(EveryRule, followsThemWhereADefaultCannotBeKnown) {
  checkRecord(fullExample(), kFullDocument, rulesWith(defaultsTo(kAnyValue)));
}

TEST(Part, followsTheConventions) {
  checkRecord(Part{7, "seven", 7.5}, R"({"index":7,"label":"seven","weight":7.5})");
}

// --- which failure is told ---

struct Four {
  std::int64_t d;
  std::int64_t b;
  std::int64_t c;
  std::int64_t a;

  bool operator==(const Four&) const = default;
  static const RecordTable& table();
};

const RecordTable& Four::table() {
  using R = Four;
  static constexpr auto fields =
      fieldsOf<R>(field<&R::d>(), field<&R::b>(), field<&R::c>(), field<&R::a>());
  static constexpr RecordTable table{"Four", fields};
  return table;
}

TEST(RecordDecoding, tellsTheFailingFieldDeclaredFirstWhateverTheOrderOfTheKeys) {
  enum State { good, missing, null, wrongType, outOfRange, kStates };
  constexpr std::string_view kDeclared = "dbca";
  const std::map<State, std::string> values = {{good, "1"},
                                               {null, "null"},
                                               {wrongType, "[]"},
                                               {outOfRange, "1.5"}};
  const std::map<State, std::string> reasons = {
      {missing, "required key is missing"},
      {null, "expected a 64-bit integer, found null"},
      {wrongType, "expected a 64-bit integer, found a list"},
      {outOfRange, "not a 64-bit integer"}};
  int combinations = 0;
  for (int code = 0; code < kStates * kStates * kStates * kStates; ++code) {
    std::map<char, State> states;
    for (int i = 0, rest = code; i < 4; ++i, rest /= kStates) {
      states[kDeclared[static_cast<std::size_t>(i)]] = static_cast<State>(rest % kStates);
    }
    std::string want = "none";
    for (const char key : kDeclared) {
      if (states[key] == good) continue;
      want = std::string(1, key) + ": " + reasons.at(states[key]);
      break;
    }
    std::string order = "abcd";
    do {
      std::string document;
      for (const char key : order) {
        if (states[key] == missing) continue;
        document += document.empty() ? "{" : ",";
        document += std::string("\"") + key + "\":" + values.at(states[key]);
      }
      document += document.empty() ? "{}" : "}";
      std::string got = "none";
      try {
        decode<Four>(document);
      } catch (const DecodingError& error) {
        got = error.what();
      }
      ASSERT_EQ(got, want) << document;
      ++combinations;
    } while (std::next_permutation(order.begin(), order.end()));
  }
  EXPECT_EQ(combinations, 625 * 24);
}

TEST(RecordDecoding, tellsTheFirstFailureInsideARecordInside) {
  // `part` is declared before `stack`, and its `index` before its `label`.
  const std::string document(kFullDocument);
  std::string broken = document;
  const auto replace = [&broken](std::string_view from, std::string_view to) {
    broken.replace(broken.find(from), from.size(), to);
  };
  replace(R"("part":{"index":1,"label":"one","weight":1.5})", R"("part":{"weight":"x","label":1})");
  replace(R"("stack":[{"index":2)", R"("stack":[{"index":null)");
  try {
    decode<EveryRule>(broken);
    ADD_FAILURE() << "decodes";
  } catch (const DecodingError& error) {
    EXPECT_STREQ(error.what(), "part.index: required key is missing");
  }
}

// --- keys ---

TEST(FieldKey, isTheNameOfTheMemberUnlessGiven) {
  EXPECT_EQ(detail::memberName<&Part::index>(), "index");
  EXPECT_EQ(detail::memberName<&EveryRule::startTLS>(), "startTLS");
  EXPECT_EQ(detail::memberName<&EveryRule::t>(), "t");
  EXPECT_EQ(detail::memberName<&GPUStat::pcieLinkWidth>(), "pcieLinkWidth");
  EXPECT_EQ(detail::memberName<&Finding::path>(), "path");
  EXPECT_EQ(field<&EveryRule::gpuUtil>().key, "gpuUtil");
  EXPECT_EQ(field<&EveryRule::gpuUtil>("gpu_util").key, "gpu_util");
  EXPECT_EQ(lossyList<&EveryRule::parts>("other").key, "other");
  EXPECT_EQ(forgiving<&EveryRule::running>("other").key, "other");
  EXPECT_EQ(defaulted<&EveryRule::path>({}, "other").key, "other");
  EXPECT_EQ(flexibleInt64<&EveryRule::sizeBytes>({}, "other").key, "other");
  EXPECT_EQ(secondsOrDate(field<&EveryRule::t>("other")).key, "other");
}

TEST(RecordTable, listsItsFieldsInBothOrders) {
  const RecordTable& table = EveryRule::table();
  EXPECT_EQ(table.name, "EveryRule");
  ASSERT_EQ(table.fields.size(), 38U);
  EXPECT_EQ(table.fields.front().key, "count");
  EXPECT_EQ(table.fields.back().key, "vram_mb");
  ASSERT_EQ(table.byKey.size(), table.fields.size());
  EXPECT_TRUE(std::is_sorted(table.byKey.begin(),
                             table.byKey.end(),
                             [](const Field& a, const Field& b) { return a.key < b.key; }));
}

TEST(RecordTable, findsEveryKeyAndNoOther) {
  const RecordTable& table = EveryRule::table();
  const auto keyAt = [&table](std::size_t place) { return table.byKey[place].key; };
  const std::size_t none = table.fields.size();
  const auto isKey = [&](std::string_view key) {
    return std::any_of(table.fields.begin(), table.fields.end(), [key](const Field& field) {
      return field.key == key;
    });
  };
  for (std::size_t place = 0; place < none; ++place) EXPECT_EQ(table.find(keyAt(place)), place);
  for (std::size_t place = 0; place < none; ++place) {
    const std::string key(keyAt(place));
    // What differs from a key in one place only, which is where a hasty comparison would err.
    for (std::size_t i = 0; i < key.size(); ++i) {
      for (int byte = 0; byte < 256; ++byte) {
        std::string other = key;
        other[i] = static_cast<char>(byte);
        EXPECT_EQ(table.find(other) == none, !isKey(other)) << other;
      }
      EXPECT_TRUE(table.find(key.substr(0, i)) == none || isKey(key.substr(0, i)));
      EXPECT_TRUE(table.find(key.substr(i + 1)) == none || isKey(key.substr(i + 1)));
    }
    EXPECT_EQ(table.find(key + '\0'), none);
    EXPECT_EQ(table.find(key + key), none);
  }
  EXPECT_EQ(table.find(""), none);
  EXPECT_EQ(table.find(std::string(100'000, 'x')), none);
}

/// Keys of all lengths, some of which differ in the middle only.
struct OddKeys {
  std::optional<std::int64_t> a, b, c, d, e, f, g, h;

  bool operator==(const OddKeys&) const = default;
  static const RecordTable& table();
};

const RecordTable& OddKeys::table() {
  using R = OddKeys;
  static constexpr auto fields =
      fieldsOf<R>(field<&R::a>("a_name_of_more_than_thirty_two_characters_A_and_more"),
                  field<&R::b>("a_name_of_more_than_thirty_two_characters_B_and_more"),
                  field<&R::c>("a name with blanks"),
                  field<&R::d>("nineteen_characters"),
                  field<&R::e>("nineteen_charaCters"),
                  field<&R::f>("x"),
                  field<&R::g>("X"),
                  field<&R::h>("xX"));
  static constexpr RecordTable table{"OddKeys", fields};
  return table;
}

TEST(RecordTable, tellsApartKeysThatResembleEachOther) {
  checkRecord(OddKeys{1, 2, 3, 4, 5, 6, 7, 8},
              R"({"X":7,"a name with blanks":3,)"
              R"("a_name_of_more_than_thirty_two_characters_A_and_more":1,)"
              R"("a_name_of_more_than_thirty_two_characters_B_and_more":2,)"
              R"("nineteen_charaCters":5,"nineteen_characters":4,"x":6,"xX":8})");
}

/// Keys whose order depends on how bytes are compared.
struct Accents {
  bool small, accent, capital, beyond, underscore;

  bool operator==(const Accents&) const = default;
  static const RecordTable& table();
};

const RecordTable& Accents::table() {
  using R = Accents;
  static constexpr auto fields = fieldsOf<R>(field<&R::small>("a"),
                                             field<&R::accent>("\xC3\xA9"),
                                             field<&R::capital>("B"),
                                             field<&R::beyond>("\xF0\x9F\x98\x80"),
                                             field<&R::underscore>("_"));
  static constexpr RecordTable table{"Accents", fields};
  return table;
}

TEST(RecordEncoding, sortsKeysByTheirBytes) {
  constexpr std::string_view kDocument =
      "{\"B\":true,\"_\":true,\"a\":true,\"\xC3\xA9\":true,\"\xF0\x9F\x98\x80\":true}";
  EXPECT_EQ(encode(Accents{true, true, true, true, true}), kDocument);
  EXPECT_EQ(decode<Accents>(kDocument), (Accents{true, true, true, true, true}));
}

TEST(RecordEncoding, leavesOutWhatHasNoValue) {
  EXPECT_EQ(encode(OddKeys{}), "{}");
  EXPECT_EQ(encode(OddKeys{}, JSONStyle::pretty), "{}");
  EXPECT_EQ(encode(Part{1, "x", {}}), R"({"index":1,"label":"x"})");
  EXPECT_EQ(encode(Part{1, "x", {}}, JSONStyle::pretty),
            "{\n  \"index\": 1,\n  \"label\": \"x\"\n}");
}

// --- what cannot be written ---

std::string encodingErrorOf(const EveryRule& record) {
  std::string compact;
  try {
    return encode(record);
  } catch (const EncodingError& error) {
    compact = error.what();
  }
  try {
    return encode(record, JSONStyle::pretty);
  } catch (const EncodingError& error) {
    EXPECT_EQ(compact, error.what());
  }
  return compact;
}

TEST(RecordEncoding, saysWhereAValueHasNoForm) {
  const std::string notFinite = ": a number that is not finite has no JSON form";
  const std::string noTime = ": a time outside the years 0000 to 9999 has no JSON form";
  EveryRule record = fullExample();
  EXPECT_EQ(encodingErrorOf(record), kFullDocument);

  record.ratio = kNaN;
  EXPECT_EQ(encodingErrorOf(record), "ratio" + notFinite);
  record = fullExample();
  record.share = -kInfinity;
  EXPECT_EQ(encodingErrorOf(record), "share" + notFinite);
  record = fullExample();
  record.gpuUtil = kInfinity;
  EXPECT_EQ(encodingErrorOf(record), "gpu_util" + notFinite);
  record = fullExample();
  record.loads[2] = kNaN;
  EXPECT_EQ(encodingErrorOf(record), "loads[2]" + notFinite);
  record = fullExample();
  record.part->weight = kInfinity;
  EXPECT_EQ(encodingErrorOf(record), "part.weight" + notFinite);
  record = fullExample();
  record.parts[1].weight = kNaN;
  EXPECT_EQ(encodingErrorOf(record), "parts[1].weight" + notFinite);
  record = fullExample();
  (*record.stack)[0].weight = kNaN;
  EXPECT_EQ(encodingErrorOf(record), "stack[0].weight" + notFinite);
  record = fullExample();
  record.seenAt = at(253402300800);
  EXPECT_EQ(encodingErrorOf(record), "seenAt" + noTime);
  record = fullExample();
  record.t = at(-62167219201);
  EXPECT_EQ(encodingErrorOf(record), "t" + noTime);
  record = fullExample();
  record.alertSentAt = at(kNaN);
  EXPECT_EQ(encodingErrorOf(record), "alertSentAt" + noTime);
  record = fullExample();
  record.openedAt = at(1e300);
  EXPECT_EQ(encodingErrorOf(record), "openedAt" + noTime);
}

TEST(RecordEncoding, writesTextsThatAreNotUTF8AsReplacementCharacters) {
  EveryRule record = fullExample();
  record.name = "a\xFF";
  record.settings = {{"k\xC3", "v\xE2\x82"}};
  const std::string document = encode(record);
  EXPECT_NE(document.find("\"name\":\"a\xEF\xBF\xBD\""), std::string::npos);
  EXPECT_NE(document.find("{\"k\xEF\xBF\xBD\":\"v\xEF\xBF\xBD\"}"), std::string::npos);
  EXPECT_EQ(decode<EveryRule>(document).name, "a\xEF\xBF\xBD");
}

// --- hashes ---

TEST(RecordHash, isEqualForEqualRecords) {
  EveryRule zero = fullExample();
  EveryRule minusZero = fullExample();
  zero.ratio = 0.0;
  minusZero.ratio = -0.0;
  zero.share = 0.0;
  minusZero.share = -0.0;
  zero.loads = {0.0, 1};
  minusZero.loads = {-0.0, 1};
  zero.seenAt = at(0.0);
  minusZero.seenAt = at(-0.0);
  ASSERT_EQ(zero, minusZero);
  EXPECT_EQ(std::hash<EveryRule>()(zero), std::hash<EveryRule>()(minusZero));
  EXPECT_EQ(encode(zero), encode(minusZero)) << "and equal records are written alike";
}

TEST(RecordHash, differsWhereValuesHaveChangedPlaces) {
  const std::hash<OddKeys> hash;
  std::unordered_set<std::size_t> hashes;
  OddKeys record{};
  for (std::optional<std::int64_t> OddKeys::*const member : {&OddKeys::a,
                                                             &OddKeys::b,
                                                             &OddKeys::c,
                                                             &OddKeys::d,
                                                             &OddKeys::e,
                                                             &OddKeys::f,
                                                             &OddKeys::g,
                                                             &OddKeys::h}) {
    for (const std::int64_t value : {0, 1, 2}) {
      record.*member = value;
      hashes.insert(hash(record));
    }
    record.*member = {};
  }
  hashes.insert(hash(record));
  EXPECT_EQ(hashes.size(), 8U * 3 + 1);
}

TEST(RecordHash, letsRecordsBeKeys) {
  const std::unordered_set<Part> parts = {{1, "a", {}}, {1, "b", {}}, {1, "a", {}}};
  EXPECT_EQ(parts.size(), 2U);
  EXPECT_TRUE(parts.contains(Part{1, "b", {}}));
}

// Losses inside a record that fails are told whichever of its keys comes first.
TEST(DecodeWithFindings, doesNotDependOnTheOrderOfKeys) {
  for (const std::string_view document : {
           R"([{"gpus":[{},7],"id":"x","name":3}])",
           R"([{"name":3,"gpus":[{},7],"id":"x"}])",
           R"([{"id":"x","name":3,"gpus":[{},7]}])",
       }) {
    Findings findings;
    try {
      decode<std::vector<ServerSummary>>(document, &findings);
      ADD_FAILURE() << document;
    } catch (const DecodingError& error) {
      EXPECT_STREQ(error.what(), "[0].id: not a UUID");
      EXPECT_EQ(error.found(), "\"x\"");
    }
    EXPECT_EQ(findings.count(FindingOutcome::elementDropped), 2U) << document;
  }
}

// --- every table of the library ---

TEST(EveryTable, listsTheMembersAsTheyLieInMemory) {
  checkLayout<Finding>();
  checkLayout<GPUStat>();
  checkLayout<ServerSummary>();
}

}  // namespace
}  // namespace tavrine
