#include <TavrineShared/parsers/training_log_rules.h>

#include <algorithm>
#include <memory>
#include <string>

#include <unicode/parseerr.h>
#include <unicode/unistr.h>

namespace tavrine::training_log {
namespace {

using namespace std::string_view_literals;

constexpr std::string_view kNameOrQuote =
    "'\"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_./-";
constexpr std::string_view kSettingOrQuote =
    "'\"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_.-+";

constexpr ByteSet kNothing{""sv};
constexpr ByteSet kDigit{"0123456789"sv};
constexpr ByteSet kSeparator{":="sv};
constexpr ByteSet kSeparatorOrUnderscore{":=_"sv};
constexpr ByteSet kBlankOrEquals{" ="sv};
constexpr ByteSet kName{kNameOrQuote};
constexpr ByteSet kSetting{kSettingOrQuote};

constexpr ByteSet allBytes() {
  std::array<char, 128> all{};
  for (std::size_t i = 0; i < all.size(); ++i) all[i] = static_cast<char>(i);
  return ByteSet(std::string_view(all.data(), all.size()));
}
constexpr ByteSet kAnything = allBytes();

std::string hyperparameterPattern(std::string_view key) {
  // No key holds a character that means something in a pattern.
  return R"re((?i)\b)re" + std::string(key) + R"re(\s*[:=]\s*['\"]?([A-Za-z0-9_.\-+e]+)['\"]?)re";
}

std::vector<Rule> makeRules() {
  std::vector<Rule> made = {
      // throughputPreferred
      {R"re((?i)([0-9]+(?:\.[0-9]+)?)\s*(?:it/s|iter/s|iters/s|steps?/s|samples?/s))re",
       Take::lastAfterNumber,
       false,
       Gap::any,
       kAnything,
       kAnything,
       {"it/s", "iter/s", "iters/s", "step/s", "steps/s", "sample/s", "samples/s"}},
      {R"re((?i)(?:throughput|samples_per_second|iters_per_second|steps_per_second)\s*[:=]\s*)re"
       R"re(([0-9]+(?:\.[0-9]+)?))re",
       Take::last,
       false,
       Gap::blanks,
       kSeparator,
       kDigit,
       {"throughput", "samples_per_second", "iters_per_second", "steps_per_second"}},
      // throughputFallback
      {R"re((?i)([0-9]+(?:\.[0-9]+)?)\s*(?:tok/s|tokens?/s|tokens_per_second))re",
       Take::lastAfterNumber,
       false,
       Gap::any,
       kAnything,
       kAnything,
       {"tok/s", "token/s", "tokens/s", "tokens_per_second"}},
      // loss; a match of the first that begins with train_ has the same number
      {R"re((?i)(?:train_)?loss\s*[:=]\s*([0-9]+(?:\.[0-9]+)?(?:e[-+]?[0-9]+)?))re",
       Take::last,
       false,
       Gap::blanks,
       kSeparator,
       kDigit,
       {"loss"}},
      {R"re((?i)\bloss\s+([0-9]+(?:\.[0-9]+)?(?:e[-+]?[0-9]+)?))re",
       Take::last,
       true,
       Gap::blanks,
       kDigit,
       kNothing,
       {"loss"}},
      // dataset
      {R"re((?i)\bdataset(?:_name)?\s*[:=]\s*['\"]?([A-Za-z0-9_./\-]+)['\"]?)re",
       Take::first,
       true,
       Gap::blanks,
       kSeparatorOrUnderscore,
       kName,
       {"dataset"}},
      {R"re((?i)--dataset(?:[ =])\s*([A-Za-z0-9_./\-]+))re",
       Take::first,
       false,
       Gap::none,
       kBlankOrEquals,
       kName,
       {"--dataset"}},
      {R"re((?i)\bdata_path\s*[:=]\s*['\"]?([^\s'\"]+)['\"]?)re",
       Take::first,
       true,
       Gap::blanks,
       kSeparator,
       kAnything,
       {"data_path"}},
      // model
      {R"re((?i)\bmodel(?:_name)?\s*[:=]\s*['\"]?([A-Za-z0-9_./\-]+)['\"]?)re",
       Take::first,
       true,
       Gap::blanks,
       kSeparatorOrUnderscore,
       kName,
       {"model"}},
      {R"re((?i)--arch(?:itecture)?(?:[ =])\s*([A-Za-z0-9_./\-]+))re",
       Take::first,
       false,
       Gap::none,
       ByteSet(" =iI"),
       kName,
       {"--arch"}},
      {R"re((?i)\barchitecture\s*[:=]\s*['\"]?([A-Za-z0-9_./\-]+)['\"]?)re",
       Take::first,
       true,
       Gap::blanks,
       kSeparator,
       kName,
       {"architecture"}},
      // checkpoint
      {R"re((?i)(?:saving|saved)\s+checkpoint\s+(?:to\s+)?['\"]?([^\s'\"]+)['\"]?)re",
       Take::first,
       false,
       Gap::blanks,
       ByteSet("cC"),
       kNothing,
       {"saving", "saved"}},
      {R"re((?i)checkpoint(?:_dir|_path|\s+dir|\s+path)?\s*[:=]\s*['\"]?([^\s'\"]+)['\"]?)re",
       Take::first,
       false,
       Gap::blanks,
       ByteSet(":=_dDpP"),
       kAnything,
       {"checkpoint"}},
      {R"re((?i)--output[_-]dir(?:[ =])\s*([^\s]+))re",
       Take::first,
       false,
       Gap::none,
       kBlankOrEquals,
       kAnything,
       {"--output_dir", "--output-dir"}},
      // validation: the whole patterns, `^.*?STEP.*?VALUE` and `^.*?VALUE.*?STEP`, take time that
      // grows with a power of a line's length. Their two halves, found one by one, do not; which of
      // them make a point is then a question of where they stand. What is `\s*[:= ]\s*` in the
      // whole patterns is written out so that there is only one way to match it.
      {R"re((?i)(?:val[_ ]?loss|validation[_ ]?loss|eval[_/]?loss)\s*[:=]\s*)re"
       R"re(([0-9]+(?:\.[0-9]+)?(?:e[-+]?[0-9]+)?))re",
       Take::value,
       false,
       Gap::blanks,
       kSeparator,
       kDigit,
       {"val loss",
        "val_loss",  // also in eval_loss
        "valloss",   // also in evalloss
        "validation loss",
        "validation_loss",
        "validationloss",
        "eval/loss"}},
      {R"re((?i)(?:step|iter|iteration)(?:\s*+[:=]\s*+|[^\S ]*+ \s*+)([0-9]+))re",
       Take::step,
       false,
       Gap::any,
       kAnything,
       kAnything,
       {"step", "iter"}},
  };
  for (const std::string_view key : kHyperparameters) {
    made.push_back(
        {hyperparameterPattern(key), Take::first, true, Gap::blanks, kSeparator, kSetting, {key}});
  }
  return made;
}

using Patterns = std::array<std::unique_ptr<const icu::RegexPattern>, kRuleCount>;

template <Table table>
const Patterns& compiledTable() {
  static const Patterns patterns = [] {
    Patterns compiled;
    const RuleRange range = rulesOf(table);
    for (std::size_t i = range.begin; i < range.end; ++i) {
      UParseError where{};
      UErrorCode status = U_ZERO_ERROR;
      compiled[i].reset(icu::RegexPattern::compile(icu::UnicodeString::fromUTF8(rules()[i].pattern),
                                                   0,
                                                   where,
                                                   status));
      if (U_FAILURE(status) != 0) compiled[i].reset();
    }
    return compiled;
  }();
  return patterns;
}

// By Table.
constexpr std::array<RuleRange, 8> kRanges = {
    {{0, 2}, {2, 3}, {3, 5}, {5, 8}, {8, 11}, {11, 14}, {14, 16}, {16, kRuleCount}}};
constexpr std::array<const Patterns& (*)(), 8> kCompiledTables = {
    compiledTable<Table::throughputPreferred>,
    compiledTable<Table::throughputFallback>,
    compiledTable<Table::loss>,
    compiledTable<Table::dataset>,
    compiledTable<Table::model>,
    compiledTable<Table::checkpoint>,
    compiledTable<Table::validation>,
    compiledTable<Table::hyperparameters>,
};

}  // namespace

const std::vector<Rule>& rules() {
  static const std::vector<Rule> made = makeRules();
  return made;
}

RuleRange rulesOf(Table table) { return kRanges[static_cast<std::size_t>(table)]; }

const icu::RegexPattern* compiledPattern(std::size_t rule) {
  const auto* const range =
      std::find_if(kRanges.begin(), kRanges.end(), [rule](RuleRange r) { return rule < r.end; });
  return kCompiledTables[static_cast<std::size_t>(range - kRanges.begin())]()[rule].get();
}

}  // namespace tavrine::training_log
