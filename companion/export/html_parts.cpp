#include "companion/export/html_parts.h"

#include "companion/views/quantity_text.h"

namespace tavrine {

namespace {

std::string_view styleOf(Ink ink) {
  switch (ink) {
    case Ink::green:
      return "good";
    case Ink::yellow:
      return "fair";
    case Ink::red:
      return "bad";
    case Ink::plain:
    case Ink::bold:
    case Ink::faint:
    case Ink::cyan:
    case Ink::reversed:
      break;
  }
  return "plain";
}

}  // namespace

std::string classes(std::string_view names) {
  return names.empty() ? std::string() : attribute("class", names);
}

Markup badge(std::string_view word, Ink ink) {
  return element("span", word, classes("badge " + std::string(styleOf(ink))));
}

Markup ago(Timestamp time, Timestamp takenAt) { return timeMarkup(time, agoText(time, takenAt)); }

void addFact(Markup& facts, std::string_view name, const Markup& value) {
  Markup fact = element("dt", name);
  fact += element("dd", value);
  facts += element("div", fact);
}

void addFact(Markup& facts, std::string_view name, std::string_view value) {
  addFact(facts, name, markup(value));
}

Markup section(std::string_view title, std::size_t shown, std::size_t all, const Markup& content) {
  if (all == 0) return {};
  Markup heading = markup(title);
  const std::string count = std::to_string(all);
  heading += element("small", shown < all ? std::to_string(shown) + " of " + count : count);
  Markup made = element("h2", heading);
  made += content;
  return element("section", made);
}

}  // namespace tavrine
