// Training logs of every make become signals, beside the same patterns run over the whole text by
// plain ICU, which is what their meaning is, by RE2 and by PCRE2, and beside copying the text.
//
// Plain ICU is the naive twin of the tests. On the texts called hostile it would take hours. The
// real logs are those of tests/golden and, in rows of their own, those of the folder training_logs
// in the one that TAVRINE_CORPUS names. So it runs in the root of the source tree.

#include <TavrineShared/parsers/training_log_parser.h>

#include "benchmarks/comparison.h"
#include "benchmarks/training_log_peers.h"
#include "benchmarks/training_logs.h"
#include "tests/support/naive_training_log_parser.h"

#include <benchmark/benchmark.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <exception>
#include <filesystem>
#include <list>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>

namespace tavrine::benchmarks {

namespace {

constexpr std::size_t kSize = 100'000;
constexpr std::size_t kMegabyte = 1'000'000;
constexpr std::size_t kHuge = 50'000'000;

struct Log {
  const char* name;
  std::string (*make)(std::size_t size);
  double icuFloor;
  double copyCeiling;
  double peerAim = 0;
  bool isReadAlikeByPeers = true;
};

// The floors are two thirds of what a prototype of this design reached.
constexpr std::array<Log, 9> kLogs = {{
    {"progress bar lines", barLog, 80, 120},
    {"short lines", shortLineLog, 80, 120},
    {"long lines", longLineLog, 80, 120},
    {"dict lines", dictLog, 80, 120},
    {"one endless progress bar", endlessBarLog, 80, 120},
    {"chatter without signals", chatterLog, 80, 120},
    {"ideographs and emoji", wideLog, 80, 120},
    {"validation loss on every line", validationLog, 25, 400, 1},
    {"folding letters and odd blanks", foldingLog, 7, 1200, 0, false},
}};

struct Peer {
  const char* name;
  ParsedLogSignals (*parse)(std::string_view text);
};
constexpr std::array<Peer, 2> kPeers = {{{"RE2", parseWithRE2}, {"PCRE2", parseWithPCRE2}}};

std::string of(const char* parser, const std::string& log) {
  return std::string(parser) + ", " + log;
}

// A comparison with what reads something else would be none.
void requireReadAlike(const std::string& name, const std::string& text) {
  const ParsedLogSignals ours = TrainingLogParser::detail::parse(text, Timestamp{});
  for (const Peer& peer : kPeers) {
    ParsedLogSignals theirs = peer.parse(text);
    theirs.status = ours.status;
    theirs.warnings = ours.warnings;
    if (theirs != ours) throw std::runtime_error(of(peer.name, name) + ": read otherwise");
  }
}

void addTasks(Comparison& table, const std::string& name, const std::string& text) {
  table.task(name, text.size(), [&text] {
    benchmark::DoNotOptimize(TrainingLogParser::parse(text));
  });
  table.task(of("plain ICU", name), text.size(), [&text] {
    benchmark::DoNotOptimize(naive::parseTrainingLog(text, Timestamp{}));
  });
  for (const Peer& peer : kPeers) {
    table.task(of(peer.name, name), text.size(), [&text, &peer] {
      benchmark::DoNotOptimize(peer.parse(text));
    });
  }
}

void addMadeUpLogs(Comparison& table, std::list<std::string>& texts) {
  static std::string copy(2 * kSize, ' ');
  for (const Log& log : kLogs) {
    const std::string& text = texts.emplace_back(log.make(kSize));
    if (log.isReadAlikeByPeers) requireReadAlike(log.name, text);
    addTasks(table, log.name, text);
    table.task(of("memcpy", log.name), text.size(), [&text] {
      std::memcpy(copy.data(), text.data(), text.size());
      benchmark::ClobberMemory();
    });
  }
  for (const Log& log : kLogs) table.row(log.name, of("plain ICU", log.name), log.icuFloor);
  for (const Peer& peer : kPeers) {
    for (const Log& log : kLogs) table.row(log.name, of(peer.name, log.name), 0, log.peerAim);
  }
  for (const Log& log : kLogs) table.row(log.name, of("memcpy", log.name), 1 / log.copyCeiling);
}

double seconds(const std::string& text) {
  return bestSeconds(5, [&text] { benchmark::DoNotOptimize(TrainingLogParser::parse(text)); });
}

double secondsPerByte(const std::string& text) {
  return seconds(text) / static_cast<double>(text.size());
}

void addGrowth(Comparison& table, const std::string& name, const std::string& megabyte,
               const std::string& huge, double peakCeiling) {
  table.figure(name + ", 50 MB over 1 MB, each byte",
               secondsPerByte(huge) / secondsPerByte(megabyte),
               "",
               1.6);
  const std::size_t peak =
      peakAllocation([&huge] { benchmark::DoNotOptimize(TrainingLogParser::parse(huge)); });
  table.figure(name + ", 50 MB, peak memory", static_cast<double>(peak) / 1e6, "MB", peakCeiling);
}

void addRealLogs(Comparison& table, std::list<std::string>& texts, const std::string& name,
                 const std::filesystem::path& folder) {
  const std::string logs = logsIn(folder);
  const std::string& megabyte = texts.emplace_back(repeatedLines(logs, kMegabyte));
  requireReadAlike(name, megabyte);
  addTasks(table, name, megabyte);
  table.row(name, of("plain ICU", name), 80);
  for (const Peer& peer : kPeers) table.row(name, of(peer.name, name));
  addGrowth(table, name, megabyte, repeatedLines(logs, kHuge), 10);
}

void addHostileTexts(Comparison& table) {
  for (const HostileText& hostile : hostileTexts()) {
    const double small = seconds(hostile.make(200'000));
    table.figure(std::string(hostile.name) + ", 200 KB", 1e3 * small, "ms", 80);
    const double large = seconds(hostile.make(2'000'000));
    table.figure(std::string(hostile.name) + ", 2 MB over 200 KB", large / small, "", 15);
  }
}

double microsecondsOfShort(const std::string& text) {
  constexpr int kTimes = 200;
  return 1e6 / kTimes * bestSeconds(9, [&text] {
           for (int i = 0; i < kTimes; ++i)
             benchmark::DoNotOptimize(TrainingLogParser::parse(text));
         });
}

int run(int argc, char** argv) {
  Comparison table("Training logs of 100 KB, real ones of 1 MB");
  std::list<std::string> texts;
  addMadeUpLogs(table, texts);
  addRealLogs(table, texts, "real logs", "tests/golden/training_log");
  if (const char* const corpus = std::getenv("TAVRINE_CORPUS")) {
    addRealLogs(table, texts, "further real logs", std::filesystem::path(corpus) / "training_logs");
  } else {
    std::printf("TAVRINE_CORPUS names no folder of further real logs\n");
  }
  addHostileTexts(table);
  table.figure("empty text", microsecondsOfShort(""), "us", 2);
  table.figure(
      "one line",
      microsecondsOfShort("Epoch 0:  1%|#    | 77/5005 [00:01<58:11, 17.12it/s, loss=2.345]\n"),
      "us",
      15);
  for (const std::size_t i : {std::size_t{0}, std::size_t{2}, std::size_t{7}}) {
    const Log& log = kLogs[i];
    addGrowth(table, log.name, log.make(kMegabyte), log.make(kHuge), i == 7 ? 100 : 10);
  }
  return table.run(argc, argv);
}

}  // namespace

}  // namespace tavrine::benchmarks

int main(int argc, char** argv) {
  try {
    return tavrine::benchmarks::run(argc, argv);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 2;
  }
}
