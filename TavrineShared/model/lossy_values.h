// Elements that are dropped where they cannot be read, and the lenient lists made of them.
#pragma once

#include <TavrineShared/foundation/json_reader.h>
#include <TavrineShared/foundation/json_writer.h>
#include <TavrineShared/model/findings.h>
#include <TavrineShared/model/json_values.h>
#include <TavrineShared/model/value_type.h>

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace tavrine {

/// One element read so that it cannot fail: `value` is empty when it could not be decoded.
template <class T>
struct LossyDecodable {
  std::optional<T> value;

  bool operator==(const LossyDecodable&) const = default;
};

namespace detail {

/// The context in which a value is read whose failure costs no more than itself: its problem, if
/// anyone wants to know it, ends in a finding.
DecodeContext lossyContext(const DecodeContext& context, DecodingProblem& problem);
void tellLoss(const DecodeContext& lossy, FindingOutcome outcome);

template <class T>
bool decodeLossyElement(JSONReader& reader, T& element, DecodeContext& lossy) {
  const char* const start = reader.position();
  const JSONResult result = ValueForm<T>::decode(reader, element, lossy);
  if (result == JSONResult::ok) return true;
  if (lossy.findings != nullptr && result != JSONResult::notJSON) {
    lossy.tell(result, kValueType<T>, {start, reader.position()});
    tellLoss(lossy, FindingOutcome::elementDropped);
    // From here on losses are only counted, so none needs to be put into words.
    if (!lossy.findings->hasRoom()) lossy.problem = nullptr;
  }
  return false;
}

}  // namespace detail

template <class T>
struct ValueForm<LossyDecodable<T>> {
  static std::string describe() { return ValueForm<T>::describe(); }
  static JSONResult decode(JSONReader& reader, LossyDecodable<T>& element,
                           const DecodeContext& context) {
    DecodingProblem problem;
    DecodeContext lossy = detail::lossyContext(context, problem);
    if (!detail::decodeLossyElement(reader, element.value.emplace(), lossy)) element.value.reset();
    return JSONResult::ok;
  }
  static bool encode(JSONWriter& writer, const LossyDecodable<T>& element,
                     const EncodeContext& context) {
    return ValueForm<std::optional<T>>::encode(writer, element.value, context);
  }
  static std::size_t hash(const LossyDecodable<T>& element) {
    return ValueForm<std::optional<T>>::hash(element.value);
  }
  static void schema(const SchemaContext& context) { ValueForm<T>::schema(context); }
};

/// The lenient list: a value that is no list reads as the empty list, and an element that fails to
/// decode is dropped while its siblings are kept, in their order. Never fails its record.
template <class T>
void decodeLossyArray(JSONReader& reader, std::vector<T>& list, const DecodeContext& context) {
  list.clear();
  const char* const start = reader.position();
  if (const JSONResult result = reader.enterList(); result != JSONResult::ok) {
    if (result == JSONResult::wrongType) context.tellUnreadableList({start, reader.position()});
    return;
  }
  CodingPath here{context.path};
  DecodingProblem problem;
  DecodeContext lossy = detail::lossyContext(context, problem);
  lossy.path = lossy.problemBase = &here;
  for (; reader.nextElement(); ++here.index) {
    if (here.index == 0) detail::makeRoom(list, context);
    if (!detail::decodeLossyElement(reader, list.emplace_back(), lossy)) list.pop_back();
  }
  detail::rememberSize(list, context);
}

}  // namespace tavrine
