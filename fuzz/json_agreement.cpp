// A document becomes a flat list of events, as nesting must not be followed by recursion; duplicate
// keys then need no special care either, for nlohmann/json tells of its events one by one, too.
#include "fuzz/json_agreement.h"

#include <TavrineShared/foundation/json_reader.h>
#include <TavrineShared/foundation/json_writer.h>
#include <locale.h>
#include <simdjson.h>
#include <stdlib.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>
#include <optional>
#include <utility>
#include <vector>

#include "tests/support/naive_text.h"

namespace tavrine::fuzz {
namespace {

/// Thrown where two sides differ, and caught in `compare`.
struct Disagreement {
  std::string words;
};

void require(bool holds, const char* words) {
  if (!holds) throw Disagreement{words};
}

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
  require(end == spelled.c_str() + spelled.size(), "a number is spelled as strtod does not know");
  if (!std::isfinite(value)) return std::nullopt;
  return value;
}

/// The document with 0 in the place of every number outside a text. What only looks like a number
/// stays, so the result is JSON exactly when the document is.
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

/// Whether JSON writes a text, which is UTF-8, without escapes.
bool isPlain(std::string_view text) {
  return std::none_of(text.begin(), text.end(), [](char c) {
    return c == '"' || c == '\\' || static_cast<unsigned char>(c) < 0x20;
  });
}

// --- A document as a list of events ---

struct Event {
  enum class Kind : std::uint8_t {
    null,
    boolean,
    number,
    text,
    key,
    beginList,
    endList,
    beginObject,
    endObject
  };
  Kind kind;
  std::string text{};  ///< of a text or a key; of a number, its spelling
  bool isTrue = false;
  std::optional<std::int64_t> integer{};  ///< of a number that is one
  std::optional<double> real{};           ///< of a number that a double can hold
};

using Kind = Event::Kind;
using Events = std::vector<Event>;

/// Reads a document value by value.
class Walk {
 public:
  enum class Depth : std::uint8_t {
    quick,
    thorough,  ///< reads every value in several ways and compares
  };

  Walk(std::string_view document, Depth depth)
      : document_(document), reader_(document), isThorough_(depth == Depth::thorough) {}

  /// Whether the document is JSON. If not, `events` holds what came before the fault.
  bool run() {
    const bool isJSON = walk();
    require(isJSON != reader_.failed(), "a failed walk goes with a syntax error");
    if (isJSON) {
      require(reader_.position() == document_.data() + document_.size(),
              "the walk ends at the end");
    } else {
      checkFailedReader(reader_);
    }
    return isJSON;
  }

  const Events& events() const { return events_; }
  const std::optional<JSONReader::SyntaxError>& syntaxError() const {
    return reader_.syntaxError();
  }

  /// Whatever is asked of a reader that has found a fault, the answer is the same.
  void checkFailedReader(JSONReader reader) const {
    const JSONReader::SyntaxError error = *reader.syntaxError();
    require(error.offset <= document_.size(), "a fault lies inside the document");
    require(!error.reason.empty(), "a fault has a reason");
    if (!isThorough_) return;
    std::int64_t integer;
    double real;
    bool boolean;
    std::string text;
    std::string_view view;
    require(reader.readInteger(integer) == JSONResult::notJSON &&
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
    require(reader.syntaxError()->offset == error.offset &&
                reader.syntaxError()->reason == error.reason,
            "the first fault is the one that is told");
  }

 private:
  struct Level {
    bool isObject;
    const char* end;  ///< where skipping it ended; null when that was not tried
  };

  bool walk() {
    while (readValue()) {
      // On to the next value: in this level, or in an outer one when it closes.
      while (!levels_.empty() && !nextMember()) {
        if (reader_.failed()) return false;
        const Level level = levels_.back();
        levels_.pop_back();
        events_.push_back({level.isObject ? Kind::endObject : Kind::endList});
        require(level.end == nullptr || level.end == reader_.position(),
                "skipping and reading end a list or an object at the same byte");
      }
      if (levels_.empty()) return reader_.finish();
    }
    return false;
  }

  bool nextMember() {
    if (!levels_.back().isObject) return reader_.nextElement();
    std::string_view key;
    if (++turn_ % 2 == 0) {
      if (!reader_.nextKey(key)) return false;
    } else {
      const auto match = reader_.nextKey(guess_, key);
      if (match == JSONReader::KeyMatch::end) return false;
      require(match != JSONReader::KeyMatch::expected || key == guess_,
              "an expected key is the guessed one");
    }
    events_.push_back({Kind::key, std::string(key)});
    // Guessing the key before the last one is right now and then, and wrong in many ways.
    const std::string& met = events_.back().text;
    guess_ = std::exchange(lastKey_, isPlain(met) ? met : "k");
    return true;
  }

  /// Reads one value, or enters it.
  bool readValue() {
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
        require(result == JSONResult::ok, "a list and an object can be entered");
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
        require(!reader_.skip(), "nothing cannot be skipped");
        break;
    }
    if (isThorough_) {
      require((end != nullptr) == !reader_.failed(), "skipping and reading find the same faults");
      require(end == nullptr || end == reader_.position(),
              "skipping and reading end a value at the same byte");
      require(end == nullptr || end > start, "a value has a length");
    }
    return !reader_.failed();
  }

  void readNumber() {
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
      require(integerResult == JSONResult::notJSON && realResult == JSONResult::notJSON,
              "a number that is none is so however it is read");
      return;
    }
    require(integerResult == JSONResult::ok || integerResult == JSONResult::outOfRange,
            "a number may be no integer, and nothing else");
    require(realResult == JSONResult::ok || realResult == JSONResult::outOfRange,
            "a number may be too large for a double, and nothing else");
    if (integerResult == JSONResult::ok) event.integer = integer;
    if (realResult == JSONResult::ok) event.real = real;
    event.text.assign(start, reader_.position());
    if (isThorough_) {
      const std::optional<Spelling> spelling = Spelling::of(event.text);
      require(spelling.has_value(), "a number is spelled as one");
      require(event.integer == integerFrom(*spelling), "an integer is what its digits say");
      const std::optional<double> want = doubleFrom(event.text);
      require(event.real.has_value() == want.has_value(), "strtod has the same range");
      require(!want || naive::areSameBits(*event.real, *want),
              "a double is the one that strtod reads");
    }
    events_.push_back(std::move(event));
  }

  void readText() {
    Event event{Kind::text};
    std::string_view view;
    JSONReader second = reader_;
    const bool isViewFirst = ++turn_ % 2 == 0;
    const JSONResult viewResult = (isViewFirst ? reader_ : second).readTextView(view);
    const JSONResult textResult = (isViewFirst ? second : reader_).readText(event.text);
    require(viewResult == textResult, "a text and a view of it are read alike");
    if (textResult != JSONResult::ok) return;
    require(view == event.text, "a text and a view of it hold the same");
    events_.push_back(std::move(event));
  }

  /// Asks for a value of another kind: it is consumed just as it is by skipping, and refused.
  void readAsSomethingElse(JSONKind kind, const JSONReader& skipped) {
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
    require(result == want, "a value of another kind is refused as such");
    require(reader.position() == skipped.position(), "a value of another kind is consumed");
    require(reader.failed() == skipped.failed(), "a value of another kind is validated");
  }

  /// Enters a list or an object, passes some of its values and skips the rest.
  void leaveEarly(JSONKind kind, const JSONReader& skipped) {
    JSONReader reader = reader_;
    const bool isObject = kind == JSONKind::object;
    require((isObject ? reader.enterObject() : reader.enterList()) == JSONResult::ok,
            "a list and an object can be entered");
    std::string_view key;
    bool isInside = true;
    for (unsigned count = ++turn_ % 3; isInside && count > 0; --count) {
      isInside = isObject ? reader.nextKey(key) : reader.nextElement();
      if (isInside) reader.skip();
    }
    if (isInside && isObject) reader.skipRestOfObject();
    if (isInside && !isObject) reader.skipRestOfList();
    require(reader.position() == skipped.position() && reader.failed() == skipped.failed(),
            "leaving a list or an object early is like skipping it");
  }

  std::string_view document_;
  JSONReader reader_;
  bool isThorough_;
  unsigned turn_ = 0;  ///< takes the ways of reading in turn
  std::string guess_ = "k";
  std::string lastKey_ = "k";
  std::vector<Level> levels_;
  Events events_;
};

// --- nlohmann/json ---

/// Takes the events of nlohmann/json and compares them with ours.
class NlohmannEvents : public nlohmann::json_sax<nlohmann::json> {
 public:
  enum class Numbers : std::uint8_t { compared, passedOver };

  NlohmannEvents(const Events& ours, bool isComplete, Numbers numbers)
      : ours_(ours), isComplete_(isComplete), areNumbersCompared_(numbers == Numbers::compared) {}

  bool null() override { return next(Kind::null), true; }
  bool boolean(bool value) override {
    const Event* const event = next(Kind::boolean);
    require(event == nullptr || event->isTrue == value, "nlohmann/json reads the same boolean");
    return true;
  }
  bool number_integer(std::int64_t value) override {
    const Event* const event = next(Kind::number);
    if (event == nullptr || !areNumbersCompared_) return true;
    require(event->integer == value, "nlohmann/json reads the same negative integer");
    if (value == 0) {
      hasMinusZero_ = true;
      return true;
    }
    require(event->real && naive::areSameBits(*event->real, static_cast<double>(value)),
            "nlohmann/json reads the same negative integer as a double");
    return true;
  }
  bool number_unsigned(std::uint64_t value) override {
    const Event* const event = next(Kind::number);
    if (event == nullptr || !areNumbersCompared_) return true;
    const bool isInRange = std::in_range<std::int64_t>(value);
    require(event->integer.has_value() == isInRange &&
                (!isInRange || *event->integer == static_cast<std::int64_t>(value)),
            "nlohmann/json reads the same integer");
    require(event->real && naive::areSameBits(*event->real, static_cast<double>(value)),
            "nlohmann/json reads the same integer as a double");
    return true;
  }
  bool number_float(double value, const std::string& spelled) override {
    const Event* const event = next(Kind::number);
    if (event == nullptr || !areNumbersCompared_) return true;
    require(event->text == spelled, "nlohmann/json finds the same spelling of a number");
    require(event->real && naive::areSameBits(*event->real, value),
            "nlohmann/json reads the same double");
    return true;
  }
  bool string(std::string& value) override {
    const Event* const event = next(Kind::text);
    require(event == nullptr || event->text == value, "nlohmann/json reads the same text");
    return true;
  }
  bool binary(nlohmann::json::binary_t& /*value*/) override { return false; }
  bool start_object(std::size_t /*count*/) override { return next(Kind::beginObject), true; }
  bool key(std::string& value) override {
    const Event* const event = next(Kind::key);
    require(event == nullptr || event->text == value, "nlohmann/json reads the same key");
    return true;
  }
  bool end_object() override { return next(Kind::endObject), true; }
  bool start_array(std::size_t /*count*/) override { return next(Kind::beginList), true; }
  bool end_array() override { return next(Kind::endList), true; }
  bool parse_error(std::size_t /*position*/, const std::string& /*token*/,
                   const nlohmann::detail::exception& error) override {
    constexpr int kNumberOverflow = 406;
    isBeyondRange_ = error.id == kNumberOverflow;
    return false;
  }

  /// A number was too large for it, and it stopped there.
  bool isBeyondRange() const { return isBeyondRange_; }
  bool hasMinusZero() const { return hasMinusZero_; }
  bool hasMetAll() const { return place_ == ours_.size(); }

 private:
  /// Our next event; null behind the last one of a document that we found not to be JSON.
  const Event* next(Kind kind) {
    if (place_ == ours_.size()) {
      require(!isComplete_, "nlohmann/json finds no more values");
      return nullptr;
    }
    const Event& event = ours_[place_++];
    require(event.kind == kind, "nlohmann/json finds a value of the same kind");
    return &event;
  }

  const Events& ours_;
  bool isComplete_;
  bool areNumbersCompared_;
  bool isBeyondRange_ = false;
  bool hasMinusZero_ = false;
  std::size_t place_ = 0;
};

void compareWithNlohmann(std::string_view document, const Events& ours,
                         JSONComparison& comparison) {
  using Numbers = NlohmannEvents::Numbers;
  if (document.find('\0') != std::string_view::npos) {
    comparison.meet(KnownDifference::nul);
    require(!comparison.isJSON, "a document with a NUL is refused");
    return;
  }
  NlohmannEvents events(ours, comparison.isJSON, Numbers::compared);
  bool isJSON = nlohmann::json::sax_parse(document, &events);
  if (events.hasMinusZero()) comparison.meet(KnownDifference::minusZero);
  bool hasMetAll = events.hasMetAll();
  if (events.isBeyondRange()) {
    comparison.meet(KnownDifference::doubleRange);
    NlohmannEvents again(ours, comparison.isJSON, Numbers::passedOver);
    isJSON = nlohmann::json::sax_parse(withoutNumbers(document), &again);
    hasMetAll = again.hasMetAll();
  }
  require(!isJSON || comparison.isJSON, "nlohmann/json says JSON, the reader does not");
  require(isJSON || !comparison.isJSON, "the reader says JSON, nlohmann/json does not");
  require(!isJSON || hasMetAll, "nlohmann/json finds no fewer values");
}

// --- Writing ---

/// Every integer is, but for -0, which as an integer loses its sign. Other numbers are written as
/// doubles; one beyond the doubles cannot be, and becomes null.
bool isWrittenAsInteger(const Event& number) {
  return number.integer && !(number.real && *number.real == 0 && std::signbit(*number.real));
}

std::string written(const Events& events, JSONStyle style) {
  unsigned turn = 0;  // every other plain text is written the short way
  JSONWriter writer(style);
  std::vector<bool> isInObject;  // by level
  for (const Event& event : events) {
    const bool isEnd = event.kind == Kind::endList || event.kind == Kind::endObject;
    if (isEnd) isInObject.pop_back();
    const bool isElement = !isInObject.empty() && !isInObject.back() && !isEnd;
    if (isElement) writer.element();
    switch (event.kind) {
      case Kind::null:
        writer.null();
        break;
      case Kind::boolean:
        writer.boolean(event.isTrue);
        break;
      case Kind::number:
        if (isWrittenAsInteger(event)) {
          writer.integer(*event.integer);
        } else if (event.real) {
          require(writer.number(*event.real), "a finite number can be written");
        } else {
          writer.null();
        }
        break;
      case Kind::text:
        if (isPlain(event.text) && ++turn % 2 == 0) {
          writer.plainText(event.text);
        } else {
          writer.text(event.text);
        }
        break;
      case Kind::key:
        if (isPlain(event.text) && ++turn % 2 == 0) {
          writer.plainKey(event.text);
        } else {
          writer.key(event.text);
        }
        break;
      case Kind::beginList:
        writer.beginList();
        isInObject.push_back(false);
        break;
      case Kind::endList:
        writer.endList();
        break;
      case Kind::beginObject:
        writer.beginObject();
        isInObject.push_back(true);
        break;
      case Kind::endObject:
        writer.endObject();
        break;
    }
  }
  return writer.take();
}

bool isSameAfterWriting(const Event& before, const Event& after) {
  if (before.kind != Kind::number) {
    return before.kind == after.kind && before.text == after.text && before.isTrue == after.isTrue;
  }
  if (isWrittenAsInteger(before)) {
    return after.kind == Kind::number && after.integer == before.integer;
  }
  if (!before.real) return after.kind == Kind::null;
  return after.kind == Kind::number && after.real && naive::areSameBits(*after.real, *before.real);
}

void requireReadsBack(std::string_view document, const Events& events) {
  Walk walk(document, Walk::Depth::quick);
  require(walk.run(), "what is written is JSON");
  require(std::equal(events.begin(),
                     events.end(),
                     walk.events().begin(),
                     walk.events().end(),
                     isSameAfterWriting),
          "what is written reads back as the same values");
}

/// Any bytes are a text: what is written of them is the text with its ill-formed parts replaced.
void requireTextReadsBack(std::string_view bytes) {
  JSONWriter writer(JSONStyle::compact);
  writer.beginObject();
  writer.key(bytes);
  writer.text(bytes);
  writer.endObject();
  const std::string document = writer.take();
  const std::string want = naive::encodedUTF8(naive::decodedUTF8(bytes));
  JSONReader reader(document);
  std::string_view key;
  std::string text;
  require(reader.enterObject() == JSONResult::ok && reader.nextKey(key) && key == want,
          "any bytes are written as a key and read back repaired");
  require(reader.readText(text) == JSONResult::ok && text == want && !reader.nextKey(key) &&
              reader.finish(),
          "any bytes are written as a text and read back repaired");
}

/// The pretty form, made from the compact one character by character.
std::string indented(std::string_view compact) {
  std::string out;
  std::size_t depth = 0;
  bool isInText = false;
  const auto newLine = [&] { out.append("\n").append(depth * 2, ' '); };
  for (std::size_t i = 0; i < compact.size(); ++i) {
    const char c = compact[i];
    if (isInText && c == '\\') {
      out.append(compact, i++, 2);
      continue;
    }
    if (c == '"') isInText = !isInText;
    const bool closes = !isInText && (c == ']' || c == '}');
    const bool opens = !isInText && (c == '[' || c == '{');
    const bool isEmpty = closes && (compact[i - 1] == '[' || compact[i - 1] == '{');
    if (closes) --depth;
    if (closes && !isEmpty) newLine();
    out += c;
    if (opens) ++depth;
    if (opens && compact[i + 1] != ']' && compact[i + 1] != '}') newLine();
    if (!isInText && c == ',') newLine();
    if (!isInText && c == ':') out += ' ';
  }
  return out;
}

/// simdjson holds doubles, and integers spelled as such from -2^63 to 2^64 - 1.
bool hasNumberBeyondSimdJSON(const Events& events) {
  return std::any_of(events.begin(), events.end(), [](const Event& event) {
    if (event.kind != Kind::number) return false;
    if (!event.real) return true;
    if (event.text.find_first_of(".eE") != std::string::npos) return false;
    std::uint64_t value = 0;
    const char* const end = event.text.data() + event.text.size();
    const bool isUnsigned =
        std::from_chars(event.text.data(), end, value).ec == std::errc() && event.text[0] != '-';
    return !event.integer && !isUnsigned;
  });
}

std::size_t deepestLevel(const Events& events) {
  std::size_t depth = 0;
  std::size_t deepest = 0;
  for (const Event& event : events) {
    if (event.kind == Kind::beginList || event.kind == Kind::beginObject) ++depth;
    if (event.kind == Kind::endList || event.kind == Kind::endObject) --depth;
    deepest = std::max(deepest, depth);
  }
  return deepest;
}

}  // namespace

// --- simdjson ---

class JSONAgreement::SimdJSON {
 public:
  enum class Answer : std::uint8_t { isJSON, isNotJSON, isTooDeep };

  /// Whether the document is JSON, numbers out of its range aside.
  Answer ask(std::string_view document) {
    error_ = parse(document);
    hasRefusedNumber_ = false;
    if (error_ == simdjson::NUMBER_ERROR) {
      error_ = parse(withoutNumbers(document));
      // Otherwise the number was no number at all, or there is more to find fault with.
      hasRefusedNumber_ = error_ == simdjson::SUCCESS;
    }
    switch (error_) {
      case simdjson::SUCCESS:
        return Answer::isJSON;
      case simdjson::DEPTH_ERROR:
        return Answer::isTooDeep;
      case simdjson::CAPACITY:
      case simdjson::MEMALLOC:
      case simdjson::UNINITIALIZED:
      case simdjson::INSUFFICIENT_PADDING:
        throw Disagreement{std::string("simdjson cannot be asked: ") +
                           simdjson::error_message(error_)};
      default:
        return Answer::isNotJSON;
    }
  }

  /// Whether the last document asked about held a number that it could not hold.
  bool hasRefusedNumber() const { return hasRefusedNumber_; }

 private:
  simdjson::error_code parse(std::string_view document) {
    // It reads some bytes behind the end, whatever they are.
    padded_.assign(document.begin(), document.end());
    padded_.resize(document.size() + simdjson::SIMDJSON_PADDING, '"');
    return parser_.parse(padded_.data(), document.size(), /*realloc_if_needed=*/false).error();
  }

  simdjson::dom::parser parser_;
  std::vector<char> padded_;
  simdjson::error_code error_ = simdjson::SUCCESS;
  bool hasRefusedNumber_ = false;
};

JSONAgreement::JSONAgreement() : simdjson_(std::make_unique<SimdJSON>()) {}
JSONAgreement::~JSONAgreement() = default;

void JSONAgreement::compareWithSimdJSON(std::string_view document, JSONComparison& comparison) {
  switch (simdjson_->ask(document)) {
    case SimdJSON::Answer::isJSON:
      require(comparison.isJSON, "simdjson says JSON, the reader does not");
      break;
    case SimdJSON::Answer::isNotJSON:
      require(!comparison.isJSON, "the reader says JSON, simdjson does not");
      break;
    case SimdJSON::Answer::isTooDeep:
      comparison.meet(KnownDifference::depth);
      break;
  }
}

JSONComparison JSONAgreement::compare(std::string_view given) {
  // In memory of its own and of just its size, so that the address sanitizer sees a step too far.
  const std::vector<char> exact(given.begin(), given.end());
  const std::string_view document(exact.data(), exact.size());
  JSONComparison comparison;
  try {
    JSONReader skipping(document);
    const bool isSkipped = skipping.skip();
    comparison.isJSON = skipping.finish();
    require(isSkipped || !comparison.isJSON, "a document that cannot be skipped is not JSON");

    Walk walk(document, Walk::Depth::thorough);
    require(walk.run() == comparison.isJSON, "skipping and reading agree on what is JSON");
    if (!comparison.isJSON) {
      require(skipping.failed(), "a document that is not JSON has a syntax error");
      require(walk.syntaxError()->offset == skipping.syntaxError()->offset &&
                  walk.syntaxError()->reason == skipping.syntaxError()->reason,
              "skipping and reading find the same syntax error");
      walk.checkFailedReader(skipping);
    }

    requireTextReadsBack(document);

    if (document.starts_with("\xEF\xBB\xBF")) {
      comparison.meet(KnownDifference::byteOrderMark);
      require(!comparison.isJSON, "a document with a byte order mark is refused");
      return comparison;
    }
    compareWithSimdJSON(document, comparison);
    const bool hasRefusedNumber = simdjson_->hasRefusedNumber();
    compareWithNlohmann(document, walk.events(), comparison);
    if (!comparison.isJSON) return comparison;

    require(hasRefusedNumber == hasNumberBeyondSimdJSON(walk.events()) ||
                comparison.hasMet(KnownDifference::depth),
            "simdjson refuses the numbers that are beyond its range");
    if (hasRefusedNumber && !comparison.hasMet(KnownDifference::doubleRange)) {
      comparison.meet(KnownDifference::integerRange);
    }

    const std::string compact = written(walk.events(), JSONStyle::compact);
    requireReadsBack(compact, walk.events());
    // Indentation of deep documents grows with the square of their size.
    constexpr std::size_t kMostIndentation = 1'000'000;
    if (deepestLevel(walk.events()) * walk.events().size() > kMostIndentation) return comparison;
    const std::string pretty = written(walk.events(), JSONStyle::pretty);
    requireReadsBack(pretty, walk.events());
    require(pretty == indented(compact), "pretty is compact with line breaks and indentation");
    require(simdjson_->ask(pretty) != SimdJSON::Answer::isNotJSON,
            "simdjson finds what is written to be JSON");
  } catch (const Disagreement& disagreement) {
    comparison.disagreement = disagreement.words;
  }
  return comparison;
}

}  // namespace tavrine::fuzz
