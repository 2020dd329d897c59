// What every record of the snapshot has in common: a plain struct whose static `table()` lists its
// fields once. Decoding, encoding, hashing and layout checks all walk that table.
#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <string_view>

namespace tavrine {

struct RecordTable;

template <class T>
concept Record = requires {
  { T::table() } -> std::same_as<const RecordTable&>;
};

/// Over every field of the record; equal records hash equally.
std::size_t hashRecord(const RecordTable& table, const void* record);

/// `record` with another `serverName`: what an agent reports of itself is told apart by the name
/// under which the server was asked.
template <Record T>
T renamed(T record, std::string_view serverName) {
  record.serverName = serverName;
  return record;
}

}  // namespace tavrine

template <tavrine::Record T>
struct std::hash<T> {
  std::size_t operator()(const T& record) const noexcept {
    return tavrine::hashRecord(T::table(), &record);
  }
};
