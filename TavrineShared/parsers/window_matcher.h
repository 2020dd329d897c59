// Asks ICU whether a pattern matches at one place of a text, and shows it no more of the text than
// it needs to know. Private: no public header includes it.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include <unicode/regex.h>
#include <unicode/unistr.h>

namespace tavrine {

/// A match and its first group, in bytes of the text.
struct WindowMatch {
  std::size_t begin;
  std::size_t end;
  std::size_t groupBegin;
  std::size_t groupEnd;
};

/// For one text, which must outlive it, and one thread. Answers are those that ICU would give for
/// the whole text, with U+FFFD for each ill-formed part of it and without a limit to its stack.
class WindowMatcher {
 public:
  explicit WindowMatcher(std::string_view text) : text_(text) {}

  /// The match of `pattern` that begins at the byte `at`, where a character begins; none when the
  /// pattern does not match there, has no group or is null. `slot` is a small number of the
  /// caller's for the pattern. `looksBack` when the pattern begins with a word boundary.
  std::optional<WindowMatch> matchAt(const icu::RegexPattern* pattern, std::size_t slot,
                                     std::size_t at, bool looksBack);

 private:
  icu::RegexMatcher* matcherFor(const icu::RegexPattern* pattern, std::size_t slot);

  std::string_view text_;
  icu::UnicodeString window_;  // outlives the matchers, which refer to it
  std::vector<std::unique_ptr<icu::RegexMatcher>> matchers_;
};

}  // namespace tavrine
