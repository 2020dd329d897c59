#include <TavrineShared/foundation/list_room.h>

#include <sys/mman.h>

#include <memory>

namespace tavrine {

void preferLargePages(void* memory, std::size_t bytes) {
  // Below a few of the pages meant there is nothing to gain.
  constexpr std::size_t kLargePage = std::size_t{2} << 20U;
  if (bytes < 4 * kLargePage) return;
  // Whole large pages only, so that no page of anybody else's is touched.
  if (std::align(kLargePage, kLargePage, memory, bytes) == nullptr) return;
  // A wish: where it is not granted, all works as before.
  static_cast<void>(::madvise(memory, bytes / kLargePage * kLargePage, MADV_HUGEPAGE));
}

}  // namespace tavrine
