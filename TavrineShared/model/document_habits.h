// What the lists and records of one document have looked like so far, as guesses about those to
// come: a program writes the same kind of thing the same way each time. A wrong guess costs a
// little time and changes no result.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace tavrine {

struct RecordTable;

namespace detail {

/// A number of so many bits made of an address: what stands in the tables of the records is told
/// apart by where it stands in memory.
inline std::size_t placeOf(const void* address, unsigned bits) {
  constexpr std::uint64_t kFactor = 0x9E3779B97F4A7C15U;
  return static_cast<std::size_t>((reinterpret_cast<std::uintptr_t>(address) * kFactor) >>
                                  (64U - bits));
}

}  // namespace detail

/// How large the lists came out, by the keys they stand under, for room to be made for their like:
/// the runs of one lab hold about as many metrics each. A guess is what the last such list really
/// took, so what guesses add is never more than what lists before them filled.
class ListSizes {
 public:
  /// In bytes. Two keys may share a size, which is only another guess.
  std::size_t& of(std::string_view key) { return sizes_[detail::placeOf(key.data(), kBits)]; }

 private:
  static constexpr unsigned kBits = 6;
  std::array<std::size_t, std::size_t{1} << kBits> sizes_{};
};

/// Which key followed which in the last record of a type. Before there was one, keys are expected
/// in ascending order, as our own writer sorts them; others have an order of their own, and keep
/// to it.
class KeyOrder {
 public:
  /// Of the keys, and of the start of an object.
  static constexpr std::size_t kMostPlaces = 64;

  /// The place, in a table's `byKey`, of the key to be expected: `behind` is 0 at the start of an
  /// object and one more than the place of the key before elsewhere. May be past the last place.
  std::size_t expected(std::size_t behind) const { return next_[behind]; }
  /// Of an order that changes all the time there is nothing to learn: after many lessons, what has
  /// been learned is kept.
  void learn(std::size_t behind, std::size_t place) {
    if (lessons_ == kMostLessons) return;
    ++lessons_;
    next_[behind] = static_cast<std::uint8_t>(place);
  }
  void forget() {
    lessons_ = 0;
    for (std::size_t i = 0; i < kMostPlaces; ++i) next_[i] = static_cast<std::uint8_t>(i);
  }

 private:
  static constexpr std::uint32_t kMostLessons = 10'000;
  std::array<std::uint8_t, kMostPlaces> next_;
  std::uint32_t lessons_;
};

/// The orders of the record types that were met last.
class KeyOrders {
 public:
  KeyOrder& of(const RecordTable& table) {
    const std::size_t place = detail::placeOf(&table, kBits);
    if (owners_[place] != &table) {
      owners_[place] = &table;
      orders_[place].forget();
    }
    return orders_[place];
  }

 private:
  static constexpr unsigned kBits = 7;
  std::array<const RecordTable*, std::size_t{1} << kBits> owners_{};
  std::array<KeyOrder, std::size_t{1} << kBits> orders_;  // of any content where there is no owner
};

struct DocumentHabits {
  ListSizes listSizes;
  KeyOrders keyOrders;
};

}  // namespace tavrine
