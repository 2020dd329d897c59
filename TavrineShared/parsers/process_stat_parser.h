// The process table of one server, one line per process, becomes `ProcessStat` records.
//
// The table must have these columns, in this order: pid, parent's pid, user, state, CPU share,
// memory share, elapsed time, resident set in KiB, executable, command line. A header line may be
// there or not. Columns are separated by blanks or tabs; the command line is the rest of the line,
// as it is behind the one separator that ends the executable, so it may begin with the blanks that
// pad that column.
//
// Nothing fails as a whole. A line with fewer than 10 columns, or without an integer in one of the
// first two (so also the header), is dropped. Shares and resident set that cannot be read become 0.
// An executable's name with a blank in it shifts what comes behind it: the tables that servers
// print do not mark where it ends.
#pragma once

#include <TavrineShared/foundation/timestamp.h>
#include <TavrineShared/model/findings.h>
#include <TavrineShared/model/process.h>

#include <string_view>
#include <vector>

namespace tavrine::ProcessStatParser {

/// The records, in the order of the lines, each with a kind found by keywords in executable and
/// command line, then by its owner; GPU memory and bus are left absent. With `findings`, tells of
/// every line that gave none (headers as such), every number read as 0 and every text repaired.
std::vector<ProcessStat> parse(std::string_view text, std::string_view serverName,
                               Timestamp capturedAt, Findings* findings = nullptr);

}  // namespace tavrine::ProcessStatParser
