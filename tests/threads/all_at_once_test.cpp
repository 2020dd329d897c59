// That everything may be called from any thread at any time: eight of them call all of it at once,
// each in an order of its own, with nothing made ready before. A program of its own, so that tables
// which are built on first use are built here; `make test-tsan` runs it under the thread sanitizer.
#include <TavrineShared/foundation/file.h>
#include <TavrineShared/tavrine_shared.h>

#include <gtest/gtest.h>

#include <array>
#include <barrier>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "tests/support/temporary_folder.h"

namespace tavrine {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kThreads = 8;
const Timestamp kNow(std::chrono::duration<double>(1763148000));

std::string golden(const char* file) {
  return std::string(readFile(fs::path("tests/golden") / file).text());
}

struct Call {
  std::string name;
  std::function<std::string()> run;  ///< what it gives, as text
};

// A parser with all that it tells.
template <class Parse>
Call parsing(std::string name, const char* file, Parse parse) {
  return {std::move(name), [text = golden(file), parse] {
            Findings findings;
            const std::string records = encode(parse(text, &findings));
            return records + std::to_string(findings.lossCount());
          }};
}

std::vector<Call> calls(const fs::path& store) {
  const std::vector<RecorderLogPoint> points =
      RecorderLineParser::parse(golden("diagnosis/communication_bound.jsonl"));
  const std::string document = golden("demo/tick_1.json");
  const auto written = decode<AppSnapshot>(document);
  return {parsing("NVIDIASMIParser", "nvidia_smi/h100_mig_load.csv", NVIDIASMIParser::parseCSV),
          parsing("GPUProcessStatParser",
                  "gpu_processes/h100_mig_load.csv",
                  GPUProcessStatParser::parse),
          parsing("ProcessStatParser",
                  "processes/header.ps",
                  [](std::string_view text, Findings* findings) {
                    return ProcessStatParser::parse(text, "gpu-01", kNow, findings);
                  }),
          parsing("LoadAvgParser", "sensors/load/ubuntu.loadavg", LoadAvgParser::parse),
          parsing("DiskIOParser",
                  "sensors/disks/writing.diskstats",
                  [](std::string_view text, Findings* findings) {
                    return DiskIOParser::parse(text, 512, 1, findings);
                  }),
          parsing("CPUThermalParser", "sensors/thermal/edge_rows.tsv", CPUThermalParser::parse),
          parsing("TrainingLogParser",
                  "training_log/deepspeed_chat_step1_sft.log",
                  [](std::string_view text, Findings* findings) {
                    return TrainingLogParser::detail::parse(text, kNow, findings);
                  }),
          parsing("RecorderLineParser", "diagnosis/idle.jsonl", RecorderLineParser::parse),
          parsing("PySpyDumpParser", "stacks/between_steps.stacks", PySpyDumpParser::parse),
          {"RuntimePhase",
           [points] {
             std::string phases;
             for (const RecorderLogPoint& point : points) {
               for (const StackFrame& stack : point.pySpy.value_or(std::vector<StackFrame>())) {
                 phases += RuntimePhase::classify(stack).rawValue();
                 phases += PhaseEvidence::of(stack).keyword;
               }
             }
             return phases;
           }},
          {"RuntimeDiagnosis",
           [points] { return RuntimeDiagnosis::derive(points.back(), points).label(); }},
          {"DiagnosisEvidence",
           [points] {
             std::string doubts;
             for (const auto& doubt : DiagnosisEvidence::of(points.back(), points).doubts) {
               doubts += doubt.detail;
             }
             return doubts + DiagnosisEvidence::of(points.back(), points).verdict.label();
           }},
          {"DashboardRunState",
           [] {
             return std::string(DashboardRunState::derive(97, true, 3, RunStatus::running).label());
           }},
          {"SampleData", [] { return encode(SampleData::detail::snapshot(60, kNow)); }},
          {"decode and encode", [document] { return encode(decode<AppSnapshot>(document)); }},
          {"decode of what is bad",
           [] {
             Findings findings;
             decode<AppSnapshot>(R"({"timestamp": "2026-01-01T00:00:00Z", "servers": [1, {}]})",
                                 &findings);
             try {
               decode<AppSnapshot>("[");
             } catch (const DecodingError& error) {
               return std::to_string(findings.lossCount()) + error.what();
             }
             return std::string("it is taken");
           }},
          {"jsonSchema", [] { return jsonSchema(AppSnapshot::table()); }},
          {"StableID", [] { return StableID::uuid("server:gpu-01").text(); }},
          {"times",
           [] {
             return iso8601Text(kNow).value_or("") +
                    std::to_string(timestampFromISO8601("2026-01-01T00:00:00Z").has_value());
           }},
          {"Unicode", [] { return lowercased("Stra\u00DFe \u0130") + repairedUTF8("a\xFFz"); }},
          // All to one file: a reader gets one that is whole.
          {"SnapshotDiskStore", [written, store] {
             SnapshotDiskStore::write(written, store);
             const auto read = SnapshotDiskStore::read(store);
             return read ? encode(*read) : std::string("none");
           }}};
}

TEST(AllAtOnce, givesEachThreadTheSame) {
  const TemporaryFolder folder;
  const std::vector<Call> all = calls(folder / "latest.json");
  std::array<std::vector<std::string>, kThreads> results;
  std::barrier together(kThreads);
  std::vector<std::thread> threads;
  for (std::size_t thread = 0; thread < kThreads; ++thread) {
    results[thread].resize(all.size());
    threads.emplace_back([&, thread] {
      // Of each function, first uses meet. Where threads merely followed one another, a lock inside
      // of ICU would put them in order, and no race could be seen.
      for (std::size_t i = 0; i < all.size(); ++i) {
        together.arrive_and_wait();
        results[thread][i] = all[i].run();
      }
      for (std::size_t i = 0; i < all.size(); ++i) {
        const std::size_t call = (i + thread * all.size() / kThreads) % all.size();
        if (all[call].run() != results[thread][call]) results[thread][call] = "not the same twice";
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  for (std::size_t i = 0; i < all.size(); ++i) {
    const std::string alone = all[i].run();
    EXPECT_FALSE(alone.empty()) << all[i].name;
    for (std::size_t thread = 0; thread < kThreads; ++thread) {
      EXPECT_EQ(results[thread][i], alone) << all[i].name;
    }
  }
}

}  // namespace
}  // namespace tavrine
