#include "companion/redact/redaction.h"

#include <TavrineShared/foundation/ascii.h>
#include <TavrineShared/model/field_table.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <map>
#include <optional>
#include <span>
#include <vector>

namespace tavrine {

namespace {

using Words = std::span<const std::string_view>;

// --- Names ---

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

// Answers that tell nobody's secret: `--use-auth-token True`.
constexpr auto kAnswers =
    std::to_array<std::string_view>({"false", "no", "none", "null", "off", "on", "true", "yes"});

// What may stand between a name and its secret in a header of HTTP.
constexpr auto kAuthorizations =
    std::to_array<std::string_view>({"apikey", "basic", "bearer", "digest", "negotiate", "token"});

bool isAmong(Words words, std::string_view word) {
  return std::find(words.begin(), words.end(), word) != words.end();
}

// Between the arguments of a process, the system puts NUL.
bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\0'; }
bool isLineEnd(char c) { return c == '\n' || c == '\r'; }
bool isSpace(char c) { return isBlank(c) || isLineEnd(c) || c == '\v' || c == '\f'; }
bool isQuote(char c) { return c == '"' || c == '\''; }

// Letters of other alphabets belong to their word, so that no part of it is taken for one.
bool isLetter(char c) {
  return ascii::isUpper(c) || ascii::isLower(c) || static_cast<unsigned char>(c) >= 0x80;
}

bool isOfName(char c) {
  return isLetter(c) || ascii::isDigit(c) || c == '_' || c == '-' || c == '.' || c == '/';
}

std::string lower(std::string_view text) {
  std::string lowered(text);
  for (char& c : lowered) c = ascii::lower(c);
  return lowered;
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
  return lower(name.substr(end, stop - end));
}

bool isVariable(std::string_view name) {
  return !name.starts_with('-') && std::none_of(name.begin(), name.end(), ascii::isLower);
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

// --- Values ---

// From `begin` on: what is kept, then the secret up to `end`.
struct Secret {
  std::size_t begin;
  std::size_t end;
};

class Scanner {
 public:
  explicit Scanner(std::string_view text) : text_(text) {}

  std::string run() {
    while (place_ < text_.size()) {
      const std::size_t end = skip(place_, isOfName);
      if (end == place_) {
        ++place_;
      } else {
        readName(end);
      }
    }
    out_.append(text_.substr(kept_));
    return std::move(out_);
  }

 private:
  template <class Test>
  std::size_t skip(std::size_t place, Test test) const {
    while (place < text_.size() && test(text_[place])) ++place;
    return place;
  }
  char at(std::size_t place) const { return place < text_.size() ? text_[place] : '\n'; }

  void readName(std::size_t end) {
    const std::string_view name = text_.substr(place_, end - place_);
    std::optional<Secret> secret;
    if (text_.substr(end).starts_with("://")) {
      secret = ofAddress(name, end + 3);
    } else if (isSecretName(name)) {
      secret = valueBehind(end, name.starts_with('-'));
    }
    place_ = end;
    if (!secret) return;
    out_.append(text_.substr(kept_, secret->begin - kept_)).append(kRedacted);
    kept_ = place_ = secret->end;
  }

  std::optional<Secret> ofAddress(std::string_view scheme, std::size_t begin) const {
    const std::size_t end = skip(begin, [](char c) {
      return !isSpace(c) && !isQuote(c) && c != '/' && c != '?' && c != '#';
    });
    const std::string_view authority = text_.substr(begin, end - begin);
    const std::size_t host = authority.rfind('@');
    if (host == std::string_view::npos || host == 0) return std::nullopt;
    const std::size_t colon = authority.substr(0, host).find(':');
    if (colon != std::string_view::npos) return nonEmpty({begin + colon + 1, begin + host});
    // There, a name alone is a token; elsewhere, as in ssh://git@host, it is a user.
    const std::string known = lower(scheme);
    const bool isWeb = known.ends_with("http") || known.ends_with("https");
    return isWeb ? nonEmpty({begin, begin + host}) : std::nullopt;
  }

  std::optional<Secret> valueBehind(std::size_t nameEnd, bool isOption) const {
    const std::size_t closed = skipQuote(nameEnd);
    std::size_t place = skip(closed, isBlank);
    if (at(place) == '+' && at(place + 1) == '=') ++place;
    const char separator = at(place);
    if (separator == '=' || separator == ':') {
      // Comparisons, and names within names of C++.
      if (at(place + 1) == separator) return std::nullopt;
      const std::size_t begin = skip(place + 1, isBlank);
      const bool isWithinQuotes = place_ > 0 && isQuote(text_[place_ - 1]) && closed == nameEnd;
      if (!isWithinQuotes) return valueAt(begin);
      // Any mark ends it, also an escaped one: then a search that finds none is never repeated.
      const char mark = text_[place_ - 1];
      const std::size_t end = skip(begin, [mark](char c) { return c != mark && !isLineEnd(c); });
      return at(end) == mark ? telling({begin, end}) : valueAt(begin);
    }
    if (!isOption) return std::nullopt;
    // A list of quoted arguments has commas between them.
    const bool isListed = closed != nameEnd && separator == ',';
    if (isListed) place = skip(place + 1, isBlank);
    if (place == closed) return std::nullopt;
    const std::size_t first = skipQuote(place);
    const bool isNextOption = at(first) == '-' && (at(first + 1) == '-' || isLetter(at(first + 1)));
    return isNextOption ? std::nullopt : valueAt(place);
  }

  // A quotation mark may be escaped, in JSON that holds a command line.
  std::size_t skipQuote(std::size_t place) const {
    const std::size_t mark = at(place) == '\\' ? place + 1 : place;
    return isQuote(at(mark)) ? mark + 1 : place;
  }

  std::optional<Secret> valueAt(std::size_t begin) const {
    const std::size_t inside = skipQuote(begin);
    if (inside != begin) return quotedValue(begin, inside);
    std::size_t end = skip(begin, [](char c) { return !isSpace(c); });
    const std::size_t next = skip(end, isBlank);
    if (next > end && isAmong(kAuthorizations, lower(text_.substr(begin, end - begin)))) {
      begin = next;
      end = skip(begin, [](char c) { return !isSpace(c); });
    }
    return telling({begin, end});
  }

  std::optional<Secret> quotedValue(std::size_t begin, std::size_t inside) const {
    const std::string_view mark = text_.substr(begin, inside - begin);
    const std::size_t end = findInLine(inside, mark);
    // To a shell, 'a'b is one value.
    const char behind = at(std::min(end + mark.size(), text_.size()));
    const bool isWhole =
        isSpace(behind) || std::string_view(",;:)]}").find(behind) != std::string_view::npos;
    if (isWhole) return telling({inside, end});
    return telling({begin, skip(end, [](char c) { return !isSpace(c); })});
  }

  // Where `mark` stands, or else the line ends; an escaped one does not count.
  std::size_t findInLine(std::size_t place, std::string_view mark) const {
    const bool hasEscapes = mark.size() == 1;
    while (place < text_.size() && !isLineEnd(text_[place]) &&
           !text_.substr(place).starts_with(mark)) {
      if (hasEscapes && text_[place] == '\\') ++place;
      ++place;
    }
    return std::min(place, text_.size());
  }

  std::optional<Secret> telling(Secret secret) const {
    std::string_view value = text_.substr(secret.begin, secret.end - secret.begin);
    while (!value.empty() &&
           std::string_view(",;)]}\"'").find(value.back()) != std::string_view::npos) {
      value.remove_suffix(1);
    }
    constexpr std::size_t kLongestAnswer = 8;
    if (value.size() <= kLongestAnswer && isAmong(kAnswers, lower(value))) return std::nullopt;
    return nonEmpty(secret);
  }

  static std::optional<Secret> nonEmpty(Secret secret) {
    return secret.begin < secret.end ? std::optional(secret) : std::nullopt;
  }

  std::string_view text_;
  std::string out_;
  std::size_t kept_ = 0;   // all before is in `out_`
  std::size_t place_ = 0;  // all before has been looked at
};

// --- Records ---

using Texts = std::vector<std::string>;
using NamedTexts = std::map<std::string, std::string>;

void redact(std::string& text) { text = redacted(text); }
void redact(std::optional<std::string>& text) {
  if (text) redact(*text);
}
void redact(Texts& texts) {
  for (std::string& text : texts) redact(text);
}
void redact(NamedTexts& texts) {
  for (auto& [name, text] : texts) {
    if (isSecretName(name) && !text.empty() && !isAmong(kAnswers, lower(text))) {
      text = kRedacted;
    } else {
      redact(text);
    }
  }
}

template <class T, class Form = ValueForm<T>>
bool redactIfOf(const Field& field, void* record) {
  if (field.type != &kValueType<T, Form>) return false;
  redact(*static_cast<T*>(field.member(record)));
  return true;
}

void redactField(const Field& field, void* record) {
  static_cast<void>(redactIfOf<std::string>(field, record) ||
                    redactIfOf<std::optional<std::string>>(field, record) ||
                    redactIfOf<Texts>(field, record) ||
                    redactIfOf<Texts, detail::LossyListForm<std::string>>(field, record) ||
                    redactIfOf<NamedTexts>(field, record));
}

}  // namespace

std::string redacted(std::string_view text) { return Scanner(text).run(); }

AppSnapshot redacted(AppSnapshot snapshot) {
  editRecords(AppSnapshot::table(), &snapshot, [](const RecordTable& table, void* record) {
    for (const Field& field : table.fields) redactField(field, record);
  });
  return snapshot;
}

}  // namespace tavrine
