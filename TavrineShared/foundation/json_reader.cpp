// The reader is a pointer that only moves forward. Lists and objects that the caller wants are
// walked by the caller, so their nesting lives on the caller's side; whatever is skipped is walked
// by one loop that remembers each open level as a single bit. After a syntax error the pointer
// stands at the end, where every further call fails on its own: no call needs to ask first.

#include <TavrineShared/foundation/json_reader.h>

#include <TavrineShared/foundation/ascii.h>
#include <TavrineShared/foundation/json_number.h>
#include <TavrineShared/foundation/json_scan.h>
#include <TavrineShared/foundation/unicode_text.h>

#include <algorithm>
#include <vector>

namespace tavrine {

namespace {

// The open levels of a value that is being skipped: true for an object, false for a list.
class OpenLevels {
 public:
  bool empty() const { return depth_ == 0; }
  bool insideObject() const { return (innermost_ & 1U) != 0; }
  void open(bool object) {
    if (depth_ != 0 && depth_ % 64 == 0) outer_.push_back(innermost_);
    innermost_ = (innermost_ << 1U) | (object ? 1U : 0U);
    ++depth_;
  }
  void close() {
    --depth_;
    innermost_ >>= 1U;
    if (depth_ != 0 && depth_ % 64 == 0) {
      innermost_ = outer_.back();
      outer_.pop_back();
    }
  }

 private:
  std::uint64_t innermost_ = 0;
  std::size_t depth_ = 0;
  std::vector<std::uint64_t> outer_;
};

constexpr int hexDigit(char c) {
  if (ascii::isDigit(c)) return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Four hexadecimal digits at p, or -1.
int hexQuad(const char* p, const char* end) {
  if (end - p < 4) return -1;
  int value = 0;
  for (int i = 0; i < 4; ++i) {
    const int digit = hexDigit(p[i]);
    if (digit < 0) return -1;
    value = value * 16 + digit;
  }
  return value;
}

constexpr bool isHighSurrogate(int unit) { return unit >= 0xD800 && unit <= 0xDBFF; }
constexpr bool isLowSurrogate(int unit) { return unit >= 0xDC00 && unit <= 0xDFFF; }

// What stands behind the backslash of a one-letter escape, or 0 for "u" and for anything unknown.
constexpr char unescapedLetter(char letter) {
  switch (letter) {
    case '"':
    case '\\':
    case '/':
      return letter;
    case 'b':
      return '\b';
    case 'f':
      return '\f';
    case 'n':
      return '\n';
    case 'r':
      return '\r';
    case 't':
      return '\t';
    default:
      return '\0';
  }
}

// The text that `raw`, already found valid, stands for.
void unescape(std::string_view raw, std::string& text) {
  text.clear();
  text.reserve(raw.size());
  const char* p = raw.data();
  const char* const end = p + raw.size();
  while (true) {
    const char* const backslash = std::find(p, end, '\\');
    text.append(p, backslash);
    if (backslash == end) return;
    if (const char letter = unescapedLetter(backslash[1]); letter != '\0') {
      text.push_back(letter);
      p = backslash + 2;
      continue;
    }
    const int unit = hexQuad(backslash + 2, end);
    p = backslash + 6;
    if (isHighSurrogate(unit)) {
      const int low = hexQuad(p + 2, end);
      p += 6;
      appendUTF8(text, static_cast<char32_t>(0x10000 + (unit - 0xD800) * 0x400 + (low - 0xDC00)));
    } else {
      appendUTF8(text, static_cast<char32_t>(unit));
    }
  }
}

}  // namespace

JSONReader::JSONReader(std::string_view document)
    : begin_(document.data()), p_(begin_), end_(begin_ + document.size()) {
  p_ = skipSpace(p_);
}

std::nullptr_t JSONReader::fail(const char* where, std::string_view reason) {
  if (!syntaxError_) {
    syntaxError_ = SyntaxError{static_cast<std::size_t>(where - begin_), reason};
  }
  p_ = end_;
  first_ = false;
  return nullptr;
}

// Takes the place that a scan came to; a failed scan has set its own.
inline bool JSONReader::moveTo(const char* p) {
  if (p == nullptr) return false;
  p_ = p;
  return true;
}

inline const char* JSONReader::skipSpace(const char* p) {
  while (p != end_ && static_cast<unsigned char>(*p) <= ' ') {
    switch (*p) {
      // Behind a line feed stands the indentation of a pretty-printed document; elsewhere there is
      // seldom more than one blank.
      case '\n':
        p = json_scan::indentationEnd(p + 1, end_, indentation_);
        break;
      case ' ':
      case '\t':
      case '\r':
        ++p;
        break;
      default:
        return p;
    }
  }
  return p;
}

// Checks the escape whose backslash is at p; behind it.
const char* JSONReader::scanEscape(const char* p) {
  if (end_ - p < 2) return fail(p, "a text without its closing quote");
  if (unescapedLetter(p[1]) != '\0') return p + 2;
  if (p[1] != 'u') return fail(p, "an unknown escape");
  const int unit = hexQuad(p + 2, end_);
  if (unit < 0) return fail(p, "expected four hexadecimal digits");
  if (isLowSurrogate(unit)) return fail(p, "a surrogate without its partner");
  if (!isHighSurrogate(unit)) return p + 6;
  const char* const partner = p + 6;
  if (end_ - partner < 6 || partner[0] != '\\' || partner[1] != 'u' ||
      !isLowSurrogate(hexQuad(partner + 2, end_))) {
    return fail(p, "a surrogate without its partner");
  }
  return partner + 6;
}

// Validates the text whose opening quote is at p; behind its closing quote.
inline const char* JSONReader::scanText(const char* p, bool& hasEscapes) {
  const char* const quote = p++;
  hasEscapes = false;
  while (true) {
    p = json_scan::plainTextEnd(p, end_);
    if (p == end_) return fail(quote, "a text without its closing quote");
    if (*p == '"') return p + 1;
    if (*p == '\\') {
      hasEscapes = true;
      p = scanEscape(p);
      if (p == nullptr) return nullptr;
      continue;
    }
    const std::size_t length = wellFormedSequenceLength({p, static_cast<std::size_t>(end_ - p)});
    if (length == 0) return fail(p, "ill-formed UTF-8");
    if (length == 1) return fail(p, "a control character in a text");
    p += length;
  }
}

inline const char* JSONReader::scanNumber(const char* p, JSONNumber& number) {
  const char* const numberEnd = number.scan(p, end_);
  return numberEnd != nullptr ? numberEnd : fail(number.problem().where, number.problem().reason);
}

inline const char* JSONReader::scanLiteral(const char* p, std::string_view literal) {
  const std::string_view rest(p, static_cast<std::size_t>(end_ - p));
  return rest.starts_with(literal) ? p + literal.size() : fail(p, "expected a value");
}

// Any value but a list or an object.
inline const char* JSONReader::scanLeaf(const char* p) {
  if (p == end_) return fail(p, "the document ends where a value is due");
  switch (*p) {
    case '"': {
      bool hasEscapes;
      return scanText(p, hasEscapes);
    }
    case 't':
      return scanLiteral(p, "true");
    case 'f':
      return scanLiteral(p, "false");
    case 'n':
      return scanLiteral(p, "null");
    default: {
      if (*p != '-' && !ascii::isDigit(*p)) return fail(p, "expected a value");
      JSONNumber number;
      return scanNumber(p, number);
    }
  }
}

// The colon behind a key and the white space around it.
inline const char* JSONReader::scanColon(const char* p) {
  if (p == end_ || *p != ':') {
    p = skipSpace(p);
    if (p == end_ || *p != ':') return fail(p, "expected ':'");
  }
  return skipSpace(p + 1);
}

// The key at p, which only has to be valid, and its colon.
inline const char* JSONReader::scanKey(const char* p) {
  if (p == end_ || *p != '"') return fail(p, "expected a key");
  bool hasEscapes;
  p = scanText(p, hasEscapes);
  return p == nullptr ? nullptr : scanColon(p);
}

// A list or an object with all that is in it.
const char* JSONReader::scanContainer(const char* p) {
  OpenLevels levels;
  while (true) {
    // At a value.
    if (p != end_ && (*p == '{' || *p == '[')) {
      const bool isObject = *p == '{';
      levels.open(isObject);
      p = skipSpace(p + 1);
      if (p == end_ || *p != (isObject ? '}' : ']')) {
        if (isObject && (p = scanKey(p)) == nullptr) return nullptr;
        continue;
      }
    } else {
      p = scanLeaf(p);
      if (p == nullptr) return nullptr;
      p = skipSpace(p);
    }
    // Behind a value: levels close, or a comma leads to the next one.
    while (p == end_ || *p != ',') {
      const bool isObject = levels.insideObject();
      if (p == end_ || *p != (isObject ? '}' : ']')) {
        return fail(p, isObject ? "expected ',' or '}'" : "expected ',' or ']'");
      }
      levels.close();
      if (levels.empty()) return p + 1;
      p = skipSpace(p + 1);
    }
    p = skipSpace(p + 1);
    if (levels.insideObject() && (p = scanKey(p)) == nullptr) return nullptr;
  }
}

JSONKind JSONReader::peek() const {
  if (p_ == end_) return JSONKind::none;
  switch (*p_) {
    case '{':
      return JSONKind::object;
    case '[':
      return JSONKind::list;
    case '"':
      return JSONKind::text;
    case 't':
    case 'f':
      return JSONKind::boolean;
    case 'n':
      return JSONKind::null;
    default:
      return *p_ == '-' || ascii::isDigit(*p_) ? JSONKind::number : JSONKind::none;
  }
}

bool JSONReader::skip() {
  const JSONKind kind = peek();
  return moveTo(kind == JSONKind::list || kind == JSONKind::object ? scanContainer(p_)
                                                                   : scanLeaf(p_));
}

// Drops a value that is not of the wanted kind, and says what it was.
JSONResult JSONReader::mismatch() {
  const bool isNull = peek() == JSONKind::null;
  if (!skip()) return JSONResult::notJSON;
  return isNull ? JSONResult::null : JSONResult::wrongType;
}

JSONResult JSONReader::readInteger(std::int64_t& value) {
  if (p_ == end_ || (*p_ != '-' && !ascii::isDigit(*p_))) return mismatch();
  JSONNumber number;
  if (!moveTo(scanNumber(p_, number))) return JSONResult::notJSON;
  return number.readInteger(value) ? JSONResult::ok : JSONResult::outOfRange;
}

JSONResult JSONReader::readDouble(double& value) {
  if (p_ == end_ || (*p_ != '-' && !ascii::isDigit(*p_))) return mismatch();
  JSONNumber number;
  if (!moveTo(scanNumber(p_, number))) return JSONResult::notJSON;
  return number.readDouble(value) ? JSONResult::ok : JSONResult::outOfRange;
}

JSONResult JSONReader::readBoolean(bool& value) {
  if (peek() != JSONKind::boolean) return mismatch();
  const bool isTrue = *p_ == 't';
  if (!moveTo(scanLeaf(p_))) return JSONResult::notJSON;
  value = isTrue;
  return JSONResult::ok;
}

bool JSONReader::consumeNull() {
  return p_ != end_ && *p_ == 'n' && moveTo(scanLiteral(p_, "null"));
}

JSONResult JSONReader::readText(std::string& value) {
  if (p_ == end_ || *p_ != '"') return mismatch();
  const char* const start = p_ + 1;
  bool hasEscapes;
  if (!moveTo(scanText(p_, hasEscapes))) return JSONResult::notJSON;
  const std::string_view raw(start, p_ - 1);
  if (hasEscapes) {
    unescape(raw, value);
  } else {
    value.assign(raw);
  }
  return JSONResult::ok;
}

// What stands between the quotes of the text that ends before `p`, escapes resolved.
inline std::string_view JSONReader::textBefore(const char* start, const char* p, bool hasEscapes) {
  const std::string_view raw(start, p - 1);
  if (!hasEscapes) return raw;
  unescape(raw, unescaped_);
  return unescaped_;
}

JSONResult JSONReader::readTextView(std::string_view& value) {
  if (p_ == end_ || *p_ != '"') return mismatch();
  const char* const start = p_ + 1;
  bool hasEscapes;
  if (!moveTo(scanText(p_, hasEscapes))) return JSONResult::notJSON;
  value = textBefore(start, p_, hasEscapes);
  return JSONResult::ok;
}

JSONResult JSONReader::enter(char bracket) {
  if (p_ == end_ || *p_ != bracket) return mismatch();
  p_ = skipSpace(p_ + 1);
  first_ = true;
  return JSONResult::ok;
}

JSONResult JSONReader::enterList() { return enter('['); }

JSONResult JSONReader::enterObject() { return enter('{'); }

// Moves to the next value or key of the innermost level; false where the level closes.
inline bool JSONReader::nextMember(char closing) {
  const char* p = p_;
  if (first_) {
    first_ = false;
    if (p == end_ || *p != closing) return true;
  } else {
    p = skipSpace(p);
    if (p != end_ && *p == ',') {
      p_ = skipSpace(p + 1);
      return true;
    }
    if (p == end_ || *p != closing) {
      return fail(p, closing == ']' ? "expected ',' or ']'" : "expected ',' or '}'") != nullptr;
    }
  }
  p_ = p + 1;
  return false;
}

bool JSONReader::nextElement() { return nextMember(']'); }

inline bool JSONReader::readKey(std::string_view& key) {
  if (p_ == end_ || *p_ != '"') return fail(p_, "expected a key") != nullptr;
  const char* const start = p_ + 1;
  bool hasEscapes;
  const char* const p = scanText(p_, hasEscapes);
  if (p == nullptr) return false;
  key = textBefore(start, p, hasEscapes);
  return moveTo(scanColon(p));
}

bool JSONReader::nextKey(std::string_view& key) { return nextMember('}') && readKey(key); }

JSONReader::KeyMatch JSONReader::nextKey(std::string_view guess, std::string_view& key) {
  if (!nextMember('}')) return KeyMatch::end;
  const char* const p = p_;
  if (static_cast<std::size_t>(end_ - p) > guess.size() + 1 && *p == '"' &&
      p[guess.size() + 1] == '"' && json_scan::equal(p + 1, guess)) {
    key = guess;
    return moveTo(scanColon(p + guess.size() + 2)) ? KeyMatch::expected : KeyMatch::end;
  }
  return readKey(key) ? KeyMatch::other : KeyMatch::end;
}

void JSONReader::skipRestOfList() {
  while (nextElement()) skip();
}

void JSONReader::skipRestOfObject() {
  std::string_view key;
  while (nextKey(key)) skip();
}

bool JSONReader::finish() {
  if (failed()) return false;
  p_ = skipSpace(p_);
  if (p_ != end_) fail(p_, "something stands behind the value");
  return !failed();
}

}  // namespace tavrine
