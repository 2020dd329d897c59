#include "companion/export/html_text.h"

#include "companion/views/characters.h"
#include "companion/views/quantity_text.h"
#include "companion/views/table_layout.h"
#include "companion/views/visible_text.h"

#include <optional>

namespace tavrine {

namespace {

std::string escaped(std::string_view text) {
  std::string html;
  html.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&':
        html.append("&amp;");
        break;
      case '<':
        html.append("&lt;");
        break;
      case '>':
        html.append("&gt;");
        break;
      case '"':
        html.append("&quot;");
        break;
      case '\'':
        html.append("&#39;");
        break;
      default:
        html.push_back(c);
    }
  }
  return html;
}

std::string_view firstCharacters(std::string_view text, std::size_t count) {
  std::size_t length = 0;
  for (; count > 0 && length < text.size(); --count) {
    length += firstCharacter(text.substr(length)).bytes.size();
  }
  return text.substr(0, length);
}

}  // namespace

Markup markup(std::string_view text, std::size_t longest) {
  const std::string_view shown = firstCharacters(text, longest);
  std::string html = escaped(visibleText(shown));
  if (shown.size() < text.size()) html.append("\u2026");
  return {html};
}

Markup element(std::string_view tag, const Markup& content, std::string_view attributes) {
  Markup made{"<"};
  made.html.append(tag);
  if (!attributes.empty() && attributes.front() != ' ') made.html.push_back(' ');
  made.html.append(attributes).append(">").append(content.html);
  made.html.append("</").append(tag).append(">");
  return made;
}

Markup element(std::string_view tag, std::string_view text, std::string_view attributes) {
  return element(tag, markup(text), attributes);
}

std::string attribute(std::string_view name, std::string_view text) {
  return std::string(" ")
      .append(name)
      .append("=\"")
      .append(escaped(visibleText(text)))
      .append("\"");
}

Markup timeMarkup(Timestamp time, std::string_view shown) {
  const std::optional<std::string> text = iso8601Text(time);
  if (!text) return markup(kAbsent);
  return element("time", shown, attribute("datetime", *text) + attribute("title", timeText(time)));
}

}  // namespace tavrine
