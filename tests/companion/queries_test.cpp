#include "companion/collect/queries.h"

#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/gpu_server.h>
#include <TavrineShared/model/process.h>

#include <gmock/gmock.h>

#include <string_view>
#include <vector>

namespace tavrine {
namespace {

TEST(GPUQuery, hasOneColumnForEachFieldInTheOrderOfTheRecord) {
  std::vector<std::string_view> queried;
  for (const GPUQueryColumn& column : gpuQueryColumns()) queried.push_back(column.field);
  std::vector<std::string_view> fields;
  for (const Field& field : GPUStat::table().fields) fields.push_back(field.key);
  EXPECT_THAT(queried, testing::ElementsAreArray(fields));
}

TEST(GPUQuery, isOneCommandLine) {
  EXPECT_EQ(gpuQueryCommand(),
            "nvidia-smi --query-gpu=index,name,utilization.gpu,memory.used,memory.total,"
            "temperature.gpu,power.draw,power.limit,fan.speed,clocks.sm,clocks.mem,"
            "ecc.errors.uncorrected.volatile.total,pcie.link.gen.current,"
            "pcie.link.width.current,pstate --format=csv");
}

TEST(ProcessQuery, hasTheTenColumnsOfTheParserInItsOrder) {
  std::vector<std::string_view> fields;
  for (const ProcessQueryColumn& column : processQueryColumns()) fields.push_back(column.field);
  EXPECT_THAT(fields,
              testing::ElementsAre("pid",
                                   "parentPID",
                                   "owner",
                                   "state",
                                   "cpuPercent",
                                   "memoryPercent",
                                   "elapsed",
                                   "residentMemoryKB",
                                   "executable",
                                   "command"));
  std::vector<std::string_view> known;
  for (const Field& field : ProcessStat::table().fields) known.push_back(field.key);
  EXPECT_THAT(known, testing::IsSupersetOf(fields));
}

TEST(ProcessQuery, isOneCommandLine) {
  EXPECT_EQ(processQueryCommand(),
            "LC_ALL=C ps -eww -o pid,ppid,user:32,stat,pcpu,pmem,etime,rss,comm,args");
}

TEST(GPUProcessQuery, isOneCommandLine) {
  EXPECT_EQ(gpuProcessQueryCommand(),
            "nvidia-smi --query-compute-apps=pid,process_name,used_gpu_memory,gpu_bus_id "
            "--format=csv");
}

TEST(LogQueries, readTheEndOfAFile) {
  EXPECT_EQ(trainingLogQueryCommand("train.log"), "tail -c 1048576 -- 'train.log'");
  EXPECT_EQ(recorderQueryCommand("-a 'b'.jsonl"), "tail -c 4194304 -- '-a '\\''b'\\''.jsonl'");
}

}  // namespace
}  // namespace tavrine
