#include "fuzz/json_documents.h"

#include <TavrineShared/model/gpu_server.h>
#include <TavrineShared/model/json_conventions.h>

#include <algorithm>
#include <bit>
#include <chrono>
#include <cstdio>
#include <optional>
#include <string_view>
#include <utility>

namespace tavrine::fuzz {
namespace {

using namespace std::string_view_literals;

// --- Chance ---

/// splitmix64: small enough that every document can have a generator of its own.
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next() {
    state_ += 0x9E3779B97F4A7C15;
    std::uint64_t bits = state_;
    bits = (bits ^ (bits >> 30U)) * 0xBF58476D1CE4E5B9;
    bits = (bits ^ (bits >> 27U)) * 0x94D049BB133111EB;
    return bits ^ (bits >> 31U);
  }
  std::size_t below(std::size_t limit) { return static_cast<std::size_t>(next() % limit); }
  /// One time in `times`.
  bool once(std::size_t times) { return below(times) == 0; }
  template <class Range>
  const auto& oneOf(const Range& range) {
    return range[below(std::size(range))];
  }
  /// Below 2^bits, small ones as likely as large ones.
  std::size_t ofAnySize(std::size_t bits) { return below((std::size_t{1} << (1 + below(bits)))); }

 private:
  std::uint64_t state_;
};

// --- Pieces of documents ---

constexpr std::array kWhiteSpace = {
    " "sv, "  "sv, "\n"sv, "\r\n"sv, "\t"sv, " "sv, "\n    "sv, "\n                    "sv};

constexpr std::array kOddWhiteSpace = {"\v"sv,
                                       "\f"sv,
                                       "\x1F"sv,
                                       "\x7F"sv,
                                       "\0"sv,
                                       "\u00A0"sv,
                                       "\u0085"sv,
                                       "\u2028"sv,
                                       "\u3000"sv,
                                       "\uFEFF"sv,
                                       "//x\n"sv,
                                       "/**/"sv,
                                       "#\n"sv};

constexpr std::array kWords = {"true"sv, "false"sv, "null"sv};

constexpr std::array kOddWords = {"True"sv,
                                  "TRUE"sv,
                                  "tru"sv,
                                  "truee"sv,
                                  "nul"sv,
                                  "nulll"sv,
                                  "nil"sv,
                                  "NaN"sv,
                                  "Infinity"sv,
                                  "inf"sv,
                                  "t"sv,
                                  "fals"sv,
                                  "none"sv,
                                  "'a'"sv,
                                  "undefined"sv,
                                  "a"sv,
                                  "\u00E9"sv};

constexpr std::array kNumbers = {"0"sv,
                                 "-0"sv,
                                 "1"sv,
                                 "-1"sv,
                                 "0.0"sv,
                                 "-0.0"sv,
                                 "12.0"sv,
                                 "1.2e1"sv,
                                 "1E2"sv,
                                 "1e+2"sv,
                                 "120e-1"sv,
                                 "125e-1"sv,
                                 "0e0"sv,
                                 "-0e99999"sv,
                                 "0.000e-400"sv,
                                 "9007199254740991"sv,
                                 "9007199254740992"sv,
                                 "9007199254740993"sv,
                                 "9007199254740993.0000000000000000000000001"sv,
                                 "-9007199254740995"sv,
                                 "9223372036854775807"sv,
                                 "9223372036854775808"sv,
                                 "-9223372036854775808"sv,
                                 "-9223372036854775809"sv,
                                 "9223372036854775807.0"sv,
                                 "9223372036854775808.0"sv,
                                 "92233720368547758070e-1"sv,
                                 "9.223372036854775807e18"sv,
                                 "0.00000000000000000009223372036854775807e38"sv,
                                 "18446744073709551615"sv,
                                 "18446744073709551616"sv,
                                 "18446744073709551617"sv,
                                 "99999999999999999999"sv,
                                 "1e18"sv,
                                 "1e19"sv,
                                 "1e22"sv,
                                 "1e23"sv,
                                 "1e308"sv,
                                 "1e309"sv,
                                 "-1e999"sv,
                                 "1e-999"sv,
                                 "1.7976931348623157e308"sv,
                                 "1.7976931348623158e308"sv,
                                 "1.797693134862315808e308"sv,
                                 "1.797693134862315807e308"sv,
                                 "2.2250738585072014e-308"sv,
                                 "2.2250738585072011e-308"sv,
                                 "4.9406564584124654e-324"sv,
                                 "2.4703282292062327e-324"sv,
                                 "2.4703282292062328e-324"sv,
                                 "1e99999999999999999999"sv,
                                 "1e-99999999999999999999"sv,
                                 "0e99999999999999999999"sv,
                                 "1e00000000000000000002"sv,
                                 "0.1"sv,
                                 "0.30000000000000004"sv,
                                 "7.2057594037927933e16"sv};

constexpr std::array kOddNumbers = {
    "01"sv,  "-01"sv,   "00"sv,        "1."sv,    ".5"sv,    "-.5"sv,   "+1"sv,    "-"sv,
    "--1"sv, "1e"sv,    "1e+"sv,       "1.e1"sv,  "0x10"sv,  "1e1.5"sv, "1.2.3"sv, "1-"sv,
    "1 2"sv, "1_000"sv, "-Infinity"sv, "-NaN"sv,  "1f"sv,    "0b1"sv,   "1,0"sv,   "\uFF11"sv,
    "e5"sv,  "-e5"sv,   "2-1"sv,       "1e5e5"sv, "1E+-2"sv, "00.5"sv};

constexpr std::array kTextPieces = {"a"sv,
                                    "name"sv,
                                    "gpus"sv,
                                    "id"sv,
                                    "sixteen and more plain characters"sv,
                                    "fifteen plain ."sv,
                                    " "sv,
                                    "/"sv,
                                    "\\\""sv,
                                    "\\\\"sv,
                                    "\\/"sv,
                                    "\\b"sv,
                                    "\\f"sv,
                                    "\\n"sv,
                                    "\\r"sv,
                                    "\\t"sv,
                                    "\\u0000"sv,
                                    "\\u001f"sv,
                                    "\\u0022"sv,
                                    "\\u005C"sv,
                                    "\\u007f"sv,
                                    "\\u0080"sv,
                                    "\\u07FF"sv,
                                    "\\u0800"sv,
                                    "\\uD7ff"sv,
                                    "\\ue000"sv,
                                    "\\uFFFF"sv,
                                    "\\ud800\\udc00"sv,
                                    "\\uDBFF\\uDFFF"sv,
                                    "\\ud83d\\uDE00"sv,
                                    "\x7F"sv,
                                    "\u0080"sv,
                                    "\u00E9"sv,
                                    "\u07FF"sv,
                                    "\u0800"sv,
                                    "\u2028"sv,
                                    "\uD7FF"sv,
                                    "\uE000"sv,
                                    "\uFEFF"sv,
                                    "\uFFFD"sv,
                                    "\uFFFF"sv,
                                    "\U00010000"sv,
                                    "\U0001F600"sv,
                                    "\U0010FFFF"sv,
                                    "{"sv,
                                    "],"sv,
                                    "1e999"sv};

constexpr std::array kOddTextPieces = {"\\"sv,
                                       "\\x41"sv,
                                       "\\'"sv,
                                       "\\0"sv,
                                       "\\U0041"sv,
                                       "\\u"sv,
                                       "\\u1"sv,
                                       "\\u12"sv,
                                       "\\u123"sv,
                                       "\\u12G4"sv,
                                       "\\u 123"sv,
                                       "\\u+123"sv,
                                       "\\ud800"sv,
                                       "\\udc00"sv,
                                       "\\ud800\\ud800"sv,
                                       "\\ud800\\u0041"sv,
                                       "\\ud800\\ue000"sv,
                                       "\\ud800x"sv,
                                       "\\ud800\\n"sv,
                                       "\\udbff\\udbff"sv,
                                       "\\udc00\\ud800"sv,
                                       "\\ud800\\udc0"sv,
                                       "\""sv,
                                       "\n"sv,
                                       "\t"sv,
                                       "\0"sv,
                                       "\x01"sv,
                                       "\x1F"sv,
                                       "\x80"sv,
                                       "\xBF"sv,
                                       "\xC0\x80"sv,
                                       "\xC1\xBF"sv,
                                       "\xC2"sv,
                                       "\xC3("sv,
                                       "\xE0\x80\x80"sv,
                                       "\xE0\x9F\xBF"sv,
                                       "\xE2\x82"sv,
                                       "\xED\xA0\x80"sv,
                                       "\xED\xBF\xBF"sv,
                                       "\xF0\x80\x80\x80"sv,
                                       "\xF0\x8F\xBF\xBF"sv,
                                       "\xF0\x9F\x98"sv,
                                       "\xF4\x90\x80\x80"sv,
                                       "\xF5\x80\x80\x80"sv,
                                       "\xFE"sv,
                                       "\xFF"sv};

constexpr std::array kMarks = {"{"sv,
                               "}"sv,
                               "["sv,
                               "]"sv,
                               ","sv,
                               ":"sv,
                               "\""sv,
                               "{}"sv,
                               "[]"sv,
                               "[[]]"sv,
                               "{\"a\":"sv,
                               "\"\""sv,
                               ",,"sv,
                               "::"sv};

/// Each of them a whole document, or nearly one, that is odd in its own way.
constexpr std::array kCornerDocuments = {
    ""sv,
    " "sv,
    "\n"sv,
    "null"sv,
    " true "sv,
    "\t\r\n false\n"sv,
    "\"\""sv,
    "[]"sv,
    "{}"sv,
    " [ ] "sv,
    " { } "sv,
    "[1]"sv,
    "[1,2,3]"sv,
    "[ 1 , 2 , 3 ]"sv,
    "{\"a\":1}"sv,
    "{ \"a\" : 1 , \"b\" : [ ] }"sv,
    "{\"a\":1,\"a\":2}"sv,
    "{\"\":{\"\":{\"\":0}}}"sv,
    "{\"a\\u0062\":1,\"ab\":2}"sv,
    "[\"\\ud83d\\ude00\",\"\U0001F600\"]"sv,
    "[1,]"sv,
    "[,1]"sv,
    "{\"a\":1,}"sv,
    "{,}"sv,
    "{\"a\"}"sv,
    "{\"a\":}"sv,
    "{a:1}"sv,
    "{1:1}"sv,
    "{null:1}"sv,
    "[1 2]"sv,
    "[1}"sv,
    "{\"a\":1]"sv,
    "1 1"sv,
    "{}{}"sv,
    "[][]"sv,
    "[1]]"sv,
    "[[1]"sv,
    "\"abc"sv,
    "nullnull"sv,
    "\xEF\xBB\xBF[]"sv,
    "[\"\xEF\xBB\xBF\"]"sv,
    "\xFF\xFE[\0]\0"sv,
    "[]\0"sv,
    "[0.1e1,-0,1e-7,5e-324,1.7976931348623157e308,1e400]"sv,
    "[9223372036854775807,-9223372036854775808,9223372036854775808,18446744073709551616]"sv,
    "[true,false,null,\"a\",1,1.5,[],{}]"sv,
    "{\"key\":\"value\",\"list\":[{\"x\":1},{\"x\":2},{\"y\":[[[\"deep\"]]]}],\"n\":-1.25e-3}"sv,
    "[\"sixteen and more plain characters, then \\\"quotes\\\" and \\\\ and \\u00e9 and \u00E9\"]"sv,
    "{\"retentionDays\": 14, \"rate\": 0.30000000000000004,\r\n\t\"text\": \"\\t\\r\\n\"}"sv,
};

std::string madeUpNumber(Random& random) {
  const auto digits = [&random](std::size_t bits) {
    std::string text;
    for (std::size_t count = 1 + random.ofAnySize(bits); count > 0; --count) {
      text += static_cast<char>('0' + (random.once(3) ? 0 : random.below(10)));
    }
    return text;
  };
  std::string text = random.once(3) ? "-" : "";
  switch (random.below(6)) {
    case 0: {  // integers that a double just holds or just does not, scaled by powers of ten
      text += std::to_string((std::uint64_t{1} << (50 + random.below(5))) + random.below(9) - 4);
      if (random.once(2)) text.insert(text.size() - random.below(15), ".");
      return text + "e" + std::to_string(static_cast<int>(random.below(60)) - 30);
    }
    case 1: {  // digits far behind the point, or far in front of it, and an exponent to make up
      if (!random.once(20)) return text + "0";
      const std::size_t zeros = random.ofAnySize(11);
      const std::string exponent = std::to_string(zeros + random.below(40));
      if (random.once(2)) return text + "0." + std::string(zeros, '0') + digits(5) + "e" + exponent;
      return text + "7" + digits(5) + std::string(zeros, '0') + "e-" + exponent;
    }
    case 2: {  // doubles of any bits, and their neighbours in decimal
      auto value = std::bit_cast<double>(random.next());
      if (random.once(4)) value = static_cast<double>(random.next() >> random.below(64));
      std::array<char, 64> buffer{};
      const int precision = 15 + static_cast<int>(random.below(5));
      std::snprintf(buffer.data(), buffer.size(), "%.*g", precision, value);
      return buffer.data();  // of a NaN or an infinity, an odd word
    }
    case 3:
      return text + std::to_string(random.next() >> random.below(64));
    default: {
      const std::string whole = digits(5);
      const bool keepsZeros = random.once(40);
      const std::size_t first =
          keepsZeros ? 0 : std::min(whole.find_first_not_of('0'), whole.size() - 1);
      text += whole.substr(first);
      if (random.once(2)) text += "." + digits(6);
      if (random.once(2)) {
        text += random.once(2) ? "e" : "E";
        text += random.oneOf(std::array{""sv, "+"sv, "-"sv});
        text += std::to_string(random.ofAnySize(9));
      }
      return text;
    }
  }
}

/// `oddness`: about one piece in that many is not JSON.
std::string number(Random& random, std::size_t oddness) {
  if (random.once(oddness)) return std::string(random.oneOf(kOddNumbers));
  if (random.once(2)) return std::string(random.oneOf(kNumbers));
  return madeUpNumber(random);
}

std::string quotedText(Random& random, std::size_t oddness) {
  std::string text = "\"";
  for (std::size_t count = random.ofAnySize(3); count > 0; --count) {
    text += random.once(oddness) ? random.oneOf(kOddTextPieces) : random.oneOf(kTextPieces);
  }
  return text + '"';
}

std::string whiteSpace(Random& random, std::size_t oddness) {
  if (random.once(oddness * 4)) return std::string(random.oneOf(kOddWhiteSpace));
  return random.once(3) ? std::string(random.oneOf(kWhiteSpace)) : std::string();
}

std::string scalar(Random& random, std::size_t oddness) {
  switch (random.below(4)) {
    case 0:
      return std::string(random.once(oddness) ? random.oneOf(kOddWords) : random.oneOf(kWords));
    case 1:
      return quotedText(random, oddness);
    default:
      return number(random, oddness);
  }
}

// --- The three families ---

std::string madeUpText(Random& random) {
  std::string text;
  for (std::size_t count = random.below(4); count > 0; --count) {
    // As bytes: the encoder escapes the backslashes and repairs what is no UTF-8.
    text += random.once(4) ? random.oneOf(kOddTextPieces) : random.oneOf(kTextPieces);
  }
  return text;
}

double madeUpQuantity(Random& random) {
  switch (random.below(3)) {
    case 0:
      return static_cast<double>(random.below(100'000));
    case 1:
      return static_cast<double>(random.below(100'000)) / 100;
    default: {
      const auto value = std::bit_cast<double>(random.next());
      return value - value == 0 ? value : 0;  // finite ones
    }
  }
}

GPUStat madeUpGPU(Random& random) {
  const auto maybe = [&random](auto value) {
    return random.once(3) ? std::nullopt : std::optional(value);
  };
  return GPUStat{
      .index = static_cast<std::int64_t>(random.once(4) ? random.next() : random.below(8)),
      .name = madeUpText(random),
      .utilizationPercent = madeUpQuantity(random),
      .memoryUsedMB = madeUpQuantity(random),
      .memoryTotalMB = madeUpQuantity(random),
      .temperatureC = madeUpQuantity(random),
      .powerDrawW = madeUpQuantity(random),
      .powerLimitW = madeUpQuantity(random),
      .fanSpeedPercent = maybe(madeUpQuantity(random)),
      .smClockMHz = maybe(madeUpQuantity(random)),
      .memClockMHz = maybe(madeUpQuantity(random)),
      .eccErrorsTotal = maybe(static_cast<std::int64_t>(random.next())),
      .pcieLinkGen = maybe(std::int64_t{4}),
      .pcieLinkWidth = maybe(std::int64_t{16}),
      .pstate = maybe(madeUpText(random)),
  };
}

ServerSummary madeUpServer(Random& random) {
  UUID id{};
  for (std::uint8_t& byte : id.bytes) byte = static_cast<std::uint8_t>(random.below(256));
  std::vector<GPUStat> gpus;
  for (std::size_t count = random.below(3); count > 0; --count) gpus.push_back(madeUpGPU(random));
  const auto seconds = static_cast<double>(random.below(4'000'000'000));
  return ServerSummary{
      .id = id,
      .name = madeUpText(random),
      .host = madeUpText(random),
      .state = ServerConnectionState::allCases()[random.below(4)],
      .gpus = std::move(gpus),
      .activeRuns = static_cast<std::int64_t>(random.below(10)),
      .diskFreeGB = random.once(2) ? std::nullopt : std::optional(madeUpQuantity(random)),
      .lastSeen = Timestamp(std::chrono::duration<double>(seconds)),
  };
}

using Bases = std::vector<std::string>;

Bases baseDocuments(Random random) {
  Bases bases(kCornerDocuments.begin(), kCornerDocuments.end());
  for (int i = 0; i < 100; ++i) {
    std::vector<ServerSummary> servers;
    for (std::size_t count = random.below(3); count > 0; --count) {
      servers.push_back(madeUpServer(random));
    }
    bases.push_back(encode(servers, i % 2 == 0 ? JSONStyle::compact : JSONStyle::pretty));
  }
  return bases;
}

std::string anyToken(Random& random) {
  constexpr std::size_t kOddness = 4;
  switch (random.below(8)) {
    case 0:
    case 1:
    case 2:
      return std::string(random.oneOf(kMarks));
    case 3:
      return whiteSpace(random, 1);
    case 4:
      return std::string(random.oneOf(kTextPieces));
    case 5:
      return std::string(random.oneOf(kOddTextPieces));
    default:
      return scalar(random, kOddness);
  }
}

std::string mutated(Random& random, const Bases& bases) {
  std::string text = random.oneOf(bases);
  for (std::size_t count = random.below(4); count > 0; --count) {
    const std::size_t at = random.below(text.size() + 1);
    const std::size_t length = std::min(random.ofAnySize(7), text.size() - at);
    switch (random.below(9)) {
      case 0:
        if (at < text.size()) text[at] = static_cast<char>(text[at] ^ (1 << random.below(8)));
        break;
      case 1:
        if (at < text.size()) text[at] = static_cast<char>(random.below(256));
        break;
      case 2:
        text.insert(at, 1, static_cast<char>(random.below(256)));
        break;
      case 3:
      case 4:
        text.insert(at, anyToken(random));
        break;
      case 5:
        text.erase(at, random.once(2) ? 1 : length);
        break;
      case 6:
        text.insert(random.below(text.size() + 1), text.substr(at, length));
        break;
      case 7: {
        const std::string& other = random.oneOf(bases);
        const std::size_t from = random.below(other.size() + 1);
        text.replace(at,
                     random.once(2) ? std::string::npos : length,
                     other,
                     from,
                     random.once(2) ? std::string::npos : random.ofAnySize(7));
        break;
      }
      default:
        if (at < text.size()) {
          const std::size_t other = random.below(text.size());
          std::swap(text[at], text[other]);
        }
        break;
    }
  }
  return text;
}

/// A document by the grammar, now and then with a piece that does not belong there.
class GrammarSoup {
 public:
  GrammarSoup(Random& random, std::size_t oddness) : random_(random), oddness_(oddness) {}

  std::string document() {
    blank();
    value(0);
    blank();
    return std::move(out_);
  }

 private:
  static constexpr std::size_t kDeepest = 6;

  void value(std::size_t depth) {
    if (random_.once(oddness_ * 4)) {
      out_ += anyToken(random_);
    } else if (depth == kDeepest || random_.once(2)) {
      out_ += scalar(random_, oddness_);
    } else {
      container(depth, random_.once(2));
    }
  }

  void container(std::size_t depth, bool isObject) {
    mark(isObject ? "{" : "[");
    blank();
    const std::size_t count = random_.below(5);
    for (std::size_t i = 0; i < count; ++i) {
      if (i > 0) mark(",");
      blank();
      if (isObject) {
        out_ += quotedText(random_, oddness_);
        blank();
        mark(":");
        blank();
      }
      value(depth + 1);
      blank();
    }
    mark(isObject ? "}" : "]");
  }

  void blank() { out_ += whiteSpace(random_, oddness_); }
  void mark(std::string_view text) {
    out_ += random_.once(oddness_ * 4) ? random_.oneOf(kMarks) : text;
  }

  Random& random_;
  std::size_t oddness_;
  std::string out_;
};

std::string tokenSoup(Random& random) {
  if (!random.once(4)) return GrammarSoup(random, 4 + random.ofAnySize(8)).document();
  std::string text;
  for (std::size_t count = random.ofAnySize(4); count > 0; --count) text += anyToken(random);
  return text;
}

std::string deepNesting(Random& random) {
  std::size_t depth = random.ofAnySize(11);
  if (random.once(500)) depth = random.ofAnySize(15);
  if (random.once(20'000)) depth = random.ofAnySize(20);
  const std::size_t shape = random.below(3);
  const bool hasSiblings = random.once(4);
  const bool isSpaced = random.once(4);
  std::string text;
  std::string closing;
  for (std::size_t i = 0; i < depth; ++i) {
    const bool isObject = shape == 0 || (shape == 1 && random.once(2));
    text += isObject ? "{\"a\":" : "[";
    closing += isObject ? '}' : ']';
    if (isSpaced) text += random.oneOf(kWhiteSpace);
    if (hasSiblings && random.once(8)) {
      text += scalar(random, 1'000'000);
      text += isObject ? ",\"b\":" : ",";
    }
  }
  std::reverse(closing.begin(), closing.end());
  text +=
      random.once(4) ? std::string(random.oneOf(std::array{"[]"sv, "{}"sv})) : scalar(random, 100);
  const bool isSpoilt = !closing.empty() && random.once(3);
  if (isSpoilt) {
    const std::size_t at = random.below(closing.size());
    switch (random.below(4)) {
      case 0:
        closing[at] = closing[at] == '}' ? ']' : '}';
        break;
      case 1:
        closing.erase(at, 1);
        break;
      case 2:
        closing.insert(at, anyToken(random));
        break;
      default:
        closing.insert(at, 1, random.once(2) ? ']' : '}');
        break;
    }
  }
  return text + closing;
}

}  // namespace

DocumentMaker::DocumentMaker(std::uint64_t seed)
    : bases_(baseDocuments(Random(seed))), streams_(Random(seed).next()) {}

DocumentMaker::Document DocumentMaker::document(std::size_t index) const {
  Random random(streams_ + index);
  switch (index % 10) {
    case 0:
      return {Family::deepNesting, deepNesting(random)};
    case 1:
    case 2:
    case 3:
    case 4:
      return {Family::tokenSoup, tokenSoup(random)};
    default:
      return {Family::mutations, mutated(random, bases_)};
  }
}

}  // namespace tavrine::fuzz
