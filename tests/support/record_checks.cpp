#include "tests/support/record_checks.h"

#include <TavrineShared/foundation/json_reader.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <set>
#include <utility>
#include <vector>

#include "tests/support/json_printing.h"

namespace tavrine::record_checks {

namespace {

using Kind = DecodingError::Kind;

/// One member of an object: its key and its value as they are spelled.
struct Member {
  std::string key;
  std::string value;
};
using Members = std::vector<Member>;

Members membersOf(std::string_view document) {
  Members members;
  JSONReader reader(document);
  std::string_view key;
  EXPECT_EQ(reader.enterObject(), JSONResult::ok) << document;
  while (reader.nextKey(key)) {
    const char* const start = reader.position();
    EXPECT_TRUE(reader.skip()) << document;
    members.push_back({std::string(key), std::string(start, reader.position())});
  }
  EXPECT_TRUE(reader.finish()) << document;
  return members;
}

std::vector<std::string> elementsOf(std::string_view list) {
  std::vector<std::string> elements;
  JSONReader reader(list);
  EXPECT_EQ(reader.enterList(), JSONResult::ok) << list;
  while (reader.nextElement()) {
    const char* const start = reader.position();
    EXPECT_TRUE(reader.skip()) << list;
    elements.emplace_back(start, reader.position());
  }
  return elements;
}

/// The keys are written as they are: with escapes, if a test has put some there.
std::string objectOf(const Members& members) {
  std::string document = "{";
  for (const Member& member : members) {
    if (document.size() > 1) document += ',';
    document.append("\"").append(member.key).append("\":").append(member.value);
  }
  return document + "}";
}

std::string listOf(const std::vector<std::string>& elements) {
  std::string document = "[";
  for (const std::string& element : elements) {
    if (document.size() > 1) document += ',';
    document += element;
  }
  return document + "]";
}

/// The position of a key; the number of members if it is not among them.
std::size_t placeOf(const Members& members, std::string_view key) {
  return static_cast<std::size_t>(
      std::find_if(members.begin(),
                   members.end(),
                   [key](const Member& member) { return member.key == key; }) -
      members.begin());
}

Members with(Members members, std::size_t place, std::string value) {
  members[place].value = std::move(value);
  return members;
}

Members without(Members members, std::size_t place) {
  members.erase(members.begin() + static_cast<std::ptrdiff_t>(place));
  return members;
}

/// `value` stands for a default: it replaces the member's, or the member goes.
Members withDefault(const Members& members, std::size_t place, const std::string& value) {
  return value == kNoValue ? without(members, place) : with(members, place, value);
}

Members inserted(Members members, std::size_t place, Member member) {
  members.insert(members.begin() + static_cast<std::ptrdiff_t>(place), std::move(member));
  return members;
}

/// A value of each JSON type.
constexpr std::string_view kOneOfEach[] = {"true", "7", R"("x")", "[]", "{}"};

JSONKind kindOf(std::string_view json) { return JSONReader(json).peek(); }

/// What an expected finding is about.
struct Loss {
  FindingOutcome outcome;
  std::string path;
};

struct Checker {
  const Subject& subject;
  const Members members;  ///< of the example's document
  const FieldRules& rules;

  const Field& fieldOf(std::size_t place) const {
    const auto field =
        std::find_if(subject.table.fields.begin(),
                     subject.table.fields.end(),
                     [&](const Field& one) { return one.key == members[place].key; });
    return *field;
  }
  FieldRule ruleOf(std::size_t place) const {
    const auto rule = rules.find(members[place].key);
    return rule == rules.end() ? FieldRule{} : rule->second;
  }
  bool isOptional(std::size_t place) const { return fieldOf(place).type->isPresent != nullptr; }
  /// What stands in for a missing key, if anything does.
  std::optional<std::string> defaultOf(std::size_t place) const {
    if (const FieldRule rule = ruleOf(place); rule.defaultValue) return rule.defaultValue;
    if (isOptional(place)) return std::string(kNoValue);
    return std::nullopt;
  }
  bool neverFails(std::size_t place) const {
    return ruleOf(place).dropsBadElements || ruleOf(place).forgives;
  }
  /// What a text must be to be accepted; integers and floats are told apart by it, too.
  std::string wantedBy(std::size_t place) const { return fieldOf(place).type->describe(); }
  bool isVocabulary(std::size_t place) const { return wantedBy(place).starts_with("one of "); }
  /// A null is no value; of a vocabulary it is an unknown word, as all is that is no text.
  Kind kindOfNull(std::size_t place) const {
    return isVocabulary(place) ? Kind::dataCorrupted : Kind::valueNotFound;
  }

  /// `document` reads as the record whose document is `want`, and `losses` are told, in any order.
  void expectReads(const std::string& document, const Members& want,
                   const std::vector<Loss>& losses = {}) const {
    SCOPED_TRACE("reading " + document);
    try {
      Findings findings;
      const Subject::Reading reading = subject.read(document, &findings);
      EXPECT_TRUE(reading.compact == objectOf(want))
          << "want " << objectOf(want) << "\n got " << reading.compact;
      std::multiset<std::string> told;
      std::multiset<std::string> expected;
      for (const Finding& finding : findings.list()) {
        told.insert(finding.path + " " + std::string(finding.outcome.title()));
        EXPECT_FALSE(finding.reason.empty()) << finding.path;
      }
      for (const Loss& loss : losses) {
        expected.insert(loss.path + " " + std::string(loss.outcome.title()));
      }
      EXPECT_EQ(told, expected);
      // Whether anyone wants to know of losses changes nothing.
      EXPECT_EQ(subject.read(document, nullptr).compact, reading.compact);
    } catch (const DecodingError& error) {
      ADD_FAILURE() << error.what();
    }
  }

  /// As `expectReads`, for a default that may not be known.
  void expectReadsDefault(const std::string& document, std::size_t place, const std::string& value,
                          const std::vector<Loss>& losses = {}) const {
    if (value != kAnyValue) {
      expectReads(document, withDefault(members, place, value), losses);
      return;
    }
    SCOPED_TRACE("reading " + document);
    try {
      const Members read = membersOf(subject.read(document, nullptr).compact);
      ASSERT_EQ(read.size(), members.size());
      EXPECT_EQ(objectOf(without(read, place)), objectOf(without(members, place)));
    } catch (const DecodingError& error) {
      ADD_FAILURE() << error.what();
    }
  }

  void expectFails(const std::string& document, const std::string& path, Kind kind) const {
    SCOPED_TRACE("reading " + document);
    for (Findings findings; Findings * told : {static_cast<Findings*>(nullptr), &findings}) {
      try {
        ADD_FAILURE() << "reads as " << subject.read(document, told).compact;
      } catch (const DecodingError& error) {
        EXPECT_EQ(error.path(), path);
        EXPECT_EQ(error.kind(), kind) << error.what();
        EXPECT_FALSE(error.reason().empty());
      }
    }
  }

  void checkExample() const;
  void checkField(std::size_t place) const;
  void checkAbsence(std::size_t place) const;
  void checkWrongTypes(std::size_t place) const;
  void checkNumber(std::size_t place) const;
  void checkText(std::size_t place) const;
  void checkList(std::size_t place) const;
  void checkTextMap(std::size_t place) const;
  void checkSpelling(std::size_t place) const;
  void checkRepetition(std::size_t place) const;
  void checkItCounts(std::size_t place) const;
  void checkUnknownKeys() const;
  void checkKeyOrder() const;
  void checkWhichFailureIsTold() const;
};

void Checker::checkExample() const {
  EXPECT_EQ(subject.compact, objectOf(members));
  EXPECT_TRUE(std::is_sorted(members.begin(), members.end(), [](const Member& a, const Member& b) {
    return std::lexicographical_compare(a.key.begin(),
                                        a.key.end(),
                                        b.key.begin(),
                                        b.key.end(),
                                        [](char x, char y) {
                                          return static_cast<unsigned char>(x) <
                                                 static_cast<unsigned char>(y);
                                        });
  })) << "keys are written in ascending order of their bytes";
  for (const std::string& document : {subject.compact, subject.pretty}) {
    expectReads(document, members);
    const Subject::Reading reading = subject.read(document, nullptr);
    EXPECT_TRUE(reading.isExample) << "reads back as another record: " << document;
    EXPECT_EQ(reading.hash, subject.hash) << "equal records hash equally";
  }
}

void Checker::checkAbsence(std::size_t place) const {
  const std::string& key = members[place].key;
  const std::string missing = objectOf(without(members, place));
  const std::string null = objectOf(with(members, place, "null"));
  if (const auto value = defaultOf(place)) {
    expectReadsDefault(missing, place, *value);
    expectReadsDefault(null, place, *value);
  } else {
    expectFails(missing, key, Kind::keyNotFound);
    expectFails(null, key, kindOfNull(place));
  }
}

void Checker::checkWrongTypes(std::size_t place) const {
  const std::string& key = members[place].key;
  const FieldRule rule = ruleOf(place);
  for (const std::string_view other : kOneOfEach) {
    if (kindOf(other) == kindOf(members[place].value)) continue;
    if (rule.readsSeconds && kindOf(other) == JSONKind::number) continue;
    const std::string document = objectOf(with(members, place, std::string(other)));
    if (rule.dropsBadElements) {
      expectReads(document, with(members, place, "[]"), {{FindingOutcome::listEmptied, key}});
    } else if (rule.forgives) {
      expectReadsDefault(document, place, *rule.defaultValue, {{FindingOutcome::defaultUsed, key}});
    } else {
      expectFails(document, key, isVocabulary(place) ? Kind::dataCorrupted : Kind::typeMismatch);
    }
  }
}

void Checker::checkNumber(std::size_t place) const {
  const bool isInteger = wantedBy(place) == "a 64-bit integer";
  ASSERT_TRUE(isInteger || wantedBy(place) == "a finite number") << wantedBy(place);
  for (const std::string spelled : {"12.0", "1.2e1", "120E-1"}) {
    expectReads(objectOf(with(members, place, spelled)), with(members, place, "12"));
  }
  std::vector<std::string> bad = {"1e999", "-1e999"};
  if (isInteger) {
    bad.insert(bad.end(), {"12.5", "9223372036854775808", "-9223372036854775809", "1e30", "1e-1"});
    for (const std::string limit : {"9223372036854775807", "-9223372036854775808"}) {
      expectReads(objectOf(with(members, place, limit)), with(members, place, limit));
    }
  } else {
    for (const std::string value : {"-12.5", "1e+300", "5e-324"}) {
      expectReads(objectOf(with(members, place, value)), with(members, place, value));
    }
    const auto hashWith = [&](const std::string& value) {
      return subject.read(objectOf(with(members, place, value)), nullptr).hash;
    };
    EXPECT_EQ(hashWith("-0.0"), hashWith("0.0")) << "equal numbers hash equally";
  }
  for (const std::string& value : bad) {
    const std::string document = objectOf(with(members, place, value));
    if (ruleOf(place).forgives) {
      expectReadsDefault(document,
                         place,
                         *ruleOf(place).defaultValue,
                         {{FindingOutcome::defaultUsed, members[place].key}});
    } else {
      expectFails(document, members[place].key, Kind::dataCorrupted);
    }
  }
}

void Checker::checkText(std::size_t place) const {
  if (wantedBy(place) == "a text") {
    for (const std::string text : {R"("")", R"("a \u0000\n\"\\ b")", "\"\xE2\x82\xAC\""}) {
      expectReads(objectOf(with(members, place, text)), with(members, place, text));
    }
    return;
  }
  for (const std::string text : {R"("")", R"("neither time nor word")", R"("12")"}) {
    expectFails(objectOf(with(members, place, text)), members[place].key, Kind::dataCorrupted);
  }
  // The text as it should be, but for a blank at its end or the case of its letters.
  std::string blank = members[place].value;
  blank.insert(blank.size() - 1, " ");
  expectFails(objectOf(with(members, place, blank)), members[place].key, Kind::dataCorrupted);
  if (ruleOf(place).readsSeconds) {
    expectReads(objectOf(with(members, place, "1700000000")),
                with(members, place, R"("2023-11-14T22:13:20Z")"));
    expectFails(objectOf(with(members, place, "1e999")), members[place].key, Kind::dataCorrupted);
  }
}

void Checker::checkList(std::size_t place) const {
  const std::string& key = members[place].key;
  const bool isLenient = ruleOf(place).dropsBadElements;
  const std::vector<std::string> elements = elementsOf(members[place].value);
  ASSERT_FALSE(elements.empty()) << "an example needs an element in each list";
  expectReads(objectOf(with(members, place, "[]")), with(members, place, "[]"));

  std::vector<std::string> bad = {"null"};
  for (const std::string_view value : kOneOfEach) {
    if (kindOf(value) != kindOf(elements.front())) bad.emplace_back(value);
  }
  for (std::size_t at = 0; at <= elements.size(); ++at) {
    const std::string path = key + "[" + std::to_string(at) + "]";
    for (const std::string& value : bad) {
      std::vector<std::string> list = elements;
      list.insert(list.begin() + static_cast<std::ptrdiff_t>(at), value);
      const std::string document = objectOf(with(members, place, listOf(list)));
      if (isLenient) {
        expectReads(document, members, {{FindingOutcome::elementDropped, path}});
      } else {
        expectFails(document, path, value == "null" ? Kind::valueNotFound : Kind::typeMismatch);
      }
    }
  }
  if (isLenient) {
    const std::string onlyBad = objectOf(with(members, place, listOf(bad)));
    std::vector<Loss> losses;
    for (std::size_t at = 0; at < bad.size(); ++at) {
      losses.push_back({FindingOutcome::elementDropped, key + "[" + std::to_string(at) + "]"});
    }
    expectReads(onlyBad, with(members, place, "[]"), losses);
  }
}

void Checker::checkTextMap(std::size_t place) const {
  const std::string& key = members[place].key;
  ASSERT_NE(members[place].value, "{}") << "an example needs a member in each map";
  expectReads(objectOf(with(members, place, "{}")), with(members, place, "{}"));
  for (const std::string value : {"null", "7", "true", "[]", "{}"}) {
    Members map = membersOf(members[place].value);
    map.push_back({"worse", value});
    expectFails(objectOf(with(members, place, objectOf(map))),
                key + ".worse",
                value == "null" ? Kind::valueNotFound : Kind::typeMismatch);
  }
}

void Checker::checkSpelling(std::size_t place) const {
  constexpr char kHex[] = "0123456789abcdef";
  Members escaped = members;
  std::string& key = escaped[place].key;
  const auto first = static_cast<unsigned char>(key.front());
  key = std::string("\\u00") + kHex[first / 16] + kHex[first % 16] + key.substr(1);
  expectReads(objectOf(escaped), members);
}

void Checker::checkRepetition(std::size_t place) const {
  const std::string& key = members[place].key;
  const Loss ignored = {FindingOutcome::ignored, key};
  const std::string& good = members[place].value;
  // The first value counts, whatever follows, and be it at the end of the object.
  for (const std::string& second : {std::string("null"), std::string("[7]"), good}) {
    expectReads(objectOf(inserted(members, place + 1, {key, second})), members, {ignored});
    expectReads(objectOf(inserted(members, members.size(), {key, second})), members, {ignored});
  }
  // A null is a first value, too.
  const std::string nullFirst = objectOf(inserted(members, place, {key, "null"}));
  if (const auto value = defaultOf(place)) {
    expectReadsDefault(nullFirst, place, *value, {ignored});
  } else {
    expectFails(nullFirst, key, kindOfNull(place));
  }
  // As is one that cannot be read.
  if (!neverFails(place)) {
    const std::string bad = kindOf(good) == JSONKind::list ? "{}" : "[]";
    expectFails(objectOf(inserted(members, place, {key, bad})),
                key,
                isVocabulary(place) ? Kind::dataCorrupted : Kind::typeMismatch);
  }
}

// A record in which only this field differs is another record.
void Checker::checkItCounts(std::size_t place) const {
  const std::string& value = members[place].value;
  std::vector<std::string> others;
  switch (kindOf(value)) {
    case JSONKind::boolean:
      others = {"false", "true"};
      break;
    case JSONKind::number:
      others = {"0", "1", "7"};
      break;
    case JSONKind::list:
      others = {"[]"};
      break;
    case JSONKind::object:
      others = {"{}"};
      break;
    case JSONKind::text: {
      const std::string wanted = wantedBy(place);
      if (wanted == "a text") {
        others = {R"("")", R"("another text")"};
      } else if (wanted == "a UUID") {
        others = {R"("00000000-0000-0000-0000-000000000000")",
                  R"("00000000-0000-0000-0000-000000000001")"};
      } else if (isVocabulary(place)) {
        const std::string all = wanted.substr(7) + ", ";
        for (std::size_t at = 0; at < all.size(); at = all.find(", ", at) + 2) {
          others.push_back('"' + all.substr(at, all.find(", ", at) - at) + '"');
        }
      } else {
        others = {R"("1970-01-01T00:00:00Z")", R"("1970-01-01T00:00:01Z")"};
      }
      break;
    }
    default:
      break;
  }
  std::erase(others, value);
  const bool isRecord = kindOf(value) == JSONKind::object && wantedBy(place) == "an object";
  if (isOptional(place)) others.emplace_back("null");
  if (isRecord) std::erase(others, "{}");
  ASSERT_FALSE(others.empty()) << "no other value known for " << value;
  for (const std::string& other : others) {
    SCOPED_TRACE("with " + other);
    const Subject::Reading reading = subject.read(objectOf(with(members, place, other)), nullptr);
    EXPECT_FALSE(reading.isExample) << "does not count for equality";
    EXPECT_NE(reading.hash, subject.hash) << "does not count for the hash";
  }
}

void Checker::checkField(std::size_t place) const {
  SCOPED_TRACE(std::string(subject.table.name) + "." + members[place].key);
  checkAbsence(place);
  checkWrongTypes(place);
  checkSpelling(place);
  checkRepetition(place);
  checkItCounts(place);
  switch (kindOf(members[place].value)) {
    case JSONKind::number:
      checkNumber(place);
      break;
    case JSONKind::text:
      checkText(place);
      break;
    case JSONKind::list:
      checkList(place);
      break;
    case JSONKind::object:
      if (wantedBy(place) == "an object of texts") checkTextMap(place);
      break;
    default:
      break;
  }
}

void Checker::checkUnknownKeys() const {
  SCOPED_TRACE("unknown keys");
  // Keys that resemble known ones, and values that resemble whole records.
  std::vector<std::string> keys = {"", "unknown", "\\u0000"};
  for (const Member& member : members) {
    keys.push_back(member.key + "x");
    keys.push_back(member.key.substr(1));
    keys.push_back(member.key.substr(0, member.key.size() - 1));
    std::string otherCase = member.key;
    otherCase.front() = static_cast<char>(otherCase.front() ^ 0x20);
    keys.push_back(otherCase);
  }
  for (const std::string& key : keys) {
    if (placeOf(members, key) != members.size()) continue;
    for (const std::size_t at : {std::size_t{0}, members.size() / 2, members.size()}) {
      expectReads(objectOf(inserted(members, at, {key, objectOf(members)})), members);
    }
  }
  for (const std::string value : {"null", "true", "1e999", R"("x\n")", "[[1],{}]", "{}"}) {
    for (std::size_t at = 0; at <= members.size(); ++at) {
      expectReads(objectOf(inserted(members, at, {"unknown", value})), members);
    }
  }
}

void Checker::checkKeyOrder() const {
  SCOPED_TRACE("keys in another order");
  Members shuffled = members;
  std::reverse(shuffled.begin(), shuffled.end());
  expectReads(objectOf(shuffled), members);
  std::mt19937 random(1);
  for (int round = 0; round < 20; ++round) {
    std::shuffle(shuffled.begin(), shuffled.end(), random);
    expectReads(objectOf(shuffled), members);
  }
}

// Of any two fields that fail, the one declared first is told, whatever their order in the
// document.
void Checker::checkWhichFailureIsTold() const {
  SCOPED_TRACE("two failures at once");
  std::vector<std::size_t> places;  // of the fields that can fail, in declaration order
  for (const Field& field : subject.table.fields) {
    const std::size_t place = placeOf(members, field.key);
    if (place < members.size() && !neverFails(place)) places.push_back(place);
  }
  const auto bad = [this](std::size_t place) {
    return std::string(kindOf(members[place].value) == JSONKind::list ? "{}" : "[]");
  };
  for (std::size_t i = 0; i < places.size(); ++i) {
    for (std::size_t j = i + 1; j < places.size(); ++j) {
      const std::size_t first = places[i];
      const std::size_t second = places[j];
      const std::string& path = members[first].key;
      const Kind kind = isVocabulary(first) ? Kind::dataCorrupted : Kind::typeMismatch;
      const Members bothBad = with(with(members, first, bad(first)), second, bad(second));
      expectFails(objectOf(bothBad), path, kind);
      expectFails(objectOf({bothBad.rbegin(), bothBad.rend()}), path, kind);
      if (!defaultOf(first)) {
        expectFails(objectOf(without(bothBad, first)), path, Kind::keyNotFound);
      }
      if (!defaultOf(second)) expectFails(objectOf(without(bothBad, second)), path, kind);
    }
  }
}

}  // namespace

void checkLayout(const RecordTable& table, const void* record, std::size_t size,
                 std::size_t alignment) {
  SCOPED_TRACE(std::string(table.name));
  const auto roundedUp = [](std::size_t offset, std::size_t to) {
    return (offset + to - 1) / to * to;
  };
  std::size_t end = 0;
  for (const Field& field : table.fields) {
    const auto offset =
        static_cast<std::size_t>(static_cast<const std::byte*>(field.member(record)) -
                                 static_cast<const std::byte*>(record));
    EXPECT_EQ(offset, roundedUp(end, field.type->alignment))
        << field.key << " is not the member that follows the one listed before it";
    end = offset + field.type->size;
  }
  EXPECT_EQ(roundedUp(end, alignment), size) << "members follow behind the last one listed";
}

void check(const Subject& subject, std::string_view document, const FieldRules& rules) {
  SCOPED_TRACE(std::string(subject.table.name));
  const Members members = membersOf(document);
  ASSERT_EQ(subject.compact, document) << "the example is not written as it should be";
  ASSERT_EQ(members.size(), subject.table.fields.size())
      << "an example needs a value in each optional field";
  for (const Field& field : subject.table.fields) {
    ASSERT_LT(placeOf(members, field.key), members.size()) << field.key;
  }
  for (const auto& [key, rule] : rules) {
    ASSERT_LT(placeOf(members, key), members.size()) << "a rule for a key that is none: " << key;
  }
  const Checker checker{subject, members, rules};
  checker.checkExample();
  for (std::size_t place = 0; place < members.size(); ++place) checker.checkField(place);
  checker.checkUnknownKeys();
  checker.checkKeyOrder();
  checker.checkWhichFailureIsTold();
}

}  // namespace tavrine::record_checks
