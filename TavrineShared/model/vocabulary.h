// The one mechanism behind every closed vocabulary of the records: a small value that behaves like
// an enum (named cases, `switch`, comparison) and knows the text that stands for it in JSON.
//
// A vocabulary is an enum of its cases and one table:
//
//   class Light : public Vocabulary<Light> {
//    public:
//     enum class Case : std::uint8_t { red, deepRed };
//     static const Light red, deepRed;
//     constexpr Light(Case value = Case::red) : value_(value) {}
//     constexpr operator Case() const { return value_; }
//     static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
//         {Case::red, "red", "Red"},
//         {Case::deepRed, "deep_red", "Deep Red"},
//     });
//
//    private:
//     Case value_;
//   };
//   inline constexpr Light Light::red{Case::red};
//   inline constexpr Light Light::deepRed{Case::deepRed};
//
// So Light::red is a value of the class, with all that values have, and Light::Case is what the
// compiler asks a `switch` to be complete for.
//
// No text outside the table stands for any case, and no case stands in for unknown texts.
#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

namespace tavrine {

/// One line of a vocabulary's table.
template <class Case>
struct VocabularyEntry {
  Case value;
  std::string_view rawValue;
  std::string_view title = {};  ///< stays empty where a vocabulary has no titles
};

/// What a closed set of words has in common: V behaves like the enum `V::Case` and finds its texts
/// in `V::kEntries`, one entry per case and in the order of the cases.
template <class V>
class Vocabulary {
 public:
  /// The text that stands for this case in JSON.
  constexpr std::string_view rawValue() const { return entry().rawValue; }

  /// The text to show to people.
  constexpr std::string_view title() const { return entry().title; }

  /// The case whose raw value is exactly `text`; titles, case names and other letter cases are not.
  static constexpr std::optional<V> fromRawValue(std::string_view text) {
    return caseOf(text, std::make_index_sequence<V::kEntries.size()>());
  }

  /// In declaration order.
  static std::vector<V> allCases() {
    std::vector<V> cases;
    cases.reserve(V::kEntries.size());
    for (const auto& entry : V::kEntries) cases.push_back(entry.value);
    return cases;
  }

  /// The place among all cases.
  constexpr std::size_t index() const {
    return static_cast<std::size_t>(static_cast<typename V::Case>(static_cast<const V&>(*this)));
  }

 private:
  // Written out for each entry, since texts of a length known to the compiler are compared at once.
  template <std::size_t... I>
  static constexpr std::optional<V> caseOf(std::string_view text, std::index_sequence<I...>) {
    std::optional<V> found;
    static_cast<void>(
        ((text == V::kEntries[I].rawValue && (found = V::kEntries[I].value, true)) || ...));
    return found;
  }

  // The tables list the cases in the order of the enum, which its unit test checks for each.
  constexpr const auto& entry() const { return V::kEntries[index()]; }
};

template <class V>
concept VocabularyType = std::derived_from<V, Vocabulary<V>>;

/// By case.
template <VocabularyType V>
constexpr bool operator==(const V& a, const V& b) {
  return static_cast<typename V::Case>(a) == static_cast<typename V::Case>(b);
}

/// Cases of different vocabularies are not to be compared, even where they share a raw value.
template <VocabularyType A, VocabularyType B>
requires(!std::same_as<A, B>) bool operator==(const A&, const B&) = delete;
}  // namespace tavrine

template <tavrine::VocabularyType V>
struct std::hash<V> {
  std::size_t operator()(const V& value) const noexcept {
    return std::hash<typename V::Case>()(static_cast<typename V::Case>(value));
  }
};
