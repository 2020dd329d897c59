// The texts of a list in one.
#pragma once

#include <string>
#include <string_view>

namespace tavrine {

/// What `textOf` gives of each element, with `between` between them; empty for an empty list.
template <class List, class TextOf>
std::string joined(const List& list, std::string_view between, const TextOf& textOf) {
  std::string text;
  bool isFirst = true;
  for (const auto& each : list) {
    if (!isFirst) text.append(between);
    text.append(textOf(each));
    isFirst = false;
  }
  return text;
}

}  // namespace tavrine
