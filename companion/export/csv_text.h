// The lists of a snapshot as tables of comma-separated values, one kind of record each.
//
// The columns are the fields of the record, under their JSON names and in the order of its
// declaration, but for records within it: those are a kind of their own, with columns in front
// that say whose they are.
#pragma once

#include <TavrineShared/model/app_snapshot.h>

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <string_view>

namespace tavrine {

/// One row: `owners`, the texts of the columns in front, and the record.
using CSVRowVisitor = std::function<void(std::span<const std::string> owners, const void* record)>;

struct CSVKind {
  std::string_view name;  ///< such as "gpus"
  const RecordTable& (*table)();
  std::span<const std::string_view> owners;  ///< headings of the columns in front
  void (*visit)(const AppSnapshot& snapshot, const CSVRowVisitor& visit);
};

std::span<const CSVKind> csvKinds();

/// The kind of that very name, or null.
const CSVKind* findCSVKind(std::string_view name);

struct CSVText {
  std::string text;
  std::size_t emptied = 0;  ///< cells left empty since their value has no JSON form
  std::string whyEmptied;   ///< of the first
};

/// A line of headings and a line for each record. Fields are quoted where RFC 4180 wants it; lines
/// end with a line feed, as tools for lines of text expect. What is absent is empty; times,
/// numbers and words are as in JSON, and lists of them are JSON. Text that a spreadsheet would take
/// for a formula has an apostrophe in front.
CSVText csvText(const AppSnapshot& snapshot, const CSVKind& kind);

}  // namespace tavrine
