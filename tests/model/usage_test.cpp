#include <TavrineShared/model/usage.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "tests/support/documents.h"
#include "tests/support/record_checks.h"
#include "tests/support/rows.h"
#include "tests/support/vocabulary_checks.h"

namespace tavrine {
namespace {

ConnectionSource exampleSource() {
  return {.source = "10.1.2.3",
          .displayName = "Library",
          .kind = ConnectionSourceKind::campusNetwork,
          .vpnProbability = 0.125,
          .evidence = "in 10.0.0.0/8",
          .isCurrent = true,
          .countryCode = "DE",
          .countryName = "Germany",
          .countryFlag = "\xF0\x9F\x87\xA9\xF0\x9F\x87\xAA",
          .networkLabel = "campus"};
}

StudentUsage exampleStudent() {
  return {.username = "ada",
          .processCount = 12,
          .trainingProcessCount = 3,
          .cpuPercent = 412.5,
          .memoryGB = 48.25,
          .gpuMemoryGB = 31.5,
          .loginCount = 9,
          .lastLogin = "Sat May 2 10:22 - still logged in",
          .activeCommands = {"python train.py", "htop"},
          .recentCommands = {"ls"},
          .connectionSources = {exampleSource()}};
}

UsageSummary exampleSummary() {
  StudentUsage idle = exampleStudent();
  idle.username = "bob";
  idle.lastLogin = {};
  idle.activeCommands = {};
  idle.recentCommands = {};
  idle.connectionSources = {};
  return {.serverName = "gpu-01",
          .generatedAt = at(1794764905),
          .days = 7,
          .summary = "Quiet week.",
          .summarySource = "rules",
          .students = {exampleStudent(), idle}};
}

constexpr std::string_view kIdleStudent =
    R"({"activeCommands":[],"connectionSources":[],"cpuPercent":412.5,"gpuMemoryGB":31.5,)"
    R"("loginCount":9,"memoryGB":48.25,"processCount":12,"recentCommands":[],)"
    R"("trainingProcessCount":3,"username":"bob"})";

TEST(ConnectionSourceKind, hasTheseCases) {
  using Kind = ConnectionSourceKind;
  expectTheTable<Kind>({{Kind::campusNetwork, "campusNetwork", "campus_network", "Campus"},
                        {Kind::privateNetwork, "privateNetwork", "private_network", "Private"},
                        {Kind::vpnLikely, "vpnLikely", "vpn_likely", "VPN likely"},
                        {Kind::publicInternet, "publicInternet", "public_internet", "Public"},
                        {Kind::localSession, "localSession", "local_session", "Local"},
                        {Kind::tmuxSession, "tmuxSession", "tmux_session", "tmux"},
                        {Kind::unknown, "unknown", "unknown", "Unknown"}});
}

TEST(ConnectionSourceKind, takesNoUnknownTextForUnknown) {
  EXPECT_EQ(ConnectionSourceKind::fromRawValue("unknown"), ConnectionSourceKind::unknown);
  EXPECT_FALSE(ConnectionSourceKind::fromRawValue("satellite"));
  EXPECT_EQ(placeOfFailure<ConnectionSource>(
                withMember(encode(exampleSource()), "kind", R"("satellite")")),
            "kind");
}

TEST(ConnectionSourceKind, hasTitlesAsPeopleWriteThem) {
  EXPECT_EQ(ConnectionSourceKind::tmuxSession.title(), "tmux");
  EXPECT_EQ(ConnectionSourceKind::vpnLikely.title(), "VPN likely");
}

// --- a source ---

TEST(ConnectionSource, followsTheConventions) {
  checkRecord(exampleSource(),
              R"({"countryCode":"DE",)"
              "\"countryFlag\":\"\xF0\x9F\x87\xA9\xF0\x9F\x87\xAA\","
              R"("countryName":"Germany","displayName":"Library","evidence":"in 10.0.0.0/8",)"
              R"("isCurrent":true,"kind":"campus_network","networkLabel":"campus",)"
              R"("source":"10.1.2.3","vpnProbability":0.125})");
}

struct SourceIDRow {
  const char* name;
  std::string_view source;
  ConnectionSourceKind kind;
  bool isCurrent;
  std::string_view id;
};
void PrintTo(const SourceIDRow& row, std::ostream* out) { *out << row.id; }

class ConnectionSourceID : public testing::TestWithParam<SourceIDRow> {};

TEST_P(ConnectionSourceID, isItsOriginItsKindAndWhetherItIsCurrent) {
  ConnectionSource source = exampleSource();
  source.source = GetParam().source;
  source.kind = GetParam().kind;
  source.isCurrent = GetParam().isCurrent;
  EXPECT_EQ(source.id(), GetParam().id);
}

INSTANTIATE_TEST_SUITE_P(
    Values, ConnectionSourceID,
    rows<SourceIDRow>({
        {"current",
         "10.1.2.3",
         ConnectionSourceKind::campusNetwork,
         true,
         "10.1.2.3-campus_network-true"},
        {"past",
         "10.1.2.3",
         ConnectionSourceKind::campusNetwork,
         false,
         "10.1.2.3-campus_network-false"},
        {"tmux", "tmux(9)", ConnectionSourceKind::tmuxSession, true, "tmux(9)-tmux_session-true"},
        {"nowhere", "", ConnectionSourceKind::unknown, false, "-unknown-false"},
    }),
    rowName);

// --- a user ---

TEST(StudentUsage, followsTheConventions) {
  checkRecord(exampleStudent(),
              R"({"activeCommands":["python train.py","htop"],"connectionSources":[)" +
                  encode(exampleSource()) +
                  R"(],"cpuPercent":412.5,"gpuMemoryGB":31.5,)"
                  R"("lastLogin":"Sat May 2 10:22 - still logged in","loginCount":9,)"
                  R"("memoryGB":48.25,"processCount":12,"recentCommands":["ls"],)"
                  R"("trainingProcessCount":3,"username":"ada"})",
              {{"activeCommands", dropsBadElements()},
               {"recentCommands", dropsBadElements()},
               {"connectionSources", dropsBadElements()}});
}

TEST(StudentUsage, needsNoLists) {
  std::string document(kIdleStudent);
  for (const std::string_view key : {"activeCommands", "recentCommands", "connectionSources"}) {
    document = withoutMember(document, key);
  }
  const StudentUsage student = decode<StudentUsage>(document);
  EXPECT_TRUE(student.activeCommands.empty());
  EXPECT_TRUE(student.recentCommands.empty());
  EXPECT_TRUE(student.connectionSources.empty());
  EXPECT_EQ(encode(student), kIdleStudent) << "empty lists are written";
}

TEST(StudentUsage, losesOnlyASourceOfUnknownKind) {
  const std::string good = encode(exampleSource());
  const std::string past = withMember(good, "isCurrent", "false");
  const std::string bad = withMember(good, "kind", R"("satellite")");
  const StudentUsage student =
      decode<StudentUsage>(withMember(encode(exampleStudent()),
                                      "connectionSources",
                                      "[" + good + "," + bad + "," + past + "]"));
  ConnectionSource third = exampleSource();
  third.isCurrent = false;
  EXPECT_EQ(student.connectionSources, (std::vector<ConnectionSource>{exampleSource(), third}));
  EXPECT_EQ(student.username, "ada");
}

TEST(StudentUsage, losesOnlyCommandsThatAreNoTexts) {
  for (const std::string_view key : {"activeCommands", "recentCommands"}) {
    EXPECT_EQ(decode<StudentUsage>(withMember(kIdleStudent, key, R"(["a",3,"b",null])")),
              decode<StudentUsage>(withMember(kIdleStudent, key, R"(["a","b"])")))
        << key;
  }
}

// --- a summary ---

TEST(UsageSummary, followsTheConventions) {
  checkRecord(exampleSummary(),
              R"({"days":7,"generatedAt":"2026-11-15T17:48:25Z","serverName":"gpu-01",)"
              R"("students":[)" +
                  encode(exampleStudent()) + "," + std::string(kIdleStudent) +
                  R"(],"summary":"Quiet week.","summarySource":"rules"})");
}

struct BadStudentRow {
  const char* name;
  std::string student;
  std::string_view place;
};
void PrintTo(const BadStudentRow& row, std::ostream* out) { *out << row.student; }

class BadStudent : public testing::TestWithParam<BadStudentRow> {};

TEST_P(BadStudent, failsTheSummary) {
  const std::string good(kIdleStudent);
  EXPECT_EQ(placeOfFailure<UsageSummary>(withMember(encode(exampleSummary()),
                                                    "students",
                                                    "[" + good + "," + GetParam().student + "]")),
            GetParam().place);
}

INSTANTIATE_TEST_SUITE_P(
    Elements, BadStudent,
    rows<BadStudentRow>({
        {"number", "7", "students[1]"},
        {"null", "null", "students[1]"},
        {"emptyObject", "{}", "students[1].username"},
        {"noLoginCount", withoutMember(kIdleStudent, "loginCount"), "students[1].loginCount"},
        {"badLastLogin",
         withNewMember(std::string(kIdleStudent), "lastLogin", "5"),
         "students[1].lastLogin"},
    }),
    rowName);

TEST(UsageSummary, survivesABadElementOfAStudentsList) {
  const std::string student = withMember(kIdleStudent, "connectionSources", "[{}]");
  EXPECT_EQ(
      rewritten<UsageSummary>(
          withMember(encode(exampleSummary()), "students", "[" + student + "]")),
      rewritten<UsageSummary>(
          withMember(encode(exampleSummary()), "students", "[" + std::string(kIdleStudent) + "]")));
}

TEST(UsageSummary, needsAListOfStudentsThatMayBeEmpty) {
  const std::string document = encode(exampleSummary());
  EXPECT_TRUE(decode<UsageSummary>(withMember(document, "students", "[]")).students.empty());
  EXPECT_EQ(placeOfFailure<UsageSummary>(withoutMember(document, "students")), "students");
  EXPECT_EQ(placeOfFailure<UsageSummary>(withMember(document, "students", "{}")), "students");
}

TEST(UsageSummary, isIdentifiedByServerAndDays) {
  UsageSummary summary = exampleSummary();
  EXPECT_EQ(summary.id(), "gpu-01-7");
  summary.days = -1;
  EXPECT_EQ(summary.id(), "gpu-01--1");
  summary.days = std::numeric_limits<std::int64_t>::min();
  EXPECT_EQ(summary.id(), "gpu-01--9223372036854775808");
}

TEST(UsageSummary, changesItsIDWithItsServerName) {
  const UsageSummary renamed = exampleSummary().withServerName("gpu-99");
  EXPECT_EQ(exampleSummary().id(), "gpu-01-7");
  EXPECT_EQ(renamed.id(), "gpu-99-7");
  EXPECT_EQ(
      renamed,
      decode<UsageSummary>(withMember(encode(exampleSummary()), "serverName", R"("gpu-99")")));
  EXPECT_EQ(renamed.withServerName("gpu-01"), exampleSummary());
}

TEST(UsageRecords, writeNothingDerived) {
  EXPECT_EQ(encode(exampleSummary()).find(R"("id")"), std::string::npos);
  EXPECT_EQ(encode(exampleSummary()).find(R"("title")"), std::string::npos);
}

TEST(UsageRecords, mayBeKeys) {
  ConnectionSource past = exampleSource();
  past.isCurrent = false;
  EXPECT_EQ((std::unordered_set<ConnectionSource>{exampleSource(), past, past}).size(), 2U);
  EXPECT_EQ((std::unordered_set<UsageSummary>{exampleSummary(), exampleSummary()}).size(), 1U);
}

}  // namespace
}  // namespace tavrine
