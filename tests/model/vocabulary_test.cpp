#include <TavrineShared/model/vocabulary.h>

#include <TavrineShared/model/json_conventions.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <concepts>
#include <cstdint>
#include <iterator>
#include <map>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_set>
#include <vector>

#include "tests/support/json_printing.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

class Light : public Vocabulary<Light> {
 public:
  enum class Case : std::uint8_t { red, deepRed, off };
  static const Light red, deepRed, off;
  constexpr Light(Case value = Case::red) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {Case::red, "red", "Red"},
      {Case::deepRed, "deep_red", "Deep Red"},
      {Case::off, "off", ""},
  });

 private:
  Case value_;
};
inline constexpr Light Light::red{Case::red};
inline constexpr Light Light::deepRed{Case::deepRed};
inline constexpr Light Light::off{Case::off};

/// Shares a raw value with Light, and has no titles.
class Paint : public Vocabulary<Paint> {
 public:
  enum class Case : std::uint8_t { blue, red };
  static const Paint blue, red;
  constexpr Paint(Case value = Case::blue) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
      {Case::blue, "blue"},
      {Case::red, "red"},
  });

 private:
  Case value_;
};
inline constexpr Paint Paint::blue{Case::blue};
inline constexpr Paint Paint::red{Case::red};

// --- a value like an enum ---

constexpr std::string_view kindOf(Light light) {
  switch (light) {
    case Light::red:
    case Light::deepRed:
      return "on";
    case Light::off:
      return "off";
  }
  return "neither";
}

// All of it can be used at compile time.
static_assert(Light::deepRed == Light(Light::Case::deepRed) && Light::deepRed.index() == 1);
static_assert(std::same_as<decltype(Light::red), const Light>);
static_assert(Light::deepRed.rawValue() == "deep_red");
static_assert(Light::deepRed.title() == "Deep Red");
static_assert(Light::fromRawValue("off") == Light::off);
static_assert(!Light::fromRawValue("Off").has_value());
static_assert(kindOf(Light::deepRed) == "on");

static_assert(VocabularyType<Light> && VocabularyType<Paint>);
static_assert(!VocabularyType<Light::Case> && !VocabularyType<std::string>);
static_assert(std::is_trivially_copyable_v<Light> && sizeof(Light) == 1);

// No vocabulary becomes another one, nor can they be compared.
static_assert(!std::is_convertible_v<Light, Paint> && !std::is_constructible_v<Paint, Light>);
template <class A, class B>
concept Comparable = requires(A a, B b) {
  a == b;
};
static_assert(Comparable<Light, Light> && Comparable<Light, Light::Case>);
static_assert(!Comparable<Light, Paint> && !Comparable<Light, Paint::Case>);
static_assert(!Comparable<Light::Case, Paint::Case> && !Comparable<Light, int>);

TEST(Vocabulary, comparesByCase) {
  const Light light = Light::deepRed;
  EXPECT_TRUE(light == Light::deepRed);
  EXPECT_TRUE(Light::deepRed == light);
  EXPECT_FALSE(light == Light::red);
  EXPECT_TRUE(light != Light::red);
  EXPECT_FALSE(light != Light::deepRed);
}

TEST(Vocabulary, canBeSwitchedOver) {
  EXPECT_EQ(kindOf(Light::red), "on");
  EXPECT_EQ(kindOf(Light::off), "off");
}

TEST(Vocabulary, startsFromItsFirstCase) { EXPECT_EQ(Light{}, Light::red); }

TEST(Vocabulary, takesAndGivesAValue) {
  Light light = Light::red;
  light = Light::off;
  EXPECT_EQ(light, Light::off);
  const std::map<std::string, Light> lights = {{"hall", light}};
  EXPECT_EQ(lights.at("hall").rawValue(), "off");
}

TEST(Vocabulary, hashesByCase) {
  std::unordered_set<Light> seen;
  for (const Light light : Light::allCases()) seen.insert(light);
  for (const Light light : Light::allCases()) seen.insert(light);
  EXPECT_EQ(seen.size(), 3U);
  EXPECT_TRUE(seen.contains(Light::deepRed));
  EXPECT_EQ(std::hash<Light>()(Light::deepRed), std::hash<Light>()(Light::Case::deepRed));
}

TEST(Vocabulary, listsAllCasesInOrder) {
  EXPECT_EQ(Light::allCases(), (std::vector<Light>{Light::red, Light::deepRed, Light::off}));
}

TEST(Vocabulary, mayDoWithoutTitles) {
  EXPECT_EQ(Paint::red.title(), "");
  EXPECT_EQ(Paint::blue.title(), "");
  EXPECT_EQ(Paint::red.rawValue(), "red");
}

// --- raw values ---

struct RawValueRow {
  const char* name;
  std::string_view text;
  std::optional<Light> light;
};
void PrintTo(const RawValueRow& row, std::ostream* out) {
  *out << testing::PrintToString(row.text);
}

class LightFromRawValue : public testing::TestWithParam<RawValueRow> {};

TEST_P(LightFromRawValue, matchesExactly) {
  EXPECT_EQ(Light::fromRawValue(GetParam().text), GetParam().light);
}

TEST_P(LightFromRawValue, readsTheSameFromJSON) {
  const std::string document = encode(std::string(GetParam().text));
  if (GetParam().light) {
    EXPECT_EQ(decode<Light>(document), *GetParam().light);
  } else {
    try {
      ADD_FAILURE() << decode<Light>(document).rawValue();
    } catch (const DecodingError& error) {
      EXPECT_EQ(error.kind(), DecodingError::Kind::dataCorrupted);
      EXPECT_EQ(error.path(), "");
      EXPECT_EQ(error.reason(), "not one of red, deep_red, off");
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Texts, LightFromRawValue,
                         rows<RawValueRow>({
                             {"rawValue", "red", Light::red},
                             {"rawValueOfTwoWords", "deep_red", Light::deepRed},
                             {"title", "Deep Red", {}},
                             {"caseName", "deepRed", {}},
                             {"capital", "Red", {}},
                             {"upperCase", "RED", {}},
                             {"blankBefore", " red", {}},
                             {"blankBehind", "red ", {}},
                             {"lineFeedBehind", "red\n", {}},
                             {"nulBehind", std::string_view("red\0", 4), {}},
                             {"hyphen", "deep-red", {}},
                             {"prefix", "deep", {}},
                             {"longer", "reddish", {}},
                             {"empty", "", {}},
                             {"number", "0", {}},
                             {"ofAnotherVocabulary", "blue", {}},
                         }),
                         rowName);

// --- JSON ---

TEST(VocabularyJSON, isTheRawValueAsAText) {
  EXPECT_EQ(encode(Light::deepRed), R"("deep_red")");
  EXPECT_EQ(encode(Light::deepRed, JSONStyle::pretty), R"("deep_red")");
  EXPECT_EQ(encode(std::vector<Light>{Light::off, Light::red}), R"(["off","red"])");
  for (const Light light : Light::allCases()) EXPECT_EQ(decode<Light>(encode(light)), light);
}

TEST(VocabularyJSON, mayBeSpelledWithEscapes) {
  EXPECT_EQ(decode<Light>(R"("d\u0065ep\u005fred")"), Light::deepRed);
}

struct FailureRow {
  const char* name;
  std::string_view document;
  DecodingError::Kind kind;
  std::string_view reason;
};
void PrintTo(const FailureRow& row, std::ostream* out) { *out << row.document; }

class LightFromJSON : public testing::TestWithParam<FailureRow> {};

TEST_P(LightFromJSON, failsWithTheReason) {
  try {
    ADD_FAILURE() << decode<Light>(GetParam().document).rawValue();
  } catch (const DecodingError& error) {
    EXPECT_EQ(error.kind(), GetParam().kind);
    EXPECT_EQ(error.reason(), GetParam().reason);
  }
}

// A value that is no text stands for no case any more than an unknown text does.
INSTANTIATE_TEST_SUITE_P(
    NoText, LightFromJSON,
    rows<FailureRow>({
        {"number", "0", DecodingError::Kind::dataCorrupted, "not one of red, deep_red, off"},
        {"boolean", "true", DecodingError::Kind::dataCorrupted, "not one of red, deep_red, off"},
        {"list", R"(["red"])", DecodingError::Kind::dataCorrupted, "not one of red, deep_red, off"},
        {"object",
         R"({"red":1})",
         DecodingError::Kind::dataCorrupted,
         "not one of red, deep_red, off"},
        {"null", "null", DecodingError::Kind::dataCorrupted, "not one of red, deep_red, off"},
    }),
    rowName);

}  // namespace
}  // namespace tavrine
