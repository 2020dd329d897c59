// What `py-spy dump` prints of a process becomes one `StackFrame` per thread.
#pragma once

#include <TavrineShared/model/findings.h>
#include <TavrineShared/recorder/recorder_records.h>

#include <string_view>
#include <vector>

namespace tavrine::PySpyDumpParser {

/// The threads in the order of the text, those without frames included. A thread's label is what
/// stands behind the word "Thread", as in `4711 (active): "MainThread"`. A frame, there printed as
/// `forward (model.py:210)`, has the form in which a recorder writes it, `model.py:forward:210`;
/// without a line, `model.py:forward`. Frames above the first thread are one thread without a
/// label.
///
/// The heads of processes and local variables, which are indented deeper than the frames, are left
/// out; any other line is dropped. With `findings`, tells of each line that gave nothing and of
/// each that was repaired.
std::vector<StackFrame> parse(std::string_view text, Findings* findings = nullptr);

}  // namespace tavrine::PySpyDumpParser
