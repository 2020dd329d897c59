#include "companion/collect/queries.h"

#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/gpu_server.h>

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

}  // namespace
}  // namespace tavrine
