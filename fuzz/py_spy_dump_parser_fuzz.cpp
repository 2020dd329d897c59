// Any text as a py-spy dump. What must hold: the stacks are the same with and without findings,
// every line is a thread, a frame or told of, and all that comes out is well-formed.
#include <TavrineShared/foundation/unicode_text.h>
#include <TavrineShared/parsers/py_spy_dump_parser.h>
#include <TavrineShared/parsers/text_rules.h>

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "fuzz/line_findings.h"
#include "fuzz/require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tavrine;
  using namespace tavrine::fuzz;
  const std::string_view text(reinterpret_cast<const char*>(data), size);

  Findings findings(2 * size);
  const std::vector<StackFrame> stacks = PySpyDumpParser::parse(text, &findings);
  require(stacks == PySpyDumpParser::parse(text), "the same comes with findings");
  requireTellLines(text, findings);

  std::size_t lines = 0;
  for (LineCursor cursor(text); cursor.next();) {
    if (!trimmed(cursor.line()).empty()) ++lines;
  }
  std::size_t given = 0;
  std::size_t unnamed = 0;  // opened by a frame, not by a line of its own
  for (const StackFrame& stack : stacks) {
    require(isWellFormedUTF8(stack.thread), "a label is well-formed");
    if (stack.thread.empty()) ++unnamed;
    given += 1 + stack.frames.size();
    for (const std::string& frame : stack.frames) {
      require(isWellFormedUTF8(frame) && frame.find(':') != std::string::npos,
              "a frame has the recorder's form");
    }
  }
  const std::size_t told = findings.count() - findings.count(FindingOutcome::repaired);
  require(given - unnamed + told == lines, "every line is accounted for");
  return 0;
}
