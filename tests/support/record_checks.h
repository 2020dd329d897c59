// What must hold for the JSON form of every record, checked from one full example of it:
//
//   TEST(RetentionStats, followsTheConventions) {
//     checkRecord(example(), R"({"capBytes":200,"days":7,"events":[{"id":"a"}],"path":"/var"})",
//                 {{"days", defaultsTo("14")}, {"events", dropsBadElements()}});
//   }
//
// Checked are: the document itself, both ways and in both styles; for each key what it does when it
// is missing, null, of every wrong type, malformed, out of range, spelled with an escape or there
// twice; bad elements at every position of every list; unknown keys; keys in any order; which of
// several failures is told; that every field takes part in equality and hash, and that 0.0 and -0.0
// hash equally in each; and that the table lists the members as they lie in memory. Findings are
// checked along with the records.
//
// A key is required, or optional when its member is a std::optional, unless the test says
// otherwise. The rules are stated here and not taken from the record's table, because the table is
// what is being checked.
#pragma once

#include <TavrineShared/model/field_table.h>
#include <TavrineShared/model/json_conventions.h>

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

namespace tavrine {

/// How a field departs from being plainly required or optional.
struct FieldRule {
  bool dropsBadElements = false;
  bool forgives = false;
  bool readsSeconds = false;
  /// The JSON of what a missing key or a null stands for; kNoValue and kAnyValue are no JSON.
  std::optional<std::string> defaultValue = {};
};
using FieldRules = std::map<std::string, FieldRule>;

inline constexpr std::string_view kNoValue = "no value";
inline constexpr std::string_view kAnyValue = "any value";

/// A lenient list.
inline FieldRule dropsBadElements() { return {.dropsBadElements = true, .defaultValue = "[]"}; }
/// Missing and null give the default; kAnyValue where it cannot be known, such as the time of
/// decoding.
inline FieldRule defaultsTo(std::string_view json) { return {.defaultValue = std::string(json)}; }
/// As `defaultsTo`, and so does everything that cannot be read; kNoValue for an optional.
inline FieldRule forgives(std::string_view json) {
  return {.forgives = true, .defaultValue = std::string(json)};
}
/// A time that may be a number of seconds.
inline FieldRule readsSeconds(FieldRule rule = {}) {
  rule.readsSeconds = true;
  return rule;
}

namespace record_checks {

/// A record type, with its type erased, and the example of it.
struct Subject {
  const RecordTable& table;
  const void* example;
  std::size_t size;
  std::size_t alignment;
  std::string compact;  ///< the example, written
  std::string pretty;
  std::size_t hash;

  struct Reading {
    std::string compact;  ///< what was read, written again
    std::size_t hash;
    bool isExample;
  };
  std::function<Reading(std::string_view document, Findings* findings)> read;
};

void checkLayout(const RecordTable& table, const void* record, std::size_t size,
                 std::size_t alignment);
void check(const Subject& subject, std::string_view document, const FieldRules& rules);

}  // namespace record_checks

/// The table's entries lie in memory one behind the other, and nothing lies between them.
template <Record T>
void checkLayout() {
  const T record{};
  record_checks::checkLayout(T::table(), &record, sizeof(T), alignof(T));
}

/// `example` must have a value in every optional field, at least one element in every list and map,
/// and whole seconds in its times; `document` is its compact JSON. Keys are ASCII.
template <Record T>
void checkRecord(const T& example, std::string_view document, const FieldRules& rules = {}) {
  checkLayout<T>();
  const auto read = [&example](std::string_view text, Findings* findings) {
    const T record = decode<T>(text, findings);
    return record_checks::Subject::Reading{encode(record),
                                           std::hash<T>()(record),
                                           record == example};
  };
  record_checks::check({T::table(),
                        &example,
                        sizeof(T),
                        alignof(T),
                        encode(example),
                        encode(example, JSONStyle::pretty),
                        std::hash<T>()(example),
                        read},
                       document,
                       rules);
}

}  // namespace tavrine
