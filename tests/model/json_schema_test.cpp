#include <TavrineShared/model/json_schema.h>

#include <TavrineShared/model/app_snapshot.h>
#include <TavrineShared/model/field_table.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace tavrine {
namespace {

class Colour : public Vocabulary<Colour> {
 public:
  enum class Case : std::uint8_t { red, deepBlue };
  constexpr Colour(Case value = Case::red) : value_(value) {}
  constexpr operator Case() const { return value_; }
  static constexpr auto kEntries =
      std::to_array<VocabularyEntry<Case>>({{Case::red, "red"}, {Case::deepBlue, "deep_blue"}});

 private:
  Case value_;
};

struct Inner {
  bool yes;
  static const RecordTable& table() {
    static constexpr auto fields = fieldsOf<Inner>(field<&Inner::yes>());
    static constexpr RecordTable table{"Inner", fields};
    return table;
  }
};

/// A field of every type and of every rule.
struct Outer {
  std::int64_t integer;
  double number;
  std::string text;
  Timestamp time;
  UUID uuid;
  Colour colour;
  std::map<std::string, std::string> map;
  Inner inner;
  std::optional<double> optional;
  std::vector<Inner> plain;
  std::vector<Inner> lossy;
  std::int64_t days;
  std::vector<std::string> words;
  bool running;
  std::optional<std::int64_t> tier;
  std::int64_t bytes;
  Timestamp t;
  Timestamp openedAt;
  std::optional<Timestamp> sentAt;

  static const RecordTable& table() {
    using R = Outer;
    static constexpr auto fields =
        fieldsOf<R>(field<&R::integer>(),
                    field<&R::number>(),
                    field<&R::text>("other_key"),
                    field<&R::time>(),
                    field<&R::uuid>(),
                    field<&R::colour>(),
                    defaulted<&R::map>(),
                    field<&R::inner>(),
                    field<&R::optional>(),
                    field<&R::plain>(),
                    lossyList<&R::lossy>(),
                    defaulted<&R::days>([] { return std::int64_t{14}; }),
                    defaulted<&R::words>([] {
                      return std::vector<std::string>{"a", "b"};
                    }),
                    forgiving<&R::running>(),
                    forgiving<&R::tier>(),
                    flexibleInt64<&R::bytes>(),
                    secondsOrDate(field<&R::t>()),
                    secondsOrDate(defaulted<&R::openedAt>([] { return currentTime(); })),
                    secondsOrDate(field<&R::sentAt>()));
    static constexpr RecordTable table{"Outer", fields};
    return table;
  }
};

struct PropertyRow {
  std::string_view key;
  std::string_view schema;
};

TEST(JSONSchema, describesWhatIsWrittenAndTellsWhatIsRead) {
  const std::string schema = jsonSchema(Outer::table(), JSONStyle::compact);
  constexpr std::string_view kTime =
      R"("format":"date-time","pattern":"^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z$",)"
      R"("type":"string")";
  const std::string time(kTime);
  constexpr std::string_view kInteger =
      R"("maximum":9223372036854775807,"minimum":-9223372036854775808,"type":"integer")";
  const std::string integer(kInteger);
  const std::string seconds = "; may be a number of seconds since 1970-01-01T00:00:00Z";
  const std::string inners = R"("items":{"$ref":"#/$defs/Inner"},"type":"array")";
  const std::vector<std::pair<std::string, std::string>> rows = {
      {"integer", integer + R"(,"x-reader":"required")"},
      {"number", R"("type":"number","x-reader":"required")"},
      {"other_key", R"("type":"string","x-reader":"required")"},
      {"time", time + R"(,"x-reader":"required")"},
      {"uuid",
       R"("format":"uuid","pattern":"^[0-9A-F]{8}-([0-9A-F]{4}-){3}[0-9A-F]{12}$",)"
       R"("type":"string","x-reader":"required")"},
      {"colour", R"("enum":["red","deep_blue"],"x-reader":"required")"},
      {"map",
       R"("additionalProperties":{"type":"string"},"type":"object","default":{},)"
       R"("x-reader":"missing or null: the default")"},
      {"inner", R"("$ref":"#/$defs/Inner","x-reader":"required")"},
      {"optional", R"("type":"number","x-reader":"missing or null: no value")"},
      {"plain", inners + R"(,"x-reader":"required")"},
      {"lossy",
       inners +
           R"(,"x-reader":"missing, null or no list: an empty list; a bad element is dropped")"},
      {"days", integer + R"(,"default":14,"x-reader":"missing or null: the default")"},
      {"words",
       R"("items":{"type":"string"},"type":"array","default":["a","b"],)"
       R"("x-reader":"missing or null: the default")"},
      {"running",
       R"("type":"boolean","default":false,"x-reader":"missing, null or unreadable: the default")"},
      {"tier", integer + R"(,"x-reader":"missing, null or unreadable: no value")"},
      {"bytes", integer + R"(,"default":0,"x-reader":"missing or null: the default")"},
      {"t", time + R"(,"x-reader":"required)" + seconds + '"'},
      {"openedAt", time + R"(,"x-reader":"missing or null: the time of reading)" + seconds + '"'},
      {"sentAt", time + R"(,"x-reader":"missing or null: no value)" + seconds + '"'},
  };
  ASSERT_EQ(rows.size(), Outer::table().fields.size());
  for (const auto& [key, property] : rows) {
    EXPECT_THAT(schema, testing::HasSubstr("\"" + key + "\":{" + property + "}"));
  }
}

TEST(JSONSchema, requiresWhatIsAlwaysWritten) {
  EXPECT_THAT(jsonSchema(Outer::table(), JSONStyle::compact),
              testing::HasSubstr(
                  R"("required":["bytes","colour","days","inner","integer","lossy","map","number",)"
                  R"("openedAt","other_key","plain","running","t","time","uuid","words"],)"
                  R"("type":"object"})"));
}

TEST(JSONSchema, isADocumentOfItsOwn) {
  const std::string schema = jsonSchema(Inner::table(), JSONStyle::compact);
  EXPECT_THAT(
      schema,
      testing::StartsWith(
          R"({"$defs":{"Inner":{"additionalProperties":false,)"
          R"("properties":{"yes":{"type":"boolean","x-reader":"required"}},)"
          R"("required":["yes"],"type":"object"}},"$ref":"#/$defs/Inner",)"
          R"("$schema":"https://json-schema.org/draft/2020-12/schema","description":"What)"));
  EXPECT_THAT(schema, testing::EndsWith(R"(","title":"Inner"})"));
}

std::vector<std::string_view> namesWithin(const RecordTable& root) {
  std::vector<std::string_view> names;
  for (const RecordTable* const table : recordsWithin(root)) names.push_back(table->name);
  return names;
}

TEST(RecordsWithin, areInTheOrderOneMeetsThem) {
  EXPECT_THAT(namesWithin(Inner::table()), testing::ElementsAre("Inner"));
  EXPECT_THAT(namesWithin(Outer::table()), testing::ElementsAre("Outer", "Inner"));
  EXPECT_THAT(namesWithin(TrainingRun::table()),
              testing::ElementsAre("TrainingRun",
                                   "TrainingMetric",
                                   "CheckpointSummary",
                                   "StackFrame",
                                   "RecorderLogPoint",
                                   "DCGMSample"));
}

TEST(RecordsWithin, areAllOfASnapshot) { EXPECT_EQ(namesWithin(AppSnapshot::table()).size(), 31U); }

TEST(VisitRecords, showsEachRecordTheOuterBeforeTheInner) {
  Outer outer{};
  outer.plain = {{true}, {false}};
  std::vector<std::string_view> names;
  std::vector<const void*> places;
  visitRecords(Outer::table(), &outer, [&](const RecordTable& table, const void* record) {
    names.push_back(table.name);
    places.push_back(record);
  });
  EXPECT_THAT(names, testing::ElementsAre("Outer", "Inner", "Inner", "Inner"));
  EXPECT_THAT(places,
              testing::ElementsAre(&outer, &outer.inner, outer.plain.data(), &outer.plain[1]));
}

TEST(EditRecords, changesEachRecordBeforeItLooksInside) {
  Outer outer{};
  outer.plain = {{true}};
  int inners = 0;
  editRecords(Outer::table(), &outer, [&inners](const RecordTable& table, void* record) {
    if (&table == &Outer::table()) {
      static_cast<Outer*>(record)->plain.resize(3);
    } else {
      static_cast<Inner*>(record)->yes = ++inners % 2 == 0;
    }
  });
  EXPECT_EQ(inners, 4);
  ASSERT_EQ(outer.plain.size(), 3U);
  EXPECT_FALSE(outer.inner.yes);
  EXPECT_TRUE(outer.plain[0].yes);
  EXPECT_FALSE(outer.plain[1].yes);
  EXPECT_TRUE(outer.plain[2].yes);
}

TEST(VisitRecords, looksIntoWhatIsOptional) {
  TrainingRun run{};
  const auto count = [&run] {
    int records = 0;
    visitRecords(TrainingRun::table(), &run, [&](const RecordTable&, const void*) { ++records; });
    return records;
  };
  EXPECT_EQ(count(), 1);
  run.lastStackSample.emplace();
  EXPECT_EQ(count(), 2);
  run.recorderPoints.emplace_back().pySpy.emplace(3);
  EXPECT_EQ(count(), 6);
}

}  // namespace
}  // namespace tavrine
