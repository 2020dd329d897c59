// The pieces of which an HTML page is put together.
//
// Markup is a type of its own: what is a text becomes part of a page in no other way than through
// `markup`, which escapes it.
#pragma once

#include <TavrineShared/foundation/timestamp.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace tavrine {

struct Markup {
  std::string html;

  Markup& operator+=(const Markup& more) {
    html.append(more.html);
    return *this;
  }
};

/// No text that stands in one cell is shown longer.
inline constexpr std::size_t kLongestShown = 400;

/// `text`, cut after so many characters, with the signs of HTML escaped and with what would obey,
/// hide or turn around in a visible form, as `visibleText` has it. Line ends are among that.
Markup markup(std::string_view text, std::size_t longest = kLongestShown);

/// `<tag attributes>content</tag>`; `attributes` are written as they are.
Markup element(std::string_view tag, const Markup& content, std::string_view attributes = {});
/// The same of a text.
Markup element(std::string_view tag, std::string_view text, std::string_view attributes = {});

/// ` name="text"`, with all of the text escaped; for `attributes`.
std::string attribute(std::string_view name, std::string_view text);

/// `shown` as a `time` element that knows the time itself; a dash where no calendar holds it.
Markup timeMarkup(Timestamp time, std::string_view shown);

}  // namespace tavrine
