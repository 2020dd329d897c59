#include <TavrineShared/model/value_type.h>

namespace tavrine {

namespace {

std::string_view kindOfValue(std::string_view json) {
  switch (JSONReader(json).peek()) {
    case JSONKind::null:
      return "null";
    case JSONKind::boolean:
      return "true or false";
    case JSONKind::number:
      return "a number";
    case JSONKind::text:
      return "a text";
    case JSONKind::list:
      return "a list";
    case JSONKind::object:
      return "an object";
    case JSONKind::none:
      break;
  }
  return "nothing";
}

// A key or a position, followed by what comes below it.
std::string prepend(const CodingPath& node, const std::string& rest) {
  std::string text;
  if (node.isKey()) {
    text = excerpt(node.key);
  } else {
    text.append("[").append(std::to_string(node.index)).append("]");
  }
  if (!rest.empty() && rest.front() != '[') text += '.';
  return text.append(rest);
}

}  // namespace

std::string CodingPath::text(const CodingPath* path, const CodingPath* base) {
  // Records nest a handful deep, so building from the end costs nothing that matters.
  std::string text;
  for (; path != nullptr && path != base; path = path->parent) text = prepend(*path, text);
  return text;
}

void DecodeContext::tell(JSONResult result, const ValueType& type, std::string_view found) const {
  if (problem == nullptr || result == JSONResult::inner || result == JSONResult::notJSON) return;
  const std::string wanted = type.describe();
  problem->path = CodingPath::text(path, problemBase);
  problem->found = excerpt(found);
  switch (result) {
    case JSONResult::null:
      problem->kind = DecodingError::Kind::valueNotFound;
      problem->reason = "expected " + wanted + ", found null";
      break;
    case JSONResult::wrongType:
      problem->kind = DecodingError::Kind::typeMismatch;
      problem->reason = "expected " + wanted + ", found ";
      problem->reason += kindOfValue(found);
      break;
    default:
      problem->kind = DecodingError::Kind::dataCorrupted;
      problem->reason = "not " + wanted;
      break;
  }
}

void DecodeContext::tellMissingKey() const {
  if (problem == nullptr) return;
  problem->kind = DecodingError::Kind::keyNotFound;
  problem->path = CodingPath::text(path, problemBase);
  problem->reason = "required key is missing";
  problem->found.clear();
}

void DecodeContext::tellRepeatedKey(std::string_view found) const {
  if (findings == nullptr) return;
  findings->add(FindingOutcome::ignored, [&] {
    Finding finding = findingHere();
    finding.found = excerpt(found);
    finding.reason = "the key stands twice in its object; the first value counts";
    return finding;
  });
}

void DecodeContext::tellUnreadableList(std::string_view found) const {
  if (findings == nullptr) return;
  findings->add(FindingOutcome::listEmptied, [&] {
    Finding finding = findingHere();
    finding.found = excerpt(found);
    finding.reason = "expected a list, found " + std::string(kindOfValue(found));
    return finding;
  });
}

Finding DecodeContext::findingHere() const {
  Finding finding{};
  if (findingsLine > 0) finding.line = findingsLine;
  finding.path = CodingPath::text(path);
  return finding;
}

bool EncodeContext::fail(std::string_view reason) const {
  problem->path = CodingPath::text(path);
  problem->reason = reason;
  return false;
}

}  // namespace tavrine
