#include <TavrineShared/parsers/window_matcher.h>

#include <TavrineShared/foundation/unicode_text.h>

#include <algorithm>
#include <cstdint>
#include <limits>

namespace tavrine {
namespace {

constexpr std::size_t kFirstWindow = 96;
constexpr std::size_t kGrowth = 8;
// ICU counts in int32_t.
constexpr std::size_t kLargestWindow = std::numeric_limits<std::int32_t>::max();

bool isASCII(char c) { return static_cast<unsigned char>(c) < 0x80; }
bool continuesCharacter(char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; }

/// What a word boundary at `at` depends on: the nearest character that is no combining mark or the
/// like. The ASCII characters are none, so it stands no further back than the last of them.
std::size_t contextStart(std::string_view text, std::size_t at) {
  std::size_t start = at;
  while (start > 0) {
    --start;
    if (isASCII(text[start])) break;
  }
  return start;
}

/// How many bytes of `text` make the first `units` units of its UTF-16 form.
std::size_t bytesOfUnits(std::string_view text, std::int32_t units) {
  std::size_t at = 0;
  while (units > 0 && at < text.size()) {
    if (isASCII(text[at])) {
      ++at;
      --units;
      continue;
    }
    const std::string_view rest = text.substr(at);
    const std::size_t length = wellFormedSequenceLength(rest);
    at += length == 0 ? illFormedPartLength(rest) : length;
    units -= length == 4 ? 2 : 1;
  }
  return at;
}

icu::UnicodeString decoded(std::string_view text) {
  return icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

}  // namespace

icu::RegexMatcher* WindowMatcher::matcherFor(const icu::RegexPattern* pattern, std::size_t slot) {
  if (matchers_.size() <= slot) matchers_.resize(slot + 1);
  std::unique_ptr<icu::RegexMatcher>& matcher = matchers_[slot];
  if (matcher == nullptr && pattern != nullptr) {
    UErrorCode status = U_ZERO_ERROR;
    matcher.reset(pattern->matcher(status));
    if (matcher != nullptr) matcher->setStackLimit(0, status);
    if (U_FAILURE(status) != 0) matcher.reset();
  }
  return matcher.get();
}

std::optional<WindowMatch> WindowMatcher::matchAt(const icu::RegexPattern* pattern,
                                                  std::size_t slot, std::size_t at,
                                                  bool looksBack) {
  icu::RegexMatcher* const matcher = matcherFor(pattern, slot);
  if (matcher == nullptr) return std::nullopt;
  const std::size_t from = looksBack ? contextStart(text_, at) : at;
  const std::int32_t start = from == at ? 0 : decoded(text_.substr(from, at - from)).length();

  for (std::size_t size = kFirstWindow;; size *= kGrowth) {
    std::size_t to = text_.size() - at <= size ? text_.size() : at + size;
    // Not inside a character, of which no more than three bytes can be left.
    for (int i = 0; i < 3 && to < text_.size() && continuesCharacter(text_[to]); ++i) ++to;
    to = std::min(to, from + kLargestWindow);
    const std::string_view bytes = text_.substr(from, to - from);
    window_ = decoded(bytes);
    UErrorCode status = U_ZERO_ERROR;
    matcher->reset(window_);
    const bool isFound = matcher->lookingAt(start, status) != 0;
    // What touched the end of the window might go on behind it.
    const bool isCut = to < text_.size() && bytes.size() < kLargestWindow;
    if (isCut && matcher->hitEnd() != 0) continue;
    if (!isFound || U_FAILURE(status) != 0) return std::nullopt;

    const std::int32_t groupStart = matcher->start(1, status);
    const std::int32_t groupEnd = matcher->end(1, status);
    const std::int32_t end = matcher->end(status);
    if (U_FAILURE(status) != 0 || groupStart < 0) return std::nullopt;
    WindowMatch match{at, 0, 0, 0};
    match.groupBegin = from + bytesOfUnits(bytes, groupStart);
    match.groupEnd =
        match.groupBegin + bytesOfUnits(text_.substr(match.groupBegin), groupEnd - groupStart);
    match.end = match.groupEnd + bytesOfUnits(text_.substr(match.groupEnd), end - groupEnd);
    return match;
  }
}

}  // namespace tavrine
