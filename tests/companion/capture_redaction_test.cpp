#include "companion/redact/capture_redaction.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>
#include <string_view>

#include "tests/support/rows.h"

namespace tavrine {
namespace {

struct DocumentRow {
  const char* name;
  std::string_view text;
  std::string_view want;
};
void PrintTo(const DocumentRow& row, std::ostream* out) { *out << row.text; }

class RedactedJSON : public testing::TestWithParam<DocumentRow> {};

TEST_P(RedactedJSON, staysJSON) { EXPECT_EQ(redactedJSON(GetParam().text), GetParam().want); }

INSTANTIATE_TEST_SUITE_P(
    Rows, RedactedJSON,
    rows<DocumentRow>({
        {"empty", "", ""},
        {"nothingSecret",
         R"({"t": 1, "cmdline": "python x"})",
         R"({"t": 1, "cmdline": "python x"})"},
        {"theLastWordOfAText",
         R"({"cmdline":"python x --token abc"})",
         R"({"cmdline":"python x --token [redacted]"})"},
        {"aQuotedValue",
         R"({"cmdline":"x --password \"a b\" y"})",
         R"({"cmdline":"x --password \"[redacted]\" y"})"},
        {"severalLines",
         "{\"cmdline\":\"API_KEY=1 x\"}\n{\"t\":2}\n",
         "{\"cmdline\":\"API_KEY=[redacted] x\"}\n{\"t\":2}\n"},
        {"aMemberWithASecretName",
         R"({"password": "a b", "env":{"HF_TOKEN":"c"},"tokenizer":"d"})",
         R"({"password": "[redacted]", "env":{"HF_TOKEN":"[redacted]"},"tokenizer":"d"})"},
        {"wordsForAKey",
         R"({"my api key": "a", "New token": "a", "env:WANDB_KEY": "a", "token[0]": "a"})",
         R"({"my api key": "[redacted]", "New token": "[redacted]", )"
         R"("env:WANDB_KEY": "[redacted]", "token[0]": "[redacted]"})"},
        {"aListOfSecrets",
         R"({"passwords": ["a", "b"], "names": ["a"]})",
         R"({"passwords": ["[redacted]", "[redacted]"], "names": ["a"]})"},
        {"anObjectOfASecret", R"({"secret": {"mode": "a"}})", R"({"secret": {"mode": "a"}})"},
        {"noValueForASecret",
         R"({"token": null, "a": "b", "token": "", "c": 1})",
         R"({"token": null, "a": "b", "token": "", "c": 1})"},
        {"answers", R"({"use_auth_token": "True"})", R"({"use_auth_token": "True"})"},
        {"aLineWhoseBeginningIsCutOff",
         R"(on x --password abc y", "gpu_util": 5})",
         R"(on x --password [redacted] y", "gpu_util": 5})"},
        {"aLineWhoseEndIsCutOff",
         "{\"t\":1}\n{\"cmdline\": \"x --token abc",
         "{\"t\":1}\n{\"cmdline\": \"x --token [redacted]"},
        {"aTextThatIsNone", "\"\\x --token b\"", "\"\\x --token [redacted]"},
        {"noJSON", "token: abc", "token: [redacted]"},
    }),
    rowName);

TEST(RedactedJSON, isLinear) {
  std::string hostile = "\"";
  for (int i = 0; i < 1'000'000; ++i) hostile += "\\\"";
  EXPECT_EQ(redactedJSON(hostile), hostile);
}

TEST(RedactedCapture, looksAtWhatIsSaidOfTheHost) {
  Capture capture{};
  capture.info.problem = "cannot connect, password=abc";
  capture.info.runs = {{"a", "/x/a token=abc/train.log", {}, "/x/a token=abc/recorder.jsonl"}};
  capture = redacted(std::move(capture));
  EXPECT_EQ(capture.info.problem, "cannot connect, password=[redacted]");
  EXPECT_EQ(capture.info.runs[0].logPath->find("abc"), std::string::npos);
  EXPECT_EQ(capture.info.runs[0].recorderPath->find("abc"), std::string::npos);
}

TEST(RedactedCapture, knowsTextsFromDocuments) {
  Capture capture{};
  capture.texts = {{"processes.txt", "1 x --token abc\n"},
                   {"runs/a/recorder.jsonl", "{\"cmdline\":\"x --token abc\"}\n"},
                   {"agent/usage.json", "{\"a\":\"--token abc\"}"}};
  capture = redacted(std::move(capture));
  EXPECT_EQ(*capture.text("processes.txt"), "1 x --token [redacted]\n");
  EXPECT_EQ(*capture.text("runs/a/recorder.jsonl"), "{\"cmdline\":\"x --token [redacted]\"}\n");
  EXPECT_EQ(*capture.text("agent/usage.json"), "{\"a\":\"--token [redacted]\"}");
}

}  // namespace
}  // namespace tavrine
