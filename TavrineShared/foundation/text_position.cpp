#include <TavrineShared/foundation/text_position.h>

#include <TavrineShared/foundation/unicode_text.h>

#include <algorithm>

namespace tavrine {

TextPosition textPosition(std::string_view text, std::size_t offset) {
  const std::string_view before = text.substr(0, offset);
  const std::size_t lineFeed = before.rfind('\n');
  const std::size_t lineStart = lineFeed == std::string_view::npos ? 0 : lineFeed + 1;
  std::size_t column = 1;
  for (std::string_view line = before.substr(lineStart); !line.empty(); ++column) {
    const std::size_t length = wellFormedSequenceLength(line);
    line.remove_prefix(length == 0 ? illFormedPartLength(line) : length);
  }
  return {static_cast<std::size_t>(std::count(before.begin(), before.end(), '\n')) + 1, column};
}

}  // namespace tavrine
