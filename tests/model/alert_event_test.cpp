#include <TavrineShared/model/alert_event.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
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

TavrineAlert exampleAlert() {
  return {.id = *UUID::fromText("0F8FAD5B-D9CB-469F-A165-70867728950E"),
          .severity = AlertSeverity::warning,
          .title = "GPU 3 is hot",
          .message = "91 degrees for ten minutes",
          .serverName = "gpu-01",
          .runName = "resnet-50",
          .timestamp = at(1794764905)};
}

LabEvent exampleEvent() {
  return {.id = "evt-7",
          .timestamp = at(1794764905),
          .severity = AlertSeverity::info,
          .category = "notebook",
          .title = "Idle notebook",
          .message = "holds 12 GB of GPU memory",
          .serverName = "gpu-01",
          .username = "ada",
          .processPID = 4123,
          .command = "jupyter-lab"};
}

LabEventStoreSummary exampleStore() {
  return {.serverName = "gpu-01",
          .enabled = true,
          .path = "/var/lib/events",
          .selectedDay = "2026-11-15",
          .selectedDayEventCount = 12,
          .exportLimit = 50,
          .sizeBytes = 1234,
          .estimatedYearBytes = 5678,
          .eventCount = 900,
          .observedDays = 31,
          .alertThresholdBytes = 1048576,
          .alertRecipient = "lab@example.org",
          .emailTemplate = "concise",
          .availableEmailTemplates = {"concise", "long"},
          .lastEmailAt = at(1700000000),
          .lastEmailError = "refused",
          .lastTestEmailAt = at(1700000001),
          .lastTestEmailError = "timed out",
          .smtpHost = "mail.example.org",
          .smtpPort = 587,
          .smtpFrom = "agent@example.org",
          .smtpStartTLS = true,
          .error = "one day is unreadable"};
}

/// What `{}` reads as, written.
constexpr std::string_view kDefaultStore =
    R"({"alertRecipient":"","alertThresholdBytes":53687091200,)"
    R"("availableEmailTemplates":["concise","operations","detailed"],)"
    R"("emailTemplate":"operations","enabled":false,"estimatedYearBytes":0,"eventCount":0,)"
    R"("exportLimit":5,"path":"","selectedDayEventCount":0,"serverName":"","sizeBytes":0})";

// --- alerts ---

TEST(TavrineAlert, followsTheConventions) {
  checkRecord(exampleAlert(),
              R"({"id":"0F8FAD5B-D9CB-469F-A165-70867728950E",)"
              R"("message":"91 degrees for ten minutes","runName":"resnet-50",)"
              R"("serverName":"gpu-01","severity":"warning",)"
              R"("timestamp":"2026-11-15T17:48:25Z","title":"GPU 3 is hot"})");
}

TEST(TavrineAlert, isAnotherOneForAnotherRun) {
  TavrineAlert other = exampleAlert();
  other.runName = "resnet-101";
  EXPECT_NE(other, exampleAlert());
  EXPECT_NE(std::hash<TavrineAlert>()(other), std::hash<TavrineAlert>()(exampleAlert()));
  other.runName = {};
  EXPECT_NE(other, exampleAlert());
  EXPECT_EQ(other.id, exampleAlert().id);
}

TEST(TavrineAlert, needsNeitherServerNorRun) {
  const std::string document =
      withoutMember(withoutMember(encode(exampleAlert()), "serverName"), "runName");
  const TavrineAlert alert = decode<TavrineAlert>(document);
  EXPECT_EQ(alert.serverName, std::nullopt);
  EXPECT_EQ(alert.runName, std::nullopt);
  EXPECT_EQ(encode(alert), document);
}

TEST(TavrineAlert, failsWithASeverityOrAnIDThatIsNone) {
  const std::string document = encode(exampleAlert());
  for (const std::string_view severity : {"fatal", "Warning", ""}) {
    EXPECT_EQ(placeOfFailure<TavrineAlert>(withMember(document, "severity", jsonText(severity))),
              "severity")
        << severity;
  }
  for (const std::string_view id : {"", "7", "0F8FAD5BD9CB469FA16570867728950E"}) {
    EXPECT_EQ(placeOfFailure<TavrineAlert>(withMember(document, "id", jsonText(id))), "id") << id;
  }
  EXPECT_EQ(
      decode<TavrineAlert>(withMember(document, "id", R"("0f8fad5b-d9cb-469f-a165-70867728950e")")),
      exampleAlert());
}

// --- events ---

TEST(LabEvent, followsTheConventions) {
  checkRecord(exampleEvent(),
              R"({"category":"notebook","command":"jupyter-lab","id":"evt-7",)"
              R"("message":"holds 12 GB of GPU memory","processPID":4123,)"
              R"("serverName":"gpu-01","severity":"info","timestamp":"2026-11-15T17:48:25Z",)"
              R"("title":"Idle notebook","username":"ada"})");
}

TEST(LabEvent, needsAServerName) {
  EXPECT_EQ(placeOfFailure<LabEvent>(withoutMember(encode(exampleEvent()), "serverName")),
            "serverName");
}

TEST(LabEvent, keepsAllButItsServerNameUnderAnother) {
  const LabEvent renamed = exampleEvent().withServerName("gpu-99");
  EXPECT_EQ(renamed.serverName, "gpu-99");
  EXPECT_EQ(renamed.id, "evt-7");
  EXPECT_EQ(renamed,
            decode<LabEvent>(withMember(encode(exampleEvent()), "serverName", R"("gpu-99")")));
  EXPECT_EQ(renamed.withServerName("gpu-01"), exampleEvent());
  EXPECT_EQ(renamed.withServerName("").serverName, "");
}

// --- the store ---

TEST(LabEventStoreSummary, followsTheConventions) {
  checkRecord(exampleStore(),
              R"({"alertRecipient":"lab@example.org","alertThresholdBytes":1048576,)"
              R"("availableEmailTemplates":["concise","long"],"emailTemplate":"concise",)"
              R"("enabled":true,"error":"one day is unreadable","estimatedYearBytes":5678,)"
              R"("eventCount":900,"exportLimit":50,"lastEmailAt":"2023-11-14T22:13:20Z",)"
              R"("lastEmailError":"refused","lastTestEmailAt":"2023-11-14T22:13:21Z",)"
              R"("lastTestEmailError":"timed out","observedDays":31,"path":"/var/lib/events",)"
              R"("selectedDay":"2026-11-15","selectedDayEventCount":12,"serverName":"gpu-01",)"
              R"("sizeBytes":1234,"smtpFrom":"agent@example.org","smtpHost":"mail.example.org",)"
              R"("smtpPort":587,"smtpStartTLS":true})",
              {{"serverName", defaultsTo(R"("")")},
               {"enabled", defaultsTo("false")},
               {"path", defaultsTo(R"("")")},
               {"selectedDayEventCount", defaultsTo("0")},
               {"exportLimit", defaultsTo("5")},
               {"sizeBytes", defaultsTo("0")},
               {"estimatedYearBytes", defaultsTo("0")},
               {"eventCount", defaultsTo("0")},
               {"alertThresholdBytes", defaultsTo("53687091200")},
               {"alertRecipient", defaultsTo(R"("")")},
               {"emailTemplate", defaultsTo(R"("operations")")},
               {"availableEmailTemplates", defaultsTo(R"(["concise","operations","detailed"])")}});
}

TEST(LabEventStoreSummary, isMadeOfDefaultsWhenNothingIsSaid) {
  const LabEventStoreSummary store = decode<LabEventStoreSummary>("{}");
  EXPECT_EQ(store.serverName, "");
  EXPECT_EQ(store.path, "");
  EXPECT_FALSE(store.enabled);
  EXPECT_EQ(store.exportLimit, 5);
  EXPECT_EQ(store.alertThresholdBytes, 53'687'091'200);
  EXPECT_EQ(store.emailTemplate, "operations");
  EXPECT_EQ(store.availableEmailTemplates,
            (std::vector<std::string>{"concise", "operations", "detailed"}));
  EXPECT_EQ(store.id(), "-");
  EXPECT_EQ(encode(store), kDefaultStore);
  EXPECT_EQ(decode<LabEventStoreSummary>(kDefaultStore), store);
}

TEST(LabEventStoreSummary, isMadeOfDefaultsWhenEverythingIsNull) {
  std::string nulls = "{}";
  for (const Field& field : LabEventStoreSummary::table().fields) {
    nulls = withNewMember(nulls, field.key, "null");
  }
  EXPECT_EQ(rewritten<LabEventStoreSummary>(nulls), kDefaultStore);
}

struct ByteCountRow {
  const char* name;
  std::optional<std::string_view> json;
  std::optional<std::string_view> read;  ///< nothing where the record fails
};
void PrintTo(const ByteCountRow& row, std::ostream* out) { *out << row.json.value_or("no key"); }

class ByteCount : public testing::TestWithParam<ByteCountRow> {};

TEST_P(ByteCount, isAnIntegerOrMissing) {
  for (const std::string_view key : {"sizeBytes", "estimatedYearBytes", "alertThresholdBytes"}) {
    const std::string document =
        GetParam().json ? withNewMember("{}", key, *GetParam().json) : std::string("{}");
    if (!GetParam().read) {
      EXPECT_EQ(placeOfFailure<LabEventStoreSummary>(document), key);
      continue;
    }
    const std::string_view missing = key == "alertThresholdBytes" ? "53687091200" : "0";
    const std::string_view want = *GetParam().read == "default" ? missing : *GetParam().read;
    LabEventStoreSummary store = decode<LabEventStoreSummary>(document);
    EXPECT_EQ(store, decode<LabEventStoreSummary>(withMember(kDefaultStore, key, want)));
  }
}

INSTANTIATE_TEST_SUITE_P(Values, ByteCount,
                         rows<ByteCountRow>({
                             {"number", "1234", "1234"},
                             {"negative", "-1", "-1"},
                             {"zero", "0", "0"},
                             {"highest", "9223372036854775807", "9223372036854775807"},
                             {"lowest", "-9223372036854775808", "-9223372036854775808"},
                             {"wholeNumberWithAFraction", "1234.0", "1234"},
                             {"null", "null", "default"},
                             {"missing", {}, "default"},
                             {"text", R"("1234")", {}},
                             {"fraction", "12.5", {}},
                             {"tooHigh", "9223372036854775808", {}},
                             {"farTooHigh", "1e300", {}},
                             {"boolean", "true", {}},
                             {"list", "[1234]", {}},
                             {"object", "{}", {}},
                         }),
                         rowName);

TEST(LabEventStoreSummary, failsWithABadTemplateName) {
  EXPECT_EQ(placeOfFailure<LabEventStoreSummary>(R"({"availableEmailTemplates":["a",7,"b"]})"),
            "availableEmailTemplates[1]");
  EXPECT_EQ(placeOfFailure<LabEventStoreSummary>(R"({"availableEmailTemplates":["a",null]})"),
            "availableEmailTemplates[1]");
}

TEST(LabEventStoreSummary, mayOfferNoTemplates) {
  EXPECT_EQ(
      rewritten<LabEventStoreSummary>(R"({"availableEmailTemplates":[]})"),
      rewritten<LabEventStoreSummary>(withMember(kDefaultStore, "availableEmailTemplates", "[]")));
  EXPECT_TRUE(decode<LabEventStoreSummary>(R"({"availableEmailTemplates":[]})")
                  .availableEmailTemplates.empty());
}

TEST(LabEventStoreSummary, failsWithAMalformedTime) {
  for (const std::string_view key : {"lastEmailAt", "lastTestEmailAt"}) {
    for (const std::string_view time :
         {"1700000000", R"("2023-11-14")", R"("2023-11-14T22:13:20.5Z")", R"("")"}) {
      EXPECT_EQ(placeOfFailure<LabEventStoreSummary>(withNewMember("{}", key, time)), key) << time;
    }
  }
}

TEST(LabEventStoreSummary, changesItsIDWithItsServerName) {
  EXPECT_EQ(exampleStore().id(), "gpu-01-/var/lib/events");
  const LabEventStoreSummary renamed = exampleStore().withServerName("gpu-99");
  EXPECT_EQ(renamed.id(), "gpu-99-/var/lib/events");
  EXPECT_EQ(renamed,
            decode<LabEventStoreSummary>(
                withMember(encode(exampleStore()), "serverName", R"("gpu-99")")));
  EXPECT_EQ(renamed.withServerName("gpu-01"), exampleStore());
  EXPECT_EQ(exampleStore().withServerName("").id(), "-/var/lib/events");
}

TEST(LabEventStoreSummary, writesNothingDerived) {
  EXPECT_EQ(encode(exampleStore()).find(R"("id")"), std::string::npos);
}

TEST(EventRecords, mayBeKeys) {
  EXPECT_EQ((std::unordered_set<LabEvent>{exampleEvent(), exampleEvent()}).size(), 1U);
  EXPECT_EQ((std::unordered_set<TavrineAlert>{exampleAlert(), exampleAlert()}).size(), 1U);
  EXPECT_EQ((std::unordered_set<LabEventStoreSummary>{exampleStore(),
                                                      exampleStore().withServerName("gpu-99"),
                                                      exampleStore()})
                .size(),
            2U);
}

}  // namespace
}  // namespace tavrine
