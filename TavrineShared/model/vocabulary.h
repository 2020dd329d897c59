// The one mechanism behind every closed vocabulary of the records: a small value that behaves like
// an enum (named cases, `switch`, comparison) and knows the text that stands for it in JSON.
//
// A vocabulary is an enum of its cases and one table:
//
//   class Light : public Vocabulary<Light> {
//    public:
//     enum Case : std::uint8_t { red, deepRed };
//     constexpr Light(Case value = red) : value_(value) {}
//     constexpr operator Case() const { return value_; }
//     static constexpr auto kEntries = std::to_array<VocabularyEntry<Case>>({
//         {red, "red", "Red"},
//         {deepRed, "deep_red", "Deep Red"},
//     });
//
//    private:
//     Case value_;
//   };
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

namespace tavrine {

/// One line of a vocabulary's table.
template <class Case>
struct VocabularyEntry {
  Case value;
  std::string_view rawValue;
  std::string_view title = {};  ///< stays empty where a vocabulary has no titles
};

/// All cases of a vocabulary, in declaration order.
template <class V>
class AllCases {
 public:
  class Iterator {
   public:
    using value_type = V;
    using difference_type = std::ptrdiff_t;
    constexpr Iterator() = default;
    constexpr explicit Iterator(std::size_t index) : index_(index) {}
    constexpr V operator*() const { return V::kEntries[index_].value; }
    constexpr Iterator& operator++() {
      ++index_;
      return *this;
    }
    constexpr Iterator operator++(int) { return Iterator(index_++); }
    constexpr bool operator==(const Iterator&) const = default;

   private:
    std::size_t index_ = 0;
  };
  static constexpr Iterator begin() { return Iterator(0); }
  static constexpr Iterator end() { return Iterator(size()); }
  static constexpr std::size_t size() { return V::kEntries.size(); }
  constexpr V operator[](std::size_t index) const { return V::kEntries[index].value; }
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

  static constexpr AllCases<V> allCases() { return {}; }

 private:
  // Written out for each entry, since texts of a length known to the compiler are compared at once.
  template <std::size_t... I>
  static constexpr std::optional<V> caseOf(std::string_view text, std::index_sequence<I...>) {
    std::optional<V> found;
    static_cast<void>(
        ((text == V::kEntries[I].rawValue && (found = V::kEntries[I].value, true)) || ...));
    return found;
  }

  constexpr const auto& entry() const {
    // The tables list the cases in the order of the enum, which its unit test checks for each.
    const typename V::Case value = static_cast<const V&>(*this);
    return V::kEntries[static_cast<std::size_t>(value)];
  }
};

template <class V>
concept VocabularyType = std::derived_from<V, Vocabulary<V>>;

/// By case. The second form spares a comparison with a named case from being ambiguous.
template <VocabularyType V>
constexpr bool operator==(const V& a, const V& b) {
  return static_cast<typename V::Case>(a) == static_cast<typename V::Case>(b);
}
template <VocabularyType V, std::same_as<typename V::Case> Case>
constexpr bool operator==(const V& a, Case b) {
  return static_cast<Case>(a) == b;
}

/// Cases of different vocabularies are not to be compared, even where they share a raw value.
template <VocabularyType A, VocabularyType B>
requires(!std::same_as<A, B>) bool operator==(const A&, const B&) = delete;
template <VocabularyType V, class Other>
requires(std::is_enum_v<Other> && !std::same_as<Other, typename V::Case>) bool operator==(
    const V&, Other) = delete;

}  // namespace tavrine

template <tavrine::VocabularyType V>
struct std::hash<V> {
  std::size_t operator()(const V& value) const noexcept {
    return std::hash<typename V::Case>()(static_cast<typename V::Case>(value));
  }
};
