#include "fuzz/json_walk.h"

#include <locale.h>
#include <stdlib.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>
#include <utility>

#include "tests/support/naive_text.h"

namespace tavrine::fuzz {
namespace {

// --- Numbers, from their spelling alone ---

bool isDigit(char c) { return c >= '0' && c <= '9'; }

bool isNumberCharacter(char c) {
  return isDigit(c) || c == '+' || c == '-' || c == '.' || c == 'e' || c == 'E';
}

/// The parts of a text that has the form of a JSON number.
struct Spelling {
  bool isNegative = false;
  std::string_view whole;
  std::string_view fraction;
  std::string_view exponent;  ///< with its sign

  static std::optional<Spelling> of(std::string_view text) {
    Spelling parts;
    const auto take = [&text](char c) {
      const bool isNext = text.starts_with(c);
      if (isNext) text.remove_prefix(1);
      return isNext;
    };
    const auto takeDigits = [&text] {
      const std::size_t end = text.find_first_not_of("0123456789");
      const std::string_view digits = text.substr(0, end);
      text.remove_prefix(digits.size());
      return digits;
    };
    parts.isNegative = take('-');
    parts.whole = takeDigits();
    if (parts.whole.empty() || (parts.whole.size() > 1 && parts.whole[0] == '0')) return {};
    if (take('.')) {
      parts.fraction = takeDigits();
      if (parts.fraction.empty()) return {};
    }
    if (take('e') || take('E')) {
      const char* const start = text.data();
      if (!take('-')) take('+');
      if (takeDigits().empty()) return {};
      parts.exponent = {start, text.data()};
    }
    if (!text.empty()) return {};
    return parts;
  }
};

/// The integer that the number is, if it is one of 64 bits: its digits are shifted by its exponent
/// and must then have no fraction left.
std::optional<std::int64_t> integerFrom(const Spelling& number) {
  std::string digits = std::string(number.whole) + std::string(number.fraction);
  const std::size_t first = digits.find_first_not_of('0');
  if (first == std::string::npos) return 0;
  digits.erase(0, first);
  std::int64_t exponent = 0;
  if (!number.exponent.empty()) {
    // An exponent with more digits than this is beyond all documents.
    constexpr std::int64_t kHuge = 1'000'000'000'000'000'000;
    const bool isNegative = number.exponent[0] == '-';
    const std::string_view magnitude =
        number.exponent.substr(isNegative || number.exponent[0] == '+' ? 1 : 0);
    const auto read =
        std::from_chars(magnitude.data(), magnitude.data() + magnitude.size(), exponent);
    if (read.ec != std::errc() || exponent > kHuge) exponent = kHuge;
    if (isNegative) exponent = -exponent;
  }
  exponent -= static_cast<std::int64_t>(number.fraction.size());
  while (digits.back() == '0') {
    digits.pop_back();
    ++exponent;
  }
  if (exponent < 0 || exponent > 20) return std::nullopt;
  digits.append(static_cast<std::size_t>(exponent), '0');
  if (number.isNegative) digits.insert(0, 1, '-');
  std::int64_t value = 0;
  const auto read = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (read.ec != std::errc()) return std::nullopt;
  return value;
}

/// As strtod reads it; no value beyond the finite doubles.
std::optional<double> doubleFrom(const std::string& spelled) {
  static const locale_t cLocale = newlocale(LC_ALL_MASK, "C", nullptr);
  char* end = nullptr;
  const double value = strtod_l(spelled.c_str(), &end, cLocale);
  agree(end == spelled.c_str() + spelled.size(), "strtod knows how a number is spelled");
  if (!std::isfinite(value)) return std::nullopt;
  return value;
}

}  // namespace

using Kind = Event::Kind;

bool Walk::run() {
  const bool isJSON = walk();
  agree(isJSON != reader_.failed(), "a failed walk goes with a syntax error");
  if (isJSON) {
    agree(reader_.position() == document_.data() + document_.size(), "the walk ends at the end");
  } else {
    checkFailedReader(reader_);
  }
  return isJSON;
}

void Walk::checkFailedReader(JSONReader reader) const {
  const JSONReader::SyntaxError error = *reader.syntaxError();
  agree(error.offset <= document_.size(), "a fault lies inside the document");
  agree(!error.reason.empty(), "a fault has a reason");
  if (!isThorough_) return;
  std::int64_t integer;
  double real;
  bool boolean;
  std::string text;
  std::string_view view;
  agree(reader.readInteger(integer) == JSONResult::notJSON &&
            reader.readDouble(real) == JSONResult::notJSON &&
            reader.readBoolean(boolean) == JSONResult::notJSON &&
            reader.readText(text) == JSONResult::notJSON &&
            reader.readTextView(view) == JSONResult::notJSON &&
            reader.enterList() == JSONResult::notJSON &&
            reader.enterObject() == JSONResult::notJSON && !reader.skip() &&
            !reader.consumeNull() && !reader.nextElement() && !reader.nextKey(view) &&
            reader.nextKey("k", view) == JSONReader::KeyMatch::end &&
            reader.peek() == JSONKind::none && !reader.finish(),
        "every call fails behind a fault");
  reader.skipRestOfList();
  reader.skipRestOfObject();
  agree(
      reader.syntaxError()->offset == error.offset && reader.syntaxError()->reason == error.reason,
      "the first fault is the one that is told");
}

bool Walk::walk() {
  while (readValue()) {
    // On to the next value: in this level, or in an outer one when it closes.
    while (!levels_.empty() && !nextMember()) {
      if (reader_.failed()) return false;
      const Level level = levels_.back();
      levels_.pop_back();
      events_.push_back({level.isObject ? Kind::endObject : Kind::endList});
      agree(level.end == nullptr || level.end == reader_.position(),
            "skipping and reading end a list or an object at the same byte");
    }
    if (levels_.empty()) return reader_.finish();
  }
  return false;
}

bool Walk::nextMember() {
  if (!levels_.back().isObject) return reader_.nextElement();
  std::string_view key;
  if (++turn_ % 2 == 0) {
    if (!reader_.nextKey(key)) return false;
  } else {
    const auto match = reader_.nextKey(guess_, key);
    if (match == JSONReader::KeyMatch::end) return false;
    agree(match != JSONReader::KeyMatch::expected || key == guess_,
          "an expected key is the guessed one");
  }
  events_.push_back({Kind::key, std::string(key)});
  // Guessing the key before the last one is right now and then, and wrong in many ways.
  const std::string& met = events_.back().text;
  guess_ = std::exchange(lastKey_, isPlain(met) ? met : "k");
  return true;
}

/// Reads one value, or enters it.
bool Walk::readValue() {
  const char* const start = reader_.position();
  const JSONKind kind = reader_.peek();
  const bool isContainer = kind == JSONKind::list || kind == JSONKind::object;
  // What lies far inside is reached again from each level around it; a few levels are enough.
  constexpr std::size_t kLookAheadLevels = 4;
  const char* end = nullptr;
  if (isThorough_ && (!isContainer || levels_.size() < kLookAheadLevels)) {
    JSONReader skipping = reader_;
    if (skipping.skip()) end = skipping.position();
    readAsSomethingElse(kind, skipping);
    if (isContainer) leaveEarly(kind, skipping);
  }
  switch (kind) {
    case JSONKind::list:
    case JSONKind::object: {
      const bool isObject = kind == JSONKind::object;
      const JSONResult result = isObject ? reader_.enterObject() : reader_.enterList();
      agree(result == JSONResult::ok, "a list and an object can be entered");
      levels_.push_back({isObject, end});
      events_.push_back({isObject ? Kind::beginObject : Kind::beginList});
      return true;
    }
    case JSONKind::null:
      if (!reader_.consumeNull()) break;
      events_.push_back({Kind::null});
      break;
    case JSONKind::boolean: {
      bool isTrue = false;
      if (reader_.readBoolean(isTrue) != JSONResult::ok) break;
      events_.push_back({Kind::boolean, {}, isTrue});
      break;
    }
    case JSONKind::number:
      readNumber();
      break;
    case JSONKind::text:
      readText();
      break;
    case JSONKind::none:
      agree(!reader_.skip(), "nothing cannot be skipped");
      break;
  }
  if (isThorough_) {
    agree((end != nullptr) == !reader_.failed(), "skipping and reading find the same faults");
    agree(end == nullptr || end == reader_.position(),
          "skipping and reading end a value at the same byte");
    agree(end == nullptr || end > start, "a value has a length");
  }
  return !reader_.failed();
}

void Walk::readNumber() {
  Event event{Kind::number};
  std::int64_t integer = 0;
  double real = 0;
  const char* const start = reader_.position();
  JSONReader second = reader_;
  // Each is the main reader every other time.
  const bool isIntegerFirst = ++turn_ % 2 == 0;
  const JSONResult integerResult = (isIntegerFirst ? reader_ : second).readInteger(integer);
  const JSONResult realResult = (isIntegerFirst ? second : reader_).readDouble(real);
  if (reader_.failed()) {
    agree(integerResult == JSONResult::notJSON && realResult == JSONResult::notJSON,
          "a number that is none is so however it is read");
    return;
  }
  agree(integerResult == JSONResult::ok || integerResult == JSONResult::outOfRange,
        "a number may be no integer, and nothing else");
  agree(realResult == JSONResult::ok || realResult == JSONResult::outOfRange,
        "a number may be too large for a double, and nothing else");
  if (integerResult == JSONResult::ok) event.integer = integer;
  if (realResult == JSONResult::ok) event.real = real;
  event.text.assign(start, reader_.position());
  if (isThorough_) {
    const std::optional<Spelling> spelling = Spelling::of(event.text);
    agree(spelling.has_value(), "a number is spelled as one");
    agree(event.integer == integerFrom(*spelling), "an integer is what its digits say");
    const std::optional<double> want = doubleFrom(event.text);
    agree(event.real.has_value() == want.has_value(), "strtod has the same range");
    agree(!want || naive::areSameBits(*event.real, *want), "a double is the one that strtod reads");
  }
  events_.push_back(std::move(event));
}

void Walk::readText() {
  Event event{Kind::text};
  std::string_view view;
  JSONReader second = reader_;
  const bool isViewFirst = ++turn_ % 2 == 0;
  const JSONResult viewResult = (isViewFirst ? reader_ : second).readTextView(view);
  const JSONResult textResult = (isViewFirst ? second : reader_).readText(event.text);
  agree(viewResult == textResult, "a text and a view of it are read alike");
  if (textResult != JSONResult::ok) return;
  agree(view == event.text, "a text and a view of it hold the same");
  events_.push_back(std::move(event));
}

/// Asks for a value of another kind: it is consumed just as it is by skipping, and refused.
void Walk::readAsSomethingElse(JSONKind kind, const JSONReader& skipped) {
  JSONReader reader = reader_;
  std::int64_t integer;
  double real;
  bool boolean;
  std::string text;
  std::string_view view;
  JSONResult result{};
  switch (++turn_ % 7) {
    case 0:
      if (kind == JSONKind::number) return;
      result = reader.readInteger(integer);
      break;
    case 1:
      if (kind == JSONKind::number) return;
      result = reader.readDouble(real);
      break;
    case 2:
      if (kind == JSONKind::boolean) return;
      result = reader.readBoolean(boolean);
      break;
    case 3:
      if (kind == JSONKind::text) return;
      result = reader.readText(text);
      break;
    case 4:
      if (kind == JSONKind::text) return;
      result = reader.readTextView(view);
      break;
    case 5:
      if (kind == JSONKind::list) return;
      result = reader.enterList();
      break;
    default:
      if (kind == JSONKind::object) return;
      result = reader.enterObject();
      break;
  }
  const JSONResult want = skipped.failed()         ? JSONResult::notJSON
                          : kind == JSONKind::null ? JSONResult::null
                                                   : JSONResult::wrongType;
  agree(result == want, "a value of another kind is refused as such");
  agree(reader.position() == skipped.position(), "a value of another kind is consumed");
  agree(reader.failed() == skipped.failed(), "a value of another kind is validated");
}

/// Enters a list or an object, passes some of its values and skips the rest.
void Walk::leaveEarly(JSONKind kind, const JSONReader& skipped) {
  JSONReader reader = reader_;
  const bool isObject = kind == JSONKind::object;
  agree((isObject ? reader.enterObject() : reader.enterList()) == JSONResult::ok,
        "a list and an object can be entered");
  std::string_view key;
  bool isInside = true;
  for (unsigned count = ++turn_ % 3; isInside && count > 0; --count) {
    isInside = isObject ? reader.nextKey(key) : reader.nextElement();
    if (isInside) reader.skip();
  }
  if (isInside && isObject) reader.skipRestOfObject();
  if (isInside && !isObject) reader.skipRestOfList();
  agree(reader.position() == skipped.position() && reader.failed() == skipped.failed(),
        "leaving a list or an object early is like skipping it");
}

bool isPlain(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) {
    return c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20;
  });
}

std::string withoutNumbers(std::string_view document) {
  std::string out;
  bool isInText = false;
  for (std::size_t i = 0; i < document.size();) {
    const char c = document[i];
    if (isInText) {
      const std::size_t length = c == '\\' && i + 1 < document.size() ? 2 : 1;
      out += document.substr(i, length);
      i += length;
      isInText = c != '"';
    } else if (isNumberCharacter(c)) {
      std::size_t end = i;
      while (end < document.size() && isNumberCharacter(document[end])) ++end;
      const std::string_view run = document.substr(i, end - i);
      if (Spelling::of(run)) {
        out += '0';
      } else {
        out += run;
      }
      i = end;
    } else {
      out += c;
      isInText = c == '"';
      ++i;
    }
  }
  return out;
}

}  // namespace tavrine::fuzz
