#include <TavrineShared/foundation/json_reader.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <ostream>
#include <random>
#include <string>
#include <string_view>
#include <utility>

#include "tests/support/json_printing.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

std::size_t placeOf(const JSONReader& reader, std::string_view document) {
  return static_cast<std::size_t>(reader.position() - document.data());
}

// --- after the end of JSON ---

TEST(JSONReader, answersEveryCallWithNotJSONOnceItHasFailed) {
  const std::string_view document = "[1, [2], {\"a\":3}, 4x, \"b\", null, true]";
  JSONReader reader(document);
  ASSERT_EQ(reader.enterList(), JSONResult::ok);
  EXPECT_FALSE((reader.skipRestOfList(), reader.finish()));
  ASSERT_TRUE(reader.failed());
  EXPECT_EQ(reader.syntaxError()->offset, 19U);
  EXPECT_EQ(reader.syntaxError()->reason, "expected ',' or ']'");

  std::int64_t integer = 7;
  double number = 7;
  bool boolean = true;
  std::string text = "as before";
  std::string_view view = "as before";
  std::string_view key;
  EXPECT_EQ(reader.peek(), JSONKind::none);
  EXPECT_FALSE(reader.skip());
  EXPECT_FALSE(reader.consumeNull());
  EXPECT_EQ(reader.readInteger(integer), JSONResult::notJSON);
  EXPECT_EQ(reader.readDouble(number), JSONResult::notJSON);
  EXPECT_EQ(reader.readBoolean(boolean), JSONResult::notJSON);
  EXPECT_EQ(reader.readText(text), JSONResult::notJSON);
  EXPECT_EQ(reader.readTextView(view), JSONResult::notJSON);
  EXPECT_EQ(reader.enterList(), JSONResult::notJSON);
  EXPECT_EQ(reader.enterObject(), JSONResult::notJSON);
  EXPECT_FALSE(reader.nextElement());
  EXPECT_FALSE(reader.nextKey(key));
  EXPECT_EQ(reader.nextKey("a", key), JSONReader::KeyMatch::end);
  reader.skipRestOfList();
  reader.skipRestOfObject();
  EXPECT_FALSE(reader.finish());
  EXPECT_EQ(integer, 7);
  EXPECT_EQ(number, 7);
  EXPECT_TRUE(boolean);
  EXPECT_EQ(text, "as before");
  // The first error is the one that is told.
  EXPECT_EQ(reader.syntaxError()->offset, 19U);
}

TEST(JSONReader, failsAsSoonAsAListIsEnteredThatIsCutOff) {
  JSONReader reader("[");
  ASSERT_EQ(reader.enterList(), JSONResult::ok);
  // Only the next call can tell that there is neither an element nor an end.
  const bool hasElement = reader.nextElement();
  EXPECT_FALSE(hasElement && reader.skip());
  EXPECT_TRUE(reader.failed());
}

// --- kinds ---

struct ValueRow {
  const char* name;
  std::string_view json;
  JSONKind kind;
  std::optional<std::int64_t> integer = {};
  std::optional<double> number = {};
  std::optional<std::string> text = {};
  std::optional<bool> boolean = {};
};
void PrintTo(const ValueRow& row, std::ostream* out) { *out << testing::PrintToString(row.json); }

class JSONValue : public testing::TestWithParam<ValueRow> {
 protected:
  /// What reading a value of another type comes to.
  JSONResult mismatch() const {
    return GetParam().kind == JSONKind::null ? JSONResult::null : JSONResult::wrongType;
  }

  /// Calls `read` on the value in the middle of a list, and checks that it consumed just that.
  template <class Read>
  void expectToConsumeOneValue(const char* what, const Read& read) {
    SCOPED_TRACE(what);
    const std::string document = "[\"before\" , " + std::string(GetParam().json) + " , \"behind\"]";
    JSONReader reader(document);
    std::string text;
    ASSERT_EQ(reader.enterList(), JSONResult::ok);
    ASSERT_TRUE(reader.nextElement());
    ASSERT_EQ(reader.readText(text), JSONResult::ok);
    ASSERT_TRUE(reader.nextElement());
    EXPECT_EQ(placeOf(reader, document), 12U);
    EXPECT_EQ(reader.peek(), GetParam().kind);
    read(reader);
    EXPECT_EQ(placeOf(reader, document), 12U + GetParam().json.size());
    ASSERT_TRUE(reader.nextElement());
    ASSERT_EQ(reader.readText(text), JSONResult::ok);
    EXPECT_EQ(text, "behind");
    EXPECT_FALSE(reader.nextElement());
    EXPECT_TRUE(reader.finish());
  }
};

TEST_P(JSONValue, isSkippedWhole) {
  expectToConsumeOneValue("skip", [](JSONReader& reader) { EXPECT_TRUE(reader.skip()); });
}

TEST_P(JSONValue, isConsumedWholeByEveryRead) {
  const ValueRow& row = GetParam();
  expectToConsumeOneValue("readInteger", [&](JSONReader& reader) {
    std::int64_t value = 0;
    const JSONResult otherwise = row.kind == JSONKind::number ? JSONResult::outOfRange : mismatch();
    EXPECT_EQ(reader.readInteger(value), row.integer ? JSONResult::ok : otherwise);
    EXPECT_EQ(value, row.integer.value_or(0));
  });
  expectToConsumeOneValue("readDouble", [&](JSONReader& reader) {
    double value = 0;
    const JSONResult otherwise = row.kind == JSONKind::number ? JSONResult::outOfRange : mismatch();
    EXPECT_EQ(reader.readDouble(value), row.number ? JSONResult::ok : otherwise);
    EXPECT_EQ(value, row.number.value_or(0));
  });
  expectToConsumeOneValue("readBoolean", [&](JSONReader& reader) {
    bool value = false;
    EXPECT_EQ(reader.readBoolean(value), row.boolean ? JSONResult::ok : mismatch());
    EXPECT_EQ(value, row.boolean.value_or(false));
  });
  expectToConsumeOneValue("readText", [&](JSONReader& reader) {
    std::string value;
    EXPECT_EQ(reader.readText(value), row.text ? JSONResult::ok : mismatch());
    EXPECT_EQ(value, row.text.value_or(""));
  });
  expectToConsumeOneValue("readTextView", [&](JSONReader& reader) {
    std::string_view value;
    EXPECT_EQ(reader.readTextView(value), row.text ? JSONResult::ok : mismatch());
    EXPECT_EQ(value, row.text.value_or(""));
  });
  expectToConsumeOneValue("enterList", [&](JSONReader& reader) {
    const JSONResult want = row.kind == JSONKind::list ? JSONResult::ok : mismatch();
    ASSERT_EQ(reader.enterList(), want);
    if (want == JSONResult::ok) reader.skipRestOfList();
  });
  expectToConsumeOneValue("enterObject", [&](JSONReader& reader) {
    const JSONResult want = row.kind == JSONKind::object ? JSONResult::ok : mismatch();
    ASSERT_EQ(reader.enterObject(), want);
    if (want == JSONResult::ok) reader.skipRestOfObject();
  });
}

TEST_P(JSONValue, isConsumedAsNullOnlyIfItIsNull) {
  JSONReader reader(GetParam().json);
  const bool isNull = GetParam().kind == JSONKind::null;
  EXPECT_EQ(reader.consumeNull(), isNull);
  EXPECT_EQ(placeOf(reader, GetParam().json), isNull ? GetParam().json.size() : 0U);
  EXPECT_FALSE(reader.failed());
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, JSONValue,
    rows<ValueRow>({
        {"null", "null", JSONKind::null},
        {"trueLiteral", "true", JSONKind::boolean, {}, {}, {}, true},
        {"falseLiteral", "false", JSONKind::boolean, {}, {}, {}, false},
        {"integer", "12", JSONKind::number, 12, 12.0},
        {"negativeInteger", "-12", JSONKind::number, -12, -12.0},
        {"fraction", "12.5", JSONKind::number, {}, 12.5},
        {"integralFraction", "12.50e1", JSONKind::number, 125, 125.0},
        {"beyondIntegers", "1e19", JSONKind::number, {}, 1e19},
        {"beyondDoubles", "1e999", JSONKind::number},
        {"belowDoubles", "1e-999", JSONKind::number, {}, 0.0},
        {"emptyText", R"("")", JSONKind::text, {}, {}, ""},
        {"text", R"("12")", JSONKind::text, {}, {}, "12"},
        {"textWithEscapes", R"("a\"\u0062]")", JSONKind::text, {}, {}, "a\"b]"},
        {"emptyList", "[]", JSONKind::list},
        {"blankList", "[ \n ]", JSONKind::list},
        {"list", R"([1,[2,"]"],{"a":[]}])", JSONKind::list},
        {"emptyObject", "{}", JSONKind::object},
        {"blankObject", "{ \n }", JSONKind::object},
        {"object", R"({"a":{"b":[1,"}"]},"c":"d"})", JSONKind::object},
    }),
    rowName);

TEST(JSONReader, peeksAtEveryByte) {
  for (int byte = 0; byte < 256; ++byte) {
    const char c = static_cast<char>(byte);
    JSONKind want = JSONKind::none;
    if (c == '{') want = JSONKind::object;
    if (c == '[') want = JSONKind::list;
    if (c == '"') want = JSONKind::text;
    if (c == 't' || c == 'f') want = JSONKind::boolean;
    if (c == 'n') want = JSONKind::null;
    if (c == '-' || (c >= '0' && c <= '9')) want = JSONKind::number;
    const ExactBytes document(std::string_view(&c, 1));
    EXPECT_EQ(JSONReader(document.view()).peek(), want) << byte;
  }
  EXPECT_EQ(JSONReader("").peek(), JSONKind::none);
  EXPECT_EQ(JSONReader(std::string_view()).peek(), JSONKind::none);
  EXPECT_EQ(JSONReader(" \n\t [").peek(), JSONKind::list);
}

TEST(JSONReader, walksListsAndObjectsElementByElement) {
  JSONReader reader(R"({"a": [1, [], 3], "b": {}, "c": {"d": [[4]]}})");
  std::string seen;
  std::string_view key;
  std::int64_t value;
  ASSERT_EQ(reader.enterObject(), JSONResult::ok);
  ASSERT_TRUE(reader.nextKey(key));
  EXPECT_EQ(key, "a");
  ASSERT_EQ(reader.enterList(), JSONResult::ok);
  ASSERT_TRUE(reader.nextElement());
  EXPECT_EQ(reader.readInteger(value), JSONResult::ok);
  EXPECT_EQ(value, 1);
  ASSERT_TRUE(reader.nextElement());
  ASSERT_EQ(reader.enterList(), JSONResult::ok);
  EXPECT_FALSE(reader.nextElement());
  ASSERT_TRUE(reader.nextElement());
  EXPECT_EQ(reader.readInteger(value), JSONResult::ok);
  EXPECT_EQ(value, 3);
  EXPECT_FALSE(reader.nextElement());
  ASSERT_TRUE(reader.nextKey(key));
  EXPECT_EQ(key, "b");
  ASSERT_EQ(reader.enterObject(), JSONResult::ok);
  EXPECT_FALSE(reader.nextKey(key));
  ASSERT_TRUE(reader.nextKey(key));
  EXPECT_EQ(key, "c");
  ASSERT_EQ(reader.enterObject(), JSONResult::ok);
  ASSERT_TRUE(reader.nextKey(key));
  EXPECT_EQ(key, "d");
  ASSERT_EQ(reader.enterList(), JSONResult::ok);
  ASSERT_TRUE(reader.nextElement());
  ASSERT_EQ(reader.enterList(), JSONResult::ok);
  ASSERT_TRUE(reader.nextElement());
  EXPECT_EQ(reader.readInteger(value), JSONResult::ok);
  EXPECT_EQ(value, 4);
  EXPECT_FALSE(reader.nextElement());
  EXPECT_FALSE(reader.nextElement());
  EXPECT_FALSE(reader.nextKey(key));
  EXPECT_FALSE(reader.nextKey(key));
  EXPECT_TRUE(reader.finish());
}

TEST(JSONReader, skipsTheRestFromAnyElementOn) {
  const std::string_view document = R"([[1, {"a": 2}, [3], "4"], {"a": 1, "b": [2], "c": {}}])";
  for (int read = 0; read <= 4; ++read) {
    JSONReader reader(document);
    ASSERT_EQ(reader.enterList(), JSONResult::ok);
    ASSERT_TRUE(reader.nextElement());
    ASSERT_EQ(reader.enterList(), JSONResult::ok);
    for (int i = 0; i < read; ++i) ASSERT_TRUE(reader.nextElement() && reader.skip());
    reader.skipRestOfList();
    ASSERT_TRUE(reader.nextElement());
    ASSERT_EQ(reader.enterObject(), JSONResult::ok);
    std::string_view key;
    for (int i = 0; i < read && i < 3; ++i) ASSERT_TRUE(reader.nextKey(key) && reader.skip());
    reader.skipRestOfObject();
    EXPECT_FALSE(reader.nextElement());
    EXPECT_TRUE(reader.finish()) << read;
  }
}

TEST(JSONReader, finishesOnlyBehindTheValue) {
  JSONReader reader("  [1] \n\t ");
  ASSERT_TRUE(reader.skip());
  EXPECT_TRUE(reader.finish());
  EXPECT_TRUE(reader.finish());

  JSONReader unread("1");
  EXPECT_FALSE(unread.finish());
  EXPECT_EQ(unread.syntaxError()->offset, 0U);
}

// --- size and depth ---

constexpr std::size_t kMillion = 1'000'000;

std::string repeated(std::string_view part, std::size_t count) {
  std::string text;
  text.reserve(part.size() * count);
  for (std::size_t i = 0; i < count; ++i) text += part;
  return text;
}

TEST(JSONReaderDepth, isWithoutLimit) {
  const std::string documents[] = {
      repeated("[", kMillion) + repeated("]", kMillion),
      repeated("{\"a\":", kMillion) + "1" + repeated("}", kMillion),
      repeated("[{\"a\":", kMillion / 2) + "[]" + repeated("}]", kMillion / 2),
      repeated("[1,[],", kMillion) + "2" + repeated(",{}]", kMillion),
      repeated("{\"a\":[],\"b\":[", kMillion / 2) + repeated("],\"c\":null}", kMillion / 2),
  };
  for (const std::string& document : documents) {
    JSONReader reader(document);
    EXPECT_TRUE(reader.skip()) << document.substr(0, 20);
    EXPECT_TRUE(reader.finish()) << document.substr(0, 20);
    // Dropped where something else is wanted.
    JSONReader other(document);
    std::int64_t value;
    EXPECT_EQ(other.readInteger(value), JSONResult::wrongType) << document.substr(0, 20);
    EXPECT_TRUE(other.finish()) << document.substr(0, 20);
  }
}

TEST(JSONReaderDepth, doesNotHideWhatIsWrongFarDown) {
  const std::string open = repeated("[", kMillion);
  const std::string close = repeated("]", kMillion);
  const std::pair<std::string, std::size_t> documents[] = {
      {open, kMillion},
      {repeated("{\"a\":", kMillion), 5 * kMillion},
      {open + close.substr(1), 2 * kMillion - 1},
      {open + close + "]", 2 * kMillion},
      {open + "}" + close, kMillion},
      {open + "1 2" + close, kMillion + 2},
      {open + close.substr(1) + "}", 2 * kMillion - 1},
      {"{\"a\":" + open + close + "]", 2 * kMillion + 5},
  };
  for (const auto& [document, offset] : documents) {
    JSONReader reader(document);
    EXPECT_FALSE(reader.skip() && reader.finish());
    ASSERT_TRUE(reader.failed());
    EXPECT_EQ(reader.syntaxError()->offset, offset);
  }
}

// The kinds of the open levels are remembered in words of 64 bits: every depth around their edges,
// with every single level closed wrongly once.
TEST(JSONReaderDepth, remembersTheKindOfEveryLevel) {
  std::mt19937 random(6);
  for (std::size_t depth = 1; depth <= 200; ++depth) {
    std::string open;
    std::string close;
    for (std::size_t i = 0; i < depth; ++i) {
      const bool isObject = random() % 2 == 0;
      open += isObject ? "{\"\":" : "[";
      close.insert(close.begin(), isObject ? '}' : ']');
    }
    const std::string document = open + "0" + close;
    JSONReader reader(document);
    ASSERT_TRUE(reader.skip() && reader.finish()) << document;
    for (std::size_t i = 0; i < depth; ++i) {
      std::string broken = document;
      char& bracket = broken[open.size() + 1 + i];
      bracket = bracket == '}' ? ']' : '}';
      JSONReader brokenReader(broken);
      ASSERT_FALSE(brokenReader.skip()) << broken;
      ASSERT_EQ(brokenReader.syntaxError()->offset, open.size() + 1 + i) << broken;
    }
  }
}

TEST(JSONReaderDepth, goesUpAndDownAcrossItsWords) {
  // 60 levels, then a comb that goes ten down and up again, over and over.
  const std::string tooth = repeated("{\"a\":[", 5) + repeated("]}", 5);
  std::string comb = tooth;
  for (int i = 0; i < 100; ++i) comb += "," + tooth;
  for (const std::size_t depth : {50U, 54U, 55U, 59U, 60U, 63U, 64U, 65U, 118U, 127U, 128U, 129U}) {
    const std::string document = repeated("[", depth) + comb + repeated("]", depth);
    JSONReader reader(document);
    EXPECT_TRUE(reader.skip() && reader.finish()) << depth;
  }
}

TEST(JSONReaderSize, takesATextOfTwoHundredMegabytesWithoutCopyingIt) {
  std::string document(200'000'000, 'x');
  document.front() = '"';
  document.back() = '"';
  {
    JSONReader reader(document);
    EXPECT_TRUE(reader.skip() && reader.finish());
  }
  {
    JSONReader reader(document);
    std::string_view text;
    ASSERT_EQ(reader.readTextView(text), JSONResult::ok);
    EXPECT_EQ(text.data(), document.data() + 1);
    EXPECT_EQ(text.size(), document.size() - 2);
  }
  document[199'999'990] = '\x01';
  {
    JSONReader reader(document);
    EXPECT_FALSE(reader.skip());
    EXPECT_EQ(reader.syntaxError()->offset, 199'999'990U);
  }
}

}  // namespace
}  // namespace tavrine
