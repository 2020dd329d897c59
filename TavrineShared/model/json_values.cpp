#include <TavrineShared/model/json_values.h>

#include <array>
#include <limits>

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

void writeMember(const SchemaContext& context, std::string_view key, std::string_view text) {
  context.writer.plainKey(key);
  context.writer.plainText(text);
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

JSONResult ValueForm<Timestamp>::decode(JSONReader& reader, Timestamp& value,
                                        const DecodeContext& context) {
  if (context.timeTexts == TimeTexts::none) {
    if (reader.consumeNull()) return JSONResult::null;
    return reader.skip() ? JSONResult::wrongType : JSONResult::notJSON;
  }
  std::string_view text;
  if (const JSONResult result = reader.readTextView(text); result != JSONResult::ok) return result;
  const std::optional<Timestamp> time = timestampFromISO8601(text);
  if (!time) return JSONResult::malformed;
  value = *time;
  return JSONResult::ok;
}

bool ValueForm<Timestamp>::encode(JSONWriter& writer, Timestamp value,
                                  const EncodeContext& context) {
  std::array<char, kISO8601Length> text;
  if (!writeISO8601(value, text)) {
    return context.fail("a time outside the years 0000 to 9999 has no JSON form");
  }
  writer.plainText({text.data(), text.size()});
  return true;
}

JSONResult ValueForm<UUID>::decode(JSONReader& reader, UUID& value, const DecodeContext&) {
  std::string_view text;
  if (const JSONResult result = reader.readTextView(text); result != JSONResult::ok) return result;
  const std::optional<UUID> uuid = UUID::fromText(text);
  if (!uuid) return JSONResult::malformed;
  value = *uuid;
  return JSONResult::ok;
}

bool ValueForm<UUID>::encode(JSONWriter& writer, const UUID& value, const EncodeContext&) {
  std::array<char, UUID::kTextLength> text;
  value.writeText(text);
  writer.plainText({text.data(), text.size()});
  return true;
}

using TextMapForm = ValueForm<std::map<std::string, std::string>>;

JSONResult TextMapForm::decode(JSONReader& reader, Map& map, const DecodeContext& context) {
  map.clear();
  if (const JSONResult result = reader.enterObject(); result != JSONResult::ok) return result;
  std::string_view key;
  while (reader.nextKey(key)) {
    const auto [member, isNew] = map.try_emplace(std::string(key));
    CodingPath here{context.path, member->first};
    DecodeContext inner = context;
    inner.path = &here;
    const char* const start = reader.position();
    if (!isNew) {
      reader.skip();
      inner.tellRepeatedKey({start, reader.position()});
      continue;
    }
    const JSONResult result = reader.readText(member->second);
    if (result == JSONResult::ok) continue;
    inner.tell(result, kValueType<std::string>, {start, reader.position()});
    reader.skipRestOfObject();
    return JSONResult::inner;
  }
  return JSONResult::ok;
}

bool TextMapForm::encode(JSONWriter& writer, const Map& map, const EncodeContext&) {
  // std::map keeps its keys in the order of their bytes, which is the order they are written in.
  writer.beginObject();
  for (const auto& [key, value] : map) {
    writer.key(key);
    writer.text(value);
  }
  writer.endObject();
  return true;
}

std::size_t TextMapForm::hash(const Map& map) {
  std::size_t seed = map.size();
  for (const auto& [key, value] : map) {
    seed = combineHashes(combineHashes(seed, std::hash<std::string>()(key)),
                         std::hash<std::string>()(value));
  }
  return seed;
}

void ValueForm<std::int64_t>::schema(const SchemaContext& context) {
  using Limits = std::numeric_limits<std::int64_t>;
  context.writer.plainKey("maximum");
  context.writer.integer(Limits::max());
  context.writer.plainKey("minimum");
  context.writer.integer(Limits::min());
  writeMember(context, "type", "integer");
}

void ValueForm<double>::schema(const SchemaContext& context) {
  writeMember(context, "type", "number");
}

void ValueForm<bool>::schema(const SchemaContext& context) {
  writeMember(context, "type", "boolean");
}

void ValueForm<std::string>::schema(const SchemaContext& context) {
  writeMember(context, "type", "string");
}

void ValueForm<Timestamp>::schema(const SchemaContext& context) {
  writeMember(context, "format", "date-time");
  writeMember(context, "pattern", "^[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}Z$");
  writeMember(context, "type", "string");
}

void ValueForm<UUID>::schema(const SchemaContext& context) {
  writeMember(context, "format", "uuid");
  writeMember(context, "pattern", "^[0-9A-F]{8}-([0-9A-F]{4}-){3}[0-9A-F]{12}$");
  writeMember(context, "type", "string");
}

void TextMapForm::schema(const SchemaContext& context) {
  context.writer.plainKey("additionalProperties");
  context.writer.beginObject();
  ValueForm<std::string>::schema(context);
  context.writer.endObject();
  writeMember(context, "type", "object");
}

namespace detail {

DecodeContext lossyContext(const DecodeContext& context, DecodingProblem& problem) {
  DecodeContext lossy = context;
  lossy.problem = context.findings != nullptr && context.findings->hasRoom() ? &problem : nullptr;
  lossy.problemBase = context.path;
  return lossy;
}

void tellLoss(const DecodeContext& lossy, FindingOutcome outcome) {
  lossy.findings->add(outcome, [&] {
    // While there is room for findings, there is a problem to tell.
    const DecodingProblem& problem = *lossy.problem;
    Finding finding = lossy.findingHere();
    finding.found = problem.found;
    finding.reason = problem.path.empty() ? problem.reason : problem.path + ": " + problem.reason;
    return finding;
  });
}

void tellUnreadableList(const DecodeContext& context, std::string_view found) {
  if (context.findings == nullptr) return;
  context.findings->add(FindingOutcome::listEmptied, [&] {
    Finding finding = context.findingHere();
    finding.found = excerpt(found);
    finding.reason = "expected a list, found " + std::string(kindOfValue(found));
    return finding;
  });
}

}  // namespace detail

JSONResult decodeFlexibleInt64(JSONReader& reader, std::optional<std::int64_t>& value,
                               const DecodeContext& context) {
  return ValueForm<std::optional<std::int64_t>>::decode(reader, value, context);
}

}  // namespace tavrine
