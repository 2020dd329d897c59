#include "companion/redact/text_redaction.h"

#include "companion/redact/secret_names.h"

#include <TavrineShared/foundation/ascii.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <utility>

namespace tavrine {

namespace {

// Whether a word may stand between a name and its secret, in a header of HTTP.
bool isAuthorization(std::string_view word) {
  constexpr auto kAll = std::to_array<std::string_view>(
      {"apikey", "basic", "bearer", "digest", "negotiate", "token"});
  return std::find(kAll.begin(), kAll.end(), ascii::lower(word)) != kAll.end();
}

// Between the arguments of a process, the system puts NUL.
bool isBlank(char c) { return c == ' ' || c == '\t' || c == '\0'; }
bool isLineEnd(char c) { return c == '\n' || c == '\r'; }
bool isSpace(char c) { return isBlank(c) || isLineEnd(c) || c == '\v' || c == '\f'; }
bool isQuote(char c) { return c == '"' || c == '\''; }

bool isOfName(char c) {
  return isLetter(c) || ascii::isDigit(c) || c == '_' || c == '-' || c == '.' || c == '/';
}

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
    const std::string known = ascii::lower(scheme);
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
    if (next > end && isAuthorization(text_.substr(begin, end - begin))) {
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
    if (isAnswer(value)) return std::nullopt;
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

}  // namespace

std::string redacted(std::string_view text) { return Scanner(text).run(); }

}  // namespace tavrine
