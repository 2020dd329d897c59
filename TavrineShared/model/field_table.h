// How a record declares its JSON form: one line per field, in declaration order.
//
//   const RecordTable& StoreSummary::table() {
//     using R = StoreSummary;
//     static constexpr auto fields = fieldsOf<R>(
//         field<&R::sizeBytes>(),                                // required
//         field<&R::oldestDay>(),                                // optional, as its type says
//         lossyList<&R::events>(),                               // bad elements are dropped
//         defaulted<&R::days>([] { return std::int64_t{14}; }),  // 14 when missing or null
//         field<&R::gpuUtil>("gpu_util"));                       // a key unlike the member's name
//     static constexpr RecordTable table{"StoreSummary", fields};
//     return table;
//   }
//
// Decoding, encoding and hashing are loops over such a table, written once. A forgotten member does
// not compile; members out of order are caught by the test that walks every table.
#pragma once

#include <TavrineShared/model/json_values.h>
#include <TavrineShared/model/lossy_values.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <span>
#include <stdexcept>
#include <string_view>
#include <type_traits>
#include <utility>

namespace tavrine {

/// What a missing key does to its record.
enum class WhenMissing : std::uint8_t {
  fails,         ///< the record fails, as it does for a null
  staysEmpty,    ///< no value, or an empty list
  takesDefault,  ///< the default, which also takes the place of a null
};

/// One field of a record, for loops that know no types.
struct Field {
  std::string_view key;
  const ValueType* type;
  void* (*memberOf)(void* record);
  // The type's `decode` for this very member: one jump less in the loop that decoding is.
  JSONResult (*decode)(JSONReader& reader, void* record, const DecodeContext& context);
  WhenMissing whenMissing;
  void (*setDefault)(void* member) = nullptr;  ///< only with `takesDefault`
  /// Only where there is a default that JSON can hold and that is the same each time.
  void (*writeDefault)(JSONWriter& writer) = nullptr;
  std::uint8_t declared = 0;  ///< its place in declaration order

  void* member(void* record) const { return memberOf(record); }
  const void* member(const void* record) const { return memberOf(const_cast<void*>(record)); }
};

/// Where a key is looked for first: a number below 2^bits, made of the key's length and of five of
/// its characters. `factor` is chosen per record so that its keys go different ways.
struct KeyHash {
  std::uint64_t factor = 0;
  unsigned bits = 0;

  constexpr std::size_t operator()(std::string_view key) const {
    if (key.empty()) return 0;
    const auto at = [key](std::size_t i) {
      return static_cast<std::uint64_t>(static_cast<unsigned char>(key[i]));
    };
    const std::size_t last = key.size() - 1;
    const std::uint64_t mixed = (key.size() & 0xFFU) | at(0) << 8U | at(last / 4) << 16U |
                                at(last / 2) << 24U | at(last - last / 4) << 32U | at(last) << 40U;
    return static_cast<std::size_t>((mixed * factor) >> (64 - bits));
  }
};

/// A record's fields with the orders and the index that the loops need, all made at compile time.
template <std::size_t N>
struct FieldSet {
  static constexpr std::uint8_t kNoField = std::numeric_limits<std::uint8_t>::max();
  static constexpr std::size_t kSlotCount = std::bit_ceil(4 * N);
  static_assert(KeyOrder::kMostPlaces <= 64, "a bit of a word per field tells which are met");
  static_assert(N < KeyOrder::kMostPlaces, "each field has its place in the order of keys");

  std::array<Field, N> inOrder;
  std::array<Field, N> byKey;
  std::array<std::uint8_t, kSlotCount> slots{};
  KeyHash hash{.factor = 0, .bits = std::bit_width(kSlotCount) - 1};
  std::uint64_t missed = 0;
};

/// What a record declares of itself: all that decoding, encoding, hashing and its schema go by.
struct RecordTable {
  std::string_view name;
  std::span<const Field> fields;        ///< in declaration order
  std::span<const Field> byKey;         ///< the same in ascending byte order of the keys
  std::span<const std::uint8_t> slots;  ///< places in `byKey`, at the hash of the key or after it
  KeyHash hash;
  std::uint64_t missed;  ///< a bit for each place in `byKey` whose key does something when missing

  template <std::size_t N>
  constexpr RecordTable(std::string_view recordName, const FieldSet<N>& set)
      : name(recordName),
        fields(set.inOrder),
        byKey(set.byKey),
        slots(set.slots),
        hash(set.hash),
        missed(set.missed) {}

  /// The place of a key in `byKey`; `fields.size()` for a key that the record does not have.
  std::size_t find(std::string_view key) const;
};

namespace detail {

template <auto Member>
struct MemberOf;
template <class R, class T, T R::*Member>
struct MemberOf<Member> {
  using Record = R;
  using Type = T;
  static void* address(void* record) { return &(static_cast<R*>(record)->*Member); }
  template <class Form>
  static JSONResult decode(JSONReader& reader, void* record, const DecodeContext& context) {
    return Form::decode(reader, static_cast<R*>(record)->*Member, context);
  }
};

/// The name behind a pointer to member, out of the compiler's own spelling of it.
template <auto Member>
constexpr std::string_view memberName() {
  // "... [with auto Member = &tavrine::GPUStat::index; ...]" or "... [Member = &tavrine::...]".
  constexpr std::string_view spelled = __PRETTY_FUNCTION__;
  constexpr std::size_t start = spelled.find("Member = ");
  constexpr std::string_view pointer =
      spelled.substr(start, spelled.find_first_of(";]", start) - start);
  return pointer.substr(pointer.rfind("::") + 2);
}

/// How often one member stands among some.
template <auto Member, auto... Others>
inline constexpr int kOccurrences = (0 + ... +
                                     (std::is_same_v<MemberOf<Member>, MemberOf<Others>> ? 1 : 0));

template <class T>
inline constexpr bool kIsOptional = false;
template <class T>
inline constexpr bool kIsOptional<std::optional<T>> = true;

/// Stands for any member, to find out how many a record has. Never called; but a function that is
/// only declared would be an error for types that are private to one source.
struct AnyMember {
  template <class T>
  operator T() const {  // NOLINT(google-explicit-constructor): the conversion is its only purpose
    std::abort();
  }
};

template <class R, std::size_t... I>
constexpr bool takesMembers(std::index_sequence<I...>) {
  return requires { R{(static_cast<void>(I), AnyMember{})...}; };
}

template <class R, std::size_t N = 64>
constexpr std::size_t memberCount() {
  static_assert(N > 0, "not an aggregate");
  if constexpr (takesMembers<R>(std::make_index_sequence<N>())) {
    return N;
  } else {
    return memberCount<R, N - 1>();
  }
}

template <class T>
struct LossyListForm : ValueForm<std::vector<T>> {
  static constexpr Leniency kLeniency = Leniency::dropsBadElements;
  static JSONResult decode(JSONReader& reader, std::vector<T>& list, const DecodeContext& context) {
    decodeLossyArray(reader, list, context);
    return JSONResult::ok;
  }
};

struct FlexibleInt64Form : ValueForm<std::int64_t> {
  static JSONResult decode(JSONReader& reader, std::int64_t& value, const DecodeContext& context) {
    std::optional<std::int64_t> read;
    const JSONResult result = decodeFlexibleInt64(reader, read, context);
    if (result == JSONResult::ok && !read) return JSONResult::null;
    if (read) value = *read;
    return result;
  }
};

template <class T>
struct ForgivingForm : ValueForm<T> {
  static constexpr Leniency kLeniency = Leniency::takesAnything;
  static JSONResult decode(JSONReader& reader, T& value, const DecodeContext& context) {
    const char* const start = reader.position();
    DecodingProblem problem;
    const DecodeContext lossy = lossyContext(context, problem);
    const JSONResult result = ValueForm<T>::decode(reader, value, lossy);
    if (result == JSONResult::ok || result == JSONResult::notJSON) return result;
    value = T{};
    // A null says that there is no value, so nothing is lost with it.
    if (lossy.findings != nullptr && result != JSONResult::null) {
      lossy.tell(result, kValueType<T>, {start, reader.position()});
      tellLoss(lossy, FindingOutcome::defaultUsed);
    }
    return JSONResult::ok;
  }
};

JSONResult decodeSeconds(JSONReader& reader, Timestamp& value);

template <class T>
struct SecondsOrDateForm : ValueForm<T> {
  static constexpr Leniency kLeniency = Leniency::takesSeconds;
  static std::string describe() { return "a number of seconds or " + ValueForm<T>::describe(); }
  static JSONResult decode(JSONReader& reader, T& value, const DecodeContext& context) {
    if (reader.peek() != JSONKind::number) return ValueForm<T>::decode(reader, value, context);
    if constexpr (kIsOptional<T>) {
      const JSONResult result = decodeSeconds(reader, value.emplace());
      if (result != JSONResult::ok) value.reset();
      return result;
    } else {
      return decodeSeconds(reader, value);
    }
  }
};

template <auto Member, class Form>
constexpr Field makeField(std::string_view key, WhenMissing whenMissing) {
  using M = MemberOf<Member>;
  return Field{key.empty() ? memberName<Member>() : key,
               &kValueType<typename M::Type, Form>,
               &M::address,
               &M::template decode<Form>,
               whenMissing};
}

}  // namespace detail

/// A field that knows its member, until `fieldsOf` has checked it.
template <auto Member>
struct FieldOf : Field {};

/// Required; a member that is a `std::optional` may be missing or null.
template <auto Member>
constexpr FieldOf<Member> field(std::string_view key = {}) {
  using T = typename detail::MemberOf<Member>::Type;
  return {detail::makeField<Member, ValueForm<T>>(
      key,
      detail::kIsOptional<T> ? WhenMissing::staysEmpty : WhenMissing::fails)};
}

/// Read with `decodeLossyArray`: never fails its record.
template <auto Member>
constexpr FieldOf<Member> lossyList(std::string_view key = {}) {
  using T = typename detail::MemberOf<Member>::Type;
  return {detail::makeField<Member, detail::LossyListForm<typename T::value_type>>(
      key,
      WhenMissing::staysEmpty)};
}

/// What a type starts from: 0, false, the empty text, list or map.
struct Blank {};

namespace detail {

template <class T, class Default>
T defaultOf() {
  if constexpr (std::is_same_v<Default, Blank>) {
    return T{};
  } else {
    return Default{}();
  }
}

template <auto Member, class Default>
constexpr FieldOf<Member> withDefault(Field made, Default) {
  static_assert(std::is_empty_v<Default>, "a default is made anew each time: it captures nothing");
  using T = typename MemberOf<Member>::Type;
  made.whenMissing = WhenMissing::takesDefault;
  made.setDefault = [](void* member) { *static_cast<T*>(member) = defaultOf<T, Default>(); };
  if constexpr (!kIsOptional<T> && !std::is_same_v<T, Timestamp>) {
    made.writeDefault = [](JSONWriter& writer) {
      ValueForm<T>::encode(writer, defaultOf<T, Default>(), {});
    };
  }
  return {made};
}

}  // namespace detail

/// Takes `makeDefault()`, or what its type starts from, when the key is missing or null; a value of
/// a wrong type still fails the record. The default is a function so that it can be a text, a list
/// or the time of decoding.
template <auto Member, class Default = Blank>
constexpr FieldOf<Member> defaulted(Default makeDefault = {}, std::string_view key = {}) {
  using T = typename detail::MemberOf<Member>::Type;
  static_assert(!detail::kIsOptional<T>, "an optional member reads a null as no value");
  static_assert(!VocabularyType<T>, "a null is an unknown word, like any other value");
  return detail::withDefault<Member>(
      detail::makeField<Member, ValueForm<T>>(key, WhenMissing::fails),
      makeDefault);
}

/// Takes what its type starts from whenever it cannot be read, whatever stands there.
template <auto Member>
constexpr FieldOf<Member> forgiving(std::string_view key = {}) {
  using T = typename detail::MemberOf<Member>::Type;
  return detail::withDefault<Member>(
      detail::makeField<Member, detail::ForgivingForm<T>>(key, WhenMissing::fails),
      Blank{});
}

/// Read with `decodeFlexibleInt64`; the default stands in for no value.
template <auto Member, class Default = Blank>
constexpr FieldOf<Member> flexibleInt64(Default makeDefault = {}, std::string_view key = {}) {
  return detail::withDefault<Member>(
      detail::makeField<Member, detail::FlexibleInt64Form>(key, WhenMissing::fails),
      makeDefault);
}

/// A time that may also be a number of seconds since 1970, fractions kept. Written as any time is.
template <auto Member>
constexpr FieldOf<Member> secondsOrDate(FieldOf<Member> made) {
  using T = typename detail::MemberOf<Member>::Type;
  if (made.type->leniency != Leniency::none) throw std::logic_error("has another leniency already");
  made.type = &kValueType<T, detail::SecondsOrDateForm<T>>;
  made.decode = &detail::MemberOf<Member>::template decode<detail::SecondsOrDateForm<T>>;
  return made;
}

namespace detail {

/// Fills the slots by the set's hash; how many keys found their slot taken and went to the next.
template <std::size_t N>
constexpr std::size_t fillSlots(FieldSet<N>& set) {
  using Set = FieldSet<N>;
  std::size_t collisions = 0;
  set.slots.fill(Set::kNoField);
  for (std::size_t place = 0; place < N; ++place) {
    std::size_t slot = set.hash(set.byKey[place].key);
    for (; set.slots[slot] != Set::kNoField; slot = (slot + 1) % Set::kSlotCount) ++collisions;
    set.slots[slot] = static_cast<std::uint8_t>(place);
  }
  return collisions;
}

}  // namespace detail

/// Every field of `R`, in declaration order. What is wrong with a table is an error of compiling
/// it.
template <class R, auto... Members>
consteval FieldSet<sizeof...(Members)> fieldsOf(FieldOf<Members>... fields) {
  static_assert((std::is_same_v<typename detail::MemberOf<Members>::Record, R> && ...),
                "a field of another record");
  static_assert(detail::memberCount<R>() == sizeof...(Members), "one line per member");
  static_assert(((detail::kOccurrences<Members, Members...> == 1) && ...), "a member stands twice");
  constexpr std::size_t kCount = sizeof...(Members);
  std::array<Field, kCount> inOrder{static_cast<const Field&>(fields)...};
  for (std::size_t i = 0; i < kCount; ++i) inOrder[i].declared = static_cast<std::uint8_t>(i);
  FieldSet<kCount> set{.inOrder = inOrder, .byKey = inOrder};
  std::sort(set.byKey.begin(), set.byKey.end(), [](const Field& a, const Field& b) {
    return a.key < b.key;
  });
  for (std::size_t i = 0; i < kCount; ++i) {
    const bool isMissed = set.byKey[i].whenMissing != WhenMissing::staysEmpty;
    set.missed |= static_cast<std::uint64_t>(isMissed) << i;
    for (std::size_t j = 0; j < i; ++j) {
      if (inOrder[i].key == inOrder[j].key) throw std::logic_error("a key stands twice");
    }
  }
  // A few tries find a factor without collisions, and a lookup without a second step; should all
  // fail, lookups are slower and no less right.
  constexpr std::uint64_t kFirstFactor = 0x9E3779B97F4A7C15;
  constexpr std::uint64_t kTries = 64;
  for (std::uint64_t i = 0; i < kTries; ++i) {
    set.hash.factor = kFirstFactor * (2 * i + 1);
    if (detail::fillSlots(set) == 0) break;
  }
  return set;
}

}  // namespace tavrine
