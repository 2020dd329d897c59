// Any text. What must hold: lines, trimming, repair, lower-casing, integers and floats are what
// slow and obvious versions of them make of it, be it the whole text or a piece of it.
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/model/findings.h>
#include <TavrineShared/parsers/text_rules.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "fuzz/require.h"
#include "tests/support/naive_text.h"

namespace tavrine::fuzz {
namespace {

void requireLines(std::string_view text) {
  LineCursor cursor(text);
  for (const naive::Line& line : naive::linesOf(naive::decodedUTF8(text))) {
    require(cursor.next(), "no line is missing");
    require(cursor.lineNumber() == line.number, "a line has its number");
    require(naive::decodedUTF8(cursor.line()) == line.characters, "a line has its characters");
    require(cursor.line().data() >= text.data() &&
                cursor.line().data() + cursor.line().size() <= text.data() + text.size(),
            "a line is a part of the text");
  }
  require(!cursor.next() && cursor.line().empty(), "there are no more lines");
}

void requireUTF8(std::string_view text) {
  const std::string repaired = naive::encodedUTF8(naive::decodedUTF8(text));
  require(repairedUTF8(text) == repaired, "text is repaired");
  require(isWellFormedUTF8(text) == (text == repaired), "well-formed text needs no repair");

  const std::size_t prefix = wellFormedPrefixLength(text);
  require(isWellFormedUTF8(text.substr(0, prefix)), "a well-formed prefix is well-formed");
  const std::string_view rest = text.substr(prefix);
  require(wellFormedSequenceLength(rest) == 0, "a well-formed prefix is as long as it can be");
  if (!rest.empty()) {
    require(naive::decodedUTF8(rest.substr(0, illFormedPartLength(rest))) == U"\uFFFD",
            "an ill-formed part is one replacement character");
  }
}

void requireLowercase(std::string_view text) {
  std::string want;
  icu::UnicodeString::fromUTF8(
      icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())))
      .toLower(icu::Locale::getRoot())
      .toUTF8String(want);
  require(lowercased(text) == want, "text is lower-cased as a whole");
  // Among sigmas so short a piece may have no place where it can be cut.
  const bool hasSigma = text.find("\u03A3") != std::string_view::npos;
  require(hasSigma || detail::lowercasedInPieces(repairedUTF8(text), 4 + text.size() % 13) == want,
          "text is lower-cased in pieces");
}

void requireExcerpt(std::string_view text) {
  std::u32string want = naive::decodedUTF8(text);
  if (want.size() > 80) want = want.substr(0, 79) + U'\u2026';
  require(naive::decodedUTF8(excerpt(text)) == want, "an excerpt is 80 characters");
}

void requirePiece(std::string_view text) {
  const std::u32string characters = naive::decodedUTF8(text);
  require(readInteger(text) == naive::readInteger(characters), "an integer is read");
  require(naive::areSameBits(readFloat(text), naive::readFloat(characters)), "a float is read");
  const std::string_view inner = trimmed(text);
  require(naive::decodedUTF8(inner) == naive::trimmed(characters), "white space is trimmed");
  require(inner.empty() || (inner.data() >= text.data() &&
                            inner.data() + inner.size() <= text.data() + text.size()),
          "a trimmed text is a part of the text");
}

}  // namespace
}  // namespace tavrine::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tavrine::fuzz;
  const std::string_view text(reinterpret_cast<const char*>(data), size);
  requireLines(text);
  requireUTF8(text);
  requireLowercase(text);
  requireExcerpt(text);
  requirePiece(text);
  // A text of many numbers tries them all at once.
  for (std::size_t start = 0; start <= size;) {
    const std::size_t end = std::min(text.find_first_of(",\n", start), size);
    requirePiece(text.substr(start, end - start));
    start = end + 1;
  }
  return 0;
}
