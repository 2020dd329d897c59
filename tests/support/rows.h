// What table-driven tests share.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// The rows of a table. (Compiles several times faster than testing::Values, which makes a type of
/// each table.)
template <class Row>
auto rows(const std::vector<Row>& table) {
  return testing::ValuesIn(table);
}

/// Names the tests of a table after their rows.
inline constexpr auto rowName = [](const auto& row) { return std::string(row.param.name); };

/// A copy of some bytes with nothing behind the last of them, so that a sanitizer sees any read
/// past the end.
class ExactBytes {
 public:
  explicit ExactBytes(std::string_view bytes)
      : bytes_(std::make_unique<char[]>(bytes.size())), size_(bytes.size()) {
    if (size_ != 0) std::memcpy(bytes_.get(), bytes.data(), size_);
  }
  std::string_view view() const { return {bytes_.get(), size_}; }

 private:
  std::unique_ptr<char[]> bytes_;
  std::size_t size_;
};

}  // namespace tavrine
