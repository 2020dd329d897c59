// What the sections of a page are made of.
#pragma once

#include "companion/export/html_text.h"
#include "companion/views/status_ink.h"

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/model/vocabulary.h>

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// Of any list; a page that is longer than that is read by nobody.
inline constexpr std::size_t kMostListed = 200;

/// For `attributes`; nothing where there are no names.
std::string classes(std::string_view names);

/// A word in a colour.
Markup badge(std::string_view word, Ink ink);
/// The title of a status in its colour.
template <VocabularyType V>
Markup badge(V value) {
  return badge(value.title(), inkOf(value));
}

/// How long ago, or in how long.
Markup ago(Timestamp time, Timestamp takenAt);

/// A name and what stands below it.
void addFact(Markup& facts, std::string_view name, const Markup& value);
void addFact(Markup& facts, std::string_view name, std::string_view value);

/// A section with its title and how many of all are shown; nothing where there are none.
Markup section(std::string_view title, std::size_t shown, std::size_t all, const Markup& content);

/// The first ones of a list that is too long to be shown.
template <class R>
std::span<const R> firstOf(const std::vector<R>& list) {
  return std::span(list).first(std::min(list.size(), kMostListed));
}

template <class R>
struct PageColumn {
  std::string_view heading;
  std::string_view style;  ///< classes of its cells
  Markup (*cell)(const R& record);
};

/// One row for each record.
template <class R>
Markup pageTable(std::span<const R> records, std::span<const PageColumn<R>> columns) {
  Markup headings;
  for (const PageColumn<R>& column : columns) {
    headings += element("th", column.heading, classes(column.style) + " scope=\"col\"");
  }
  Markup rows;
  for (const R& record : records) {
    Markup cells;
    for (const PageColumn<R>& column : columns) {
      cells += element("td", column.cell(record), classes(column.style));
    }
    rows += element("tr", cells);
  }
  Markup table = element("thead", element("tr", headings));
  table += element("tbody", rows);
  return element("div", element("table", table), "class=\"table\"");
}

}  // namespace tavrine
