#include "companion/export/csv_text.h"

#include <TavrineShared/demo/sample_data.h>
#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/json_schema.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <ostream>
#include <set>
#include <string>

#include "tests/support/documents.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

std::string csv(const AppSnapshot& snapshot, std::string_view kind) {
  return csvText(snapshot, *findCSVKind(kind)).text;
}

AppSnapshot nothing() {
  AppSnapshot snapshot = AppSnapshot::empty();
  snapshot.timestamp = at(1794764905);
  return snapshot;
}

AppSnapshot withSensor(const std::string& label, double celsius = 1) {
  AppSnapshot snapshot = nothing();
  snapshot.sensors = {{.serverName = "a",
                       .capturedAt = at(1),
                       .cpuTemperatures = {{label, celsius}},
                       .diskIO = {},
                       .loadAverage = {0.5, 2}}};
  return snapshot;
}

struct Row {
  const char* name;
  std::string text;
  std::string cell;
};

void PrintTo(const Row& row, std::ostream* out) { *out << testing::PrintToString(row.text); }

class CSVCell : public testing::TestWithParam<Row> {};

TEST_P(CSVCell, isQuotedAndGuarded) {
  EXPECT_EQ(csv(withSensor(GetParam().text), "temperatures"),
            "serverName,label,celsius\na," + GetParam().cell + ",1\n");
}

INSTANTIATE_TEST_SUITE_P(Texts, CSVCell,
                         rows<Row>({
                             {"plain", "Tctl", "Tctl"},
                             {"empty", "", ""},
                             {"blanks", " a b ", " a b "},
                             {"comma", "a,b", "\"a,b\""},
                             {"quotes", "a \"b\"", "\"a \"\"b\"\"\""},
                             {"lineFeed", "a\nb", "\"a\nb\""},
                             {"carriageReturn", "a\rb", "\"a\rb\""},
                             {"apostrophe", "'a'", "'a'"},
                             {"wide", "\u663E\u5361", "\u663E\u5361"},
                             {"equals", "=1+1", "'=1+1"},
                             {"plus", "+a", "'+a"},
                             {"minus", "-a", "'-a"},
                             {"at", "@SUM(A1)", "'@SUM(A1)"},
                             {"tab", "\t=1", "'\t=1"},
                             {"lineFeedFirst", "\n=1", "\"'\n=1\""},
                             {"carriageReturnFirst", "\r=1", "\"'\r=1\""},
                             {"wideEquals", "\uFF1D1", "'\uFF1D1"},
                             {"formulaWithQuotes", "=A(\"b\",1)", "\"'=A(\"\"b\"\",1)\""},
                             {"negativeNumber", "-5", "-5"},
                             {"positiveNumber", "+5.25e-3", "+5.25e-3"},
                             {"hugeNumber", "-1e999", "-1e999"},
                             {"numberAndMore", "-5+1", "'-5+1"},
                             {"twoSigns", "--5", "'--5"},
                             {"minusOnly", "-", "'-"},
                             {"minusInfinity", "-inf", "'-inf"},
                             {"equalsLater", "a=1", "a=1"},
                         }),
                         rowName);

TEST(CSVText, hasNumbersTimesAndWordsAsInJSON) {
  EXPECT_EQ(csv(withSensor("a", -1.5), "temperatures"), "serverName,label,celsius\na,a,-1.5\n");
  EXPECT_EQ(csv(withSensor("a"), "sensors"),
            "serverName,capturedAt,loadAverage\na,1970-01-01T00:00:01Z,\"[0.5,2]\"\n");
  AppSnapshot snapshot = nothing();
  snapshot.alerts = {{.id = {},
                      .severity = AlertSeverity::critical,
                      .title = "t",
                      .message = "m",
                      .serverName = {},
                      .runName = "",
                      .timestamp = at(0)}};
  EXPECT_EQ(csv(snapshot, "alerts"),
            "id,severity,title,message,serverName,runName,timestamp\n"
            "00000000-0000-0000-0000-000000000000,critical,t,m,,,1970-01-01T00:00:00Z\n");
}

TEST(CSVText, leavesACellEmptyWhoseTimeHasNoForm) {
  AppSnapshot snapshot = withSensor("a");
  snapshot.sensors[0].capturedAt = at(1e300);
  const CSVText made = csvText(snapshot, *findCSVKind("sensors"));
  EXPECT_EQ(made.text, "serverName,capturedAt,loadAverage\na,,\"[0.5,2]\"\n");
  EXPECT_EQ(made.emptied, 1U);
  EXPECT_EQ(made.whyEmptied, "a time outside the years 0000 to 9999 has no JSON form");
}

TEST(CSVText, saysWhoseTheRowsAre) {
  const AppSnapshot lab = SampleData::snapshot(60);
  EXPECT_THAT(csv(lab, "gpus"), testing::StartsWith("serverName,index,name,"));
  EXPECT_THAT(csv(lab, "gpus"), testing::HasSubstr("\ngpu-lab-b,0,NVIDIA H100,"));
  EXPECT_THAT(csv(lab, "metrics"),
              testing::StartsWith("serverName,runName,step,timestamp,loss,throughput,flopsTFLOPs,"
                                  "gpuUtilization\ngpu-lab-a,llama-7b-sft-run-042,"));
  EXPECT_THAT(csv(lab, "connection-sources"), testing::StartsWith("serverName,days,username,"));
  EXPECT_NE(csv(lab, "metrics"), csv(lab, "validation-metrics"));
}

TEST(CSVText, ofNothingIsALineOfHeadings) {
  for (const CSVKind& kind : csvKinds()) {
    const std::string text = csv(nothing(), kind.name);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 1) << kind.name;
    EXPECT_GT(std::count(text.begin(), text.end(), ','), 1) << kind.name;
  }
}

TEST(CSVKinds, areAllRecordsThatAreListed) {
  std::set<std::string_view> names;
  std::set<const RecordTable*> tables;
  for (const CSVKind& kind : csvKinds()) {
    EXPECT_TRUE(names.insert(kind.name).second) << kind.name;
    EXPECT_EQ(findCSVKind(kind.name), &kind);
    tables.insert(&kind.table());
  }
  EXPECT_EQ(findCSVKind("gpu"), nullptr);
  EXPECT_EQ(findCSVKind(""), nullptr);
  // What is no list in any record, or in a list of stacks only.
  const std::set<std::string_view> parts = {"AppSnapshot",
                                            "DCGMSample",
                                            "RetentionStats",
                                            "StackFrame"};
  for (const RecordTable* const table : recordsWithin(AppSnapshot::table())) {
    EXPECT_NE(tables.contains(table), parts.contains(table->name)) << table->name;
  }
}

}  // namespace
}  // namespace tavrine
