#include "tests/support/naive_recorder_line_parser.h"

#include <TavrineShared/model/json_conventions.h>

#include <optional>
#include <string>

#include "tests/support/naive_text.h"

namespace tavrine::naive {
namespace {

std::vector<std::u32string> piecesOf(const std::u32string& text) {
  std::vector<std::u32string> pieces(1);
  for (const char32_t c : text) {
    const bool isBehindReturn = !pieces.back().empty() && pieces.back().back() == U'\r';
    if (c == U'\n' && !isBehindReturn) {
      pieces.emplace_back();
    } else {
      pieces.back() += c;
    }
  }
  return pieces;
}

/// Whether the first value that a point's `t` has in this document is a JSON number.
bool hasNumberAsTime(const std::string& document) {
  JSONReader reader(document);
  if (reader.enterObject() != JSONResult::ok) return false;
  std::string_view key;
  while (reader.nextKey(key)) {
    if (key == "t") return reader.peek() == JSONKind::number;
    reader.skip();
  }
  return false;
}

std::optional<RecorderLogPoint> decodedPoint(const std::string& document) {
  if (!hasNumberAsTime(document)) return std::nullopt;
  try {
    return decode<RecorderLogPoint>(document);
  } catch (const DecodingError&) {
    return std::nullopt;
  }
}

}  // namespace

std::vector<RecorderLogPoint> parseRecorderLines(std::string_view text, std::size_t* lines) {
  std::vector<RecorderLogPoint> points;
  std::size_t count = 0;
  for (const std::u32string& piece : piecesOf(decodedUTF8(text))) {
    const std::u32string line = trimmed(piece);
    if (line.empty()) continue;
    ++count;
    if (line[0] != U'{') continue;
    const std::optional<RecorderLogPoint> point = decodedPoint(encodedUTF8(line));
    if (!point) continue;
    auto place = points.end();
    while (place != points.begin() && point->t < (place - 1)->t) --place;
    points.insert(place, *point);
  }
  if (lines != nullptr) *lines = count;
  return points;
}

}  // namespace tavrine::naive
