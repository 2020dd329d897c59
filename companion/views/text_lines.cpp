#include "companion/views/text_lines.h"

#include <algorithm>

namespace tavrine {

std::vector<std::string_view> linesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    lines.push_back(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
  return lines;
}

std::string_view lastLines(std::string_view text, std::size_t most, std::size_t mostBytes) {
  constexpr std::size_t kNone = std::string_view::npos;
  std::size_t begin = text.size();
  for (std::size_t lines = 0; lines < most && begin > 0; ++lines) {
    // The character in front of `begin` may be the line feed that ends the line looked at.
    const std::size_t before = begin == 1 ? kNone : text.rfind('\n', begin - 2);
    const std::size_t start = before == kNone ? 0 : before + 1;
    if (text.size() - start > mostBytes) {
      return text.substr(lines == 0 ? text.size() - mostBytes : begin);
    }
    begin = start;
  }
  return text.substr(begin);
}

}  // namespace tavrine
