// A small record, as an element of others.
#pragma once

#include <TavrineShared/model/field_table.h>

#include <cstdint>

namespace tavrine {

struct Point {
  std::int64_t x;
  double y;

  bool operator==(const Point&) const = default;
  static const RecordTable& table();
};

inline const RecordTable& Point::table() {
  using R = Point;
  static constexpr auto fields = fieldsOf<R>(field<&R::x>(), field<&R::y>());
  static constexpr RecordTable table{"Point", fields};
  return table;
}

}  // namespace tavrine
