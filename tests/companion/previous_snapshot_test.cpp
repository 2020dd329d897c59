#include "companion/assemble/previous_snapshot.h"

#include <gtest/gtest.h>

#include <TavrineShared/model/stable_id.h>

namespace tavrine {
namespace {

TEST(PreviousServer, isTheFirstOfThatName) {
  AppSnapshot snapshot{};
  snapshot.servers.resize(3);
  snapshot.servers[0].name = "gpu-02";
  snapshot.servers[1].name = "gpu-01";
  snapshot.servers[2].name = "gpu-01";
  EXPECT_EQ(previousServer(&snapshot, "gpu-01"), &snapshot.servers[1]);
  EXPECT_EQ(previousServer(&snapshot, "GPU-01"), nullptr);
  EXPECT_EQ(previousServer(nullptr, "gpu-01"), nullptr);
}

TEST(PreviousRun, isTheFirstOfThatIdentifier) {
  const UUID id = StableID::uuid("run");
  AppSnapshot snapshot{};
  snapshot.runs.resize(3);
  snapshot.runs[1].id = id;
  snapshot.runs[2].id = id;
  EXPECT_EQ(previousRun(&snapshot, id), &snapshot.runs[1]);
  EXPECT_EQ(previousRun(&snapshot, StableID::uuid("another")), nullptr);
  EXPECT_EQ(previousRun(nullptr, id), nullptr);
}

}  // namespace
}  // namespace tavrine
