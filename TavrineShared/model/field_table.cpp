#include <TavrineShared/model/field_table.h>

#include <TavrineShared/foundation/json_scan.h>

namespace tavrine {

namespace {

constexpr std::uint64_t bit(std::size_t place) { return std::uint64_t{1} << place; }

}  // namespace

std::size_t RecordTable::find(std::string_view key) const {
  const std::size_t mask = slots.size() - 1;
  for (std::size_t slot = hash(key);; slot = (slot + 1) & mask) {
    const std::size_t place = slots[slot];
    if (place >= byKey.size()) return byKey.size();
    const std::string_view candidate = byKey[place].key;
    if (candidate.size() == key.size() && json_scan::equal(key.data(), candidate)) return place;
  }
}

JSONResult decodeRecord(const RecordTable& table, JSONReader& reader, void* record,
                        const DecodeContext& outer) {
  if (const JSONResult result = reader.enterObject(); result != JSONResult::ok) return result;
  const std::size_t count = table.byKey.size();
  CodingPath here{outer.path};
  DecodeContext context = outer;
  context.path = &here;

  std::uint64_t met = 0;       // by place in `byKey`
  std::size_t failed = count;  // the failing field that is declared first
  std::size_t behind = 0;      // one more than the place of the key before
  KeyOrder* const order = outer.habits != nullptr ? &outer.habits->keyOrders.of(table) : nullptr;
  std::string_view key;
  while (true) {
    std::size_t place = order != nullptr ? order->expected(behind) : behind;
    if (place >= count) place = 0;
    const auto match = reader.nextKey(table.byKey[place].key, key);
    if (match == JSONReader::KeyMatch::end) break;
    if (match == JSONReader::KeyMatch::other) {
      place = table.find(key);
      if (place == count) {
        reader.skip();
        continue;
      }
      if (order != nullptr) order->learn(behind, place);
    }
    behind = place + 1;
    const Field& field = table.byKey[place];
    here.key = field.key;
    const char* const start = reader.position();
    if ((met & bit(place)) != 0) {
      reader.skip();
      context.tellRepeatedKey({start, reader.position()});
      continue;
    }
    met |= bit(place);
    // Of several failing fields the one declared first is told, so those behind it matter only to
    // those who want to know of every loss inside them, whatever the order of the keys.
    const bool isBehindFailure = field.declared > failed;
    if (isBehindFailure && context.findings == nullptr) {
      reader.skip();
      continue;
    }
    context.problem = isBehindFailure ? nullptr : outer.problem;
    const JSONResult result = field.decode(reader, record, context);
    if (result == JSONResult::ok) continue;
    if (result == JSONResult::null && field.whenMissing == WhenMissing::takesDefault) {
      field.setDefault(field.member(record));
      continue;
    }
    if (isBehindFailure) continue;
    // Where nobody will ask for the reason, any failure is as good as the first.
    failed = context.problem == nullptr ? 0 : field.declared;
    context.tell(result, *field.type, {start, reader.position()});
  }
  context.problem = outer.problem;
  if (reader.failed()) return JSONResult::notJSON;

  for (std::uint64_t missing = table.missed & ~met; missing != 0; missing &= missing - 1) {
    const Field& field = table.byKey[static_cast<std::size_t>(std::countr_zero(missing))];
    if (field.whenMissing == WhenMissing::takesDefault) {
      field.setDefault(field.member(record));
    } else if (field.declared < failed) {
      failed = field.declared;
      here.key = field.key;
      context.tellMissingKey();
    }
  }
  return failed == count ? JSONResult::ok : JSONResult::inner;
}

bool encodeRecord(const RecordTable& table, JSONWriter& writer, const void* record,
                  const EncodeContext& outer) {
  CodingPath here{outer.path};
  EncodeContext context = outer;
  context.path = &here;
  writer.beginObject();
  for (const Field& field : table.byKey) {
    const void* const member = field.member(record);
    if (field.type->isPresent != nullptr && !field.type->isPresent(member)) continue;
    here.key = field.key;
    writer.plainKey(field.key);
    if (!field.type->encode(writer, member, context)) return false;
  }
  writer.endObject();
  return true;
}

std::size_t hashRecord(const RecordTable& table, const void* record) {
  std::size_t seed = table.fields.size();
  for (const Field& field : table.fields) {
    seed = combineHashes(seed, field.type->hash(field.member(record)));
  }
  return seed;
}

void visitRecords(const RecordTable& table, const void* record, const RecordVisitor& visit) {
  visit(table, record);
  for (const Field& field : table.fields) {
    if (field.type->visitRecords != nullptr) {
      field.type->visitRecords(field.member(record), visit);
    }
  }
}

void editRecords(const RecordTable& table, void* record, const RecordEditor& edit) {
  // All that is visited is part of `record`, which is the caller's to change. A record is shown
  // before its lists are walked over, so no list moves meanwhile.
  visitRecords(table, record, [&edit](const RecordTable& of, const void* visited) {
    edit(of, const_cast<void*>(visited));
  });
}

namespace detail {

JSONResult decodeSeconds(JSONReader& reader, Timestamp& value) {
  double seconds;
  const JSONResult result = reader.readDouble(seconds);
  if (result == JSONResult::ok) value = Timestamp(std::chrono::duration<double>(seconds));
  return result;
}

}  // namespace detail

}  // namespace tavrine
