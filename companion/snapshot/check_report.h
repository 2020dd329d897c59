// What can be said of a document that should be a snapshot.
#pragma once

#include "companion/views/text_table.h"

#include <TavrineShared/model/findings.h>
#include <TavrineShared/model/record.h>

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tavrine {

/// How many records of one kind a snapshot holds.
struct RecordCount {
  std::string record;
  std::int64_t count;

  static const RecordTable& table();
};

/// Why a document is no snapshot, or why the snapshot cannot be written again.
struct CheckError {
  std::string path;  ///< empty for the document as a whole
  std::string reason;
  std::string found;  ///< what stood there, where that is known

  static const RecordTable& table();
};

struct CheckReport {
  bool isSnapshot;
  std::optional<CheckError> error;       ///< when it is none
  std::optional<std::string> timestamp;  ///< when it is one, of a time that a calendar holds
  /// What a time of no calendar does: it may be read, as a number of seconds, but not be written.
  std::optional<CheckError> notWritable;
  std::vector<RecordCount> records;  ///< of each kind, also of those that it holds none of
  std::int64_t lossCount;
  std::vector<Finding> findings;                  ///< the losses
  std::optional<std::int64_t> findingsNotListed;  ///< those beyond, when there were too many

  static const RecordTable& table();
};

/// `findings` takes all that was met on the way.
CheckReport checkSnapshot(std::string_view document, Findings& findings);

/// Whether there is anything that the user should look at.
bool isClean(const CheckReport& report);

/// A line that says what it is, a table of the counts that are not 0 and, unless nothing was lost,
/// the losses.
std::string checkText(const CheckReport& report, const Findings& findings, const TableStyle& style);

}  // namespace tavrine
