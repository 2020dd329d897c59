// What a C++ type has to say of itself to stand in a document, and what is known where it stands.
//
// A type takes part by a specialisation of `ValueForm`, as in json_values.h; `ValueType` is the
// same with the type erased, so that the loops over a record's fields are plain code.
#pragma once

#include <TavrineShared/foundation/json_reader.h>
#include <TavrineShared/foundation/json_writer.h>
#include <TavrineShared/model/coding_error.h>
#include <TavrineShared/model/document_habits.h>
#include <TavrineShared/model/findings.h>

#include <cstddef>
#include <cstdint>
#include <functional>
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
  /// Tells that what stands in place of a lenient list was taken for an empty one.
  void tellUnreadableList(std::string_view found) const;
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

}  // namespace tavrine
