#include "companion/export/html_parts.h"

#include <gtest/gtest.h>

#include <TavrineShared/model/status.h>

#include <array>

#include "tests/support/documents.h"

namespace tavrine {
namespace {

TEST(HTMLParts, showAStatusInItsColour) {
  EXPECT_EQ(badge(RunStatus::failed).html, "<span class=\"badge bad\">Failed</span>");
  EXPECT_EQ(badge("a<b", Ink::plain).html, "<span class=\"badge plain\">a&lt;b</span>");
}

TEST(HTMLParts, tellHowLongAgo) {
  EXPECT_EQ(ago(at(0), at(60)).html, timeMarkup(at(0), "1 min ago").html);
}

TEST(HTMLParts, makeALineOfFacts) {
  Markup facts;
  addFact(facts, "a", "1<2");
  addFact(facts, "b", element("b", "2"));
  EXPECT_EQ(facts.html,
            "<div><dt>a</dt><dd>1&lt;2</dd></div><div><dt>b</dt><dd><b>2</b></dd></div>");
}

TEST(HTMLParts, sayHowMuchOfASectionIsShown) {
  const Markup content = element("p", "x");
  EXPECT_EQ(section("T", 2, 2, content).html,
            "<section><h2>T<small>2</small></h2><p>x</p></section>");
  EXPECT_EQ(section("T", 2, 3, content).html,
            "<section><h2>T<small>2 of 3</small></h2><p>x</p></section>");
  EXPECT_EQ(section("T", 0, 0, content).html, "");
}

TEST(HTMLParts, takeTheFirstOfALongList) {
  std::vector<int> list(kMostListed + 1);
  EXPECT_EQ(firstOf(list).size(), kMostListed);
  EXPECT_EQ(firstOf(list).data(), list.data());
  list.resize(kMostListed - 1);
  EXPECT_EQ(firstOf(list).size(), kMostListed - 1);
}

TEST(HTMLParts, makeATableOfColumns) {
  constexpr auto kColumns = std::to_array<PageColumn<std::string>>({
      {"A", "", [](const std::string& text) { return markup(text); }},
      {"B", "number", [](const std::string& text) { return element("i", text); }},
  });
  const std::array<std::string, 2> records = {"<", "y"};
  EXPECT_EQ(pageTable<std::string>(records, kColumns).html,
            "<div class=\"table\"><table><thead><tr><th scope=\"col\">A</th>"
            "<th class=\"number\" scope=\"col\">B</th></tr></thead><tbody>"
            "<tr><td>&lt;</td><td class=\"number\"><i>&lt;</i></td></tr>"
            "<tr><td>y</td><td class=\"number\"><i>y</i></td></tr></tbody></table></div>");
}

}  // namespace
}  // namespace tavrine
