#include <TavrineShared/foundation/unicode_text.h>

#include <TavrineShared/foundation/ascii.h>
#include <TavrineShared/foundation/byte_scan.h>

#include <unicode/bytestream.h>
#include <unicode/casemap.h>
#include <unicode/stringpiece.h>
#include <unicode/uchar.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <new>

namespace tavrine {
namespace {

constexpr std::string_view kReplacementCharacter = "\xEF\xBF\xBD";

unsigned char byteAt(std::string_view text, std::size_t i) {
  return static_cast<unsigned char>(text[i]);
}

/// What a lead byte asks for: the length of its sequence and the range of the second byte. That
/// range is where overlong forms, surrogates and values above U+10FFFF are told apart; all further
/// bytes are 0x80 to 0xBF.
struct Lead {
  std::size_t length;  ///< 0: no sequence begins with this byte
  unsigned char secondMin;
  unsigned char secondMax;
};

constexpr Lead leadOf(unsigned char byte) {
  if (byte < 0x80) return {1, 0, 0};
  if (byte < 0xC2) return {0, 0, 0};
  if (byte < 0xE0) return {2, 0x80, 0xBF};
  if (byte < 0xF0) {
    return {3,
            static_cast<unsigned char>(byte == 0xE0 ? 0xA0 : 0x80),
            static_cast<unsigned char>(byte == 0xED ? 0x9F : 0xBF)};
  }
  if (byte < 0xF5) {
    return {4,
            static_cast<unsigned char>(byte == 0xF0 ? 0x90 : 0x80),
            static_cast<unsigned char>(byte == 0xF4 ? 0x8F : 0xBF)};
  }
  return {0, 0, 0};
}

/// How many bytes at the start of `text`, which is not empty, agree with what their lead asks for.
/// The sequence is well-formed when that is all of lead.length.
std::size_t agreeingLength(std::string_view text, const Lead& lead) {
  const std::size_t limit = std::min(lead.length, text.size());
  if (limit < 2) return limit;
  if (byteAt(text, 1) < lead.secondMin || byteAt(text, 1) > lead.secondMax) return 1;
  std::size_t length = 2;
  while (length < limit && (byteAt(text, length) & 0xC0) == 0x80) ++length;
  return length;
}

/// Whether these bytes are one white space character.
bool isWhiteSpace(std::string_view bytes) {
  switch (bytes.size()) {
    case 1:
      return bytes[0] == ' ' || (bytes[0] >= '\t' && bytes[0] <= '\r');
    case 2:
      return bytes == "\xC2\x85" || bytes == "\xC2\xA0";
    case 3: {
      const auto code =
          static_cast<unsigned>(byteAt(bytes, 0) << 16 | byteAt(bytes, 1) << 8 | byteAt(bytes, 2));
      return (code >= 0xE28080 && code <= 0xE2808A) ||  // U+2000 to U+200A
             code == 0xE280A8 || code == 0xE280A9 ||    // U+2028, U+2029
             code == 0xE280AF || code == 0xE2819F ||    // U+202F, U+205F
             code == 0xE19A80 || code == 0xE38080;      // U+1680, U+3000
    }
    default:
      return false;
  }
}

/// The length of the white space character at the end of `text`; 0 for none. The end needs no
/// decoding from the start: the first byte of each of these characters can only begin a character,
/// whatever stands before it.
std::size_t whiteSpaceAtEnd(std::string_view text) {
  if (text.empty()) return 0;
  const std::size_t size = text.size();
  const std::size_t longest = byteAt(text, size - 1) < 0x80 ? 1 : std::min<std::size_t>(3, size);
  for (std::size_t length = 1; length <= longest; ++length) {
    if (isWhiteSpace(text.substr(size - length))) return length;
  }
  return 0;
}

/// Whether the sigma rule of lower-casing looks past this character: it tells a final sigma by the
/// nearest characters on both sides that are not case-ignorable.
bool sigmaLooksPast(UChar32 c) {
  return c == 0x03A3 || u_hasBinaryProperty(c, UCHAR_CASE_IGNORABLE) != 0;
}

bool continuesCharacter(std::string_view text, std::size_t i) {
  return (byteAt(text, i) & 0xC0) == 0x80;
}

/// The character that a well-formed sequence encodes.
UChar32 decoded(std::string_view sequence) {
  constexpr std::array<int, 5> kLeadBits = {0, 0x7F, 0x1F, 0x0F, 0x07};
  UChar32 c = byteAt(sequence, 0) & kLeadBits[sequence.size()];
  for (std::size_t i = 1; i < sequence.size(); ++i) c = c << 6 | (byteAt(sequence, i) & 0x3F);
  return c;
}

/// The last place at or before `limit`, which lies inside `text`, where the well-formed `text` can
/// be cut without changing how either side is lower-cased: between two characters that the sigma
/// rule neither starts at nor looks past. Where there is none, the last place between characters.
std::size_t cutForLowercasing(std::string_view text, std::size_t limit) {
  while (continuesCharacter(text, limit)) --limit;
  bool looksPastNext = true;
  for (std::size_t cut = limit; cut > 0;) {
    std::size_t start = cut - 1;
    while (continuesCharacter(text, start)) --start;
    const bool looksPast = sigmaLooksPast(decoded(text.substr(start, cut - start)));
    if (!looksPast && !looksPastNext) return cut;
    looksPastNext = looksPast;
    cut = start;
  }
  return limit;
}

void appendLowercased(std::string_view piece, std::string& out) {
  UErrorCode status = U_ZERO_ERROR;
  icu::StringByteSink<std::string> sink(&out);
  icu::CaseMap::utf8ToLower("",
                            0,
                            icu::StringPiece(piece.data(), static_cast<std::int32_t>(piece.size())),
                            sink,
                            nullptr,
                            status);
  // The text is well-formed, short enough and needs no locale data: only memory can be lacking.
  if (U_FAILURE(status) != 0) throw std::bad_alloc();
}

}  // namespace

std::size_t wellFormedSequenceLength(std::string_view text) {
  if (text.empty()) return 0;
  const Lead lead = leadOf(byteAt(text, 0));
  return agreeingLength(text, lead) == lead.length ? lead.length : 0;
}

std::size_t illFormedPartLength(std::string_view text) {
  // A byte that begins no sequence is a part by itself.
  return std::max<std::size_t>(1, agreeingLength(text, leadOf(byteAt(text, 0))));
}

std::size_t wellFormedPrefixLength(std::string_view text) {
  const char* const end = text.data() + text.size();
  const char* p = text.data();
  while (true) {
    p = byte_scan::skipASCII(p, end);
    // Characters outside ASCII come in runs, for which the wide scan is not worth its start.
    do {
      if (p == end) return text.size();
      const std::size_t length = wellFormedSequenceLength({p, end});
      if (length == 0) return static_cast<std::size_t>(p - text.data());
      p += length;
    } while (p != end && static_cast<unsigned char>(*p) >= 0x80);
  }
}

bool isWellFormedUTF8(std::string_view text) { return wellFormedPrefixLength(text) == text.size(); }

std::string repairedUTF8(std::string_view text) {
  std::string repaired;
  repaired.reserve(text.size());
  while (true) {
    const std::size_t length = wellFormedPrefixLength(text);
    repaired += text.substr(0, length);
    text.remove_prefix(length);
    if (text.empty()) return repaired;
    repaired += kReplacementCharacter;
    text.remove_prefix(illFormedPartLength(text));
  }
}

void appendUTF8(std::string& text, char32_t c) {
  const auto put = [&text](char32_t byte) { text.push_back(static_cast<char>(byte)); };
  if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | (c >> 6U));
    put(0x80 | (c & 0x3FU));
  } else if (c < 0x10000) {
    put(0xE0 | (c >> 12U));
    put(0x80 | ((c >> 6U) & 0x3FU));
    put(0x80 | (c & 0x3FU));
  } else {
    put(0xF0 | (c >> 18U));
    put(0x80 | ((c >> 12U) & 0x3FU));
    put(0x80 | ((c >> 6U) & 0x3FU));
    put(0x80 | (c & 0x3FU));
  }
}

std::size_t detail::longWhiteSpaceLength(std::string_view text) {
  const std::size_t longest = std::min<std::size_t>(3, text.size());
  for (std::size_t length = 2; length <= longest; ++length) {
    if (isWhiteSpace(text.substr(0, length))) return length;
  }
  return 0;
}

std::string_view trimmedAtStart(std::string_view text) {
  while (const std::size_t length = whiteSpaceLength(text)) text.remove_prefix(length);
  return text;
}

std::string_view trimmedAtEnd(std::string_view text) {
  while (const std::size_t length = whiteSpaceAtEnd(text)) text.remove_suffix(length);
  return text;
}

std::string_view detail::trimmedAtLength(std::string_view text) {
  return trimmedAtEnd(trimmedAtStart(text));
}

std::string lowercased(std::string_view text) {
  const char* const end = text.data() + text.size();
  if (byte_scan::skipASCII(text.data(), end) == end) return ascii::lower(text);
  // ICU counts in int32_t, and lower-casing can lengthen a text by half.
  constexpr std::size_t kPieceLimit = std::size_t{1} << 30;
  if (isWellFormedUTF8(text)) return detail::lowercasedInPieces(text, kPieceLimit);
  return detail::lowercasedInPieces(repairedUTF8(text), kPieceLimit);
}

std::string detail::lowercasedInPieces(std::string_view text, std::size_t pieceLimit) {
  std::string lower;
  lower.reserve(text.size());
  while (!text.empty()) {
    const std::size_t length =
        text.size() <= pieceLimit ? text.size() : cutForLowercasing(text, pieceLimit);
    appendLowercased(text.substr(0, length), lower);
    text.remove_prefix(length);
  }
  return lower;
}

}  // namespace tavrine
