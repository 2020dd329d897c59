#include <TavrineShared/foundation/list_room.h>

#include <sys/mman.h>

#include <cstdint>

namespace tavrine {

void preferLargePages(void* memory, std::size_t bytes) {
  // Below a few of the pages meant there is nothing to gain.
  constexpr std::size_t kLargePage = std::size_t{2} << 20U;
  if (bytes < 4 * kLargePage) return;
  // Whole large pages only, so that no page of anybody else's is touched.
  const auto start = reinterpret_cast<std::uintptr_t>(memory);
  const std::uintptr_t first = (start + kLargePage - 1) / kLargePage * kLargePage;
  const std::size_t length = (start + bytes - first) / kLargePage * kLargePage;
  // A wish: where it is not granted, all works as before.
  static_cast<void>(::madvise(reinterpret_cast<void*>(first), length, MADV_HUGEPAGE));
}

}  // namespace tavrine
