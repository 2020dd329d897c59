// Why the answer is the one of the plain patterns, on the whole text:
//
//  - Every match of a pattern contains one of its anchors, once the letters that fold to ASCII are
//    folded, and the anchors of one rule never overlap. So there is one candidate for each match,
//    and ICU turns down the others.
//  - The text is read in blocks, so that a rule that wants the first match is done early and one
//    that wants the last tries few. A candidate belongs to the block in which its anchor begins;
//    whoever looks at it sees the whole text.
//  - Two matches of a rule that wants the last one could only overlap by beginning at different
//    places of one number, where the leftmost is taken, or of train_loss, where it makes no
//    difference to the group.

#include <TavrineShared/parsers/training_log_sweep.h>

#include <TavrineShared/foundation/ascii.h>
#include <TavrineShared/foundation/ascii_folding.h>
#include <TavrineShared/foundation/byte_scan.h>
#include <TavrineShared/foundation/literal_scanner.h>
#include <TavrineShared/foundation/unicode_text.h>

#include <algorithm>

namespace tavrine::training_log {
namespace {

// More than the bytes of any anchor, each letter of which takes at most three.
constexpr std::size_t kAnchorReach = 64;

bool isASCII(char c) { return static_cast<unsigned char>(c) < 0x80; }
bool isSeparator(char c) { return c == ':' || c == '='; }
bool isASCIIBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool isASCIIWordCharacter(char c) {
  return ascii::isDigit(c) || ascii::isUpper(c) || ascii::isLower(c) || c == '_';
}

std::size_t skipASCIIBlanks(std::string_view text, std::size_t at) {
  while (at < text.size() && isASCIIBlank(text[at])) ++at;
  return at;
}
std::size_t skipDigits(std::string_view text, std::size_t at) {
  while (at < text.size() && ascii::isDigit(text[at])) ++at;
  return at;
}

std::size_t lineEnd(std::string_view text, std::size_t at) {
  const char* const end = text.data() + text.size();
  return static_cast<std::size_t>(byte_scan::findLineBreak(text.data() + at, end) - text.data());
}

/// Where the line of `at` begins, or `limit` where that is later.
std::size_t lineStart(std::string_view text, std::size_t at, std::size_t limit) {
  const char* const end = text.data() + text.size();
  for (; at > limit; --at) {
    const char* const p = text.data() + at - 1;
    if (const int length = byte_scan::lineBreakLength(p, end); length != 0) {
      return at - 1 + static_cast<std::size_t>(length);
    }
  }
  return limit;
}

/// All literals to look for, and who wants to hear of each: a rule, or behind them a word.
struct Anchors {
  std::vector<std::string_view> literals;
  std::vector<std::vector<std::size_t>> users;

  void add(std::string_view literal, std::size_t user) {
    const auto known = std::find(literals.begin(), literals.end(), literal);
    const auto index = static_cast<std::size_t>(known - literals.begin());
    if (known == literals.end()) {
      literals.push_back(literal);
      users.emplace_back();
    }
    users[index].push_back(user);
  }
};

/// Steps are left out: there is one on nearly every line, and only those near a validation loss
/// count.
const Anchors& anchors() {
  static const Anchors all = [] {
    Anchors made;
    for (std::size_t i = 0; i < rules().size(); ++i) {
      if (rules()[i].take == Take::step) continue;
      for (const std::string_view anchor : rules()[i].anchors) {
        if (!anchor.empty()) made.add(anchor, i);
      }
    }
    for (std::size_t i = 0; i < kWords.size(); ++i) made.add(kWords[i], kRuleCount + i);
    return made;
  }();
  return all;
}

const LiteralScanner& anchorScanner() {
  static const LiteralScanner scanner(anchors().literals);
  return scanner;
}

const LiteralScanner& stepScanner() {
  static const LiteralScanner scanner(std::span(rules()[kStepRule].anchors).first(2));
  return scanner;
}

/// Calls `found(literal, begin, end)` for each literal that begins in [begin, end) of the text once
/// its folding letters are folded; those of one literal come in order. What begins or ends inside a
/// character that folds to two letters is said to begin or end where that begins.
template <class Found>
void scanFolded(const LiteralScanner& scanner, std::string_view text, std::size_t begin,
                std::size_t end, Found found) {
  const std::size_t reach = std::min(text.size(), end + kAnchorReach);
  const std::string_view near = text.substr(begin, reach - begin);
  if (!ascii_folding::hasFoldingLetter(near)) {
    scanner.scan(near, [&](std::size_t literal, std::size_t offset) {
      const std::size_t at = begin + offset;
      if (at < end) found(literal, at, at + scanner.literal(literal).size());
      return true;
    });
    return;
  }
  const ascii_folding::FoldedText folded = ascii_folding::fold(near);
  scanner.scan(folded.text, [&](std::size_t literal, std::size_t offset) {
    const std::size_t at = begin + folded.origin[offset];
    const std::size_t behind = begin + folded.origin[offset + scanner.literal(literal).size()];
    if (at < end) found(literal, at, behind);
    return true;
  });
}

/// False only where the rule's pattern cannot match: a cheap look at what stands around the anchor
/// at [begin, end).
bool mayMatch(const Rule& rule, std::string_view text, std::size_t begin, std::size_t end) {
  if (rule.beginsWord && begin > 0 && isASCIIWordCharacter(text[begin - 1])) return false;
  if (rule.gap == Gap::any) return true;
  std::size_t at = rule.gap == Gap::blanks ? skipASCIIBlanks(text, end) : end;
  if (at == text.size() || !rule.next.contains(text[at])) return false;
  if (!isSeparator(text[at])) return true;
  at = skipASCIIBlanks(text, at + 1);
  return at < text.size() && rule.value.contains(text[at]);
}

/// Where the number begins that ends in front of the unit at `unit` and the blanks before that, as
/// far to the left as `[0-9]+(?:\.[0-9]+)?` reaches.
std::optional<std::size_t> numberBefore(std::string_view text, std::size_t unit) {
  const auto digitsBefore = [text](std::size_t at) {
    while (at > 0 && ascii::isDigit(text[at - 1])) --at;
    return at;
  };
  const std::size_t end = trimmedAtEnd(text.substr(0, unit)).size();
  const std::size_t digits = digitsBefore(end);
  if (digits == end) return std::nullopt;
  if (digits == 0 || text[digits - 1] != '.') return digits;
  const std::size_t whole = digitsBefore(digits - 1);
  return whole == digits - 1 ? digits : whole;
}

/// What a pattern makes of plain ASCII can be read off by hand, many times faster than ICU does.
struct PlainMatch {
  bool isPlain;  ///< false: something else than ASCII is in the way, so ICU must decide
  std::optional<NumberMatch> match = {};
};

bool isAllASCII(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return isASCII(c); });
}

/// `\s*[:=]\s*([0-9]+(?:\.[0-9]+)?(?:e[-+]?[0-9]+)?)` behind the anchor at [begin, end).
PlainMatch plainValue(std::string_view text, std::size_t begin, std::size_t end) {
  if (!isAllASCII(text.substr(begin, end - begin))) return {false};
  std::size_t at = skipASCIIBlanks(text, end);
  if (at == text.size() || !isSeparator(text[at])) return {at == text.size() || isASCII(text[at])};
  const std::size_t number = skipASCIIBlanks(text, at + 1);
  if (number == text.size() || !ascii::isDigit(text[number])) {
    return {number == text.size() || isASCII(text[number])};
  }
  at = skipDigits(text, number);
  if (at < text.size() && text[at] == '.') {
    const std::size_t fraction = skipDigits(text, at + 1);
    if (fraction > at + 1) at = fraction;
  }
  if (at < text.size() && ascii::lower(text[at]) == 'e') {
    std::size_t exponent = at + 1;
    if (exponent < text.size() && (text[exponent] == '+' || text[exponent] == '-')) ++exponent;
    const std::size_t exponentEnd = skipDigits(text, exponent);
    if (exponentEnd > exponent) at = exponentEnd;
  }
  return {true, NumberMatch{begin, number, at}};
}

/// `(?:ation)?\s*[:= ]\s*([0-9]+)` behind the anchor at [begin, end), step or iter.
PlainMatch plainStep(std::string_view text, std::size_t begin, std::size_t end) {
  if (!isAllASCII(text.substr(begin, end - begin))) return {false};
  if (ascii::lower(text[begin]) == 'i' && detail::beginsWithLiteral(text.substr(end), "ation")) {
    end += 5;
  }
  std::size_t at = skipASCIIBlanks(text, end);
  if (at < text.size() && isSeparator(text[at])) {
    at = skipASCIIBlanks(text, at + 1);
  } else if (at < text.size() && ascii::isDigit(text[at]) &&
             text.substr(end, at - end).find(' ') == std::string_view::npos) {
    // Without a colon or an equals sign one of the blanks must be a plain one.
    return {true};
  }
  if (at == text.size() || !ascii::isDigit(text[at])) {
    return {at == text.size() || isASCII(text[at])};
  }
  const std::size_t numberEnd = skipDigits(text, at);
  return {true, NumberMatch{begin, at, numberEnd}};
}

/// Calls `found(i, j)` for each match of `^.*?A.*?B`, where it is made of as[i] and bs[j], given
/// all matches of A and of B in order. A match begins on a line that has not been touched by the
/// one before. It is the first A beginning on that line that a B follows on the line where A ends;
/// the nearest such B counts.
template <class Found>
void joinOnLines(std::string_view text, const std::vector<NumberMatch>& as,
                 const std::vector<NumberMatch>& bs, Found found) {
  std::size_t j = 0;
  std::size_t untouched = 0;
  std::size_t stop = 0;  // the end of the line where as[i] ends
  for (std::size_t i = 0; i < as.size(); ++i) {
    if (as[i].begin < untouched) continue;
    while (j < bs.size() && bs[j].begin < as[i].end) ++j;
    if (j == bs.size()) return;
    if (stop < as[i].end) stop = lineEnd(text, as[i].end);
    if (bs[j].begin > stop) continue;
    found(i, j);
    untouched = lineEnd(text, bs[j].end);
  }
}

}  // namespace

LogSweep::LogSweep(std::string_view text, std::size_t blockSize)
    : text_(text), rules_(rules()), icu_(text) {
  for (std::size_t begin = 0; begin < text.size();) {
    const std::size_t end = begin + std::min(blockSize, text.size() - begin);
    collect(begin, end);
    begin = end;
  }
  findSteps();
  joinPoints();
}

void LogSweep::collect(std::size_t blockBegin, std::size_t blockEnd) {
  scanFolded(
      anchorScanner(),
      text_,
      blockBegin,
      blockEnd,
      [this, &users = anchors().users](std::size_t literal, std::size_t begin, std::size_t end) {
        for (const std::size_t user : users[literal]) {
          if (user < kRuleCount) {
            meet(user, begin, end);
          } else {
            meetWord(user - kRuleCount, begin, end);
          }
        }
      });
  for (std::size_t rule = 0; rule < kRuleCount; ++rule) {
    if (candidates_[rule].empty()) continue;
    settle(rule);
    candidates_[rule].clear();
  }
}

void LogSweep::meet(std::size_t rule, std::size_t begin, std::size_t end) {
  const Rule& r = rules_[rule];
  if (r.take == Take::first && captures_[rule]) return;
  if (!mayMatch(r, text_, begin, end)) return;
  if (r.take != Take::value) {
    candidates_[rule].push_back(begin);
    return;
  }
  PlainMatch found = plainValue(text_, begin, end);
  if (!found.isPlain) found.match = numberMatch(rule, begin);
  if (found.match) values_.push_back(*found.match);
}

void LogSweep::meetWord(std::size_t word, std::size_t begin, std::size_t end) {
  // Words are looked for in lower case, not folded: no traceback begins with half a ligature.
  if (!words_[word] && lowercased(text_.substr(begin, end - begin)) == kWords[word]) {
    words_[word] = begin;
  }
}

void LogSweep::settle(std::size_t rule) {
  const std::vector<std::size_t>& candidates = candidates_[rule];
  if (rules_[rule].take == Take::first) {
    for (const std::size_t candidate : candidates) {
      if (captures_[rule]) return;
      captures_[rule] = match(rule, candidate);
    }
    return;
  }
  // NOLINTNEXTLINE(modernize-loop-convert): clang 14 cannot do with the standard's reversed views
  for (auto c = candidates.rbegin(); c != candidates.rend(); ++c) {
    std::optional<std::size_t> at = *c;
    if (rules_[rule].take == Take::lastAfterNumber) at = numberBefore(text_, *c);
    if (!at) continue;
    if (const std::optional<WindowMatch> found = match(rule, *at)) {
      captures_[rule] = found;
      return;
    }
  }
}

std::optional<WindowMatch> LogSweep::match(std::size_t rule, std::size_t at) {
  return icu_.matchAt(compiledPattern(rule), rule, at, rules_[rule].beginsWord);
}

std::optional<NumberMatch> LogSweep::numberMatch(std::size_t rule, std::size_t at) {
  const std::optional<WindowMatch> found = match(rule, at);
  if (!found) return std::nullopt;
  return NumberMatch{found->begin, found->groupBegin, found->end};
}

// A step counts where it ends on the line on which a value begins, or begins on the line on which
// one ends. All others may be left out.
void LogSweep::findSteps() {
  std::size_t done = 0;  // always the end of a line, once there was a value
  for (const NumberMatch& value : values_) {
    if (value.begin >= done) {
      const std::size_t line = lineStart(text_, value.begin, done);
      // A step begins on an earlier line only if nothing but blanks and a separator stand between
      // it and its number, the first thing on this line or behind the separator.
      const std::string_view first = trimmedAtStart(text_.substr(line, value.begin - line));
      if (!first.empty() && (ascii::isDigit(first[0]) || isSeparator(first[0]))) {
        std::string_view before = trimmedAtEnd(text_.substr(0, line));
        if (ascii::isDigit(first[0]) && !before.empty() && isSeparator(before.back())) {
          before = trimmedAtEnd(before.substr(0, before.size() - 1));
        }
        const std::size_t reach = before.size() - std::min(before.size(), kAnchorReach);
        findStepsBetween(std::max(done, reach), before.size());
      }
      done = line;
    }
    if (value.end > done) {
      const std::size_t end = lineEnd(text_, value.end);
      findStepsBetween(done, end);
      done = end;
    }
  }
}

void LogSweep::findStepsBetween(std::size_t begin, std::size_t end) {
  if (begin >= end) return;
  scanFolded(stepScanner(),
             text_,
             begin,
             end,
             [this](std::size_t, std::size_t anchor, std::size_t anchorEnd) {
               PlainMatch found = plainStep(text_, anchor, anchorEnd);
               if (!found.isPlain) found.match = numberMatch(kStepRule, anchor);
               if (found.match) steps_.push_back(*found.match);
             });
}

void LogSweep::joinPoints() {
  joinOnLines(text_, steps_, values_, [this](std::size_t step, std::size_t value) {
    points_.push_back({step, value});
  });
  joinOnLines(text_, values_, steps_, [this](std::size_t value, std::size_t step) {
    points_.push_back({step, value});
  });
}

}  // namespace tavrine::training_log
