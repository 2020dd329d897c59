#include <TavrineShared/model/process.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <ostream>
#include <string>
#include <string_view>

#include "tests/support/documents.h"
#include "tests/support/record_checks.h"
#include "tests/support/rows.h"
#include "tests/support/vocabulary_checks.h"

namespace tavrine {
namespace {

constexpr std::int64_t kLowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kHighest = std::numeric_limits<std::int64_t>::max();
constexpr std::string_view kBus = "00000000:17:00.0";
constexpr std::string_view kOtherBus = "00000000:65:00.0";

ProcessStat example() {
  return {.serverName = "gpu-01",
          .pid = 4123,
          .parentPID = 1,
          .owner = "ada",
          .state = "Rl+",
          .cpuPercent = 187.5,
          .memoryPercent = 3.25,
          .residentMemoryKB = 1572864,
          .gpuMemoryMB = 2048,
          .gpuBusID = std::string(kBus),
          .elapsed = "1-02:03:04",
          .executable = "python",
          .command = "python train.py --lr 3e-4",
          .kind = ProcessKind::training,
          .capturedAt = at(1794764905)};
}

/// The same on no GPU.
ProcessStat withoutGPU() {
  ProcessStat process = example();
  process.gpuMemoryMB = {};
  process.gpuBusID = {};
  return process;
}

/// Of another process than the example, so that anything taken from it shows.
GPUProcessStat gpuRow(std::optional<std::string> busID) {
  return {.pid = 77, .processName = "other", .usedMemoryMB = 640.5, .gpuBusID = std::move(busID)};
}

TEST(ProcessKind, hasTheseCases) {
  expectTheTable<ProcessKind>({{ProcessKind::training, "training", "training", "Training"},
                               {ProcessKind::gpu, "gpu", "gpu", "GPU"},
                               {ProcessKind::scheduler, "scheduler", "scheduler", "Scheduler"},
                               {ProcessKind::notebook, "notebook", "notebook", "Notebook"},
                               {ProcessKind::system, "system", "system", "System"},
                               {ProcessKind::other, "other", "other", "Other"}});
}

// --- JSON ---

TEST(GPUProcessStat, followsTheConventions) {
  checkRecord(gpuRow(std::string(kBus)),
              R"({"gpuBusID":"00000000:17:00.0","pid":77,"processName":"other",)"
              R"("usedMemoryMB":640.5})");
}

TEST(ProcessStat, followsTheConventions) {
  checkRecord(example(),
              R"({"capturedAt":"2026-11-15T17:48:25Z","command":"python train.py --lr 3e-4",)"
              R"("cpuPercent":187.5,"elapsed":"1-02:03:04","executable":"python",)"
              R"("gpuBusID":"00000000:17:00.0","gpuMemoryMB":2048,"kind":"training",)"
              R"("memoryPercent":3.25,"owner":"ada","parentPID":1,"pid":4123,)"
              R"("residentMemoryKB":1572864,"serverName":"gpu-01","state":"Rl+"})");
}

TEST(ProcessStat, writesNoKeyForWhatIsNotKnown) {
  const std::string document =
      withoutMember(withoutMember(encode(example()), "gpuMemoryMB"), "gpuBusID");
  EXPECT_EQ(encode(withoutGPU()), document);
  EXPECT_EQ(decode<ProcessStat>(document), withoutGPU());
}

TEST(ProcessStat, writesNothingDerived) {
  const std::string document = encode(example()) + encode(gpuRow({}));
  for (const std::string_view key : {"\"id\"", "residentMemoryGB", "gpuMemoryGB", "title"}) {
    EXPECT_EQ(document.find(key), std::string::npos) << key;
  }
}

TEST(ProcessStat, failsWithAKindThatIsNone) {
  for (const std::string_view kind : {"daemon", "Training", "GPU", "unknown", ""}) {
    EXPECT_EQ(placeOfFailure<ProcessStat>(withMember(encode(example()), "kind", jsonText(kind))),
              "kind")
        << kind;
  }
}

// --- identity ---

struct ProcessIDRow {
  const char* name;
  std::string_view serverName;
  std::int64_t pid;
  std::string_view id;
};
void PrintTo(const ProcessIDRow& row, std::ostream* out) { *out << row.id; }

class ProcessID : public testing::TestWithParam<ProcessIDRow> {};

TEST_P(ProcessID, isTheServerAndThePID) {
  ProcessStat process = example();
  process.serverName = GetParam().serverName;
  process.pid = GetParam().pid;
  EXPECT_EQ(process.id(), GetParam().id);
}

INSTANTIATE_TEST_SUITE_P(Values, ProcessID,
                         rows<ProcessIDRow>({
                             {"plain", "gpu-01", 4123, "gpu-01-4123"},
                             {"zero", "gpu-01", 0, "gpu-01-0"},
                             {"negative", "gpu-01", -1, "gpu-01--1"},
                             {"noServer", "", 4123, "-4123"},
                             {"blanks", " a b ", 7, " a b -7"},
                             // No digits are grouped, whatever the locale.
                             {"lowest", "s", kLowest, "s--9223372036854775808"},
                             {"highest", "s", kHighest, "s-9223372036854775807"},
                         }),
                         rowName);

TEST(GPUProcessStat, isIdentifiedByPIDAndBus) {
  GPUProcessStat gpu = gpuRow(std::string(kBus));
  gpu.pid = 4123;
  EXPECT_EQ(gpu.id(), "4123-00000000:17:00.0");
  gpu.gpuBusID = {};
  EXPECT_EQ(gpu.id(), "4123-gpu");
  gpu.gpuBusID = "";
  EXPECT_EQ(gpu.id(), "4123-") << "an empty bus id is there";
  gpu.pid = kLowest;
  EXPECT_EQ(gpu.id(), "-9223372036854775808-");
}

TEST(ProcessStat, staysTheSameProcessFromOneMomentToTheNext) {
  ProcessStat later = example();
  later.capturedAt = at(1794764906);
  EXPECT_NE(later, example());
  EXPECT_NE(std::hash<ProcessStat>()(later), std::hash<ProcessStat>()(example()));
  EXPECT_EQ(later.id(), example().id());
}

// --- units ---

struct ResidentRow {
  const char* name;
  std::int64_t kib;
  double gib;
};
void PrintTo(const ResidentRow& row, std::ostream* out) { *out << row.kib; }

class ResidentMemoryGB : public testing::TestWithParam<ResidentRow> {};

TEST_P(ResidentMemoryGB, isInGiB) {
  ProcessStat process = example();
  process.residentMemoryKB = GetParam().kib;
  EXPECT_EQ(process.residentMemoryGB(), GetParam().gib);
}

INSTANTIATE_TEST_SUITE_P(Values, ResidentMemoryGB,
                         rows<ResidentRow>({
                             {"one", 1048576, 1},
                             {"oneAndAHalf", 1572864, 1.5},
                             {"none", 0, 0},
                             {"oneKiB", 1, 9.5367431640625e-7},
                             {"negative", -1048576, -1},
                             {"lowest", kLowest, -8796093022208.0},
                             {"highest", kHighest, 8796093022208.0},
                         }),
                         rowName);

struct GPUMemoryRow {
  const char* name;
  std::optional<double> mib;
  std::optional<double> gib;
};
void PrintTo(const GPUMemoryRow& row, std::ostream* out) { *out << row.name; }

class GPUMemoryGB : public testing::TestWithParam<GPUMemoryRow> {};

TEST_P(GPUMemoryGB, isInGiB) {
  ProcessStat process = example();
  process.gpuMemoryMB = GetParam().mib;
  EXPECT_EQ(process.gpuMemoryGB(), GetParam().gib);
}

INSTANTIATE_TEST_SUITE_P(Values, GPUMemoryGB,
                         rows<GPUMemoryRow>({
                             {"two", 2048.0, 2.0},
                             {"absent", {}, {}},
                             {"none", 0.0, 0.0},
                             {"oneMiB", 1.0, 0.0009765625},
                             {"partOfAMiB", 0.5, 0.00048828125},
                             {"negative", -1024.0, -1.0},
                         }),
                         rowName);

// --- joining with what the GPU tool knows ---

struct MergeRow {
  const char* name;
  ProcessKind before;
  ProcessKind after;
};
void PrintTo(const MergeRow& row, std::ostream* out) { *out << row.before.rawValue(); }

class MergingGPU : public testing::TestWithParam<MergeRow> {
 protected:
  /// Every other field is as before, the pid too.
  static ProcessStat want(ProcessStat before, std::string_view busID) {
    before.gpuMemoryMB = 640.5;
    before.gpuBusID = std::string(busID);
    before.kind = GetParam().after;
    return before;
  }
};

TEST_P(MergingGPU, takesABusThatTheGPUKnows) {
  for (ProcessStat before : {example(), withoutGPU()}) {
    before.kind = GetParam().before;
    const ProcessStat unchanged = before;
    EXPECT_EQ(before.mergingGPU(gpuRow(std::string(kOtherBus))), want(before, kOtherBus));
    EXPECT_EQ(before.mergingGPU(gpuRow("")), want(before, ""));
    EXPECT_EQ(before, unchanged);
  }
}

TEST_P(MergingGPU, keepsItsBusWhereTheGPUKnowsNone) {
  ProcessStat before = example();
  before.kind = GetParam().before;
  EXPECT_EQ(before.mergingGPU(gpuRow({})), want(before, kBus));

  before = withoutGPU();
  before.kind = GetParam().before;
  ProcessStat after = want(before, "");
  after.gpuBusID = {};
  EXPECT_EQ(before.mergingGPU(gpuRow({})), after);
}

TEST_P(MergingGPU, copiesWithoutAGPU) {
  for (ProcessStat before : {example(), withoutGPU()}) {
    before.kind = GetParam().before;
    EXPECT_EQ(before.mergingGPU(std::nullopt), before);
  }
}

INSTANTIATE_TEST_SUITE_P(Kinds, MergingGPU,
                         rows<MergeRow>({
                             {"training", ProcessKind::training, ProcessKind::training},
                             {"gpu", ProcessKind::gpu, ProcessKind::gpu},
                             {"scheduler", ProcessKind::scheduler, ProcessKind::scheduler},
                             {"notebook", ProcessKind::notebook, ProcessKind::notebook},
                             {"system", ProcessKind::system, ProcessKind::system},
                             {"other", ProcessKind::other, ProcessKind::gpu},
                         }),
                         rowName);

TEST(MergingGPU, takesTheMemoryEvenWhenItIsLess) {
  GPUProcessStat gpu = gpuRow({});
  gpu.usedMemoryMB = 0;
  EXPECT_EQ(example().mergingGPU(gpu).gpuMemoryMB, 0.0);
}

}  // namespace
}  // namespace tavrine
