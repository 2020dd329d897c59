#include <TavrineShared/model/json_values.h>

#include <array>
#include <limits>

namespace tavrine {

namespace {

void writeMember(const SchemaContext& context, std::string_view key, std::string_view text) {
  context.writer.plainKey(key);
  context.writer.plainText(text);
}

}  // namespace

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

JSONResult decodeFlexibleInt64(JSONReader& reader, std::optional<std::int64_t>& value,
                               const DecodeContext& context) {
  return ValueForm<std::optional<std::int64_t>>::decode(reader, value, context);
}

}  // namespace tavrine
