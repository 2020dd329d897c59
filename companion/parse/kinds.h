// What the program can parse: one row per kind of tool output.
//
// A row ties together what belongs to a kind: its name on the command line, the options that only
// it has, the command that yields its input, and the function that turns that input into records
// and these into JSON or a table. The verbs `parse` and `query` are loops over the rows.
#pragma once

#include "companion/views/text_table.h"

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/model/findings.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace tavrine {

enum class OutputForm : std::uint8_t {
  compactJSON,
  prettyJSON,
  table,
};

/// What some kinds have to be told beyond their input, each by an option of its own.
enum class KindOption : std::uint8_t { server, capturedAt, sectorSize, interval };

struct KindOptions {
  std::string server;      ///< the name of the host that printed the input
  Timestamp capturedAt;    ///< when it did
  double sectorSizeBytes;  ///< in which it counts
  double intervalSeconds;  ///< from its first sample to its second
};

struct ParseRequest {
  std::string_view text;
  const KindOptions& options;
  OutputForm form;
  TableStyle style;         ///< of a table
  Findings* findings;       ///< null when nobody asked for them
  bool findingsInDocument;  ///< JSON forms: one document with the findings and the records
};

struct ParseResult {
  std::string output;  ///< a table ends with a line feed, a document does not
  std::size_t recordCount = 0;
  /// Records that JSON has no form for and that are missing from the output for that. They are
  /// among the findings, too, but this must be told to everybody; so it keeps a few in full only.
  Findings leftOut{kLeftOutTold};

  static constexpr std::size_t kLeftOutTold = 10;
};

struct Kind {
  std::string_view name;     ///< on the command line
  std::string_view input;    ///< what is read, for messages and help
  std::string_view records;  ///< what is printed, likewise
  std::string_view example;  ///< a file name for the help
  std::span<const KindOption> options = {};
  /// The command that yields the input: of the host as a whole, or of one of its files. One of the
  /// two is null.
  std::string (*queryCommand)() = nullptr;
  std::string (*fileQueryCommand)(std::string_view file) = nullptr;
  ParseResult (*parse)(const ParseRequest& request);
};

std::span<const Kind> kinds();

}  // namespace tavrine
