// The JSON form and the hash of every C++ type that a record's field may have, each written once.
//
// A type takes part by a specialisation of `ValueForm`; `ValueType` is the same with the type
// erased, so that the loops over a record's fields are plain code.
#pragma once

#include <TavrineShared/foundation/json_reader.h>
#include <TavrineShared/foundation/json_writer.h>
#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/foundation/uuid.h>
#include <TavrineShared/model/coding_error.h>
#include <TavrineShared/model/document_habits.h>
#include <TavrineShared/model/findings.h>
#include <TavrineShared/model/record.h>
#include <TavrineShared/model/vocabulary.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// Where in a document a value stands: one node on the stack for each record or list around it.
struct CodingPath {
  const CodingPath* parent = nullptr;
  std::string_view key = {};  ///< the key in the object or, where it is null,
  std::size_t index = 0;      ///< the position in the list

  bool isKey() const { return key.data() != nullptr; }

  /// Such as "servers[2].gpus[0].name", from below `base` on; no base is the document's root.
  static std::string text(const CodingPath* path, const CodingPath* base = nullptr);
};

/// Whether a text may stand for a time. Recorder lines know numbers of seconds only.
enum class TimeTexts : std::uint8_t { iso8601, none };

struct ValueType;

/// What a `DecodingError` says, before anyone knows whether it will be thrown.
struct DecodingProblem {
  DecodingError::Kind kind{};
  std::string path;
  std::string reason;
  std::string found;
};

/// What a decoder knows of its surroundings. A value that fails is told in `problem`; where that
/// is null nobody will ask, and nothing is put together.
struct DecodeContext {
  const CodingPath* path = nullptr;
  Findings* findings = nullptr;
  DecodingProblem* problem = nullptr;
  const CodingPath* problemBase = nullptr;  ///< problem paths count from below this node
  TimeTexts timeTexts = TimeTexts::iso8601;
  DocumentHabits* habits = nullptr;  ///< where anyone keeps them
  std::int64_t findingsLine = 0;     ///< of a text whose lines are documents; 0 in others

  /// Tells why the value at `path`, spelled `found`, could not be read as `type`. A problem deeper
  /// inside has been told already, and of a syntax error the reader itself knows most.
  void tell(JSONResult result, const ValueType& type, std::string_view found) const;
  void tellMissingKey() const;
  /// Tells that a later value of one key was ignored.
  void tellRepeatedKey(std::string_view found) const;
  /// What findings about this place begin with.
  Finding findingHere() const;
};

/// What an `EncodingError` says.
struct EncodingProblem {
  std::string path;
  std::string_view reason;
};

/// What an encoder knows of its surroundings.
struct EncodeContext {
  const CodingPath* path = nullptr;
  EncodingProblem* problem = nullptr;

  /// Always false, the answer of an `encode` that fails.
  bool fail(std::string_view reason) const;
};

struct RecordTable;

/// Where a type describes what `encode` writes, in the words of JSON Schema.
struct SchemaContext {
  JSONWriter& writer;
  std::vector<const RecordTable*>& records;  ///< those that were referred to, each once
};

/// Is shown each record that a value holds, the outer before the inner.
using RecordVisitor = std::function<void(const RecordTable& table, const void* record)>;
/// The same, and may change the fields of what it is shown.
using RecordEditor = std::function<void(const RecordTable& table, void* record)>;

/// What a form reads besides that which it writes.
enum class Leniency : std::uint8_t {
  none,
  dropsBadElements,  ///< and takes what is no list for an empty one
  takesAnything,     ///< and gives the default for what it cannot read
  takesSeconds,      ///< numbers of seconds since 1970, for times
};

/// `ValueForm<T>` gives a T its JSON form and hash:
///   describe()                 what error messages call it: "expected ..., found a list"
///   decode(reader, value, c)   consumes one value; on failure `value` is left in some valid state
///   encode(writer, value, c)   writes one value; false when it has no JSON form
///   hash(value)                equal values hash equally, 0.0 and -0.0 too
///   schema(c)                  writes the members of the schema of what `encode` writes
/// and, where it applies:
///   isPresent(value)           whether a record writes it at all
///   visitRecords(value, v)     shows the records inside
///   kLeniency
template <class T>
struct ValueForm;

/// `ValueForm` of some type with the type erased, for the tables of records.
struct ValueType {
  std::string (*describe)();
  JSONResult (*decode)(JSONReader& reader, void* value, const DecodeContext& context);
  bool (*encode)(JSONWriter& writer, const void* value, const EncodeContext& context);
  std::size_t (*hash)(const void* value);
  void (*schema)(const SchemaContext& context);
  bool (*isPresent)(const void* value);  ///< null for types that always hold a value
  void (*visitRecords)(const void* value, const RecordVisitor& visit);  ///< null where none can be
  Leniency leniency;
  std::size_t size;
  std::size_t alignment;
};

template <class Form, class T>
concept HoldsRecords = requires(const T& value, const RecordVisitor& visit) {
  Form::visitRecords(value, visit);
};

/// Erases `T` with its own form, or with another rule of reading it.
template <class T, class Form = ValueForm<T>>
inline constexpr ValueType kValueType = {
    [] { return Form::describe(); },
    [](JSONReader& reader, void* value, const DecodeContext& context) {
      return Form::decode(reader, *static_cast<T*>(value), context);
    },
    [](JSONWriter& writer, const void* value, const EncodeContext& context) {
      return Form::encode(writer, *static_cast<const T*>(value), context);
    },
    [](const void* value) { return Form::hash(*static_cast<const T*>(value)); },
    [](const SchemaContext& context) { Form::schema(context); },
    []() -> bool (*)(const void*) {
      if constexpr (requires(const T& value) { Form::isPresent(value); }) {
        return [](const void* value) { return Form::isPresent(*static_cast<const T*>(value)); };
      }
      return nullptr;
    }(),
    []() -> void (*)(const void*, const RecordVisitor&) {
      if constexpr (HoldsRecords<Form, T>) {
        return [](const void* value, const RecordVisitor& visit) {
          Form::visitRecords(*static_cast<const T*>(value), visit);
        };
      }
      return nullptr;
    }(),
    [] {
      if constexpr (requires { Form::kLeniency; }) return Form::kLeniency;
      return Leniency::none;
    }(),
    sizeof(T),
    alignof(T),
};

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
void tellUnreadableList(const DecodeContext& context, std::string_view found);

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
    if (result == JSONResult::wrongType) {
      detail::tellUnreadableList(context, {start, reader.position()});
    }
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

/// An integer that may be missing or null, which both give no value. A number that is no integer
/// of 64 bits fails, as does any other JSON type: a reader that sees the number as an integer
/// first never gets to try it as a float.
JSONResult decodeFlexibleInt64(JSONReader& reader, std::optional<std::int64_t>& value,
                               const DecodeContext& context);

}  // namespace tavrine
