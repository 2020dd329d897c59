#include "benchmarks/training_logs.h"

#include <TavrineShared/foundation/unicode_text.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

namespace tavrine::benchmarks {

namespace {

// What the numbers of line `i` are made of: the same in each run, and as if by chance.
unsigned chance(unsigned i, unsigned limit) { return (i * 2654435761U >> 8) % limit; }

template <class... Arguments>
std::string line(const char* format, Arguments... arguments) {
  std::array<char, 512> buffer{};
  const int length = std::snprintf(buffer.data(), buffer.size(), format, arguments...);
  return {buffer.data(), static_cast<std::size_t>(length)};
}

std::string progressLine(unsigned i) {
  return line("Epoch %u:  %2u%%|#######   | %u/5005 [%02u:%02u<%02u:11, %u.%02uit/s, loss=%u.%03u]",
              i / 5005,
              i % 5005 / 50,
              i % 5005,
              i / 60 % 60,
              i % 60,
              59 - i / 60 % 60,
              1 + chance(i, 20),
              chance(i, 100),
              chance(i, 4),
              chance(i + 1, 1000));
}

std::string barLine(unsigned i) { return progressLine(i) + "\n"; }
std::string endlessBarLine(unsigned i) { return "\r" + progressLine(i); }

std::string shortLine(unsigned i) {
  return line("iter %u: loss %u.%04u, time %u.%02ums, mfu %u.%02u%%\n",
              i,
              1 + chance(i, 4),
              chance(i, 10000),
              100 + chance(i, 90),
              chance(i, 100),
              30 + chance(i, 20),
              chance(i, 100));
}

std::string longLine(unsigned i) {
  return line(
      " iteration %8u/  500000 | consumed samples: %12u | consumed tokens: %14u | elapsed time per "
      "iteration (ms): %u.%u | learning rate: %u.%03uE-05 | global batch size: %5u | lm loss: "
      "%u.%06uE+00 | loss scale: 1.0 | grad norm: 0.%03u | number of skipped iterations:   0 | "
      "number of nan iterations:   0 | TFLOPs: %u.%02u |\n",
      i,
      i * 512,
      i * 1048576,
      4000 + chance(i, 900),
      chance(i, 10),
      1 + chance(i, 9),
      chance(i, 1000),
      512U,
      1 + chance(i, 9),
      chance(i, 1000000),
      chance(i, 1000),
      100 + chance(i, 90),
      chance(i, 100));
}

std::string dictLine(unsigned i) {
  return line(
      "{'loss': %u.%04u, 'grad_norm': %u.%03u, 'learning_rate': %u.%02ue-05, 'epoch': %u.%02u}\n",
      chance(i, 4),
      chance(i, 10000),
      chance(i, 3),
      chance(i + 5, 1000),
      1 + chance(i, 9),
      chance(i, 100),
      i / 100,
      i % 100);
}

std::string chatterLine(unsigned i) {
  static constexpr std::array<const char*, 6> kTexts = {
      "[rank%u]: W1120 10:%02u:11.123 torch/cuda/__init__.py:%u] compiled with sm_90 support\n",
      "INFO 11-20 10:%02u worker.py:%u] Loaded shard %u from cache, 17 buckets, prefetch on\n",
      "DEBUG data.loader: opened archive part-%05u.tar, %u files, queue depth %u\n",
      "node-%u:%u:%u [0] INFO Channel 00/0 : 3[3] -> 4[4] via P2P/CUMEM\n",
      "2025-11-20 10:%02u:%02u,%03u - distributed - INFO - Rank joined, world size 64\n",
      "warn: feature %u is deprecated since 2.%u and will be removed in %u.0\n"};
  const char* const text = kTexts[chance(i, 6)];
  std::array<char, 512> buffer{};
  const int length = std::snprintf(buffer.data(),
                                   buffer.size(),
                                   text,
                                   chance(i, 60),
                                   chance(i, 97),
                                   chance(i, 900));
  return {buffer.data(), static_cast<std::size_t>(length)};
}

std::string wideLine(unsigned i) {
  return line(
      "\xE8\xAE\xAD\xE7\xBB\x83\xE8\xBF\x9B\xE5\xBA\xA6\xEF\xBC\x9A\xE7\xAC\xAC %u "
      "\xE8\xBD\xAE\xEF\xBC\x8C\xE6\x95\xB0\xE6\x8D\xAE\xE5\xB7\xB2\xE5\x8A\xA0\xE8\xBD\xBD "
      "\xF0\x9F\x9A\x80\xF0\x9F\x94\xA5 "
      "\xE8\x80\x97\xE6\x97\xB6 %u \xE7\xA7\x92\xEF\xBC\x8C\xE6\x98\xBE\xE5\xAD\x98 %u\n",
      i,
      chance(i, 100),
      chance(i, 80));
}

std::string validationLine(unsigned i) {
  return line("step %u | train_loss: %u.%03u | val_loss: %u.%04u | lr: %u.%02ue-4\n",
              i * 10,
              chance(i, 4),
              chance(i, 1000),
              chance(i, 4),
              chance(i, 10000),
              chance(i, 9),
              chance(i, 100));
}

std::string foldingLine(unsigned i) {
  static constexpr std::array<const char*, 6> kTexts = {
      "\xC5\xBFtep\xC2\xA0%u lo\xC3\x9F: %u.%u\xE2\x80\xA8",
      "val_lo\xC3\x9F = %u.%u at \xEF\xAC\x86"
      "ep %u\xC2\x85",
      "a\xCC\x81lr=%u \xE2\x96\x88lr\xE3\x80\x80=\xE2\x80\x83%u.%u\n",
      "%u.%u\xE2\x80\x8A"
      "to\xE2\x84\xAA/s %u\v",
      "\xE4\xB8\xADmodel\xC2\xA0: m%u \xE2\x80\x8B"
      "dataset=d%u.%u\f",
      "lo\xC5\xBF\xC5\xBF\xE2\x80\xAF= %u.%u | \xEF\xAC\x85"
      "eps/s %u\xE2\x80\xA9"};
  const char* const text = kTexts[chance(i, 6)];
  std::array<char, 512> buffer{};
  const int length =
      std::snprintf(buffer.data(), buffer.size(), text, i, chance(i, 97), chance(i, 900));
  return {buffer.data(), static_cast<std::size_t>(length)};
}

std::string log(std::string (*line)(unsigned), std::size_t size) {
  std::string text =
      "args: --dataset imagenet --arch resnet50 --output_dir /out batch_size=256 lr=3e-4 seed: "
      "42\n";
  for (unsigned i = 1; text.size() < size; ++i) text += line(i);
  return text;
}

std::string repeated(std::string_view part, std::size_t size) {
  std::string text;
  while (text.size() < size) text += part;
  return text;
}

constexpr std::array<HostileText, 14> kHostileTexts = {{
    {"steps without a value", [](std::size_t size) { return repeated("step 1 ", size); }},
    {"stepstepstep", [](std::size_t size) { return repeated("step", size); }},
    {"step and 50 line feeds",
     [](std::size_t size) { return repeated("step" + std::string(50, '\n'), size); }},
    {"step and blank lines", [](std::size_t size) { return "step" + std::string(size, '\n'); }},
    {"one number", [](std::size_t size) { return std::string(size, '7'); }},
    {"step and blanks", [](std::size_t size) { return "step" + std::string(size, ' '); }},
    {"val_loss without a number",
     [](std::size_t size) { return repeated("step 1 val_loss:x ", size); }},
    {"digit and blanks", [](std::size_t size) { return "1" + std::string(size, ' '); }},
    {"lr= repeated", [](std::size_t size) { return repeated("lr= ", size); }},
    {"blanks, digits, val loss",
     [](std::size_t size) {
       return "step" + std::string(size / 3, ' ') + std::string(size / 3, '7') +
              repeated("val loss ", size / 3);
     }},
    {"val_loss: and line feeds", [](std::size_t size) { return repeated("val_loss:\n", size); }},
    {"loss: and sharp s", [](std::size_t size) { return repeated("loss: \xC3\x9F", size); }},
    {"lr and ideographic spaces",
     [](std::size_t size) { return repeated("lr\xE3\x80\x80", size); }},
    {"model: |", [](std::size_t size) { return repeated("model: |", size); }},
}};

std::string contentOf(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

}  // namespace

std::string barLog(std::size_t size) { return log(barLine, size); }
std::string endlessBarLog(std::size_t size) { return log(endlessBarLine, size); }
std::string shortLineLog(std::size_t size) { return log(shortLine, size); }
std::string longLineLog(std::size_t size) { return log(longLine, size); }
std::string dictLog(std::size_t size) { return log(dictLine, size); }
std::string chatterLog(std::size_t size) { return log(chatterLine, size); }
std::string wideLog(std::size_t size) { return log(wideLine, size); }
std::string validationLog(std::size_t size) { return log(validationLine, size); }
std::string foldingLog(std::size_t size) { return log(foldingLine, size); }

std::span<const HostileText> hostileTexts() { return kHostileTexts; }

std::string logsIn(const std::filesystem::path& folder) {
  std::vector<std::filesystem::path> logs;
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() == ".log") logs.push_back(entry.path());
  }
  if (logs.empty()) throw std::runtime_error("there is no log in " + folder.string());
  std::sort(logs.begin(), logs.end());
  std::string joined;
  for (const auto& log : logs) joined += repairedUTF8(contentOf(log)) + "\n";
  return joined;
}

std::string repeatedLines(std::string_view text, std::size_t size) {
  std::string lines = repeated(text, size);
  lines.resize(lines.rfind('\n', size - 1) + 1);
  return lines;
}

}  // namespace tavrine::benchmarks
