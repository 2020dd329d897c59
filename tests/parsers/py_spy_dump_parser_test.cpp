#include <TavrineShared/parsers/py_spy_dump_parser.h>

#include <TavrineShared/model/field_table.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/huge_texts.h"
#include "tests/support/rows.h"
#include "tests/support/told.h"

namespace tavrine {
namespace {

using PySpyDumpParser::parse;
using testing::ElementsAre;
using testing::IsEmpty;

struct DumpRow {
  const char* name;
  std::string_view text;
  std::vector<StackFrame> stacks;
};
void PrintTo(const DumpRow& row, std::ostream* out) { *out << row.text; }

class PySpyDump : public testing::TestWithParam<DumpRow> {};

TEST_P(PySpyDump, givesTheseStacks) { EXPECT_EQ(parse(GetParam().text), GetParam().stacks); }

INSTANTIATE_TEST_SUITE_P(
    Rows, PySpyDump,
    rows<DumpRow>({
        {"empty", "", {}},
        {"aThreadAndItsFrames",
         "Thread 17 (active): \"MainThread\"\n    step (optim/adam.py:12)\n    <module> (t.py:3)\n",
         {{"17 (active): \"MainThread\"", {"optim/adam.py:step:12", "t.py:<module>:3"}}}},
        {"aThreadWithoutAName",
         "Thread 0x7F2C (active+gil)\n    f (a.py:1)",
         {{"0x7F2C (active+gil)", {"a.py:f:1"}}}},
        {"aThreadWithoutFrames",
         "Thread 1 (idle)\nThread 2 (idle)\n    f (a.py:1)",
         {{"1 (idle)", {}}, {"2 (idle)", {"a.py:f:1"}}}},
        {"theHeadOfAProcess",
         "Process 9: python t.py (x:1)\nPython v3.11.8 (/usr/bin/python3.11)\n\n"
         "Thread 9 (idle)\n    f (a.py:1)",
         {{"9 (idle)", {"a.py:f:1"}}}},
        {"twoProcesses",
         "Thread 1 (idle)\n    f (a.py:1)\nProcess 2: x\n    g (b.py:2)",
         {{"1 (idle)", {"a.py:f:1"}}, {"", {"b.py:g:2"}}}},
        {"framesAlone", "f (a.py:1)\ng (b.py:2)", {{"", {"a.py:f:1", "b.py:g:2"}}}},
        {"quotedInAReport",
         "    Thread 1 (idle)\n        f (a.py:1)\n        g (b.py:2)",
         {{"1 (idle)", {"a.py:f:1", "b.py:g:2"}}}},
        {"localVariables",
         "Thread 1 (idle)\n    f (a.py:1)\n        Arguments:\n            x: (1)\n    g (b.py:2)",
         {{"1 (idle)", {"a.py:f:1", "b.py:g:2"}}}},
        {"aFunctionNamedThread",
         "Thread 1 (idle)\n    Thread (threading.py:3)",
         {{"1 (idle)", {"threading.py:Thread:3"}}}},
        {"aFunctionNamedProcess",
         "Thread 1 (idle)\n    f (a.py:1)\n    Process (multiprocessing/context.py:3)\n    g "
         "(b.py:2)",
         {{"1 (idle)", {"a.py:f:1", "multiprocessing/context.py:Process:3", "b.py:g:2"}}}},
        {"aNativeFrame",
         "f (libtorch.so)\nstd::function<void (int)>::operator() const (libc10.so)",
         {{"", {"libtorch.so:f", "libc10.so:std::function<void (int)>::operator() const"}}}},
        {"aFileWithAColon", "f (C:/a.py:1)\ng (C:/b.py)", {{"", {"C:/a.py:f:1", "C:/b.py:g"}}}},
        {"aLineThatIsNoNumber", "f (a.py:1x)\ng (a.py:)", {{"", {"a.py:1x:f", "a.py::g"}}}},
        {"noFrames", "hello\n()\n (a.py:1)\nf ()\nf (a.py:1) x\n\n", {}},
        {"lineEndsOfWindows",
         "Thread 1 (idle)\r\n    f (a.py:1)\r\n",
         {{"1 (idle)", {"a.py:f:1"}}}},
        {"illFormedBytes",
         "Thread 1 (\xFF)\n    f\xFF (\xFE.py:1)",
         {{"1 (\xEF\xBF\xBD)", {"\xEF\xBF\xBD.py:f\xEF\xBF\xBD:1"}}}},
    }),
    rowName);

TEST(PySpyDumpFindings, tellOfEveryLineThatGaveNothing) {
  Findings findings;
  parse("Process 9: x\nwhat\nThread 1 (\xFF)\n    f (a.py:1)\n      x: 1\n", &findings);
  EXPECT_THAT(
      toldLines(findings),
      ElementsAre("1:0 header_skipped \"Process 9: x\" the head of a process",
                  "2:0 line_dropped \"what\" neither a thread nor a frame, which is \"function "
                  "(file:line)\"",
                  "3:8 thread repaired \"1 (\xEF\xBF\xBD)\" ill-formed UTF-8",
                  "5:0 left_out \"      x: 1\" deeper than a frame: a local variable"));
}

TEST(PySpyDumpFindings, areNoneForACleanDump) {
  Findings findings;
  parse("Thread 1 (idle)\n    f (a.py:1)\n", &findings);
  EXPECT_THAT(findings.list(), IsEmpty());
}

}  // namespace
}  // namespace tavrine
