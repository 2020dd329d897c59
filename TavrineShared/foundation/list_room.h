// Room for a list that is filled while a text is read. Private: no public header includes it.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace tavrine {

/// Tells the system that so many bytes of memory, freshly allocated, will all be used: in large
/// pages, where it has them, they are there several times faster. Changes nothing else.
void preferLargePages(void* memory, std::size_t bytes);

/// To be called when `list` is full and `bytesRead` of its text's `bytesInAll` are behind: makes
/// room for what the rest of the text will give if it goes on as it began. Moving records into ever
/// larger arrays, and the memory that has to be touched anew for each, would cost as much as
/// reading them. What the text promises is believed as far as the records would take a few times
/// the room of the text, which those of real lines never do.
template <class T>
void makeRoom(std::vector<T>& list, std::size_t bytesRead, std::size_t bytesInAll) {
  constexpr std::size_t kSample = 256;
  constexpr std::size_t kMostRoom = 4;
  constexpr double kMargin = 1.02;
  const std::size_t count = list.size();
  if (count < kSample) return list.reserve(count == 0 ? 16 : count * 4);
  const double perRecord = static_cast<double>(bytesRead) / static_cast<double>(count);
  const auto expected =
      static_cast<std::size_t>(kMargin * static_cast<double>(bytesInAll) / perRecord);
  const std::size_t credible = bytesInAll / sizeof(T) * kMostRoom;
  list.reserve(std::max(count + count / 2, std::min(expected, credible)));
  preferLargePages(list.data() + count, (list.capacity() - count) * sizeof(T));
}

}  // namespace tavrine
