// Makes up training logs and near-logs, and holds the parser against its naive twin on each, with
// blocks of 1 to 40 bytes and of the real size, with findings and without.
//
//   training_log_differential [--texts N] [--seconds N] [--seed S]
//
// Prints a line of counts; exits with 1 when anything differs, after printing the text as a C
// string literal.
#include <TavrineShared/parsers/training_log_parser.h>

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/c_literal.h"
#include "fuzz/differential_arguments.h"
#include "tests/support/naive_training_log_parser.h"

namespace tavrine::fuzz {
namespace {

using namespace std::string_view_literals;
using Tokens = std::vector<std::string_view>;

const Tokens kAnchors = {"it/s",
                         "iter/s",
                         "iters/s",
                         "step/s",
                         "steps/s",
                         "sample/s",
                         "samples/s",
                         "tok/s",
                         "token/s",
                         "tokens/s",
                         "tokens_per_second",
                         "throughput",
                         "samples_per_second",
                         "iters_per_second",
                         "steps_per_second",
                         "loss",
                         "train_loss",
                         "train_",
                         "dataset",
                         "dataset_name",
                         "--dataset",
                         "data_path",
                         "model",
                         "model_name",
                         "_name",
                         "--arch",
                         "--architecture",
                         "architecture",
                         "itecture",
                         "saving",
                         "saved",
                         "checkpoint",
                         "_dir",
                         "_path",
                         "dir",
                         "path",
                         "to",
                         "--output_dir",
                         "--output-dir",
                         "val",
                         "validation",
                         "eval",
                         "val_loss",
                         "val loss",
                         "valloss",
                         "validation_loss",
                         "validation loss",
                         "validationloss",
                         "eval/loss",
                         "eval_loss",
                         "evalloss",
                         "step",
                         "iter",
                         "iteration",
                         "ation",
                         "s",
                         "e",
                         "traceback",
                         "exception",
                         "out of memory",
                         "cuda",
                         "nan",
                         "nccl",
                         "error"};
const Tokens kKeys = {"batch_size", "lr",         "learning_rate", "weight_decay", "momentum",
                      "epochs",     "num_epochs", "max_steps",     "warmup_steps", "dropout",
                      "n_layers",   "n_heads",    "d_model",       "hidden_size",  "seq_len",
                      "optimizer",  "scheduler",  "seed",          "lr_scheduler", "max_lr"};
const Tokens kNumbers = {"0",
                         "1",
                         "5",
                         "12",
                         "007",
                         "2.5",
                         ".5",
                         "5.",
                         "1e5",
                         "1e-3",
                         "1e+2",
                         "1e999",
                         "1e-400",
                         "9223372036854775807",
                         "9223372036854775808",
                         "e",
                         "."};
const Tokens kSigns = {":", "=", "_", "/", "-", "+", "'", "\"", "|", "--", "%", ","};
// U+000A to U+000D, U+0085, U+2028, U+2029: what ends a line.
const Tokens kBreaks = {"\n", "\r", "\r\n", "\v", "\f", "\xC2\x85", "\xE2\x80\xA8", "\xE2\x80\xA9"};
const Tokens kBlanks = {" ",
                        "  ",
                        "\t",
                        "        ",
                        "\xC2\xA0",
                        "\xE1\x9A\x80",
                        "\xE2\x80\x80",
                        "\xE2\x80\x8A",
                        "\xE2\x80\xAF",
                        "\xE2\x81\x9F",
                        "\xE3\x80\x80",
                        // and some that are none: U+001C, U+001F, U+180E, U+200B, U+FEFF
                        "\x1C",
                        "\x1F",
                        "\xE1\xA0\x8E",
                        "\xE2\x80\x8B",
                        "\xEF\xBB\xBF"};
// U+017F, U+212A, U+00DF, U+1E9E, U+FB05, U+FB06, then U+0130, U+0131, U+FB00, U+FB04.
const Tokens kFolding = {"\xC5\xBF",
                         "\xE2\x84\xAA",
                         "\xC3\x9F",
                         "\xE1\xBA\x9E",
                         "\xEF\xAC\x85",
                         "\xEF\xAC\x86",
                         "\xC4\xB0",
                         "\xC4\xB1",
                         "\xEF\xAC\x80",
                         "\xEF\xAC\x84",
                         "lo",
                         "val_lo",
                         "lo\xC3\x9F",
                         "\xC5\xBFtep",
                         "\xEF\xAC\x86"
                         "ep",
                         "tracebac",
                         "to",
                         "/\xC5\xBF",
                         "chec",
                         "\xEF\xAC\x85"
                         "eps/s"};
// Combining marks and format controls, which a word boundary looks past, and letters and others.
const Tokens kMarks = {"\xCC\x81",
                       "\xE2\x80\x8D",
                       "\xC2\xAD",
                       "\xEF\xB8\x8F",
                       "\xE4\xB8\xAD",
                       "\xC3\xA9",
                       "\xD9\xA0",
                       "\xE2\x80\xBF",
                       "\xC2\xAA",
                       "\xE2\x96\x88",
                       "\xF0\x9F\x98\x80",
                       "\xC2\xB2",
                       "a",
                       "x",
                       "9",
                       "\xF3\xA0\x80\x81"};
const Tokens kIllFormed = {"\x80",
                           "\xBF",
                           "\xC3",
                           "\xC5",
                           "\xE2",
                           "\xE2\x80",
                           "\xE2\x84",
                           "\xEF",
                           "\xEF\xAC",
                           "\xF0\x9F\x98",
                           "\xED\xA0\x80",
                           "\xC0\x80",
                           "\xFF",
                           "\0"sv};

const Tokens kSteps = {"step", "iter", "iteration"};
const Tokens kUnits = {"it/s", "iters/s", "step/s", "steps/s", "samples/s", "tok/s", "tokens/s"};
const std::string kLongBlanks(90, ' ');
const std::string kLongDigits(45, '1');
const std::string kLongWord(60, 'x');

const Tokens kLines = {
    "Epoch 1:  45%|####5     | 450/1000 [00:36<00:44, 12.31it/s, loss=2.31]\r",
    "iter 100: loss 2.3145, time 120.33ms, mfu 31.2%\n",
    " iteration      100/  500000 | consumed samples: 12800 | lm loss: 7.1E+00 | loss scale: 1.0 "
    "|\n",
    "{'loss': 2.3, 'learning_rate': 5e-05, 'epoch': 1.0}\n",
    "step 100 | train_loss=1.25 | val_loss: 0.8 | lr: 3e-4\n",
    "val_loss=0.7 at step 200\n",
    "INFO Saving checkpoint to /ckpt/step_500.pt\n",
    "validation loss at iteration 1000 | validation loss: 3.1E+00 | step: 1000\n",
    "***** eval/loss = 0.55 (step 30) *****\n",
    "args: --dataset imagenet --arch resnet50 --output_dir /tmp/out batch_size=32 seed: 42\n",
    "Traceback (most recent call last):\n",
    "RuntimeError: CUDA out of memory. Tried to allocate 2.00 GiB\n",
    "NCCL WARN error: unhandled system error\n",
    "tokens_per_second: 5000 throughput = 12.5 samples/s\n",
    "model: 'gpt2' dataset_name: \"c4\" checkpoint_dir=/ck optimizer: AdamW\n",
    "step\n 5 val_loss: 3\n"};

/// The texts of a seed, each a function of its number alone.
class TextMaker {
 public:
  explicit TextMaker(std::uint64_t seed) : seed_(seed) {}

  std::string text(std::size_t number) {
    random_.seed(seed_ * 0x9E3779B97F4A7C15 + number);
    std::string made = below(4) == 0 ? fromLines() : fromTokens();
    if (below(3) == 0) swapCases(made);
    if (below(3) == 0) made = unfolded(made);
    if (below(4) == 0) damage(made);
    return made;
  }

 private:
  std::size_t below(std::size_t limit) { return static_cast<std::size_t>(random_()) % limit; }
  std::string_view one(const Tokens& tokens) { return tokens[below(tokens.size())]; }

  std::string fromTokens() {
    static const std::array<const Tokens*, 9> kAll = {&kAnchors,
                                                      &kKeys,
                                                      &kNumbers,
                                                      &kSigns,
                                                      &kBreaks,
                                                      &kBlanks,
                                                      &kFolding,
                                                      &kMarks,
                                                      &kIllFormed};
    // Few different tokens make matches and near matches likely.
    Tokens alphabet;
    std::size_t others = 1 + below(3);
    switch (below(7)) {
      case 0:
        others = 60;
        break;
      case 1:
        alphabet = {"step",
                    "iter",
                    "iteration",
                    "val_loss",
                    "eval/loss",
                    ":",
                    "=",
                    " ",
                    "5",
                    "1e5",
                    "step 1 ",
                    "iter:2 ",
                    "step=3 ",
                    "val_loss=4 ",
                    "valloss:5 ",
                    "eval_loss=6 "};
        for (int i = 0; i < 4; ++i) alphabet.push_back(one(kBreaks));
        break;
      case 2:
        // Little but steps that go on across line ends.
        alphabet = {one(kSteps), one(kBreaks), one(kBreaks), " ", ":", "5", " 7", "val_loss=", "1"};
        break;
      case 3:
        alphabet =
            {"5", "2.5", ".", " ", "\n", one(kUnits), one(kUnits), one(kUnits), one(kBlanks)};
        break;
      case 4:
        alphabet =
            {one(kKeys), one(kKeys), "=1", ":2 ", "a", one(kMarks), one(kMarks), one(kMarks)};
        break;
      case 5:
        // What needs more than one look.
        alphabet = {one(kAnchors), one(kKeys), ":", "=", kLongBlanks, kLongDigits, kLongWord, "1"};
        break;
      default:
        alphabet = {one(kAnchors), one(kAnchors), ":", "=", " ", "5", "2.5", one(kBreaks)};
        others += 4;
    }
    for (std::size_t i = 0; i < others; ++i) alphabet.push_back(one(*kAll[below(kAll.size())]));
    std::string made;
    for (std::size_t count = 1 + below(60); count > 0; --count) made += one(alphabet);
    return made;
  }

  std::string fromLines() {
    std::string made;
    for (std::size_t count = 1 + below(4); count > 0; --count) made += one(kLines);
    return made;
  }

  void swapCases(std::string& text) {
    for (char& c : text) {
      const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
      if (isLetter && below(2) == 0) c = static_cast<char>(c ^ 0x20);
    }
  }

  /// With some letters replaced by characters that fold to them.
  std::string unfolded(const std::string& text) {
    std::string made;
    for (std::size_t i = 0; i < text.size(); ++i) {
      const auto letterAt = [&text](std::size_t at) {
        return at < text.size() ? static_cast<char>(text[at] | 0x20) : ' ';
      };
      const char first = letterAt(i);
      const char second = letterAt(i + 1);
      const std::size_t choice = below(8);
      if (first == 's' && (second == 's' || second == 't') && choice < 3) {
        const bool isOdd = choice == 1;
        made += second == 't' ? kFolding[isOdd ? 4 : 5] : kFolding[isOdd ? 2 : 3];
        ++i;
      } else if ((first == 's' || first == 'k') && choice == 3) {
        made += kFolding[first == 's' ? 0 : 1];
      } else {
        made += text[i];
      }
    }
    return made;
  }

  void damage(std::string& text) {
    static const std::array<const Tokens*, 5> kDamage = {&kBreaks,
                                                         &kBlanks,
                                                         &kFolding,
                                                         &kMarks,
                                                         &kIllFormed};
    for (std::size_t count = 1 + below(6); count > 0 && !text.empty(); --count) {
      const std::size_t at = below(text.size());
      switch (below(3)) {
        case 0:
          text.erase(at, 1 + below(3));
          break;
        case 1:
          text.insert(at, one(*kDamage[below(kDamage.size())]));
          break;
        default:
          text.replace(at, 1, one(*kDamage[below(kDamage.size())]));
      }
    }
  }

  std::uint64_t seed_;
  std::mt19937_64 random_;
};

int run(const DifferentialArguments& arguments) {
  constexpr Timestamp kNow{};
  TextMaker maker(arguments.seed);
  std::size_t texts = 0;
  std::size_t differences = 0;
  std::size_t bytes = 0;
  std::size_t withPoints = 0;
  std::size_t withNumbers = 0;
  std::size_t withTexts = 0;
  for (; arguments.goOn(texts); ++texts) {
    const std::string text = maker.text(texts);
    bytes += text.size();
    const ParsedLogSignals want = naive::parseTrainingLog(text, kNow);
    withPoints += want.valMetrics.empty() ? 0U : 1U;
    withNumbers += want.loss || want.throughput ? 1U : 0U;
    withTexts += want.hyperparameters.empty() && !want.datasetName && !want.modelName ? 0U : 1U;
    Findings findings;
    const std::size_t small = 1 + texts % 40;
    const bool isSame =
        naive::areSameBits(TrainingLogParser::detail::parse(text, kNow), want) &&
        naive::areSameBits(TrainingLogParser::detail::parse(text, kNow, &findings), want) &&
        naive::areSameBits(TrainingLogParser::detail::parse(text, kNow, small), want);
    if (!isSame) {
      ++differences;
      std::printf("text %zu of seed %llu, blocks of %zu\n  %s\n",
                  texts,
                  static_cast<unsigned long long>(arguments.seed),
                  small,
                  asCLiteral(text).c_str());
    }
    constexpr std::size_t kProgressEvery = 50'000;
    if ((texts + 1) % kProgressEvery == 0) {
      std::fprintf(stderr, "%zu texts, %zu differences\n", texts + 1, differences);
    }
  }
  std::printf(
      "seed %llu: %zu texts, %zu bytes; %zu with loss or throughput, %zu with settings or names, "
      "%zu with validation points; %zu differences\n",
      static_cast<unsigned long long>(arguments.seed),
      texts,
      bytes,
      withNumbers,
      withTexts,
      withPoints,
      differences);
  return differences == 0 ? 0 : 1;
}

}  // namespace
}  // namespace tavrine::fuzz

int main(int argc, char** argv) {
  using namespace tavrine::fuzz;
  const auto arguments = readArguments({argv, static_cast<std::size_t>(argc)}, "texts", 100'000);
  return arguments ? run(*arguments) : 2;
}
