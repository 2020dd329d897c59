#include "companion/redact/snapshot_redaction.h"

#include <TavrineShared/demo/sample_data.h>
#include <TavrineShared/foundation/file.h>
#include <TavrineShared/model/json_conventions.h>

#include <gtest/gtest.h>

#include <map>
#include <string>

namespace tavrine {
namespace {

void expectNoneLeft(const AppSnapshot& snapshot) {
  const std::string document = encode(snapshot, JSONStyle::pretty);
  EXPECT_EQ(document.find("hunter2"), std::string::npos)
      << document.substr(document.find("hunter2") - 200, 300);
}

TEST(RedactedSnapshot, coversTextsOfEverySort) {
  AppSnapshot snapshot = SampleData::snapshot(60);
  const std::string secret = "x --token hunter2";
  snapshot.processes.at(0).command = secret;              // a text
  snapshot.runs.at(0).modelName = secret;                 // one that may be absent
  snapshot.runs.at(0).logTail = "a\nAPI_KEY=hunter2\nb";  // of several lines
  snapshot.runs.at(0).hyperparameters = {{"hf_token", "hunter2"},
                                         {"lr", "2e-5"},
                                         {"use_auth_token", "True"},
                                         {"command", secret},
                                         {"empty_token", ""}};
  snapshot.usageSummaries.at(0).students.at(0).recentCommands = {secret, "ls"};  // a list
  snapshot.runs.at(0).recorderPoints.clear();
  const AppSnapshot without = redacted(snapshot);
  expectNoneLeft(without);
  EXPECT_EQ(without.processes.at(0).command, "x --token [redacted]");
  EXPECT_EQ(without.runs.at(0).logTail, "a\nAPI_KEY=[redacted]\nb");
  const std::map<std::string, std::string> expected = {{"hf_token", "[redacted]"},
                                                       {"lr", "2e-5"},
                                                       {"use_auth_token", "True"},
                                                       {"command", "x --token [redacted]"},
                                                       {"empty_token", ""}};
  EXPECT_EQ(without.runs.at(0).hyperparameters, expected);
  EXPECT_EQ(without.usageSummaries.at(0).students.at(0).recentCommands.at(1), "ls");
}

TEST(RedactedSnapshot, isTheSameWithoutSecrets) {
  const AppSnapshot snapshot = SampleData::snapshot(60);
  EXPECT_EQ(redacted(snapshot), snapshot);
  const FileBytes lab = readFile("tests/golden/snapshot/lab.json");
  const auto decoded = decode<AppSnapshot>(lab.text());
  EXPECT_EQ(redacted(decoded), decoded);
}

}  // namespace
}  // namespace tavrine
