// How failing tests show the values of the JSON reader.
#pragma once

#include <TavrineShared/foundation/json_reader.h>
#include <TavrineShared/model/coding_error.h>

#include <ostream>

namespace tavrine {

inline void PrintTo(JSONResult result, std::ostream* out) {
  switch (result) {
    case JSONResult::ok:
      *out << "ok";
      return;
    case JSONResult::null:
      *out << "null";
      return;
    case JSONResult::wrongType:
      *out << "wrongType";
      return;
    case JSONResult::outOfRange:
      *out << "outOfRange";
      return;
    case JSONResult::malformed:
      *out << "malformed";
      return;
    case JSONResult::inner:
      *out << "inner";
      return;
    case JSONResult::notJSON:
      *out << "notJSON";
      return;
  }
}

inline void PrintTo(JSONKind kind, std::ostream* out) {
  switch (kind) {
    case JSONKind::null:
      *out << "null";
      return;
    case JSONKind::boolean:
      *out << "boolean";
      return;
    case JSONKind::number:
      *out << "number";
      return;
    case JSONKind::text:
      *out << "text";
      return;
    case JSONKind::list:
      *out << "list";
      return;
    case JSONKind::object:
      *out << "object";
      return;
    case JSONKind::none:
      *out << "none";
      return;
  }
}

inline void PrintTo(DecodingError::Kind kind, std::ostream* out) {
  switch (kind) {
    case DecodingError::Kind::notJSON:
      *out << "notJSON";
      return;
    case DecodingError::Kind::keyNotFound:
      *out << "keyNotFound";
      return;
    case DecodingError::Kind::valueNotFound:
      *out << "valueNotFound";
      return;
    case DecodingError::Kind::typeMismatch:
      *out << "typeMismatch";
      return;
    case DecodingError::Kind::dataCorrupted:
      *out << "dataCorrupted";
      return;
  }
}

}  // namespace tavrine
