#include "companion/redact/secret_names.h"

#include <TavrineShared/foundation/ascii.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <string>

namespace tavrine {

namespace {

// Also at the end of a longer word.
constexpr auto kSecrets = std::to_array<std::string_view>({
    "accesskey",
    "apikey",
    "authorization",
    "credential",
    "credentials",
    "passphrase",
    "passwd",
    "password",
    "passwords",
    "privatekey",
    "pwd",
    "secret",
    "secretkey",
    "secrets",
});

// Too short for that.
constexpr auto kSecretWords =
    std::to_array<std::string_view>({"bearer", "cookie", "cookies", "jwt", "pat"});

// Of words in front of a `token` that is no secret: those of a vocabulary, and amounts.
constexpr auto kHarmlessTokens = std::to_array<std::string_view>({
    "audio", "begin", "bos",  "class", "cls",   "end",         "eos",       "first",
    "image", "last",  "mask", "max",   "min",   "new",         "next",      "num",
    "pad",   "per",   "sep",  "sos",   "start", "special",     "separator", "stop",
    "text",  "think", "unk",  "video", "word",  "placeholder",
});

// Of words in front of a `key`: those that make it open something.
constexpr auto kLocks = std::to_array<std::string_view>({
    "access",  "account",    "admin",  "api",     "auth",   "client",  "consumer",
    "deploy",  "encryption", "hmac",   "license", "master", "private", "secret",
    "service", "session",    "shared", "signing", "ssh",    "storage", "subscription",
});

constexpr auto kAnswers =
    std::to_array<std::string_view>({"false", "no", "none", "null", "off", "on", "true", "yes"});

bool isAmong(std::span<const std::string_view> words, std::string_view word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

// Whether a word begins at `place`: "apiKey" has two, and so has "APIKey".
bool isWordStart(std::string_view name, std::size_t place) {
  if (place == 0 || !isLetter(name[place - 1])) return true;
  if (!ascii::isUpper(name[place])) return false;
  const bool isLast = place + 1 == name.size();
  return ascii::isLower(name[place - 1]) || (!isLast && ascii::isLower(name[place + 1]));
}

// The last word before `end`, which moves to where it begins. Digits count to what separates
// words: TOKEN_2 is a token.
std::string lastWord(std::string_view name, std::size_t& end) {
  constexpr std::size_t kLongest = 32;
  while (end > 0 && !isLetter(name[end - 1])) --end;
  const std::size_t stop = end;
  while (end > 0 && stop - end < kLongest && isLetter(name[end - 1])) {
    --end;
    if (isWordStart(name, end)) break;
  }
  return ascii::lower(name.substr(end, stop - end));
}

bool isVariable(std::string_view name) {
  return !name.starts_with('-') && std::none_of(name.begin(), name.end(), ascii::isLower);
}

}  // namespace

bool isLetter(char c) {
  return ascii::isUpper(c) || ascii::isLower(c) || static_cast<unsigned char>(c) >= 0x80;
}

bool isSecretName(std::string_view name) {
  std::size_t end = name.size();
  const std::string last = lastWord(name, end);
  if (last.empty()) return false;
  const std::size_t lastStart = end;
  const std::string before = lastWord(name, end);
  if (last == "token") {
    // "ms/token" is a rate.
    return !isAmong(kHarmlessTokens, before) && (lastStart == 0 || name[lastStart - 1] != '/');
  }
  if (last == "key") return isAmong(kLocks, before) || (isVariable(name) && !before.empty());
  // The shell's own variable, the folder it is in.
  if (name == "PWD" || name == "OLDPWD") return false;
  if (isAmong(kSecretWords, last)) return true;
  return std::any_of(kSecrets.begin(), kSecrets.end(), [&last](std::string_view secret) {
    return last.ends_with(secret);
  });
}

bool isAnswer(std::string_view value) {
  constexpr std::size_t kLongest = 8;
  return value.size() <= kLongest && isAmong(kAnswers, ascii::lower(value));
}

}  // namespace tavrine
