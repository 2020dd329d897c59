#include <TavrineShared/parsers/training_log_parser.h>

#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/parsers/text_rules.h>
#include <TavrineShared/parsers/training_log_rules.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <ostream>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/support/naive_text.h"
#include "tests/support/naive_training_log_parser.h"
#include "tests/support/record_checks.h"
#include "tests/support/rows.h"

namespace tavrine {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using TrainingLogParser::parse;

constexpr Timestamp kNow{std::chrono::duration<double>(1'700'000'000)};

std::string numberText(double number) {
  std::array<char, 32> buffer{};
  const auto result = std::to_chars(buffer.data(), buffer.data() + buffer.size(), number);
  return {buffer.data(), result.ptr};
}

// All that is there, in the order of the fields; a status unlike running first.
std::string summary(const ParsedLogSignals& signals) {
  std::vector<std::string> parts;
  if (signals.status != RunStatus::running) parts.emplace_back(signals.status.rawValue());
  if (signals.loss) parts.push_back("loss " + numberText(*signals.loss));
  if (signals.throughput) parts.push_back("throughput " + numberText(*signals.throughput));
  for (const std::string& warning : signals.warnings) parts.push_back("! " + warning);
  for (const auto& [key, value] : signals.hyperparameters) parts.push_back(key + " " + value);
  if (signals.datasetName) parts.push_back("dataset " + *signals.datasetName);
  if (signals.modelName) parts.push_back("model " + *signals.modelName);
  if (signals.checkpointPath) parts.push_back("checkpoint " + *signals.checkpointPath);
  for (const TrainingMetric& point : signals.valMetrics) {
    parts.push_back("(" + std::to_string(point.step) + ", " + numberText(point.loss) + ")");
  }
  std::string text;
  for (const std::string& part : parts) text += (text.empty() ? "" : "; ") + part;
  return text;
}

struct LogRow {
  const char* name;
  std::string text;
  std::string want;
};
void PrintTo(const LogRow& row, std::ostream* out) { *out << testing::PrintToString(row.text); }

class TrainingLog : public testing::TestWithParam<LogRow> {};

TEST_P(TrainingLog, isReadAsThePatternsReadIt) {
  const ExactBytes text(GetParam().text);
  const ParsedLogSignals signals = TrainingLogParser::detail::parse(text.view(), kNow);
  EXPECT_EQ(summary(signals), GetParam().want);
  EXPECT_EQ(summary(naive::parseTrainingLog(text.view(), kNow)), GetParam().want);
  EXPECT_TRUE(naive::areSameBits(signals, naive::parseTrainingLog(text.view(), kNow)));
  for (std::size_t blockSize = 1; blockSize <= 40; ++blockSize) {
    EXPECT_EQ(summary(TrainingLogParser::detail::parse(text.view(), kNow, blockSize)),
              GetParam().want)
        << "in blocks of " << blockSize;
  }
  Findings findings;
  EXPECT_EQ(TrainingLogParser::detail::parse(text.view(), kNow, &findings), signals);
}

const std::vector<LogRow> kStatusRows = {
    {"empty", "", "idle"},
    {"blank", " \n\t\xE2\x80\xA8\xC2\xA0", "idle"},
    {"nul", std::string(1, '\0'), ""},
    {"illFormedByte", "\xFF", ""},
    {"zeroWidthSpaceIsNoBlank", "\xE2\x80\x8B", ""},
    {"anyText", "hello", ""},
    {"outOfMemory",
     "RuntimeError: CUDA out of memory.",
     "failed; ! CUDA out-of-memory pattern detected"},
    {"outOfMemoryWithoutCUDA", "Out Of Memory", "failed; ! CUDA out-of-memory pattern detected"},
    {"outOfMemoryAcrossALineBreak", "out of\nmemory", ""},
    {"traceback",
     "Traceback (most recent call last):",
     "failed; ! Exception or traceback detected"},
    {"exception", "RuntimeException", "failed; ! Exception or traceback detected"},
    {"tracebackThenOutOfMemory",
     "Traceback (most recent call last):\n  x\nRuntimeError: CUDA out of memory\n",
     "failed; ! CUDA out-of-memory pattern detected; ! Exception or traceback detected"},
    {"nan", "loss: nan", "stalled; ! NaN pattern detected"},
    {"nanInsideWords", "finance", "stalled; ! NaN pattern detected"},
    {"nanAfterFailure",
     "traceback nan",
     "failed; ! Exception or traceback detected; ! NaN pattern detected"},
    {"ncclAndError", "NCCL WARN\nfoo\nError", "failed; ! NCCL error pattern detected"},
    {"errorThenNccl", "error, nccl", "failed; ! NCCL error pattern detected"},
    {"ncclAlone", "NCCL version 2.18", ""},
    {"errorAlone", "error", ""},
    {"nanThenNccl",
     "nan nccl error",
     "failed; ! NaN pattern detected; ! NCCL error pattern detected"},
    {"everyWarningOnceAndInOrder",
     "error nccl nan exception traceback out of memory\n"
     "error nccl nan exception traceback out of memory",
     "failed; ! CUDA out-of-memory pattern detected; ! Exception or traceback detected; ! NaN "
     "pattern detected; ! NCCL error pattern detected"},
    {"kelvinSignInTraceback", "TRACEBAC\xE2\x84\xAA", "failed; ! Exception or traceback detected"},
    {"dottedCapitalIInException", "EXCEPT\xC4\xB0ON", ""},
    {"noWordBeginsWithHalfALigature", "\xEF\xAC\x85raceback \xEF\xAC\x86raceback", ""},
    {"wordBehindALigature",
     "\xEF\xAC\x85raceback traceback",
     "failed; ! Exception or traceback detected"},
    {"longSIsNoLetterOfAWord",
     "out of memory\xC5\xBF traceback\xC5\xBF",
     "failed; ! CUDA out-of-memory pattern detected; ! Exception or traceback detected"},
};
INSTANTIATE_TEST_SUITE_P(Status, TrainingLog, rows(kStatusRows), rowName);

const std::vector<LogRow> kThroughputRows = {
    {"theLatest", "12.5 it/s early\n9.8 it/s later", "throughput 9.8"},
    {"tokensAlone", "4096 tokens/s", "throughput 4096"},
    {"tokensAreOnlyAFallback", "3.2 it/s\n5000 tok/s", "throughput 3.2"},
    {"tokensAreOnlyAFallbackWhereverTheyStand", "5000 tok/s 3.2 it/s", "throughput 3.2"},
    {"everyUnit", "1it/s 2iter/s 3iters/s 4step/s 5steps/s 6sample/s 7samples/s", "throughput 7"},
    {"everyTokenUnit", "1tok/s 2token/s 3tokens/s 4tokens_per_second", "throughput 4"},
    {"named", "Throughput: 12", "throughput 12"},
    {"namedInEveryWay",
     "samples_per_second=1 iters_per_second:2 steps_per_second = 3",
     "throughput 3"},
    {"aUnitCountsMoreThanAName", "1 it/s throughput: 2", "throughput 1"},
    {"aNameStandsInForAUnitOutOfRange",
     std::string(400, '9') + " it/s throughput: 2",
     "throughput 2"},
    {"tokensStandInForAllOutOfRange", std::string(400, '9') + " it/s 7 tok/s", "throughput 7"},
    {"twoPoints", "1.2.3 it/s", "throughput 2.3"},
    {"pointWithoutInteger", ".5 it/s", "throughput 5"},
    {"pointWithoutFraction", "5. it/s", ""},
    {"exponentIsNoneHere", "1e5it/s", "throughput 5"},
    {"acrossALineBreak", "12 \n it/s", "throughput 12"},
    {"noBreakSpace", "12\xC2\xA0it/s", "throughput 12"},
    {"wordJoinerIsNoBlank", "12\xE2\x81\xA0it/s", ""},
    {"theLastThatIsAUnit", "3 it/s\n5 iters/s 7 stepss/s", "throughput 5"},
    {"secondsPerStep", "1.5 s/it", ""},
    {"longS", "5 \xC5\xBFtep\xC5\xBF/\xC5\xBF", "throughput 5"},
    {"ligature",
     "7 \xEF\xAC\x86"
     "ep/s",
     "throughput 7"},
    {"kelvinSign", "9 to\xE2\x84\xAA/s", "throughput 9"},
    {"sharpSIsNoHalfOfAUnit", "9 step\xC3\x9F/s", ""},
    {"sharpSAtTheEnd", "9 it/\xC3\x9F", ""},
    {"unitInsideAWord", "9 it/second", "throughput 9"},
    {"negativeNumbersLoseTheirSign", "-9 it/s", "throughput 9"},
};
INSTANTIATE_TEST_SUITE_P(Throughput, TrainingLog, rows(kThroughputRows), rowName);

const std::vector<LogRow> kLossRows = {
    {"theLatest", "loss: 2.31\nloss: 1.97", "loss 1.97"},
    {"aValidationLossCounts", "loss: 2.31\nloss: 1.97\nval_loss: 0.9", "loss 0.9"},
    {"training", "train_loss=1e-3", "loss 0.001"},
    {"withoutASeparator", "loss 2", "loss 2"},
    {"aSeparatorCountsMore", "loss: 1\nloss 2", "loss 1"},
    {"outOfRangeGoesOnWithTheNextPattern", "loss: 1e999\nloss 2", "loss 2"},
    {"outOfRangeDoesNotGoBack", "loss: 5\nloss: 1e999", ""},
    {"tooSmall", "loss: 1e-400", ""},
    {"exponentWithoutDigits", "loss: 1.5e", "loss 1.5"},
    {"twoExponents", "loss=1e5e6", "loss 1e+05"},
    {"capitalExponent", "lm loss: 7.1E+00 |", "loss 7.1"},
    {"quotedKey", "{'loss': 2.3}", ""},
    {"insideAWordNeedsASeparator", "val_loss 3 loss 4", "loss 4"},
    {"acrossLines", "loss\n:\n5", "loss 5"},
    {"infinity", "loss: inf", ""},
    {"negative", "loss: -1", ""},
    {"sharpS", "lo\xC3\x9F: 4", "loss 4"},
    {"capitalSharpS", "LO\xE1\xBA\x9E = 4", "loss 4"},
    {"twoLongS", "lo\xC5\xBF\xC5\xBF=4", "loss 4"},
    {"sharpSAndS", "lo\xC3\x9Fs=4", ""},
    {"ideographicSpace",
     "loss\xE3\x80\x80:\xE3\x80\x80"
     "4",
     "loss 4"},
    {"boundaryBeforeACombiningMark", "a\xCC\x81loss 4", ""},
    {"arabicDigits", "loss: \xD9\xA1", ""},
    {"manyBlanks", "loss" + std::string(1000, ' ') + ":" + std::string(1000, '\n') + "4", "loss 4"},
    {"moreBlanksThanAStackHolds", "loss" + std::string(300'000, ' ') + "\nloss: 2.5", "loss 2.5"},
};
INSTANTIATE_TEST_SUITE_P(Loss, TrainingLog, rows(kLossRows), rowName);

const std::vector<LogRow> kNameRows = {
    {"datasetOption", "--dataset imagenet", "dataset imagenet"},
    {"theFirstPatternCountsMost", "--dataset imagenet\ndataset: cifar10", "dataset cifar10"},
    {"theFirstMention", "dataset: a\ndataset: b", "dataset a"},
    {"datasetName", "dataset_name = \"c4/en\"", "dataset c4/en"},
    {"datasetOptionWithEquals", "--dataset=imagenet", "dataset imagenet"},
    {"datasetOptionWithATab", "--dataset\timagenet", ""},
    {"dataPath", "data_path='/data/x y'", "dataset /data/x"},
    {"dataPathEndsAtANoBreakSpace",
     "data_path=a\xC2\xA0"
     "b",
     "dataset a"},
    {"dataPathIllFormed",
     "data_path=a\xFF"
     "b",
     "dataset a\xEF\xBF\xBD"
     "b"},
    {"dataPathOfOneQuote", "data_path=''", ""},
    {"model", "Model: gpt2", "model gpt2"},
    {"modelName", "model_name = \"llama-7b\"", "model llama-7b"},
    {"modelOfASeparatorAlone", "model: |", ""},
    {"arch", "--arch resnet50", "model resnet50"},
    {"architectureOption", "--architecture=vit", "model vit"},
    {"architecture", "Architecture: vit", "model vit"},
    {"modelInsideAWord", "d_model=512", "d_model 512"},
    {"savingCheckpoint", "Saving checkpoint to /ckpt/step_500.pt", "checkpoint /ckpt/step_500.pt"},
    {"savedCheckpoint", "saved checkpoint 'x.pt'", "checkpoint x.pt"},
    {"toIsGivenBackAtTheEnd", "saving checkpoint to", "checkpoint to"},
    {"toIsGivenBackBeforeQuotes", "saving checkpoint to ''x", "checkpoint to"},
    {"checkpointDir", "checkpoint\ndir=/r", "checkpoint /r"},
    {"checkpointPath", "checkpoint_path: \"/a b\"", "checkpoint /a"},
    {"outputDir", "--output-dir /o", "checkpoint /o"},
    {"outputDirUnderscore", "--output_dir='/o'", "checkpoint '/o'"},
    {"kelvinSignInCheckpoint", "saving chec\xE2\x84\xAApoint /p", "checkpoint /p"},
    {"longPath", "data_path=" + std::string(5000, 'x'), "dataset " + std::string(5000, 'x')},
    {"longPathOfWideCharacters",
     "data_path=" +
         [] {
           std::string path;
           for (int i = 0; i < 700; ++i) path += "\xF0\x9F\x98\x80";
           return path;
         }() +
         " ",
     "dataset " +
         [] {
           std::string path;
           for (int i = 0; i < 700; ++i) path += "\xF0\x9F\x98\x80";
           return path;
         }()},
};
INSTANTIATE_TEST_SUITE_P(Name, TrainingLog, rows(kNameRows), rowName);

const std::vector<LogRow> kHyperparameterRows = {
    {"everyKey",
     "batch_size=1 lr=2 learning_rate=3 weight_decay=4 momentum=5 epochs=6 num_epochs=7 "
     "max_steps=8 warmup_steps=9 dropout=10 n_layers=11 n_heads=12 d_model=13 hidden_size=14 "
     "seq_len=15 optimizer=16 scheduler=17 seed=18",
     "batch_size 1; d_model 13; dropout 10; epochs 6; hidden_size 14; learning_rate 3; lr 2; "
     "max_steps 8; momentum 5; n_heads 12; n_layers 11; num_epochs 7; optimizer 16; scheduler 17; "
     "seed 18; seq_len 15; warmup_steps 9; weight_decay 4"},
    {"theFirstMention", "lr: 1\nlr: 2", "lr 1"},
    {"nameInCapitals", "LR = 3e-4", "lr 3e-4"},
    {"onlyAsAWholeWord", "max_lr=1 lr_scheduler: cosine LR = 3e-4", "lr 3e-4"},
    {"acrossLines", "lr=\n\n 0.1", "lr 0.1"},
    {"quoted", "optimizer: 'AdamW'", "optimizer AdamW"},
    {"accentedLetterBefore", "\xC3\xA9lr=1", ""},
    {"ideographBefore", "\xE4\xB8\xADlr=1", ""},
    {"arabicDigitBefore", "\xD9\xA0lr=1", ""},
    {"combiningMarkOnALetterBefore", "a\xCC\x81lr=1", ""},
    {"joinerBehindALetterBefore", "a\xE2\x80\x8Dlr=1", ""},
    {"manyMarksOnALetterBefore",
     [] {
       std::string text = "a";
       for (int i = 0; i < 100; ++i) text += "\xCC\x81";
       return text + "lr=1";
     }(),
     ""},
    {"blockBefore", "\xE2\x96\x88lr=2", "lr 2"},
    {"markAtTheStart", "\xCC\x81lr=1", "lr 1"},
    {"markOnABlankBefore", " \xCC\x81lr=1", "lr 1"},
    {"illFormedBefore", "\xFFlr=1", "lr 1"},
    {"longSInTheKey",
     "\xC5\xBF"
     "eed: 7",
     "seed 7"},
    {"foldingLettersInTheValue",
     "seed='\xE2\x84\xAA"
     "elvin\xC5\xBF'",
     "seed \xE2\x84\xAA"
     "elvin\xC5\xBF"},
    {"sharpSIsNotInTheValue", "seed=a\xC3\x9F", "seed a"},
    {"slashEndsAValue", "optimizer=a/b", "optimizer a"},
    {"emptyValue", "lr: ,seed: 1", "seed 1"},
};
INSTANTIATE_TEST_SUITE_P(Hyperparameter, TrainingLog, rows(kHyperparameterRows), rowName);

const std::vector<LogRow> kValidationRows = {
    {"bothOrders",
     "step 100 done val_loss: 0.8\nval_loss=0.7 at step 200",
     "loss 0.7; (100, 0.8); (200, 0.7)"},
    {"firstOfAStepWins",
     "step 1 val_loss: 1\nstep 1 val_loss: 2\nval_loss: 3 step 1",
     "loss 3; (1, 1)"},
    {"stepThenLossComesFirst", "val_loss=1 step 9\nstep 3 val_loss=2", "loss 2; (3, 2); (9, 1)"},
    {"everyName",
     "step 1 val loss:1\nstep 2 valloss:1\nstep 3 validation_loss:1\nstep 4 validation loss:1\n"
     "step 5 validationloss:1\nstep 6 eval/loss:1\nstep 7 eval_loss:1\nstep 8 evalloss:1\n"
     "iter 9 val_loss:1\niteration 10 val_loss:1",
     "loss 1; (1, 1); (2, 1); (3, 1); (4, 1); (5, 1); (6, 1); (7, 1); (8, 1); (9, 1); (10, 1)"},
    {"notOnOneLine", "step 1\nval_loss: 2", "loss 2"},
    {"lossOfTraining", "step 1 loss: 2", "loss 2"},
    {"stepBeginsOnTheLineBefore", "step 1 no val step\n 5 val_loss: 3", "loss 3; (5, 3)"},
    {"lineBreakIsNoSeparator", "step\n5 val_loss: 3", "loss 3"},
    {"tabIsNoSeparator", "step\t5 val_loss: 3", "loss 3"},
    {"lineBreakAndBlank", "step\n 5 val_loss: 3", "loss 3; (5, 3)"},
    {"separatorOnALineOfItsOwn", "step\n:\n5 val_loss: 3", "loss 3; (5, 3)"},
    {"separatorOnTheLineOfTheNumber", "iteration\n\n= 5 val_loss: 3", "loss 3; (5, 3)"},
    {"separatorOnTheLineOfTheStep",
     "\xEF\xAC\x86"
     "ep:\n\xE3\x80\x80"
     "5 val_loss: 3",
     "loss 3; (5, 3)"},
    {"valueBeginsOnTheLineOfTheStep", "step 5 val_loss\n:\n3", "loss 3; (5, 3)"},
    {"carriageReturnEndsALine", "step: 5\rval_loss: 3", "loss 3"},
    {"verticalTabEndsALine", "step: 5\vval_loss: 3", "loss 3"},
    {"formFeedEndsALine", "step: 5\fval_loss: 3", "loss 3"},
    {"nextLineEndsALine", "step: 5\xC2\x85val_loss: 3", "loss 3"},
    {"lineSeparatorEndsALine", "step: 5\xE2\x80\xA8val_loss: 3", "loss 3"},
    {"paragraphSeparatorEndsALine", "step: 5\xE2\x80\xA9val_loss: 3", "loss 3"},
    {"fileSeparatorDoesNot", "step: 5\x1Cval_loss: 3", "loss 3; (5, 3)"},
    {"valueAcrossLines", "val_loss:\n0.5 step\n 7", "loss 0.5; (7, 0.5)"},
    {"oneMatchPerLine", "val_loss=1 step 2 val_loss=3 step 4", "loss 3; (2, 3)"},
    {"theNextMatchNeedsANewLine",
     "step 1 val_loss:\n2 step 3 val_loss: 4\nstep 5 val_loss: 6",
     "loss 6; (1, 2); (5, 6); (3, 2)"},
    {"exponentAndStep",
     "iteration 5 validation loss = 1e5step 3",
     "loss 1e+05; (5, 1e+05); (3, 1e+05)"},
    {"withoutBlanks", "step 5val_loss=3", "loss 3; (5, 3)"},
    {"evalLossWithABlank", "eval loss: 2 iter 1", "loss 2; (1, 2)"},
    {"foldingLetters", "evallo\xC3\x9F=2 \xC5\xBFtep 1", "loss 2; (1, 2)"},
    {"leadingZeros", "step 007 val_loss=1\nstep 7 val_loss=2", "loss 2; (7, 1)"},
    {"stepBeyond64Bits", "step 9223372036854775808 val_loss=1", "loss 1"},
    {"largestStep", "step 9223372036854775807 val_loss=1", "loss 1; (9223372036854775807, 1)"},
    {"lossOutOfRange", "step 5 val_loss=1e999\nstep 5 val_loss=2", "loss 2; (5, 2)"},
    {"stepInsideAWord", "timestep=5 val_loss=1", "loss 1; (5, 1)"},
    {"evalStepsIsNoStep", "steps 5 val_loss=1", "loss 1"},
    {"theNearestValue", "step 1 x val_loss=2 val_loss=3", "loss 3; (1, 2)"},
    {"theFirstStep", "step 1 step 2 val_loss=3", "loss 3; (1, 3)"},
    {"carriageReturnLineFeed",
     "step 1 val_loss=2\r\nstep 3 val_loss=4\r\n",
     "loss 4; (1, 2); (3, 4)"},
    {"quotedKeys", "{'step': 5, 'val_loss': 1}", ""},
    {"dict", "{step: 5, val_loss: 1}", "loss 1; (5, 1)"},
    {"illFormedBetween", "step 5 \xFF\xE2\x80 val_loss: 1", "loss 1; (5, 1)"},
};
INSTANTIATE_TEST_SUITE_P(Validation, TrainingLog, rows(kValidationRows), rowName);

TEST(TrainingLogParser, keepsTheLast64StepsInTheOrderOfTheirFirstSight) {
  for (const int count : {63, 64, 65, 70, 200}) {
    std::string text;
    for (int i = 0; i < count; ++i) {
      text += "step " + std::to_string((i * 37) % 1000) + " val_loss: 1\n";
    }
    // A repeat does not move a step to the end.
    text += "step 0 val_loss: 2\n";
    const ParsedLogSignals signals = TrainingLogParser::detail::parse(text, kNow);
    ASSERT_EQ(signals.valMetrics.size(), static_cast<std::size_t>(std::min(count, 64)));
    int i = std::max(0, count - 64);
    for (const TrainingMetric& point : signals.valMetrics) {
      EXPECT_EQ(point, (TrainingMetric{(i++ * 37) % 1000, kNow, 1, 0, 0, 0}));
    }
    EXPECT_TRUE(naive::areSameBits(signals, naive::parseTrainingLog(text, kNow)));
  }
}

TEST(TrainingLogParser, givesAllPointsTheTimeOfParsing) {
  const Timestamp before = currentTime();
  const ParsedLogSignals signals = parse("step 1 val_loss: 2\nstep 2 val_loss: 1");
  const Timestamp after = currentTime();
  ASSERT_EQ(signals.valMetrics.size(), 2U);
  EXPECT_GE(signals.valMetrics[0].timestamp, before);
  EXPECT_LE(signals.valMetrics[0].timestamp, after);
  EXPECT_EQ(signals.valMetrics[0].timestamp, signals.valMetrics[1].timestamp);
}

TEST(TrainingLogParser, findsWhatStandsAcrossTheBlocksOfALongLog) {
  const std::string_view filler = "an ordinary line without a sign\n";
  std::string text;
  while (text.size() < 65'536 - 40) text += filler;
  const std::string head = text;
  const std::string_view tail =
      "lr=5 val_lo\xC3\x9F: 2 step 7 9 it/s traceBAC\xE2\x84\xAA model: m";
  for (std::size_t shift = 0; shift < 100; ++shift) {
    text = head + std::string(shift, 'x') + " " + std::string(tail) + "\n" + head;
    EXPECT_EQ(summary(TrainingLogParser::detail::parse(text, kNow)),
              "failed; loss 2; throughput 9; ! Exception or traceback detected; lr 5; model m; "
              "(7, 2)");
  }
}

TEST(TrainingLogParser, mayRunOnManyThreadsFromItsFirstUse) {
  const std::string text = "step 1 val_loss: 2 lr=3 dataset: d model: m 4 it/s checkpoint: c";
  std::vector<std::string> summaries(8);
  std::vector<std::thread> threads;
  for (std::string& result : summaries) {
    threads.emplace_back([&result, &text] { result = summary(parse(text)); });
  }
  for (std::thread& thread : threads) thread.join();
  for (const std::string& result : summaries) {
    EXPECT_EQ(result, "loss 2; throughput 4; lr 3; dataset d; model m; checkpoint c; (1, 2)");
  }
}

// What the cheap tests know of Unicode, held against ICU's patterns.

TEST(TrainingLogParser, knowsTheBlanksAndLineEndsOfThePatterns) {
  UErrorCode status = U_ZERO_ERROR;
  icu::RegexMatcher blank("\\s", 0, status);
  icu::RegexMatcher insideALine(".", 0, status);
  ASSERT_EQ(status, U_ZERO_ERROR);
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    const icu::UnicodeString text(static_cast<UChar32>(c));
    blank.reset(text);
    insideALine.reset(text);
    const std::string bytes = naive::encodedUTF8(std::u32string(1, c));
    const bool isBlank = blank.matches(status) != 0;
    ASSERT_EQ(trimmedAtStart(bytes).empty(), isBlank) << std::hex << +c;
    ASSERT_EQ(trimmedAtEnd(bytes).empty(), isBlank) << std::hex << +c;
    LineCursor lines(bytes);
    ASSERT_EQ(lines.next(), insideALine.matches(status) != 0) << std::hex << +c;
  }
}

TEST(TrainingLogParser, looksForNoWordWithTheLettersOfALigatureThatIsLeftOut) {
  const auto isSafe = [](std::string_view word) {
    for (const std::string_view letters : {"ff", "fi", "fl"}) {
      if (word.find(letters) != std::string_view::npos) return false;
    }
    return true;
  };
  for (const training_log::Rule& rule : training_log::rules()) {
    for (const std::string_view anchor : rule.anchors) EXPECT_TRUE(isSafe(anchor)) << anchor;
  }
  for (const std::string_view word : training_log::kWords) EXPECT_TRUE(isSafe(word)) << word;
}

TEST(TrainingLogParser, compilesAllItsPatterns) {
  ASSERT_EQ(training_log::rules().size(), training_log::kRuleCount);
  for (std::size_t rule = 0; rule < training_log::kRuleCount; ++rule) {
    EXPECT_NE(training_log::compiledPattern(rule), nullptr) << training_log::rules()[rule].pattern;
  }
}

// Texts that take plain patterns a time growing with a power of their length: hours for the sizes
// here.

std::string repeated(std::string_view part, std::size_t size) {
  std::string text;
  while (text.size() < size) text += part;
  return text;
}

struct HostileRow {
  const char* name;
  std::string (*make)(std::size_t size);
};
void PrintTo(const HostileRow& row, std::ostream* out) { *out << row.name; }

class HostileLog : public testing::TestWithParam<HostileRow> {};

TEST_P(HostileLog, isReadInLinearTime) {
  const std::string small = GetParam().make(150);
  EXPECT_TRUE(naive::areSameBits(TrainingLogParser::detail::parse(small, kNow),
                                 naive::parseTrainingLog(small, kNow)));
  const std::string large = GetParam().make(2'000'000);
  const ParsedLogSignals signals = TrainingLogParser::detail::parse(large, kNow);
  EXPECT_EQ(TrainingLogParser::detail::parse(large, kNow, 1000), signals);
  Findings findings;
  EXPECT_EQ(TrainingLogParser::detail::parse(large, kNow, &findings), signals);
}

const std::vector<HostileRow> kHostileRows = {
    {"stepsWithoutAValue",
     [](std::size_t size) {
       std::string text;
       for (std::size_t i = 0; text.size() < size; ++i) text += "step " + std::to_string(i) + " ";
       return text;
     }},
    {"stepStepStep", [](std::size_t size) { return repeated("step", size); }},
    {"stepsAndLineFeeds",
     [](std::size_t size) { return repeated("step" + std::string(50, '\n'), size); }},
    {"stepAndBlankLines", [](std::size_t size) { return "step" + std::string(size, '\n'); }},
    {"blankLinesBetweenStepAndValue",
     [](std::size_t size) { return "step" + std::string(size, '\n') + " 5 val_loss: 3"; }},
    {"oneNumber", [](std::size_t size) { return std::string(size, '7'); }},
    {"oneNumberAndItsUnit", [](std::size_t size) { return std::string(size, '7') + "it/s"; }},
    {"stepAndBlanks", [](std::size_t size) { return "step" + std::string(size, ' '); }},
    {"stepsAndUnreadableValues",
     [](std::size_t size) { return repeated("step 1 val_loss:x ", size); }},
    {"valuesWithoutASeparatorBehindAStep",
     [](std::size_t size) {
       return "step" + std::string(size / 3, ' ') + std::string(size / 3, '7') +
              repeated("val loss ", size / 3);
     }},
    {"digitAndBlanks", [](std::size_t size) { return "1" + std::string(size, ' '); }},
    {"equalsSigns", [](std::size_t size) { return repeated("lr= ", size); }},
    {"valuesWithoutASeparator", [](std::size_t size) { return repeated("val_loss:\n", size); }},
    {"sharpS", [](std::size_t size) { return repeated("loss: \xC3\x9F", size); }},
    {"ideographicSpaces", [](std::size_t size) { return repeated("lr\xE3\x80\x80", size); }},
    {"oneRunOfIdeographicSpaces",
     [](std::size_t size) { return "lr" + repeated("\xE3\x80\x80", size / 20) + "x"; }},
    {"modelsWithoutAName", [](std::size_t size) { return repeated("model: |", size); }},
    {"pointsOnOneLine", [](std::size_t size) { return repeated("step 1 val_loss: 2 ", size); }},
    {"pointsOnLines", [](std::size_t size) { return repeated("step 1 val_loss: 2\n", size); }},
    {"pointsAcrossLines", [](std::size_t size) { return repeated("val_loss: 2 step\n 1 ", size); }},
    {"separatorsOnLines", [](std::size_t size) { return repeated(":\n5 val_loss=1\n", size); }},
    {"markedLetters", [](std::size_t size) { return repeated("\xCC\x81", size) + "lr=1"; }},
    {"markedKeys", [](std::size_t size) { return repeated("lr=\xCC\x81", size); }},
    {"continuationBytes", [](std::size_t size) { return repeated("lr=\x80\x80\x80\x80", size); }},
    {"units", [](std::size_t size) { return repeated("it/s ", size); }},
    {"numbersAndPoints", [](std::size_t size) { return repeated("1.", size) + "it/s"; }},
    {"savingCheckpoints", [](std::size_t size) { return repeated("saving checkpoint ''", size); }},
    {"dataPathWithoutAnEnd",
     [](std::size_t size) { return "data_path=" + std::string(size, 'x'); }},
    {"words", [](std::size_t size) { return repeated("nan error nccl ", size); }},
};
INSTANTIATE_TEST_SUITE_P(, HostileLog, rows(kHostileRows), rowName);

// Steps that are equal modulo the sizes of common hash tables.
TEST(TrainingLogParser, takesStepsThatWereChosenToBeSlow) {
  std::string text;
  for (std::int64_t i = 100'000; i > 0; --i) {
    text += "step " + std::to_string(i * 107'897) + " val_loss: 1\n";
  }
  EXPECT_EQ(parse(text).valMetrics.size(), 64U);
}

// Logs of real jobs.

std::string contentOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::vector<std::filesystem::path> logsIn(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> logs;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".log") logs.push_back(entry.path());
  }
  std::sort(logs.begin(), logs.end());
  return logs;
}

void expectReadAsPlainPatternsDo(const std::filesystem::path& path) {
  SCOPED_TRACE(path);
  const std::string text = contentOf(path);
  const ParsedLogSignals want = naive::parseTrainingLog(text, kNow);
  EXPECT_TRUE(naive::areSameBits(TrainingLogParser::detail::parse(text, kNow), want))
      << summary(want);
  EXPECT_TRUE(naive::areSameBits(TrainingLogParser::detail::parse(text, kNow, 1000), want));
  Findings findings;
  EXPECT_TRUE(naive::areSameBits(TrainingLogParser::detail::parse(text, kNow, &findings), want));
}

TEST(TrainingLogParser, readsRealLogsAsPlainPatternsDo) {
  const auto logs = logsIn("tests/golden/training_log");
  EXPECT_GE(logs.size(), 16U);
  for (const auto& log : logs) expectReadAsPlainPatternsDo(log);
}

TEST(TrainingLogParser, readsTheLogsOfACorpusAsPlainPatternsDo) {
  const char* const corpus = std::getenv("TAVRINE_CORPUS");
  if (corpus == nullptr) GTEST_SKIP() << "TAVRINE_CORPUS names no folder of captures";
  const auto logs = logsIn(std::filesystem::path(corpus) / "training_logs");
  EXPECT_FALSE(logs.empty());
  for (const auto& log : logs) expectReadAsPlainPatternsDo(log);
}

// Findings.

std::vector<std::string> told(std::string_view text) {
  Findings findings;
  EXPECT_EQ(TrainingLogParser::detail::parse(text, kNow, &findings),
            TrainingLogParser::detail::parse(text, kNow));
  std::vector<std::string> lines;
  for (const Finding& finding : findings.list()) {
    lines.push_back(std::to_string(finding.line.value_or(-1)) + ":" +
                    std::to_string(finding.column.value_or(-1)) + " " + finding.path + " " +
                    std::string(finding.outcome.rawValue()) + " \"" + finding.found + "\" " +
                    finding.reason);
  }
  return lines;
}

TEST(TrainingLogFindings, areNoneWhereThereIsNothing) {
  EXPECT_THAT(told(""), IsEmpty());
  EXPECT_THAT(told("an ordinary line\n"), IsEmpty());
}

TEST(TrainingLogFindings, tellWhereEachValueStands) {
  EXPECT_THAT(
      told("model: gpt2\r\n\xC3\xA9 lr=0.1, dataset=c4\n\nstep 5 loss: 3 val_loss: 2 | 7 it/s\n"
           "saving checkpoint to /x\xC2\x85 Loss = 1.5"),
      ElementsAre(
          R"(1:8 modelName located "gpt2" the first mention)",
          R"(2:6 hyperparameters.lr located "0.1" the first mention)",
          R"(2:19 datasetName located "c4" the first mention)",
          R"(4:1 valMetrics[0] located "step 5 loss: 3 val_loss: 2" a step and its validation loss)",
          R"(4:30 throughput located "7" the latest value)",
          R"(5:22 checkpointPath located "/x" the first mention)",
          R"(6:9 loss located "1.5" the latest value)"));
}

TEST(TrainingLogFindings, tellWhatIsBehindEachWarning) {
  EXPECT_THAT(
      told("x\nan Error\nNCCL nan\nTraceback (most recent\nexception CUDA out of memory!\rnan"),
      ElementsAre(
          R"(3:1 warnings[3] located "NCCL nan" NCCL error pattern detected)",
          R"(3:6 warnings[2] located "nan" NaN pattern detected)",
          R"(4:1 warnings[1] located "Traceback (most recent" Exception or traceback detected)",
          R"(5:16 warnings[0] located "out of memory!" CUDA out-of-memory pattern detected)"));
}

TEST(TrainingLogFindings, tellWhatCouldNotBeRead) {
  EXPECT_THAT(
      told("loss 2\nloss: 1e999\ndata_path=a\xFF\nstep 9223372036854775808 val_loss=1\n"
           "step 1 val_loss=2\nstep 1 val_loss=3\nstep 2 val_loss=1e999\n"),
      ElementsAre(
          R"(1:6 loss located "2" the latest value)",
          R"(3:11 datasetName repaired "a)"
          "\xEF\xBF\xBD"
          R"(" ill-formed UTF-8)",
          R"(3:11 datasetName located "a)"
          "\xEF\xBF\xBD"
          R"(" the first mention)",
          R"(4:1 valMetrics element_dropped "step 9223372036854775808 val_loss=1" the step is beyond 64 bits)",
          R"(5:1 valMetrics[0] located "step 1 val_loss=2" a step and its validation loss)",
          R"(6:1 valMetrics ignored "step 1 val_loss=3" the step has a loss already)",
          R"(7:1 valMetrics element_dropped "step 2 val_loss=1e999" the loss is beyond the range of numbers)",
          R"(7:17 loss read_as_absent "1e999" beyond the range of numbers)"));
}

TEST(TrainingLogFindings, tellOnceOfAllStepsBeforeTheLast64) {
  std::string text;
  for (int i = 0; i < 70; ++i) text += "step " + std::to_string(i) + " val_loss: 1\n";
  Findings findings;
  parse(text, &findings);
  EXPECT_EQ(findings.count(FindingOutcome::located), 65U);
  EXPECT_EQ(findings.count(FindingOutcome::ignored), 1U);
  EXPECT_EQ(findings.lossCount(), 1U);
  EXPECT_EQ(findings.list()[0].reason, "the first of 6 steps before the last 64");
}

// The record.

TEST(ParsedLogSignals, followsTheConventions) {
  checkRecord(
      ParsedLogSignals{.loss = 1.5,
                       .throughput = 2.5,
                       .status = RunStatus::stalled,
                       .warnings = {"NaN pattern detected"},
                       .hyperparameters = {{"lr", "0.1"}},
                       .datasetName = "c4",
                       .modelName = "gpt2",
                       .checkpointPath = "/x",
                       .valMetrics = {{5, kNow, 3, 0, 0, 0}}},
      R"({"checkpointPath":"/x","datasetName":"c4","hyperparameters":{"lr":"0.1"},"loss":1.5,)"
      R"("modelName":"gpt2","status":"stalled","throughput":2.5,"valMetrics":[{"flopsTFLOPs":0,)"
      R"("gpuUtilization":0,"loss":3,"step":5,"throughput":0,)"
      R"("timestamp":"2023-11-14T22:13:20Z"}],"warnings":["NaN pattern detected"]})");
}

}  // namespace
}  // namespace tavrine
