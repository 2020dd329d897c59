#include <TavrineShared/demo/sample_data.h>

#include <TavrineShared/parsers/process_stat_parser.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tests/demo/demo_moments.h"

namespace tavrine {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

// --- Processes ---

TEST(SampleDataProcesses, areSix) {
  struct Row {
    std::string owner, state, elapsed, executable, command;
    ProcessKind kind;
    bool operator==(const Row&) const = default;
  };
  const std::vector<Row> want = {
      {"tulo",
       "R",
       "05:12:42",
       "python",
       "python train.py --model llama-7b --dataset sft-v4 --bf16",
       ProcessKind::training},
      {"tulo",
       "S",
       "05:12:38",
       "torchrun",
       "torchrun --nproc_per_node=4 train.py --config configs/sft.yaml",
       ProcessKind::training},
      {"kesho",
       "R",
       "02:17:06",
       "accelerate",
       "accelerate launch train_diffusion.py --config configs/ablation.yaml",
       ProcessKind::training},
      {"drun",
       "S",
       "00:43:19",
       "python",
       "python preprocess.py --dataset raw-videos --workers 12",
       ProcessKind::other},
      {"vemra",
       "S",
       "01:08:04",
       "jupyter-lab",
       "jupyter-lab --no-browser --port 8888",
       ProcessKind::notebook},
      {"root", "S", "9-03:44:02", "sshd", "/usr/sbin/sshd -D", ProcessKind::system}};
  std::vector<Row> got;
  const AppSnapshot snapshot = lab(1);
  for (const ProcessStat& p : snapshot.processes) {
    got.push_back({p.owner, p.state, p.elapsed, p.executable, p.command, p.kind});
    EXPECT_EQ(p.capturedAt, kNow);
  }
  EXPECT_EQ(got, want);
}

TEST(SampleDataProcesses, holdTheMemoryThatIsTold) {
  const std::vector<ProcessStat> processes = lab(1).processes;
  EXPECT_EQ(processes[0].memoryPercent, 18.2);
  EXPECT_EQ(processes[1].memoryPercent, 12.9);
  EXPECT_EQ(processes[2].memoryPercent, 9.1);
  EXPECT_EQ(processes[3].memoryPercent, 6.3);
  EXPECT_EQ(processes[4].residentMemoryKB, 2310000);
  EXPECT_EQ(processes[4].gpuMemoryMB, 6200);
  EXPECT_EQ(processes[5].residentMemoryKB, 82000);
}

TEST(SampleDataProcesses, useCPUByTheirFormulas) {
  for (const std::int64_t tick : someTicks()) {
    const auto t = static_cast<double>(tick);
    const std::vector<ProcessStat> processes = lab(tick).processes;
    ASSERT_THAT(processes, SizeIs(6));
    EXPECT_DOUBLE_EQ(processes[0].cpuPercent, 388.4 + 18 * std::sin(0.25 * t));
    EXPECT_DOUBLE_EQ(processes[1].cpuPercent, 176.1 + 12 * std::sin(t / 5));
    EXPECT_DOUBLE_EQ(processes[2].cpuPercent, 142.8 + 10 * std::sin(t / 5));
    EXPECT_NEAR(processes[3].cpuPercent, 64.2, 8);
    EXPECT_EQ(processes[4].cpuPercent, lab(0).processes[4].cpuPercent);
    EXPECT_EQ(processes[5].cpuPercent, lab(0).processes[5].cpuPercent);
  }
}

TEST(SampleDataProcesses, areOrderedByCPUForEveryTick) {
  for (const std::int64_t tick : someTicks()) {
    const std::vector<ProcessStat> processes = lab(tick).processes;
    EXPECT_TRUE(std::is_sorted(
        processes.begin(),
        processes.end(),
        [](const ProcessStat& a, const ProcessStat& b) { return a.cpuPercent > b.cpuPercent; }))
        << "tick " << tick;
  }
}

// As `ps` and the GPU tool would have had it: what the hosts and the GPUs have is enough for all.
TEST(SampleDataProcesses, arePossible) {
  for (const std::int64_t tick : someTicks()) {
    const AppSnapshot snapshot = lab(tick);
    for (const ProcessStat& process : snapshot.processes) {
      const double hostKB = 504.0 * 1024 * 1024;
      EXPECT_NEAR(100 * static_cast<double>(process.residentMemoryKB) / hostKB,
                  process.memoryPercent,
                  0.05)
          << process.command;
      EXPECT_EQ(process.gpuMemoryMB.has_value(), process.gpuBusID.has_value());
      for (const GPUStat& gpu : snapshot.servers[0].gpus) {
        EXPECT_LT(process.gpuMemoryMB.value_or(0), gpu.memoryUsedMB);
      }
    }
  }
}

// The kind of most can be told from the command line, and then it is the one that we would tell.
TEST(SampleDataProcesses, haveTheKindsThatTheParserTells) {
  const AppSnapshot snapshot = lab(1);
  for (const ProcessStat& process : snapshot.processes) {
    const std::string line = std::to_string(process.pid) + " 1 " + process.owner +
                             " S 1.0 1.0 01:00 1 " + process.executable + " " + process.command;
    const auto parsed = ProcessStatParser::parse(line, "gpu-lab-a", kNow);
    ASSERT_THAT(parsed, SizeIs(1)) << line;
    EXPECT_EQ(parsed[0].kind, process.kind) << line;
  }
}

// --- People ---

TEST(SampleDataUsage, isOneSummaryWithItsAdvice) {
  const AppSnapshot snapshot = lab(1);
  ASSERT_THAT(snapshot.usageSummaries, SizeIs(1));
  const UsageSummary& usage = snapshot.usageSummaries[0];
  EXPECT_EQ(usage.generatedAt, kNow);
  EXPECT_EQ(usage.summarySource, "tavrine-advisor-rules");
  EXPECT_EQ(usage.summary,
            "Advisor read: tulo and kesho are actively using GPUs for training; vemra is holding "
            "notebook GPU memory; drun is CPU-bound on preprocessing. No critical intervention is "
            "required, but vemra's notebook should be checked if it remains idle.");
}

TEST(SampleDataUsage, hasSixPeopleWithTheirLogins) {
  std::vector<std::string> names;
  std::vector<std::string> logins;
  const AppSnapshot snapshot = lab(1);
  for (const StudentUsage& student : snapshot.usageSummaries[0].students) {
    names.push_back(student.username);
    logins.push_back(student.lastLogin.value());
    EXPECT_GT(student.loginCount, 0);
    EXPECT_THAT(student.connectionSources, testing::Not(IsEmpty()));
  }
  EXPECT_THAT(names, testing::IsSupersetOf({"tulo", "kesho", "drun", "vemra", "pelvane"}));
  EXPECT_THAT(logins,
              ElementsAre("Sat May 2 11:08 - 12:41",
                          "Sat May 2 10:22 - still logged in",
                          "Sat May 2 09:47 - still logged in",
                          "Fri May 1 18:12 - 21:03",
                          "Thu Apr 30 14:20 - 15:01",
                          "Sat May 2 12:02 - still logged in"));
}

TEST(SampleDataUsage, isWhatTheProcessesUse) {
  for (const std::int64_t tick : {0, 1, 7, 60}) {
    const AppSnapshot snapshot = lab(tick);
    std::size_t processes = 0;
    for (const StudentUsage& student : snapshot.usageSummaries[0].students) {
      double cpu = 0;
      double gpuMB = 0;
      std::int64_t count = 0;
      for (const ProcessStat& process : snapshot.processes) {
        if (process.owner != student.username) continue;
        cpu += process.cpuPercent;
        gpuMB += process.gpuMemoryMB.value_or(0);
        ++count;
      }
      EXPECT_EQ(student.processCount, count) << student.username;
      EXPECT_EQ(student.activeCommands.size(), static_cast<std::size_t>(count));
      EXPECT_NEAR(student.cpuPercent, cpu, 1e-9);
      EXPECT_NEAR(student.gpuMemoryGB, gpuMB / 1024, 1e-9);
      processes += static_cast<std::size_t>(count);
    }
    EXPECT_EQ(processes, 5U);  // all but the system's
  }
}

TEST(SampleDataUsage, knowsAMeshVPN) {
  std::vector<ConnectionSource> found;
  const AppSnapshot snapshot = lab(1);
  for (const StudentUsage& student : snapshot.usageSummaries[0].students) {
    for (const ConnectionSource& source : student.connectionSources) {
      if (source.source == "100.85.133.210") found.push_back(source);
    }
  }
  ASSERT_THAT(found, SizeIs(1));
  EXPECT_EQ(found[0].kind, ConnectionSourceKind::vpnLikely);
  EXPECT_EQ(found[0].vpnProbability, 0.85);
  EXPECT_EQ(found[0].evidence,
            "Endpoint is in the 100.64.0.0/10 CGNAT range commonly used by mesh VPN clients.");
}

TEST(SampleDataEvents, areANotebookAndACheckpoint) {
  const AppSnapshot snapshot = lab(1);
  ASSERT_THAT(snapshot.labEvents, SizeIs(2));
  const LabEvent& notebook = snapshot.labEvents[0];
  EXPECT_EQ(notebook.id, "sample-lab-event:gpu-memory");
  EXPECT_EQ(notebook.title, "Notebook holding GPU memory");
  EXPECT_EQ(notebook.timestamp, ago(240));
  EXPECT_EQ(notebook.serverName, "gpu-lab-b");
  EXPECT_EQ(notebook.command, "jupyter-lab --no-browser --port 8888");
  EXPECT_EQ(notebook.message,
            "vemra has a notebook process holding 6.1 GB of GPU memory on gpu-lab-b.");
  const LabEvent& checkpoint = snapshot.labEvents[1];
  EXPECT_EQ(checkpoint.id, "sample-lab-event:checkpoint");
  EXPECT_EQ(checkpoint.category, "training");
  EXPECT_EQ(checkpoint.message, "tulo wrote a new best checkpoint for llama-7b-sft-run-042.");
  EXPECT_EQ(checkpoint.command, "python train.py --model llama-7b --dataset sft-v4 --bf16");
  EXPECT_EQ(checkpoint.timestamp, snapshot.runs[0].checkpoints[1].timestamp);
}

TEST(SampleDataEvents, areAboutProcessesThatAreThere) {
  const AppSnapshot snapshot = lab(1);
  for (const LabEvent& event : snapshot.labEvents) {
    const auto isIt = [&event](const ProcessStat& process) {
      return process.pid == event.processPID && process.owner == event.username &&
             process.command == event.command && process.serverName == event.serverName;
    };
    EXPECT_TRUE(std::any_of(snapshot.processes.begin(), snapshot.processes.end(), isIt))
        << event.id;
  }
}

}  // namespace
}  // namespace tavrine
