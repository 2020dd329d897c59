// What every record of the snapshot has in common: a plain struct whose static `table()` lists its
// fields once. Decoding, encoding, hashing and layout checks all walk that table.
#pragma once

#include <concepts>
#include <cstddef>
#include <functional>

namespace tavrine {

struct RecordTable;

template <class T>
concept Record = requires {
  { T::table() } -> std::same_as<const RecordTable&>;
};

/// Over every field of the record; equal records hash equally.
std::size_t hashRecord(const RecordTable& table, const void* record);

}  // namespace tavrine

template <tavrine::Record T>
struct std::hash<T> {
  std::size_t operator()(const T& record) const noexcept {
    return tavrine::hashRecord(T::table(), &record);
  }
};
