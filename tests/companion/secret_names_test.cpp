#include "companion/redact/secret_names.h"

#include <gtest/gtest.h>

#include <string_view>

namespace tavrine {
namespace {

TEST(SecretNames, areKnownByTheirLastWord) {
  for (const std::string_view name : {"password",
                                      "db.password",
                                      "PGPASSWORD",
                                      "mysql_pwd",
                                      "--client-secret",
                                      "hf_token",
                                      "TOKEN_2",
                                      "authToken",
                                      "GITHUB_PAT",
                                      "Cookie",
                                      "api_key",
                                      "APIKey",
                                      "X-API-Key",
                                      "my api key",
                                      "OPENAI_KEY",
                                      "averyverylongnamethatendswithpassword"}) {
    EXPECT_TRUE(isSecretName(name)) << name;
  }
}

TEST(SecretNames, areNoOthers) {
  for (const std::string_view name : {"",
                                      "_",
                                      "2",
                                      "tokenizer",
                                      "max_tokens",
                                      "pad_token",
                                      "ms/token",
                                      "token_file",
                                      "KEY",
                                      "key",
                                      "primary_key",
                                      "key_padding",
                                      "monkey",
                                      "PWD",
                                      "OLDPWD",
                                      "path",
                                      "patience",
                                      "r\u00E9token",
                                      "token\u00E9"}) {
    EXPECT_FALSE(isSecretName(name)) << name;
  }
}

TEST(Answers, sayYesNoOrNone) {
  for (const std::string_view value : {"True", "false", "NONE", "null", "yes", "No", "on", "off"}) {
    EXPECT_TRUE(isAnswer(value)) << value;
  }
  for (const std::string_view value : {"", "truest", "0", "no no", "hunter2", "falsefalse"}) {
    EXPECT_FALSE(isAnswer(value)) << value;
  }
}

}  // namespace
}  // namespace tavrine
