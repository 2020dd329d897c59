// Stacks in whatever form people have them at hand.
#pragma once

#include <TavrineShared/model/findings.h>
#include <TavrineShared/recorder/recorder_records.h>

#include <string_view>
#include <vector>

namespace tavrine {

/// What `py-spy dump` prints, as text or, with its option --json, as JSON; or the JSON of one
/// stack: a list of frames, or an object with "thread" and "frames" as in a recorder's log, or a
/// list of such objects. Throws `DecodingError` for JSON that is none of these. With `findings`,
/// tells of the lines of a text that gave nothing.
std::vector<StackFrame> readStacks(std::string_view text, Findings* findings = nullptr);

}  // namespace tavrine
