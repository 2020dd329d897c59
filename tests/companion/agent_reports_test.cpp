#include "companion/assemble/agent_reports.h"

#include <gmock/gmock.h>

#include <TavrineShared/model/json_conventions.h>
#include <TavrineShared/store/snapshot_disk_store.h>

#include <cstddef>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "tests/support/captures.h"
#include "tests/support/rows.h"
#include "tests/support/told.h"

namespace tavrine {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

struct Added {
  AppSnapshot snapshot{};
  std::vector<std::string> losses;
};

Added add(const std::map<std::string, std::string>& files) {
  Capture capture = healthyCapture("gpu-07");
  capture.texts.insert(files.begin(), files.end());
  Added added;
  FindingsBook book;
  addAgentReports(capture, added.snapshot, book);
  for (const SourceFindings& each : book.sources()) {
    for (const Finding& finding : each.findings.list()) {
      if (!finding.outcome.isLoss()) continue;
      added.losses.push_back(each.source + ": " + finding.path + ": " + finding.reason);
    }
  }
  return added;
}

// One record of each kind, as an agent would report it, under another server's name.
const AppSnapshot& lab() {
  static const AppSnapshot lab = SnapshotDiskStore::readOrThrow("tests/golden/snapshot/lab.json");
  return lab;
}

struct Kind {
  const char* name;
  const char* report;
  std::string record;
  std::function<std::vector<std::string>(const AppSnapshot&)> servers;
};
void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.name; }

template <auto Records>
Kind kind(const char* name, const char* report) {
  return {name, report, encode((lab().*Records).front()), [](const AppSnapshot& snapshot) {
            std::vector<std::string> servers;
            for (const auto& each : snapshot.*Records) servers.push_back(each.serverName);
            return servers;
          }};
}

std::size_t recordsIn(const AppSnapshot& snapshot) {
  return snapshot.agentStatuses.size() + snapshot.usageSummaries.size() +
         snapshot.networkSummaries.size() + snapshot.labEvents.size() +
         snapshot.labEventStores.size() + snapshot.recorderHealth.size() +
         snapshot.modelManagers.size();
}

class EachReport : public testing::TestWithParam<Kind> {};

TEST_P(EachReport, isARecordOrAList) {
  const std::string file = "agent/" + std::string(GetParam().report) + ".json";
  const std::string& record = GetParam().record;
  const struct {
    std::string content;
    std::size_t count;
  } table[] = {{record, 1},
               {" \n" + record + "\n", 1},
               {"[" + record + "]", 1},
               {"[" + record + "," + record + "]", 2},
               {"[]", 0}};
  for (const auto& row : table) {
    const Added added = add({{file, row.content}});
    EXPECT_EQ(GetParam().servers(added.snapshot), std::vector<std::string>(row.count, "gpu-07"));
    EXPECT_EQ(recordsIn(added.snapshot), row.count);
    EXPECT_THAT(added.losses, IsEmpty());
  }
}

TEST_P(EachReport, mayBeAMemberOfTheOneOfAll) {
  const std::string member = "\"" + std::string(GetParam().report) + "\":" + GetParam().record;
  const Added added = add({{"agent/reports.json", "{" + member + "}"}});
  EXPECT_THAT(GetParam().servers(added.snapshot), ElementsAre("gpu-07"));
  EXPECT_THAT(added.losses, IsEmpty());
}

TEST_P(EachReport, losesOnlyWhatIsBad) {
  const std::string file = "agent/" + std::string(GetParam().report) + ".json";
  const Added added = add({{file, "[7," + GetParam().record + ",null]"}});
  EXPECT_THAT(GetParam().servers(added.snapshot), ElementsAre("gpu-07"));
  EXPECT_EQ(added.losses.size(), 2U);
}

TEST_P(EachReport, isIgnoredWhereItIsNoJSON) {
  const std::string file = "agent/" + std::string(GetParam().report) + ".json";
  // What stands behind the record could close the list that it is read in.
  for (const std::string& content : {std::string(),
                                     std::string("{"),
                                     GetParam().record + "x",
                                     GetParam().record + "]",
                                     GetParam().record + "],\"x\":[1",
                                     std::string("\xFF\xFE"),
                                     std::string("]")}) {
    const Added added = add({{file, content}});
    EXPECT_EQ(recordsIn(added.snapshot), 0U) << content;
    EXPECT_EQ(added.losses.size(), 1U) << content;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, EachReport,
    rows<Kind>({kind<&AppSnapshot::agentStatuses>("status", "status"),
                kind<&AppSnapshot::usageSummaries>("usage", "usage"),
                kind<&AppSnapshot::networkSummaries>("network", "network"),
                kind<&AppSnapshot::labEvents>("labEvents", "lab_events"),
                kind<&AppSnapshot::labEventStores>("labEventStore", "lab_event_store"),
                kind<&AppSnapshot::recorderHealth>("recorderHealth", "recorder_health"),
                kind<&AppSnapshot::modelManagers>("modelManager", "model_manager")}),
    rowName);

TEST(AgentReports, tellOfNamesThatNobodyKnows) {
  EXPECT_THAT(add({{"agent/weather.json", "{}"}}).losses,
              ElementsAre("gpu-07/agent/weather.json: weather: no report has this name"));
  EXPECT_THAT(add({{"agent/status.txt", "{}"}}).losses,
              ElementsAre("gpu-07/agent/status.txt: : its name does not end in .json"));
  EXPECT_THAT(add({{"agent/reports.json", R"({"weather":1})"}}).losses,
              ElementsAre("gpu-07/agent/reports.json: weather: no report has this name"));
}

TEST(AgentReports, areMembersOfAnObject) {
  for (const char* const content : {"", "[]", "null", "7", "{", "{}x", R"({"status")", "\xFF"}) {
    EXPECT_THAT(add({{"agent/reports.json", content}}).losses,
                ElementsAre("gpu-07/agent/reports.json: : not the JSON of an object"))
        << content;
  }
  EXPECT_THAT(add({{"agent/reports.json", " {} \n"}}).losses, IsEmpty());
}

TEST(AgentReports, doNotCostEachOther) {
  const std::string event = encode(lab().labEvents.front());
  const Added added =
      add({{"agent/reports.json", R"({"status":7,"lab_events":[)" + event + R"(],"usage":{}})"},
           {"agent/status.json", "no"}});
  EXPECT_EQ(added.snapshot.labEvents.size(), 1U);
  EXPECT_EQ(added.losses.size(), 3U);
}

TEST(AgentReports, dropWhatHasNoJSONForm) {
  const std::string beyond = R"({"ok":true,"serverName":"a","version":"1","generatedAt":)"
                             R"("9999-12-31T23:59:59-02:00"})";
  const Added added = add({{"agent/status.json", beyond}});
  EXPECT_THAT(added.snapshot.agentStatuses, IsEmpty());
  EXPECT_THAT(added.losses, ElementsAre(HasSubstr("records[0].generatedAt")));
}

}  // namespace
}  // namespace tavrine
