#include "companion/export/html_text.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "tests/support/documents.h"

namespace tavrine {
namespace {

using namespace std::string_view_literals;

TEST(HTMLText, escapesAndShowsWhatWouldObey) {
  EXPECT_EQ(markup("<b>\"a\" & 'c'</b>").html,
            "&lt;b&gt;&quot;a&quot; &amp; &#39;c&#39;&lt;/b&gt;");
  EXPECT_EQ(markup("a\x1B[0m\nb\0c"sv).html, "a\\x1b[0m\\x0ab\\x00c");
  EXPECT_EQ(markup("a\u202Eb\xFF").html, "a&lt;U+202E&gt;b\\xff");
  EXPECT_EQ(markup("\u663E\u5361").html, "\u663E\u5361");
}

TEST(HTMLText, cutsBetweenCharacters) {
  EXPECT_EQ(markup("abc", 3).html, "abc");
  EXPECT_EQ(markup("abcd", 3).html, "abc\u2026");
  EXPECT_EQ(markup("\u663E\u5361\u663E", 2).html, "\u663E\u5361\u2026");
  EXPECT_EQ(markup("&&&", 2).html, "&amp;&amp;\u2026");
}

TEST(HTMLText, elements) {
  EXPECT_EQ(element("p", "a<b").html, "<p>a&lt;b</p>");
  EXPECT_EQ(element("p", element("b", "a"), "class=\"c\"").html, "<p class=\"c\"><b>a</b></p>");
  EXPECT_EQ(element("p", "", attribute("title", "a\"b")).html, "<p title=\"a&quot;b\"></p>");
  EXPECT_EQ(attribute("d", std::string(1000, 'x')).size(), 1005U);
}

TEST(HTMLText, times) {
  EXPECT_EQ(timeMarkup(at(0), "long ago").html,
            "<time datetime=\"1970-01-01T00:00:00Z\" title=\"1970-01-01 00:00:00 UTC\">"
            "long ago</time>");
  EXPECT_EQ(timeMarkup(at(1e300), "later").html, "-");
}

}  // namespace
}  // namespace tavrine
