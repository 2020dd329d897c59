#include <TavrineShared/foundation/list_room.h>

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tavrine {
namespace {

// Fills a list from a text of so many bytes, one element for each `perElement` of them.
struct Filled {
  std::size_t size = 0;
  std::size_t capacity = 0;
  int timesMade = 0;
};

Filled fill(std::size_t bytesInAll, std::size_t perElement) {
  std::vector<std::int64_t> list;
  Filled filled;
  for (std::size_t read = 0; read < bytesInAll; read += perElement) {
    if (list.size() == list.capacity()) {
      makeRoom(list, read, bytesInAll);
      ++filled.timesMade;
    }
    EXPECT_LT(list.size(), list.capacity());
    list.push_back(0);
  }
  filled.size = list.size();
  filled.capacity = list.capacity();
  return filled;
}

TEST(MakeRoom, needsFewStepsWhenTheTextGoesOnAsItBegan) {
  const Filled filled = fill(10'000'000, 100);
  EXPECT_LE(filled.timesMade, 5);
  EXPECT_LT(static_cast<double>(filled.capacity), 1.05 * static_cast<double>(filled.size));
}

TEST(MakeRoom, takesNoMoreThanAFewTimesTheRoomOfTheText) {
  constexpr std::size_t kBytes = 1'000'000;
  const Filled filled = fill(kBytes, 1);
  EXPECT_EQ(filled.size, kBytes);
  EXPECT_LE(filled.capacity * sizeof(std::int64_t), 16 * kBytes);
}

TEST(MakeRoom, growsByHalfWhereTheTextPromisedTooLittle) {
  std::vector<char> list(1000);
  list.shrink_to_fit();
  makeRoom(list, 999, 1000);
  EXPECT_GE(list.capacity(), 1500U);
}

TEST(MakeRoom, makesSomeForTheSmallestText) {
  std::vector<char> list;
  makeRoom(list, 0, 1);
  EXPECT_GE(list.capacity(), 1U);
}

TEST(PreferLargePages, leavesTheMemoryAsItIs) {
  preferLargePages(nullptr, 0);
  std::vector<char> memory(20'000'001, 'a');
  for (const std::size_t start : {0U, 1U, 4095U}) {
    for (const std::size_t bytes : {0U, 1U, 8'388'607U, 8'388'608U, 20'000'000U - 4095U}) {
      preferLargePages(memory.data() + start, bytes);
    }
  }
  EXPECT_EQ(memory, std::vector<char>(20'000'001, 'a'));
}

}  // namespace
}  // namespace tavrine
