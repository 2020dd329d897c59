"""`parse` and `query`."""

import datetime
import gzip
import json
import resource
import shutil
import signal
import socket
import subprocess

from testing import (HOST_KINDS, KINDS, LAB, ProgramTest, ROW, ROW_JSON, golden_cases, no_core_dump, run,
                     run_on_terminal)

HEADING = ("GPU  Name  Util  Mem used  Mem total  Mem %  Temp  Power  Limit  Fan  SM clock  Mem clock"
           "  ECC errors  PCIe link  State").split("  ")
LIST_KINDS = HOST_KINDS + ["recorder"]  # of these each line or object gives a record, or none
QUERY = (b"nvidia-smi --query-gpu=index,name,utilization.gpu,memory.used,memory.total,"
         b"temperature.gpu,power.draw,power.limit,fan.speed,clocks.sm,clocks.mem,"
         b"ecc.errors.uncorrected.volatile.total,pcie.link.gen.current,pcie.link.width.current,pstate"
         b" --format=csv\n")
NOT_FINITE = b"a number that is not finite has no JSON form"


class Query(ProgramTest):
    def test_prints_the_exact_command(self):
        self.expect(run("query", "gpus"), 0, QUERY)

    def test_needs_no_quoting(self):
        self.assertNotRegex(QUERY, rb"[^\w.,=\- \n]")


class Findings(ProgramTest):
    TEXT = b'line 1, column 11, utilizationPercent: "[N/A]" read as 0: not available\n'
    LOSSY = ROW.replace(b"1 %", b"[N/A]")
    LOSSY_JSON = ROW_JSON.replace(b'Percent":1', b'Percent":0')

    def test_are_silent_unless_asked_for(self):
        self.expect(run("parse", "gpus", stdin=self.LOSSY), 0, b"[" + self.LOSSY_JSON + b"]\n")

    def test_as_text(self):
        for option in ("--findings", "--findings=text"):
            with self.subTest(option):
                self.expect(run("parse", "gpus", option, stdin=self.LOSSY), 1,
                            b"[" + self.LOSSY_JSON + b"]\n",
                            self.TEXT + b"1 loss (read as 0: 1)\n")

    def test_beside_a_table(self):
        done = run("parse", "gpus", "--findings", "--table", stdin=self.LOSSY)
        self.assertEqual((done.returncode, done.stderr),
                         (1, self.TEXT + b"1 loss (read as 0: 1)\n"))
        self.assertRegex(done.stdout, rb"\n  0  GPU A +0%  ")

    def test_as_one_document(self):
        self.expect(run("parse", "gpus", "--findings=json", stdin=self.LOSSY), 1,
                    b'{"findings":[{"column":11,"found":"[N/A]","line":1,'
                    b'"outcome":"read_as_zero","path":"utilizationPercent",'
                    b'"reason":"not available"}],"records":[' + self.LOSSY_JSON + b"]}\n")

    def test_as_one_indented_document(self):
        compact = run("parse", "gpus", "--findings=json", stdin=self.LOSSY)
        pretty = run("parse", "gpus", "--findings=json", "--pretty", stdin=self.LOSSY)
        self.assertTrue(pretty.stdout.startswith(b'{\n  "findings": [\n    {\n'))
        self.assertEqual(json.loads(pretty.stdout), json.loads(compact.stdout))

    def test_none(self):
        self.expect(run("parse", "gpus", "--findings", stdin=ROW), 0, b"[" + ROW_JSON + b"]\n",
                    b"nothing was lost\n")
        self.expect(run("parse", "gpus", "--findings=json", stdin=ROW), 0,
                    b'{"findings":[],"records":[' + ROW_JSON + b"]}\n")

    def test_a_header_is_none(self):
        header = b"index, name, a, b, c, d, e, f\n"
        self.expect(run("parse", "gpus", "--findings", stdin=header + ROW), 0,
                    b"[" + ROW_JSON + b"]\n", b"nothing was lost\n")
        self.expect(run("parse", "gpus", "--findings=json", stdin=header + ROW), 0,
                    b'{"findings":[],"records":[' + ROW_JSON + b"]}\n")

    def test_more_than_anyone_reads_are_counted(self):
        garbage = b"garbage\n" * 12345
        done = run("parse", "gpus", "--findings", stdin=garbage)
        lines = done.stderr.splitlines()
        self.assertEqual(done.returncode, 1)
        self.assertEqual(lines[0], b'line 1: "garbage" line dropped: fewer than 8 columns')
        self.assertEqual(lines[-1], b"12345 losses (line dropped: 12345), 10000 of them told above")
        self.assertEqual(len(lines), 10001)
        report = json.loads(run("parse", "gpus", "--findings=json", stdin=garbage).stdout)
        self.assertEqual((len(report["findings"]), report["findingsNotListed"]), (10000, 2345))

    def test_show_hostile_texts_visibly(self):
        done = run("parse", "gpus", "--findings", stdin=b"\x1b[2J\xe2\x80\xae\xff\n")
        self.expect(done, 1, b"[]\n",
                    b'line 1: "\\x1b[2J<U+202E>\xef\xbf\xbd" line dropped: fewer than 8 columns\n'
                    b"1 loss (line dropped: 1)\n")


class NumbersThatJSONCannotHold(ProgramTest):
    BAD = (b"index, name, a, b, c, d, e, f\n"
           b"7, GPU B, 1 %, 2 MiB, 4 MiB, 30, nan, 6.00 W\n"
           b"\n" + ROW + b"8, GPU C, 1 %, 2 MiB, 4 MiB, 30, 5.00 W, 6.00 W, -inf %\n")
    TOLD = (b'line 2, powerDrawW: "7, GPU B, 1 %, 2 MiB, 4 MiB, 30, nan, 6.00 W" line dropped: '
            + NOT_FINITE + b"\n"
            b'line 5, fanSpeedPercent: "8, GPU C, 1 %, 2 MiB, 4 MiB, 30, 5.00 W, 6.00 W, -inf %" '
            b"line dropped: " + NOT_FINITE + b"\n"
            b"2 losses (line dropped: 2)\n")

    def test_cost_their_record_and_are_always_told(self):
        self.expect(run("parse", "gpus", stdin=self.BAD), 1, b"[" + ROW_JSON + b"]\n",
                    b"tavrine: left out of the JSON:\n" + self.TOLD)

    def test_are_findings(self):
        self.expect(run("parse", "gpus", "--findings", stdin=self.BAD), 1,
                    b"[" + ROW_JSON + b"]\n", self.TOLD)

    def test_are_findings_of_the_document(self):
        done = run("parse", "gpus", "--findings=json", stdin=self.BAD)
        self.assertEqual((done.returncode, done.stderr),
                         (1, b"tavrine: left out of the JSON:\n" + self.TOLD))
        report = json.loads(done.stdout)
        self.assertEqual([r["name"] for r in report["records"]], ["GPU A"])
        self.assertEqual([(f["line"], f["path"]) for f in report["findings"]],
                         [(2, "powerDrawW"), (5, "fanSpeedPercent")])

    def test_come_behind_what_the_parser_lost(self):
        done = run("parse", "gpus", "--findings",
                   stdin=ROW.replace(b"5.00 W", b"inf") + ROW.replace(b"1 %", b"[N/A]"))
        self.assertEqual(done.stderr,
                         b'line 2, column 11, utilizationPercent: "[N/A]" read as 0: not available\n'
                         b'line 1, powerDrawW: "0, GPU A, 1 %, 2 MiB, 4 MiB, 30, inf, 6.00 W" '
                         b"line dropped: " + NOT_FINITE + b"\n"
                         b"2 losses (line dropped: 1, read as 0: 1)\n")

    def test_many_are_counted(self):
        done = run("parse", "gpus", stdin=ROW.replace(b"5.00 W", b"nan") * 1000 + ROW)
        self.assertEqual(done.stdout, b"[" + ROW_JSON + b"]\n")
        self.assertEqual(len(done.stderr.splitlines()), 12)
        self.assertTrue(done.stderr.endswith(
            b"1000 losses (line dropped: 1000), 10 of them told above\n"))

    def test_stand_in_a_table(self):
        done = run("parse", "gpus", "--table", "--findings", stdin=self.BAD)
        self.assertEqual((done.returncode, done.stderr), (0, b"nothing was lost\n"))
        self.assertRegex(done.stdout, rb"\n  7  GPU B .* nan W  ")
        self.assertRegex(done.stdout, rb"\n  8  GPU C .* -inf%  ")


class FatalIntegers(ProgramTest):
    def test_stop_the_process_and_name_column_and_text(self):
        for column, name in ((11, "eccErrorsTotal"), (12, "pcieLinkGen"), (13, "pcieLinkWidth")):
            for text in ("nan", "inf", "-inf", "1e30", "9223372036854775808"):
                with self.subTest(f"{name} {text}"):
                    cells = ROW.decode().strip().split(", ") + [""] * 7
                    cells[column] = text
                    done = run("parse", "gpus", stdin=", ".join(cells).encode(),
                               preexec_fn=no_core_dump)
                    self.assertEqual(done.returncode, -signal.SIGABRT)
                    self.assertEqual(done.stdout, b"")
                    self.assertEqual(
                        done.stderr.decode(),
                        f'GPU query, line 1: "{text}" in the column {name} is no 64-bit integer\n')


class InputThatIsNoQueryOutput(ProgramTest):
    HINT = ("tavrine: no GPUs in {}; 'tavrine query gpus' prints the command whose output is "
            "expected\n")

    def test_nothing_at_all_is_no_reason_for_words(self):
        for blank in (b"", b"\n", b" \r\n\t\n"):
            with self.subTest(blank):
                self.expect(run("parse", "gpus", stdin=blank), 0, b"[]\n")

    def test_an_empty_table_is_its_heading(self):
        self.expect(run("parse", "gpus", "--table", stdin=b""), 0,
                    "  ".join(HEADING).encode() + b"\n")

    def test_something_else_gets_a_hint(self):
        self.expect(run("parse", "gpus", stdin=b"No devices were found\n"), 0, b"[]\n",
                    self.HINT.format("standard input").encode())
        path = self.file("x\x1b.txt", b"No devices were found\n")
        self.expect(run("parse", "gpus", path), 0, b"[]\n",
                    self.HINT.format(str(path).replace("\x1b", "\\x1b")).encode())

    def test_what_another_verb_reads_gets_its_name(self):
        for arguments, file, words in (
                (("gpus",), LAB, "no GPUs in {}; it looks like a snapshot, which 'tavrine show' reads"),
                (("gpu-processes", "--table"), golden_cases.ROOT / "processes/header.ps",
                 "no processes in {}; it looks like a process table, which 'tavrine parse"
                 " processes' reads")):
            with self.subTest(arguments):
                done = run("parse", *arguments, file)
                self.assertEqual((done.returncode, done.stderr.decode()),
                                 (0, f"tavrine: {words.format(file)}\n"))

    def test_what_is_no_text_is_told_of_whatever_is_read_from_it(self):
        log = self.file("train.log", "loss: 0.5\n".encode("utf-16"))
        for arguments in ((), ("--findings=json",)):
            done = run("parse", "training-log", *arguments, log)
            self.assertEqual((done.returncode, done.stderr.decode()),
                             (0, f"tavrine: {log}: it looks like UTF-16, of which 'iconv -f UTF-16 "
                                 "-t UTF-8' makes UTF-8\n"))
        packed = self.file("train.log.gz", gzip.compress(b"loss: 0.5\n"))
        self.assertEqual(run("parse", "training-log", packed).stderr.decode(),
                         f"tavrine: {packed}: it looks like what gzip has packed: unpack it first\n")

    def test_findings_say_it_better(self):
        self.expect(run("parse", "gpus", "--findings", stdin=b"No devices were found\n"), 1,
                    b"[]\n",
                    b'line 1: "No devices were found" line dropped: fewer than 8 columns\n'
                    b"1 loss (line dropped: 1)\n")
        done = run("parse", "gpus", "--findings=json", stdin=b"No devices were found\n")
        self.assertEqual((done.returncode, done.stderr), (1, b""))

    def test_binary_garbage(self):
        garbage = bytes(range(256)) * 4096
        done = run("parse", "gpus", "--findings", stdin=garbage)
        self.assertEqual(done.stdout, b"[]\n")
        self.assertEqual(done.returncode, 1)
        self.assertNotRegex(done.stderr, rb"[^\n\x20-\x7e\x80-\xff]")
        done.stderr.decode("utf-8")

    def test_garbage_in_a_row(self):
        done = run("parse", "gpus", stdin=ROW.replace(b"GPU A", b"\x00\xff\xe2\x82\xed\xa0\x80"))
        self.assertEqual(json.loads(done.stdout)[0]["name"], "\0" + "\ufffd" * 5)

    def test_zeros(self):
        self.expect(run("parse", "gpus", stdin=bytes(1 << 20)), 0, b"[]\n",
                    self.HINT.format("standard input").encode())


class MuchInput(ProgramTest):
    SIZE = 50_000_000

    def test_many_rows(self):
        count = self.SIZE // len(ROW)
        path = self.file("big.csv", ROW * count)
        done = run("parse", "gpus", path)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertEqual(len(done.stdout), count * (len(ROW_JSON) + 1) + 2)
        self.assertEqual(done.stdout.count(ROW_JSON), count)

    def test_many_rows_in_a_table(self):
        count = self.SIZE // 10 // len(ROW)
        done = run("parse", "gpus", "--table", stdin=ROW * count)
        self.assertEqual((done.returncode, done.stdout.count(b"\n")), (0, count + 1))

    def test_one_endless_name_does_not_widen_every_row(self):
        name = b"n" * (self.SIZE // 10)
        done = run("parse", "gpus", "--table", stdin=ROW.replace(b"GPU A", name) + ROW * 50000)
        self.assertEqual(done.returncode, 0)
        self.assertLess(len(done.stdout), 50002 * 250)
        self.assertIn(b"  0  " + b"n" * 59 + b"\xe2\x80\xa6  ", done.stdout)

    def test_one_endless_line(self):
        done = run("parse", "gpus", "--findings", stdin=b"0," * (self.SIZE // 2))
        self.assertEqual(done.returncode, 1)
        self.assertEqual(len(json.loads(done.stdout)), 1)

    def test_only_line_feeds(self):
        self.expect(run("parse", "gpus", "--findings", stdin=b"\n" * self.SIZE), 0, b"[]\n",
                    b"nothing was lost\n")


    def test_more_than_the_memory_holds(self):
        def little_memory():
            resource.setrlimit(resource.RLIMIT_AS, (100_000_000, 100_000_000))

        if run("--version", preexec_fn=little_memory).returncode != 0:
            self.skipTest("a program built with a sanitizer wants all addresses")
        self.expect(run("parse", "gpus", stdin=b"\n" * self.SIZE * 2, preexec_fn=little_memory), 2,
                    b"", b"tavrine: out of memory\n")


class HostileNames(ProgramTest):
    NAMES = {
        "an escape sequence": ("\x1b[31mred\x1b[0m", r"\x1b[31mred\x1b[0m"),
        "a window title": ("\x1b]0;owned\x07", r"\x1b]0;owned\x07"),
        "an 8-bit control": ("\u009b2Jx", "<U+009B>2Jx"),
        "a bidi override": ("\u202efdp.exe", "<U+202E>fdp.exe"),
        "a tab": ("a\tb", r"a\x09b"),
        "a NUL": ("a\0b", r"a\x00b"),
    }

    def table_row(self, name):
        done = run("parse", "gpus", "--table", stdin=ROW.replace(b"GPU A", name.encode()) + ROW)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        lines = done.stdout.decode().splitlines()
        self.assertEqual(len(lines), 3)
        return lines

    def test_are_shown_in_a_table(self):
        for what, (name, shown) in self.NAMES.items():
            with self.subTest(what):
                heading, row, other = self.table_row(name)
                self.assertTrue(row.startswith(f"  0  {shown}  "))
                self.assertEqual(row.index(" 1%  "), other.index(" 1%  "))
                self.assertEqual(heading.index("Util"), other.index(" 1%  ") - 1)

    def test_leave_wide_characters_aligned(self):
        heading, row, other = self.table_row("\u663e\u5361\u4e00\u53f7")  # eight columns wide
        self.assertEqual(heading.index("Util"), 15)
        self.assertEqual(other.index(" 1%  "), 16)
        self.assertEqual(row.index(" 1%  "), 16 - 4)

    def test_leave_combining_marks_aligned(self):
        _, row, other = self.table_row("e\u0301e\u0301e\u0301abcd")  # seven columns wide
        self.assertEqual(other.index(" 1%  "), 15)
        self.assertEqual(row.index(" 1%  "), 15 + 3)

    def test_are_kept_in_json(self):
        for what, (name, _) in self.NAMES.items():
            with self.subTest(what):
                done = run("parse", "gpus", stdin=ROW.replace(b"GPU A", name.encode()))
                self.assertEqual(json.loads(done.stdout)[0]["name"], name)

    def test_are_escaped_in_json_on_a_terminal(self):
        for what, (name, _) in self.NAMES.items():
            with self.subTest(what):
                done = run_on_terminal("parse", "gpus", stdin=ROW.replace(b"GPU A", name.encode()))
                self.assertNotRegex(done.stdout.decode(), "[^\n -~]")
                self.assertEqual(json.loads(done.stdout)[0]["name"], name)

    def test_in_the_state_are_shown_too(self):
        done = run("parse", "gpus", "--table",
                   stdin=ROW.strip() + ",,,,,,,\x1b[2J P0".encode())
        self.assertTrue(done.stdout.endswith(b"  \\x1b[2J P0\n"))


class Kinds(ProgramTest):
    """What each kind makes of a small input, in every form."""

    PROCESS = b"  7  1 ada R  1.5  0  00:01  2048 python3  python3 train.py\n"
    PROCESS_JSON = (b'{"capturedAt":"2023-11-14T22:13:20Z","command":" python3 train.py",'
                    b'"cpuPercent":1.5,"elapsed":"00:01","executable":"python3","kind":"training",'
                    b'"memoryPercent":0,"owner":"ada","parentPID":1,"pid":7,'
                    b'"residentMemoryKB":2048,"serverName":"gpu-01","state":"R"}')
    AS_OF = ["--server", "gpu-01", "--captured-at", "1700000000"]
    DISKS = (b"---DPRE---\n8 0 sda 1 0 1000 1 1 0 0 1\n---DMID---\n8 0 sda 1 0 3048 1 1 0 8 1\n"
             b"---DEND---\n")

    def test_gpu_processes(self):
        self.expect(run("parse", "gpu-processes", stdin=b"7, python3, 512 MiB, 0000:17\n"), 0,
                    b'[{"gpuBusID":"0000:17","pid":7,"processName":"python3","usedMemoryMB":512}]\n')

    def test_processes(self):
        self.expect(run("parse", "processes", *self.AS_OF, stdin=self.PROCESS), 0,
                    b"[" + self.PROCESS_JSON + b"]\n")

    def test_processes_of_a_time_as_text(self):
        self.expect(run("parse", "processes", "--server=gpu-01",
                        "--captured-at=2023-11-15T00:13:20+02:00", stdin=self.PROCESS), 0,
                    b"[" + self.PROCESS_JSON + b"]\n")

    def test_processes_of_this_host_and_now(self):
        before = datetime.datetime.now(datetime.timezone.utc).replace(microsecond=0)
        record = json.loads(run("parse", "processes", stdin=self.PROCESS).stdout)[0]
        self.assertEqual(record["serverName"], socket.gethostname())
        captured = datetime.datetime.fromisoformat(record["capturedAt"].replace("Z", "+00:00"))
        self.assertTrue(before <= captured <= datetime.datetime.now(datetime.timezone.utc))

    def test_a_hostile_server_name(self):
        done = run("parse", "processes", "--server=a\udcff", "--captured-at=1700000000",
                   stdin=self.PROCESS)
        self.assertEqual(json.loads(done.stdout)[0]["serverName"], "a\ufffd")

    def test_load(self):
        self.expect(run("parse", "load", stdin=b"3.85 4.47 3.72 5/134 14292\n"), 0,
                    b"[3.85,4.47,3.72]\n")
        self.expect(run("parse", "load", "--table", stdin=b"3.85 4.47 0.00 5/134 14292\n"), 0,
                    b"Load average\n        3.85\n        4.47\n           0\n")

    def test_disks(self):
        self.expect(run("parse", "disks", "--sector-size=512", "--interval=2", stdin=self.DISKS), 0,
                    b'[{"device":"sda","readKBps":512,"writeKBps":2}]\n')
        self.expect(run("parse", "disks", stdin=self.DISKS), 0,
                    b'[{"device":"sda","readKBps":1024,"writeKBps":4}]\n')
        self.expect(run("parse", "disks", "--sector-size=4096", "--table", stdin=self.DISKS), 0,
                    b"Device        Read     Write\nsda     8192 KiB/s  32 KiB/s\n")

    def test_thermal(self):
        self.expect(run("parse", "thermal", stdin=b"Tctl\t45250\n"), 0,
                    b'[{"celsius":45.25,"label":"Tctl"}]\n')

    def test_recorder(self):
        self.expect(run("parse", "recorder", stdin=b'{"t":20}\n{"t":10,"phase":"a"}\n'), 0,
                    b'[{"phase":"a","t":"1970-01-01T00:00:10Z"},'
                    b'{"phase":"snapshot","t":"1970-01-01T00:00:20Z"}]\n')

    def test_the_forms_agree(self):
        for folder, (ending, forms) in golden_cases.FOLDERS.items():
            if forms[0].arguments[0] != "parse":
                continue
            arguments = [word for word in forms[0].arguments if word != "--pretty"]
            for source in sorted((golden_cases.ROOT / folder).glob("*" + ending)):
                with self.subTest(source.name):
                    records = json.loads(run(*arguments, source).stdout)
                    report = json.loads(run(*arguments, "--findings=json", source).stdout)
                    self.assertEqual(report.get("records", report.get("signals")), records)
                    told = run(*arguments, "--findings", source).stderr.splitlines()
                    self.assertEqual(len(report["findings"]), len(told) - 1)

    # What JSON cannot hold, beside a record that it can, and what is told of it.
    UNWRITABLE = {
        "gpu-processes": (b"7, a, inf MiB, b\n8, a, 1 MiB, b\n",
                          b'line 1, usedMemoryMB: "7, a, inf MiB, b" line dropped: '),
        "processes": (PROCESS.replace(b"1.5", b"nan") + PROCESS,
                      b'line 1, cpuPercent: "' + PROCESS.replace(b"1.5", b"nan").rstrip()
                      + b'" line dropped: '),
        "load": (b"inf 1", b"inf element dropped: "),
        "disks": (DISKS.replace(b"1000 1", b"-inf 1") + DISKS.replace(b"sda", b"sdb"),
                  b"readKBps: sda element dropped: "),
    }

    def test_what_json_cannot_hold_costs_its_record_and_is_told(self):
        for kind, (text, told) in self.UNWRITABLE.items():
            with self.subTest(kind):
                done = run("parse", kind, stdin=text)
                self.assertEqual(done.returncode, 1)
                self.assertEqual(len(json.loads(done.stdout)), 1)
                self.assertIn(told + NOT_FINITE, done.stderr)
                done = run("parse", kind, "--findings", stdin=text)
                self.assertEqual(done.returncode, 1)
                self.assertIn(told + NOT_FINITE, done.stderr)

    def test_a_time_beyond_the_calendar_costs_its_point(self):
        done = run("parse", "recorder", stdin=b'{"t":1e300}\n{"t":0}\n')
        self.assertEqual(done.returncode, 1)
        self.assertEqual(len(json.loads(done.stdout)), 1)
        self.assertIn(b"t: 1e+300 element dropped: a time outside the years", done.stderr)

    def test_something_else_gets_a_hint(self):
        for kind in LIST_KINDS:
            with self.subTest(kind):
                done = run("parse", kind, stdin=b"nothing of the kind\n")
                self.assertEqual((done.returncode, done.stdout), (0, b"[]\n"))
                self.assertRegex(done.stderr, rb"\Atavrine: no .* in standard input")
                self.assertIn(b"tavrine query " + kind.encode(), done.stderr)
                self.expect(run("parse", kind, stdin=b" \n\t\n"), 0, b"[]\n")

    def test_hostile_texts(self):
        texts = {"letters": b"a" * 5_000_000, "line feeds": b"\n" * 5_000_000,
                 "commas": b"," * 5_000_000, "tabs": b"\t" * 5_000_000,
                 "braces": b"{" * 5_000_000, "zeros": bytes(1 << 20),
                 "every byte": bytes(range(256)) * 4096}
        for kind in KINDS[1:]:
            for name, text in texts.items():
                with self.subTest(kind + ", " + name):
                    done = run("parse", kind, "--findings", stdin=text)
                    self.assertIn(done.returncode, (0, 1))
                    if kind in LIST_KINDS:
                        self.assertEqual(done.stdout, b"[]\n")
                    self.assertNotRegex(done.stderr, rb"[^\n\x20-\x7e\x80-\xff]")
                    done.stderr.decode("utf-8")

    def test_hostile_texts_reach_no_terminal(self):
        evil = b"\x1b[2J\xe2\x80\xae\xff"
        for kind, text in (("gpu-processes", b"7," + evil + b",1," + evil),
                           ("processes", b"7 1 " + b" ".join([evil] * 8)),
                           ("disks", self.DISKS.replace(b"sda", evil)),
                           ("thermal", evil + b"\t1000"),
                           ("recorder", b'{"t":1,"phase":"\\u001b[2J","text":"' + evil[4:] + b'"}')):
            with self.subTest(kind):
                for options in (["--table"], ["--findings"]):
                    done = run("parse", kind, *options, stdin=text)
                    shown = done.stdout if options == ["--table"] else done.stderr
                    self.assertNotRegex(shown.decode(), "[\x00-\x09\x0b-\x1f\x7f\u202e]")

    def test_the_queries_that_every_linux_has(self):
        for kind in ("processes", "load", "disks", "thermal"):
            with self.subTest(kind):
                command = run("query", kind).stdout
                self.assertEqual(command.count(b"\n"), 1)
                if kind == "processes" and shutil.which("ps") is None:
                    continue
                output = subprocess.run(["sh", "-c", command], capture_output=True, timeout=60)
                self.assertEqual((output.returncode, output.stderr), (0, b""))
                report = json.loads(run("parse", kind, "--findings=json",
                                        stdin=output.stdout).stdout)
                dropped = [f for f in report["findings"] if f["outcome"] == "line_dropped"
                           and "degrees" not in f["reason"]]
                self.assertEqual(dropped, [])
                if kind in ("processes", "load"):
                    self.assertGreater(len(report["records"]), 0)


    def test_the_end_of_a_log_is_asked_for_by_name(self):
        self.expect(run("query", "training-log"), 0, b"tail -c 1048576 -- 'train.log'\n")
        name = self.file("-a 'b'\n.jsonl", b'{"t":1}\n')
        command = run("query", "recorder", "--", name.name).stdout
        shown = subprocess.run(["sh", "-c", command], cwd=self.folder, capture_output=True)
        self.assertEqual((shown.returncode, shown.stdout), (0, b'{"t":1}\n'))


class TrainingLog(ProgramTest):
    FAILED = golden_cases.ROOT / "training_log/handmade/failed.log"

    def test_is_one_object_with_every_signal(self):
        done = run("parse", "training-log", "--captured-at=0", self.FAILED)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        signals = json.loads(done.stdout)
        self.assertEqual([m["step"] for m in signals.pop("valMetrics")], [100, 200])
        self.assertEqual(signals, {
            "status": "failed", "loss": 0.7, "throughput": 9.8, "datasetName": "imagenet",
            "modelName": "resnet50", "checkpointPath": "/ckpt/step_500.pt",
            "hyperparameters": {"batch_size": "32", "lr": "3e-4", "optimizer": "adamw"},
            "warnings": ["CUDA out-of-memory pattern detected",
                         "Exception or traceback detected"]})

    def test_findings_tell_the_line_that_made_it_fail(self):
        done = run("parse", "training-log", "--findings", self.FAILED)
        self.assertEqual(done.returncode, 0)
        self.assertIn(b'line 9, column 20, warnings[0]: "out of memory. Tried to allocate" read from'
                      b" here: CUDA out-of-memory pattern detected\n", done.stderr)
        self.assertTrue(done.stderr.endswith(b"\nnothing was lost\n"))
        report = json.loads(run("parse", "training-log", "--findings=json", self.FAILED).stdout)
        self.assertEqual(report["signals"]["status"], "failed")
        self.assertIn(("warnings[1]", 8), [(f["path"], f["line"]) for f in report["findings"]])

    def test_an_empty_log_is_idle(self):
        self.expect(run("parse", "training-log", stdin=b""), 0,
                    b'{"hyperparameters":{},"status":"idle","valMetrics":[],"warnings":[]}\n')

    def test_lines_made_to_be_slow_are_not(self):
        for text in (b"step 1 " * 700_000, b"0" * 5_000_000, b"step" + b" " * 5_000_000,
                     b"step 1 val_loss:x " * 250_000, b"lr= " * 1_200_000):
            with self.subTest(text[:20]):
                self.assertEqual(run("parse", "training-log", stdin=text).returncode, 0)
