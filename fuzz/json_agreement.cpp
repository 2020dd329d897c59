#include "fuzz/json_agreement.h"

#include <TavrineShared/foundation/json_reader.h>
#include <TavrineShared/foundation/json_writer.h>
#include <simdjson.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <nlohmann/json.hpp>
#include <system_error>
#include <utility>
#include <vector>

#include "fuzz/json_walk.h"
#include "tests/support/naive_text.h"

namespace tavrine::fuzz {
namespace {

using Kind = Event::Kind;

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
    agree(event == nullptr || event->isTrue == value, "nlohmann/json reads the same boolean");
    return true;
  }
  bool number_integer(std::int64_t value) override {
    const Event* const event = next(Kind::number);
    if (event == nullptr || !areNumbersCompared_) return true;
    agree(event->integer == value, "nlohmann/json reads the same negative integer");
    if (value == 0) {
      hasMinusZero_ = true;
      return true;
    }
    agree(event->real && naive::areSameBits(*event->real, static_cast<double>(value)),
          "nlohmann/json reads the same negative integer as a double");
    return true;
  }
  bool number_unsigned(std::uint64_t value) override {
    const Event* const event = next(Kind::number);
    if (event == nullptr || !areNumbersCompared_) return true;
    const bool isInRange = std::in_range<std::int64_t>(value);
    agree(event->integer.has_value() == isInRange &&
              (!isInRange || *event->integer == static_cast<std::int64_t>(value)),
          "nlohmann/json reads the same integer");
    agree(event->real && naive::areSameBits(*event->real, static_cast<double>(value)),
          "nlohmann/json reads the same integer as a double");
    return true;
  }
  bool number_float(double value, const std::string& spelled) override {
    const Event* const event = next(Kind::number);
    if (event == nullptr || !areNumbersCompared_) return true;
    agree(event->text == spelled, "nlohmann/json finds the same spelling of a number");
    agree(event->real && naive::areSameBits(*event->real, value),
          "nlohmann/json reads the same double");
    return true;
  }
  bool string(std::string& value) override {
    const Event* const event = next(Kind::text);
    agree(event == nullptr || event->text == value, "nlohmann/json reads the same text");
    return true;
  }
  bool binary(nlohmann::json::binary_t& /*value*/) override { return false; }
  bool start_object(std::size_t /*count*/) override { return next(Kind::beginObject), true; }
  bool key(std::string& value) override {
    const Event* const event = next(Kind::key);
    agree(event == nullptr || event->text == value, "nlohmann/json reads the same key");
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
      agree(!isComplete_, "nlohmann/json finds no more values");
      return nullptr;
    }
    const Event& event = ours_[place_++];
    agree(event.kind == kind, "nlohmann/json finds a value of the same kind");
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
    agree(!comparison.isJSON, "a document with a NUL is refused");
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
  agree(!isJSON || comparison.isJSON, "nlohmann/json says JSON, the reader does not");
  agree(isJSON || !comparison.isJSON, "the reader says JSON, nlohmann/json does not");
  agree(!isJSON || hasMetAll, "nlohmann/json finds no fewer values");
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
          agree(writer.number(*event.real), "a finite number can be written");
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
  agree(walk.run(), "what is written is JSON");
  agree(std::equal(events.begin(),
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
  agree(reader.enterObject() == JSONResult::ok && reader.nextKey(key) && key == want,
        "any bytes are written as a key and read back repaired");
  agree(reader.readText(text) == JSONResult::ok && text == want && !reader.nextKey(key) &&
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
    if (error_ == simdjson::NUMBER_ERROR || error_ == tooLarge_) {
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
  // What most integers beyond 64 bits are called: later versions have an error for them.
  simdjson::error_code tooLarge_ = parse("-9223372036854775809");
  simdjson::error_code error_ = simdjson::SUCCESS;
  bool hasRefusedNumber_ = false;
};

JSONAgreement::JSONAgreement() : simdjson_(std::make_unique<SimdJSON>()) {}
JSONAgreement::~JSONAgreement() = default;

void JSONAgreement::compareWithSimdJSON(std::string_view document, JSONComparison& comparison) {
  switch (simdjson_->ask(document)) {
    case SimdJSON::Answer::isJSON:
      agree(comparison.isJSON, "simdjson says JSON, the reader does not");
      break;
    case SimdJSON::Answer::isNotJSON:
      agree(!comparison.isJSON, "the reader says JSON, simdjson does not");
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
    agree(isSkipped || !comparison.isJSON, "a document that cannot be skipped is not JSON");

    Walk walk(document, Walk::Depth::thorough);
    agree(walk.run() == comparison.isJSON, "skipping and reading agree on what is JSON");
    if (!comparison.isJSON) {
      agree(skipping.failed(), "a document that is not JSON has a syntax error");
      agree(walk.syntaxError()->offset == skipping.syntaxError()->offset &&
                walk.syntaxError()->reason == skipping.syntaxError()->reason,
            "skipping and reading find the same syntax error");
      walk.checkFailedReader(skipping);
    }

    requireTextReadsBack(document);

    if (document.starts_with("\xEF\xBB\xBF")) {
      comparison.meet(KnownDifference::byteOrderMark);
      agree(!comparison.isJSON, "a document with a byte order mark is refused");
      return comparison;
    }
    compareWithSimdJSON(document, comparison);
    const bool hasRefusedNumber = simdjson_->hasRefusedNumber();
    compareWithNlohmann(document, walk.events(), comparison);
    if (!comparison.isJSON) return comparison;

    agree(hasRefusedNumber == hasNumberBeyondSimdJSON(walk.events()) ||
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
    agree(pretty == indented(compact), "pretty is compact with line breaks and indentation");
    agree(simdjson_->ask(pretty) != SimdJSON::Answer::isNotJSON,
          "simdjson finds what is written to be JSON");
  } catch (const Disagreement& disagreement) {
    comparison.disagreement = disagreement.words;
  }
  return comparison;
}

}  // namespace tavrine::fuzz
