// Where in a text a byte stands, in the terms in which editors and people count.
#pragma once

#include <cstddef>
#include <string_view>

namespace tavrine {

/// A place in a text as an editor shows it.
struct TextPosition {
  std::size_t line;    ///< from 1; a line ends at a line feed
  std::size_t column;  ///< from 1, in characters; an ill-formed part of UTF-8 counts as one
};

/// The position of the byte at `offset`, which may be the text's end. Takes time linear in the
/// offset, so it is for what is told once, such as an error.
TextPosition textPosition(std::string_view text, std::size_t offset);

}  // namespace tavrine
