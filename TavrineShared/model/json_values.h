// The JSON form and the hash of every C++ type that a record's field may have, each written once.
#pragma once

#include <TavrineShared/foundation/json_reader.h>
#include <TavrineShared/foundation/json_writer.h>
#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/foundation/uuid.h>
#include <TavrineShared/model/document_habits.h>
#include <TavrineShared/model/record.h>
#include <TavrineShared/model/value_type.h>
#include <TavrineShared/model/vocabulary.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

inline std::size_t combineHashes(std::size_t seed, std::size_t hash) {
  return (seed ^ hash) * 0x9E3779B97F4A7C15U + (seed >> 32U);
}

template <class T>
struct StandardHash {
  static std::size_t hash(const T& value) { return std::hash<T>()(value); }
};

template <>
struct ValueForm<std::int64_t> : StandardHash<std::int64_t> {
  static std::string describe() { return "a 64-bit integer"; }
  static JSONResult decode(JSONReader& reader, std::int64_t& value, const DecodeContext&) {
    return reader.readInteger(value);
  }
  static bool encode(JSONWriter& writer, std::int64_t value, const EncodeContext&) {
    writer.integer(value);
    return true;
  }
  static void schema(const SchemaContext& context);
};

template <>
struct ValueForm<double> : StandardHash<double> {
  static std::string describe() { return "a finite number"; }
  static JSONResult decode(JSONReader& reader, double& value, const DecodeContext&) {
    return reader.readDouble(value);
  }
  static bool encode(JSONWriter& writer, double value, const EncodeContext& context) {
    // Records with -0.0 and with 0.0 are equal, and equal records have equal texts.
    const bool isWritten = writer.number(value + 0.0);
    return isWritten || context.fail("a number that is not finite has no JSON form");
  }
  static void schema(const SchemaContext& context);
};

template <>
struct ValueForm<bool> : StandardHash<bool> {
  static std::string describe() { return "true or false"; }
  static JSONResult decode(JSONReader& reader, bool& value, const DecodeContext&) {
    return reader.readBoolean(value);
  }
  static bool encode(JSONWriter& writer, bool value, const EncodeContext&) {
    writer.boolean(value);
    return true;
  }
  static void schema(const SchemaContext& context);
};

template <>
struct ValueForm<std::string> : StandardHash<std::string> {
  static std::string describe() { return "a text"; }
  static JSONResult decode(JSONReader& reader, std::string& value, const DecodeContext&) {
    return reader.readText(value);
  }
  static bool encode(JSONWriter& writer, const std::string& value, const EncodeContext&) {
    writer.text(value);
    return true;
  }
  static void schema(const SchemaContext& context);
};

template <>
struct ValueForm<Timestamp> {
  static std::string describe() { return "a time of the form 2026-11-15T17:48:25Z"; }
  static JSONResult decode(JSONReader& reader, Timestamp& value, const DecodeContext& context);
  static bool encode(JSONWriter& writer, Timestamp value, const EncodeContext& context);
  static std::size_t hash(Timestamp value) { return hashOf(value); }
  static void schema(const SchemaContext& context);
};

template <>
struct ValueForm<UUID> : StandardHash<UUID> {
  static std::string describe() { return "a UUID"; }
  static JSONResult decode(JSONReader& reader, UUID& value, const DecodeContext& context);
  static bool encode(JSONWriter& writer, const UUID& value, const EncodeContext& context);
  static void schema(const SchemaContext& context);
};

template <VocabularyType V>
struct ValueForm<V> : StandardHash<V> {
  static std::string describe() {
    std::string text = "one of";
    for (const V value : V::allCases()) {
      text.append(text.ends_with("of") ? " " : ", ").append(value.rawValue());
    }
    return text;
  }
  static JSONResult decode(JSONReader& reader, V& value, const DecodeContext&) {
    std::string_view text;
    if (const JSONResult result = reader.readTextView(text); result != JSONResult::ok) {
      // What is no text stands for no case any more than an unknown text does.
      return result == JSONResult::notJSON ? result : JSONResult::malformed;
    }
    const std::optional<V> known = V::fromRawValue(text);
    if (!known) return JSONResult::malformed;
    value = *known;
    return JSONResult::ok;
  }
  static bool encode(JSONWriter& writer, V value, const EncodeContext&) {
    writer.plainText(value.rawValue());
    return true;
  }
  static void schema(const SchemaContext& context) {
    context.writer.plainKey("enum");
    context.writer.beginList();
    for (const V value : V::allCases()) {
      context.writer.element();
      context.writer.plainText(value.rawValue());
    }
    context.writer.endList();
  }
};

JSONResult decodeRecord(const RecordTable& table, JSONReader& reader, void* record,
                        const DecodeContext& outer);
bool encodeRecord(const RecordTable& table, JSONWriter& writer, const void* record,
                  const EncodeContext& outer);
void visitRecords(const RecordTable& table, const void* record, const RecordVisitor& visit);
void editRecords(const RecordTable& table, void* record, const RecordEditor& edit);
void referTo(const RecordTable& table, const SchemaContext& context);

template <Record T>
struct ValueForm<T> {
  static std::string describe() { return "an object"; }
  static JSONResult decode(JSONReader& reader, T& value, const DecodeContext& context) {
    return decodeRecord(T::table(), reader, &value, context);
  }
  static bool encode(JSONWriter& writer, const T& value, const EncodeContext& context) {
    return encodeRecord(T::table(), writer, &value, context);
  }
  static std::size_t hash(const T& value) { return hashRecord(T::table(), &value); }
  static void schema(const SchemaContext& context) { referTo(T::table(), context); }
  static void visitRecords(const T& value, const RecordVisitor& visit) {
    tavrine::visitRecords(T::table(), &value, visit);
  }
};

/// Null reads as no value. A record leaves out the key of what has no value; where there is no key,
/// null is written.
template <class T>
struct ValueForm<std::optional<T>> {
  static std::string describe() { return ValueForm<T>::describe(); }
  static JSONResult decode(JSONReader& reader, std::optional<T>& value,
                           const DecodeContext& context) {
    value.reset();
    if (reader.consumeNull()) return JSONResult::ok;
    const JSONResult result = ValueForm<T>::decode(reader, value.emplace(), context);
    if (result != JSONResult::ok) value.reset();
    return result;
  }
  static bool encode(JSONWriter& writer, const std::optional<T>& value,
                     const EncodeContext& context) {
    if (value) return ValueForm<T>::encode(writer, *value, context);
    writer.null();
    return true;
  }
  static std::size_t hash(const std::optional<T>& value) {
    // Far from any number that a record holds, so that none hashes like no value.
    constexpr std::size_t kSeed = 0x6A09E667F3BCC909U;
    return value ? combineHashes(kSeed, ValueForm<T>::hash(*value)) : 0;
  }
  static bool isPresent(const std::optional<T>& value) { return value.has_value(); }
  static void schema(const SchemaContext& context) { ValueForm<T>::schema(context); }
  static void visitRecords(const std::optional<T>& value,
                           const RecordVisitor& visit) requires HoldsRecords<ValueForm<T>, T> {
    if (value) ValueForm<T>::visitRecords(*value, visit);
  }
};

namespace detail {

/// Before the first element of a list is read.
template <class T>
void makeRoom(std::vector<T>& list, const DecodeContext& context) {
  constexpr std::size_t kLeast = 4;
  const bool isKnown = context.habits != nullptr && context.path != nullptr;
  const std::size_t expected =
      isKnown ? context.habits->listSizes.of(context.path->key) / sizeof(T) : 0;
  list.reserve(std::max(expected, kLeast));
}

/// Behind the last one.
template <class T>
void rememberSize(const std::vector<T>& list, const DecodeContext& context) {
  if (context.habits == nullptr || context.path == nullptr) return;
  context.habits->listSizes.of(context.path->key) = list.size() * sizeof(T);
}

}  // namespace detail

/// A plain list: one bad element fails it.
template <class T>
struct ValueForm<std::vector<T>> {
  static std::string describe() { return "a list"; }
  static JSONResult decode(JSONReader& reader, std::vector<T>& list, const DecodeContext& context) {
    list.clear();
    if (const JSONResult result = reader.enterList(); result != JSONResult::ok) return result;
    CodingPath here{context.path};
    DecodeContext inner = context;
    inner.path = &here;
    for (; reader.nextElement(); ++here.index) {
      if (here.index == 0) detail::makeRoom(list, context);
      const char* const start = reader.position();
      const JSONResult result = ValueForm<T>::decode(reader, list.emplace_back(), inner);
      if (result == JSONResult::ok) continue;
      inner.tell(result, kValueType<T>, {start, reader.position()});
      reader.skipRestOfList();
      return JSONResult::inner;
    }
    detail::rememberSize(list, context);
    return JSONResult::ok;
  }
  static bool encode(JSONWriter& writer, const std::vector<T>& list, const EncodeContext& context) {
    CodingPath here{context.path};
    EncodeContext inner = context;
    inner.path = &here;
    writer.beginList();
    for (const T& element : list) {
      writer.element();
      if (!ValueForm<T>::encode(writer, element, inner)) return false;
      ++here.index;
    }
    writer.endList();
    return true;
  }
  static std::size_t hash(const std::vector<T>& list) {
    std::size_t seed = list.size();
    for (const T& element : list) seed = combineHashes(seed, ValueForm<T>::hash(element));
    return seed;
  }
  static void schema(const SchemaContext& context) {
    context.writer.plainKey("items");
    context.writer.beginObject();
    ValueForm<T>::schema(context);
    context.writer.endObject();
    context.writer.plainKey("type");
    context.writer.plainText("array");
  }
  static void visitRecords(const std::vector<T>& list,
                           const RecordVisitor& visit) requires HoldsRecords<ValueForm<T>, T> {
    for (const T& element : list) ValueForm<T>::visitRecords(element, visit);
  }
};

/// An object whose members are all texts; of a key that stands twice the first value counts.
template <>
struct ValueForm<std::map<std::string, std::string>> {
  using Map = std::map<std::string, std::string>;
  static std::string describe() { return "an object of texts"; }
  static JSONResult decode(JSONReader& reader, Map& map, const DecodeContext& context);
  static bool encode(JSONWriter& writer, const Map& map, const EncodeContext& context);
  static std::size_t hash(const Map& map);
  static void schema(const SchemaContext& context);
};

/// An integer that may be missing or null, which both give no value. A number that is no integer
/// of 64 bits fails, as does any other JSON type: a reader that sees the number as an integer
/// first never gets to try it as a float.
JSONResult decodeFlexibleInt64(JSONReader& reader, std::optional<std::int64_t>& value,
                               const DecodeContext& context);

}  // namespace tavrine
