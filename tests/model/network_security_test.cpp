#include <TavrineShared/model/network_security.h>

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

namespace tavrine {
namespace {

constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();

NetworkInterfaceStat exampleInterface() {
  return {.name = "eth0",
          .kind = "ethernet",
          .addressSummary = "10.0.0.5/24",
          .rxBytes = 1000,
          .txBytes = 2000,
          .rxPackets = 10,
          .txPackets = 20};
}

NetworkConnectionStat exampleConnection() {
  return {.protocolName = "tcp",
          .state = "ESTABLISHED",
          .localAddress = "10.0.0.5:22",
          .remoteAddress = "203.0.113.9:443",
          .processName = "sshd",
          .username = "ada",
          .pid = 812,
          .lat = 52.5,
          .lon = 13.375,
          .countryCode = "DE",
          .countryName = "Germany",
          .asnLabel = "AS64500 Example",
          .threatScore = 0.75,
          .threatLabel = "scanner",
          .direction = "inbound"};
}

NetworkInsight exampleInsight() {
  return {.id = "scan-1",
          .severity = AlertSeverity::critical,
          .title = "Port scan",
          .detail = "from one address"};
}

PacketThreatAnalysis exampleAnalysis() {
  return {.connectionKey = "tcp-203.0.113.9:443",
          .threatScore = 0.5,
          .classification = "suspicious",
          .ipRangeInfo = "a hosting range",
          .reasoning = "many short connections"};
}

SSHAuthEvent exampleEvent() {
  return {.id = "ssh-1",
          .type = "failed_password",
          .remoteIP = "203.0.113.9",
          .user = "root",
          .port = 51234,
          .lat = 52.5,
          .lon = 13.375,
          .countryCode = "DE",
          .countryName = "Germany",
          .asnLabel = "AS64500 Example",
          .threatScore = 0.875,
          .attemptCount = 17,
          .firstSeen = at(1700000000),
          .lastSeen = at(1794764905),
          .rawLine = "Failed password for root"};
}

RetentionStats exampleRetention() {
  return {.sizeBytes = 25,
          .capBytes = 100,
          .dayFileCount = 31,
          .oldestDay = "2026-10-15",
          .newestDay = "2026-11-15",
          .path = "/var/lib/ssh",
          .lastEvictedDay = "2026-10-14",
          .appendedThisCycle = 4};
}

NetworkSummary example() {
  return {.serverName = "gpu-01",
          .generatedAt = at(1794764905),
          .totalRxBytes = 1000,
          .totalTxBytes = 2000,
          .interfaces = {exampleInterface()},
          .connections = {exampleConnection()},
          .insights = {exampleInsight()},
          .aiSummary = "All quiet.",
          .summarySource = "rules",
          .packetAnalyses = {exampleAnalysis()},
          .sshEvents = {exampleEvent()},
          .serverPublicIP = "198.51.100.7",
          .rawAuthLog = "Nov 15 sshd",
          .sshLogStatus = "readable",
          .retention = exampleRetention()};
}

// --- the parts of a report ---

TEST(NetworkInterfaceStat, followsTheConventions) {
  checkRecord(exampleInterface(),
              R"({"addressSummary":"10.0.0.5/24","kind":"ethernet","name":"eth0",)"
              R"("rxBytes":1000,"rxPackets":10,"txBytes":2000,"txPackets":20})");
}

TEST(NetworkConnectionStat, followsTheConventions) {
  checkRecord(exampleConnection(),
              R"({"asnLabel":"AS64500 Example","countryCode":"DE","countryName":"Germany",)"
              R"("direction":"inbound","lat":52.5,"localAddress":"10.0.0.5:22","lon":13.375,)"
              R"("pid":812,"processName":"sshd","protocolName":"tcp",)"
              R"("remoteAddress":"203.0.113.9:443","state":"ESTABLISHED",)"
              R"("threatLabel":"scanner","threatScore":0.75,"username":"ada"})");
}

TEST(NetworkConnectionStat, needsOnlyItsEnds) {
  const std::string document =
      R"({"localAddress":"a","protocolName":"udp","remoteAddress":"b","state":""})";
  EXPECT_EQ(rewritten<NetworkConnectionStat>(document), document);
}

struct ConnectionIDRow {
  const char* name;
  std::optional<std::int64_t> pid;
  std::string_view id;
};
void PrintTo(const ConnectionIDRow& row, std::ostream* out) { *out << row.id; }

class ConnectionID : public testing::TestWithParam<ConnectionIDRow> {};

TEST_P(ConnectionID, isMadeOfItsEndsAndItsProcess) {
  NetworkConnectionStat connection = exampleConnection();
  connection.pid = GetParam().pid;
  EXPECT_EQ(connection.id(), GetParam().id);
}

INSTANTIATE_TEST_SUITE_P(
    PIDs, ConnectionID,
    rows<ConnectionIDRow>({
        {"plain", 812, "tcp-ESTABLISHED-10.0.0.5:22-203.0.113.9:443-812"},
        {"absent", {}, "tcp-ESTABLISHED-10.0.0.5:22-203.0.113.9:443--1"},
        {"minusOne", -1, "tcp-ESTABLISHED-10.0.0.5:22-203.0.113.9:443--1"},
        {"zero", 0, "tcp-ESTABLISHED-10.0.0.5:22-203.0.113.9:443-0"},
        {"highest", kHighest, "tcp-ESTABLISHED-10.0.0.5:22-203.0.113.9:443-9223372036854775807"},
    }),
    rowName);

TEST(NetworkConnectionStat, keepsEveryPartOfItsIDWhereItIsEmpty) {
  NetworkConnectionStat connection = exampleConnection();
  connection.protocolName = connection.state = "";
  connection.localAddress = connection.remoteAddress = "";
  EXPECT_EQ(connection.id(), "----812");
}

TEST(NetworkConnectionStat, hasACoordinateWithBothItsHalves) {
  NetworkConnectionStat connection = exampleConnection();
  EXPECT_EQ(connection.coordinate(), std::pair(52.5, 13.375));
  EXPECT_EQ(connection.coordinate()->first, 52.5);
  EXPECT_EQ(connection.coordinate()->second, 13.375);
  connection.lon = {};
  EXPECT_EQ(connection.coordinate(), std::nullopt);
  connection.lat = {};
  EXPECT_EQ(connection.coordinate(), std::nullopt);
  connection.lon = 13.375;
  EXPECT_EQ(connection.coordinate(), std::nullopt);
  connection.lat = 0;
  connection.lon = 0;
  EXPECT_EQ(connection.coordinate(), std::pair(0.0, 0.0)) << "zero is a place";
}

TEST(NetworkInsight, followsTheConventions) {
  checkRecord(exampleInsight(),
              R"({"detail":"from one address","id":"scan-1","severity":"critical",)"
              R"("title":"Port scan"})");
}

TEST(PacketThreatAnalysis, followsTheConventions) {
  checkRecord(exampleAnalysis(),
              R"({"classification":"suspicious","connectionKey":"tcp-203.0.113.9:443",)"
              R"("ipRangeInfo":"a hosting range","reasoning":"many short connections",)"
              R"("threatScore":0.5})");
}

TEST(SSHAuthEvent, followsTheConventions) {
  checkRecord(exampleEvent(),
              R"({"asnLabel":"AS64500 Example","attemptCount":17,"countryCode":"DE",)"
              R"("countryName":"Germany","firstSeen":"2023-11-14T22:13:20Z","id":"ssh-1",)"
              R"("lastSeen":"2026-11-15T17:48:25Z","lat":52.5,"lon":13.375,"port":51234,)"
              R"("rawLine":"Failed password for root","remoteIP":"203.0.113.9",)"
              R"("threatScore":0.875,"type":"failed_password","user":"root"})",
              {{"attemptCount", defaultsTo("1")}, {"rawLine", defaultsTo(R"("")")}});
}

TEST(SSHAuthEvent, isOneAttemptWhenNoCountIsGiven) {
  const SSHAuthEvent event = decode<SSHAuthEvent>(
      R"({"id":"a","type":"t","remoteIP":"r","user":"u","port":1,"threatScore":0})");
  EXPECT_EQ(event.attemptCount, 1);
  EXPECT_EQ(event.rawLine, "");
  EXPECT_EQ(encode(event),
            R"({"attemptCount":1,"id":"a","port":1,"rawLine":"","remoteIP":"r",)"
            R"("threatScore":0,"type":"t","user":"u"})");
}

TEST(RetentionStats, followsTheConventions) {
  checkRecord(exampleRetention(),
              R"({"appendedThisCycle":4,"capBytes":100,"dayFileCount":31,)"
              R"("lastEvictedDay":"2026-10-14","newestDay":"2026-11-15",)"
              R"("oldestDay":"2026-10-15","path":"/var/lib/ssh","sizeBytes":25})");
}

struct FillRow {
  const char* name;
  std::int64_t size;
  std::int64_t cap;
  double fraction;
};
void PrintTo(const FillRow& row, std::ostream* out) { *out << row.size << " of " << row.cap; }

class FillFraction : public testing::TestWithParam<FillRow> {};

TEST_P(FillFraction, isNeverAboveOne) {
  RetentionStats retention = exampleRetention();
  retention.sizeBytes = GetParam().size;
  retention.capBytes = GetParam().cap;
  EXPECT_EQ(retention.fillFraction(), GetParam().fraction);
}

INSTANTIATE_TEST_SUITE_P(Values, FillFraction,
                         rows<FillRow>({
                             {"quarter", 25, 100, 0.25},
                             {"empty", 0, 100, 0},
                             {"full", 100, 100, 1},
                             {"overfull", 150, 100, 1},
                             {"noCap", 25, 0, 0},
                             {"negativeCap", 25, -1, 0},
                             {"lowestCap", 25, kLowest, 0},
                             {"negativeSizeAndNoCap", -25, 0, 0},
                             {"negativeSizeAndCap", -25, -100, 0},
                             {"capOfOneAndFull", 1, 1, 1},
                             {"capOfOneAndOverfull", 2, 1, 1},
                             {"capOfOneAndEmpty", 0, 1, 0},
                             {"negativeSize", -50, 100, -0.5},
                             {"veryNegativeSize", -300, 100, -3},
                             {"lowestSize", kLowest, 1, -9223372036854775808.0},
                             {"highestSize", kHighest, 1, 1},
                             {"highestBoth", kHighest, kHighest, 1},
                             {"highestCap", 1, kHighest, 1.0 / 9223372036854775808.0},
                             {"farApart", kLowest, kHighest, -1},
                         }),
                         rowName);

// --- the report ---

TEST(NetworkSummary, followsTheConventions) {
  checkRecord(example(),
              R"({"aiSummary":"All quiet.","connections":[)" + encode(exampleConnection()) +
                  R"(],"generatedAt":"2026-11-15T17:48:25Z","insights":[)" +
                  encode(exampleInsight()) + R"(],"interfaces":[)" + encode(exampleInterface()) +
                  R"(],"packetAnalyses":[)" + encode(exampleAnalysis()) +
                  R"(],"rawAuthLog":"Nov 15 sshd","retention":)" + encode(exampleRetention()) +
                  R"(,"serverName":"gpu-01","serverPublicIP":"198.51.100.7","sshEvents":[)" +
                  encode(exampleEvent()) +
                  R"(],"sshLogStatus":"readable","summarySource":"rules","totalRxBytes":1000,)"
                  R"("totalTxBytes":2000})",
              {{"interfaces", dropsBadElements()},
               {"connections", dropsBadElements()},
               {"insights", dropsBadElements()},
               {"packetAnalyses", dropsBadElements()},
               {"sshEvents", dropsBadElements()},
               {"rawAuthLog", defaultsTo(R"("")")},
               {"sshLogStatus", defaultsTo(R"("unknown")")}});
}

TEST(NetworkSummary, needsNothingOfSSH) {
  std::string document = encode(example());
  for (const std::string_view key : {"sshEvents", "rawAuthLog", "sshLogStatus"}) {
    document = withoutMember(document, key);
  }
  NetworkSummary want = example();
  want.sshEvents = {};
  want.rawAuthLog = "";
  want.sshLogStatus = "unknown";
  EXPECT_EQ(decode<NetworkSummary>(document), want);
}

TEST(NetworkSummary, keepsAnEmptyLogStatus) {
  EXPECT_EQ(
      decode<NetworkSummary>(withMember(encode(example()), "sshLogStatus", R"("")")).sshLogStatus,
      "");
}

struct LossRow {
  const char* name;
  std::string_view list;
  std::string good;
  std::string_view required;
};
void PrintTo(const LossRow& row, std::ostream* out) { *out << row.list << ": " << row.required; }

class BadElement : public testing::TestWithParam<LossRow> {};

TEST_P(BadElement, isDroppedAlone) {
  const std::string& good = GetParam().good;
  const std::string bad = withoutMember(good, GetParam().required);
  const std::string document = encode(example());
  EXPECT_EQ(
      decode<NetworkSummary>(
          withMember(document, GetParam().list, "[" + good + "," + bad + "," + good + "]")),
      decode<NetworkSummary>(withMember(document, GetParam().list, "[" + good + "," + good + "]")));
}

INSTANTIATE_TEST_SUITE_P(
    Lists, BadElement,
    rows<LossRow>({
        {"interface", "interfaces", encode(exampleInterface()), "txPackets"},
        {"connection", "connections", encode(exampleConnection()), "remoteAddress"},
        {"insight", "insights", encode(exampleInsight()), "severity"},
        {"analysis", "packetAnalyses", encode(exampleAnalysis()), "reasoning"},
        {"eventID", "sshEvents", encode(exampleEvent()), "id"},
        {"eventType", "sshEvents", encode(exampleEvent()), "type"},
        {"eventIP", "sshEvents", encode(exampleEvent()), "remoteIP"},
        {"eventUser", "sshEvents", encode(exampleEvent()), "user"},
        {"eventPort", "sshEvents", encode(exampleEvent()), "port"},
        {"eventScore", "sshEvents", encode(exampleEvent()), "threatScore"},
    }),
    rowName);

TEST(NetworkSummary, failsWithABadRetention) {
  const std::string bad = withoutMember(encode(exampleRetention()), "capBytes");
  EXPECT_EQ(placeOfFailure<NetworkSummary>(withMember(encode(example()), "retention", bad)),
            "retention.capBytes");
}

TEST(NetworkSummary, keepsAllButItsServerNameUnderAnother) {
  const NetworkSummary renamed = example().withServerName("gpu-99");
  EXPECT_EQ(renamed.serverName, "gpu-99");
  EXPECT_EQ(renamed,
            decode<NetworkSummary>(withMember(encode(example()), "serverName", R"("gpu-99")")));
  EXPECT_EQ(renamed.withServerName("gpu-01"), example());
}

// --- grafting another SSH report ---

SSHAuthEvent otherEvent() {
  SSHAuthEvent event = exampleEvent();
  event.id = "ssh-2";
  return event;
}

RetentionStats otherRetention() {
  RetentionStats retention = exampleRetention();
  retention.sizeBytes = 99;
  return retention;
}

struct GraftRow {
  const char* name;
  std::optional<std::string> oldIP;
  std::optional<std::string> newIP;
  std::optional<RetentionStats> oldRetention;
  std::optional<RetentionStats> newRetention;
  std::optional<RetentionStats> retention;
};
void PrintTo(const GraftRow& row, std::ostream* out) { *out << row.name; }

class WithSSHEvents : public testing::TestWithParam<GraftRow> {};

TEST_P(WithSSHEvents, takesTheAddressInAnyCaseAndARetentionWhereThereIsOne) {
  const GraftRow& row = GetParam();
  NetworkSummary before = example();
  before.serverPublicIP = row.oldIP;
  before.retention = row.oldRetention;
  const NetworkSummary unchanged = before;

  NetworkSummary want = before;
  want.sshEvents = {otherEvent()};
  want.serverPublicIP = row.newIP;
  want.rawAuthLog = "new log";
  want.sshLogStatus = "denied";
  want.retention = row.retention;
  EXPECT_EQ(before.withSSHEvents({otherEvent()}, row.newIP, "new log", "denied", row.newRetention),
            want);
  EXPECT_EQ(before, unchanged);
}

INSTANTIATE_TEST_SUITE_P(
    Reports, WithSSHEvents,
    rows<GraftRow>({
        {"bothNew", "1.1.1.1", "2.2.2.2", exampleRetention(), otherRetention(), otherRetention()},
        {"addressCleared", "1.1.1.1", {}, exampleRetention(), otherRetention(), otherRetention()},
        {"retentionKept", "1.1.1.1", "2.2.2.2", exampleRetention(), {}, exampleRetention()},
        {"neitherGiven", "1.1.1.1", {}, exampleRetention(), {}, exampleRetention()},
        {"bothFirst", {}, "2.2.2.2", {}, otherRetention(), otherRetention()},
        {"noneEver", {}, {}, {}, {}, {}},
    }),
    rowName);

TEST(WithSSHEvents, replacesEventsEvenByNone) {
  EXPECT_TRUE(example().withSSHEvents({}, {}, "", "", {}).sshEvents.empty());
  EXPECT_EQ(example().withSSHEvents({otherEvent(), exampleEvent()}, {}, "", "", {}).sshEvents,
            (std::vector<SSHAuthEvent>{otherEvent(), exampleEvent()}));
}

TEST(WithSSHEvents, takesEmptyTexts) {
  const NetworkSummary after = example().withSSHEvents({}, "", "", "", {});
  EXPECT_EQ(after.rawAuthLog, "");
  EXPECT_EQ(after.sshLogStatus, "");
  EXPECT_EQ(after.serverPublicIP, "");
}

TEST(NetworkRecords, writeNothingDerived) {
  EXPECT_EQ(encode(exampleConnection()).find(R"("id")"), std::string::npos);
  EXPECT_EQ(encode(example()).find("coordinate"), std::string::npos);
  EXPECT_EQ(encode(example()).find("fillFraction"), std::string::npos);
}

TEST(NetworkRecords, mayBeKeys) {
  EXPECT_EQ((std::unordered_set<SSHAuthEvent>{exampleEvent(), otherEvent(), exampleEvent()}).size(),
            2U);
  EXPECT_EQ((std::unordered_set<NetworkSummary>{example(), example()}).size(), 1U);
}

}  // namespace
}  // namespace tavrine
