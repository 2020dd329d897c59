// Records and lists of them to JSON and back.
//
//   const auto gpus = decode<std::vector<GPUStat>>(text);
//   const std::string document = encode(gpus, JSONStyle::pretty);
//
// A record is one object whose keys are its field names. Written keys stand in ascending order of
// their bytes, absent optionals are left out, times are UTC with whole seconds. Reading takes keys
// in any order, ignores keys it does not know, takes null for an absent optional and drops bad
// elements of lenient lists; how a record declares all that is in field_table.h.
#pragma once

#include <TavrineShared/model/coding_error.h>
#include <TavrineShared/model/findings.h>
#include <TavrineShared/model/json_values.h>
#include <TavrineShared/model/lossy_values.h>
#include <TavrineShared/model/record.h>
#include <TavrineShared/model/value_type.h>

#include <string>
#include <string_view>

namespace tavrine {

namespace detail {
void decodeDocument(std::string_view document, const ValueType& type, void* value,
                    Findings* findings);
std::string encodeDocument(const ValueType& type, const void* value, JSONStyle style);
void encodeDocument(const ValueType& type, const void* value, JSONStyle style,
                    const JSONSink& sink);
}  // namespace detail

/// The one value of a JSON document. Throws `DecodingError`; what lenient rules passed over on the
/// way is told in `findings` when given. A document that is not JSON anywhere, be it in a part that
/// would have been dropped, is not decoded at all; findings met before that showed then stay.
template <class T>
T decode(std::string_view document, Findings* findings = nullptr) {
  T value{};
  detail::decodeDocument(document, kValueType<T>, &value, findings);
  return value;
}

/// The JSON document of one value. Throws `EncodingError`.
template <class T>
std::string encode(const T& value, JSONStyle style = JSONStyle::compact) {
  return detail::encodeDocument(kValueType<T>, &value, style);
}

/// The same document in pieces, none of which need be kept. Where it throws, some have been handed
/// on already.
template <class T>
void encode(const T& value, JSONStyle style, const JSONSink& sink) {
  detail::encodeDocument(kValueType<T>, &value, style, sink);
}

}  // namespace tavrine
