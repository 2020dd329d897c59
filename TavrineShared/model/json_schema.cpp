#include <TavrineShared/model/json_schema.h>

#include <TavrineShared/model/field_table.h>

#include <algorithm>
#include <string_view>

namespace tavrine {

namespace {

constexpr std::string_view kDefinitions = "#/$defs/";

constexpr std::string_view kReadersOfAll =
    "What is written. Besides, readers take further keys, which they ignore, UUIDs in lower case, "
    "and times with an offset such as +02:00 in place of Z. What else they make of a field stands "
    "with it as x-reader.";

std::string whatMissingGives(const Field& field) {
  switch (field.whenMissing) {
    case WhenMissing::fails:
      return "";
    case WhenMissing::staysEmpty:
      return field.type->isPresent != nullptr ? "no value" : "an empty list";
    case WhenMissing::takesDefault:
      break;
  }
  if (field.writeDefault != nullptr) return "the default";
  return field.type->isPresent != nullptr ? "no value" : "the time of reading";
}

// What a reader makes of a value other than the schema describes it.
std::string readerNote(const Field& field) {
  const std::string otherwise = whatMissingGives(field);
  switch (field.type->leniency) {
    case Leniency::dropsBadElements:
      return "missing, null or no list: " + otherwise + "; a bad element is dropped";
    case Leniency::takesAnything:
      return "missing, null or unreadable: " + otherwise;
    case Leniency::takesSeconds:
    case Leniency::none:
      break;
  }
  std::string note = otherwise.empty() ? "required" : "missing or null: " + otherwise;
  if (field.type->leniency == Leniency::takesSeconds) {
    note.append("; may be a number of seconds since 1970-01-01T00:00:00Z");
  }
  return note;
}

void writeText(JSONWriter& writer, std::string_view key, std::string_view text) {
  writer.plainKey(key);
  writer.plainText(text);
}

void writeProperty(const Field& field, const SchemaContext& context) {
  JSONWriter& writer = context.writer;
  writer.plainKey(field.key);
  writer.beginObject();
  field.type->schema(context);
  if (field.writeDefault != nullptr) {
    writer.plainKey("default");
    field.writeDefault(writer);
  }
  writeText(writer, "x-reader", readerNote(field));
  writer.endObject();
}

void writeDefinition(const RecordTable& table, const SchemaContext& context) {
  JSONWriter& writer = context.writer;
  writer.plainKey(table.name);
  writer.beginObject();
  writer.plainKey("additionalProperties");
  writer.boolean(false);
  writer.plainKey("properties");
  writer.beginObject();
  for (const Field& field : table.byKey) writeProperty(field, context);
  writer.endObject();
  writer.plainKey("required");
  writer.beginList();
  for (const Field& field : table.byKey) {
    if (field.type->isPresent != nullptr) continue;
    writer.element();
    writer.plainText(field.key);
  }
  writer.endList();
  writeText(writer, "type", "object");
  writer.endObject();
}

// As deep as the records are declared, whatever a document may hold.
void collect(const RecordTable& table,  // NOLINT(misc-no-recursion)
             std::vector<const RecordTable*>& records) {
  if (std::find(records.begin(), records.end(), &table) != records.end()) return;
  records.push_back(&table);
  for (const Field& field : table.fields) {
    JSONWriter unread(JSONStyle::compact);
    unread.beginObject();
    std::vector<const RecordTable*> inside;
    field.type->schema({unread, inside});
    for (const RecordTable* const record : inside) collect(*record, records);
  }
}

}  // namespace

void referTo(const RecordTable& table, const SchemaContext& context) {
  writeText(context.writer, "$ref", std::string(kDefinitions).append(table.name));
  auto& records = context.records;
  if (std::find(records.begin(), records.end(), &table) == records.end()) {
    records.push_back(&table);
  }
}

std::vector<const RecordTable*> recordsWithin(const RecordTable& root) {
  std::vector<const RecordTable*> records;
  collect(root, records);
  return records;
}

std::string jsonSchema(const RecordTable& root, JSONStyle style) {
  std::vector<const RecordTable*> records = recordsWithin(root);
  std::sort(records.begin(), records.end(), [](const RecordTable* a, const RecordTable* b) {
    return a->name < b->name;
  });
  JSONWriter writer(style);
  writer.beginObject();
  writer.plainKey("$defs");
  writer.beginObject();
  std::vector<const RecordTable*> met = records;
  for (const RecordTable* const table : records) writeDefinition(*table, {writer, met});
  writer.endObject();
  writeText(writer, "$ref", std::string(kDefinitions).append(root.name));
  writeText(writer, "$schema", "https://json-schema.org/draft/2020-12/schema");
  writeText(writer, "description", kReadersOfAll);
  writeText(writer, "title", root.name);
  writer.endObject();
  return writer.take();
}

}  // namespace tavrine
