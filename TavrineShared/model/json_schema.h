// JSON Schema (2020-12) of the records, generated from their tables.
#pragma once

#include <TavrineShared/foundation/json_writer.h>
#include <TavrineShared/model/record.h>

#include <string>
#include <vector>

namespace tavrine {

/// `root` and every kind of record inside it, however deep, each once, in the order in which one
/// meets them: the inner behind the outer, as the fields are declared.
std::vector<const RecordTable*> recordsWithin(const RecordTable& root);

/// The schema of `root`, with a definition of every record inside it. It describes what is written:
/// nothing else is valid. What is read besides stands in words, once for all records under
/// "description" and with each field under "x-reader", and where a default fills in, as "default".
std::string jsonSchema(const RecordTable& root, JSONStyle style = JSONStyle::pretty);

}  // namespace tavrine
