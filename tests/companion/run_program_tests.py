"""Runs the built program as its users do and compares stdout, stderr and exit status.

    run_program_tests.py PROGRAM [UNITTEST-ARGUMENT...]

Where the environment names a folder of further captures in TAVRINE_CORPUS, those are read, too.
"""

import datetime
import errno
import fcntl
import json
import os
import pathlib
import pty
import re
import resource
import select
import shutil
import signal
import socket
import struct
import subprocess
import sys
import tempfile
import termios
import threading
import unittest

sys.dont_write_bytecode = True
HERE = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(HERE.parent / "golden"))
import golden_cases  # noqa: E402

PROGRAM = ""
CAPTURES = golden_cases.ROOT / "nvidia_smi"
H100 = CAPTURES / "h100_mig_load.csv"
L40S = CAPTURES / "l40s_idle.csv"
LAB = golden_cases.ROOT / "snapshot/lab.json"
DAMAGED = golden_cases.ROOT / "snapshot/damaged.json"

HEADING = ("GPU  Name  Util  Mem used  Mem total  Mem %  Temp  Power  Limit  Fan  SM clock  Mem clock"
           "  ECC errors  PCIe link  State").split("  ")
BOLD = b"\x1b[1m"

HOST_KINDS = ["gpus", "gpu-processes", "processes", "load", "disks", "thermal"]
LIST_KINDS = HOST_KINDS + ["recorder"]  # of these each line or object gives a record, or none
KINDS = HOST_KINDS + ["training-log", "recorder"]
VERBS = ["parse", "query", "show", "demo", "check", "schema", "diagnose", "classify"]
KNOWN_VERBS = f"(known: {', '.join(VERBS)})"
KNOWN_KINDS = f"(known: {', '.join(KINDS)})"

ROW = b"0, GPU A, 1 %, 2 MiB, 4 MiB, 30, 5.00 W, 6.00 W\n"
ROW_JSON = (b'{"index":0,"memoryTotalMB":4,"memoryUsedMB":2,"name":"GPU A","powerDrawW":5,'
            b'"powerLimitW":6,"temperatureC":30,"utilizationPercent":1}')

QUERY = (b"nvidia-smi --query-gpu=index,name,utilization.gpu,memory.used,memory.total,"
         b"temperature.gpu,power.draw,power.limit,fan.speed,clocks.sm,clocks.mem,"
         b"ecc.errors.uncorrected.volatile.total,pcie.link.gen.current,pcie.link.width.current,pstate"
         b" --format=csv\n")

NOT_FINITE = b"a number that is not finite has no JSON form"


def environment(**changes):
    """Ours without what would colour the output, plus `changes`."""
    plain = {k: v for k, v in golden_cases.ENVIRONMENT.items()
             if k not in ("NO_COLOR", "TERM", "COLUMNS")}
    return {**plain, "TERM": "xterm", **changes}


def no_core_dump():
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def run(*arguments, stdin=b"", **options):
    if isinstance(stdin, bytes):
        options["input"] = stdin
    else:
        options["stdin"] = stdin
    options.setdefault("stdout", subprocess.PIPE)
    return subprocess.run([PROGRAM, *map(str, arguments)], stderr=subprocess.PIPE, timeout=120,
                          env=environment(), **options)


def run_on_terminal(*arguments, stdin=b"", typed=None, columns=0, **env):
    """stdout is a terminal; stderr is a pipe. With `typed`, stdin is the same terminal. Without
    `columns` nobody knows how wide it is."""
    ours, theirs = pty.openpty()
    fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 24 if columns else 0, columns, 0, 0))
    try:
        process = subprocess.Popen(
            [PROGRAM, *map(str, arguments)], stdin=subprocess.PIPE if typed is None else theirs,
            stdout=theirs, stderr=subprocess.PIPE, env=environment(**env), start_new_session=True)
        os.close(theirs)
        if typed is not None:
            os.write(ours, typed)
        screen = []

        def watch():
            while True:
                try:
                    chunk = os.read(ours, 65536)
                except OSError as error:
                    if error.errno != errno.EIO:  # how Linux says that the other side is closed
                        raise
                    return
                if not chunk:
                    return
                screen.append(chunk)

        watcher = threading.Thread(target=watch)
        watcher.start()
        _, words = process.communicate(stdin if typed is None else None, timeout=60)
        watcher.join(60)
        shown = b"".join(screen).replace(b"\r\n", b"\n")
        return subprocess.CompletedProcess(arguments, process.returncode, shown, words)
    finally:
        os.close(ours)


class ProgramTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tavrine_test_"))
        self.addCleanup(shutil.rmtree, self.folder)

    def file(self, name, content):
        path = self.folder / name
        path.write_bytes(content)
        return path

    def expect(self, done, status, stdout=b"", stderr=b""):
        self.assertEqual((done.returncode, done.stdout, done.stderr), (status, stdout, stderr))

    def expect_usage(self, arguments, message, help_of):
        done = run(*arguments)
        self.expect(done, 2, b"", f"tavrine: {message}\nTry '{help_of} --help'.\n".encode())


class GoldenFiles(ProgramTest):
    def test_every_expected_output(self):
        count = 0
        for arguments, expected, stream, settled in golden_cases.cases():
            with self.subTest(expected.name):
                done = run(*arguments, cwd=golden_cases.REPOSITORY)
                output = settled(getattr(done, stream))
                self.assertEqual(output, expected.read_bytes())
                negative = re.search(rb"^(tavrine: )?\d+ loss|Insufficient data",
                                     done.stdout + done.stderr, re.M)
                self.assertEqual(done.returncode, 1 if negative else 0)
                count += 1
        self.assertGreaterEqual(count, 210)

    def test_no_expected_output_without_its_input(self):
        known = {case.expected for case in golden_cases.cases()}
        for folder, (ending, forms) in golden_cases.FOLDERS.items():
            for path in (golden_cases.ROOT / folder).iterdir():
                if path.suffix != ending and path.name.endswith((".json", ".txt")):
                    self.assertIn(path, known)
        for folder in {case.expected.parent for case in golden_cases.WITHOUT_INPUT}:
            self.assertLessEqual({path for path in folder.iterdir() if path.name != "INDEX.md"},
                                 known)

    def test_the_forms_agree(self):
        for source in sorted(CAPTURES.glob("**/*.csv")):
            with self.subTest(source.name):
                pretty = json.loads(run("parse", "gpus", "--pretty", source).stdout)
                compact = run("parse", "gpus", "--compact", source).stdout
                report = json.loads(run("parse", "gpus", "--findings=json", source).stdout)
                self.assertEqual(json.loads(compact), pretty)
                self.assertEqual(compact.count(b"\n"), 1)
                self.assertEqual(report["records"], pretty)
                told = run("parse", "gpus", "--findings", source).stderr.splitlines()
                self.assertEqual(len(report["findings"]), len(told) - 1)
                table = run("parse", "gpus", "--table", source).stdout.splitlines()
                self.assertEqual(len(table) - 1, len(pretty))


class WhereInputComesFrom(ProgramTest):
    def test_a_file(self):
        self.expect(run("parse", "gpus", self.file("a.csv", ROW)), 0, b"[" + ROW_JSON + b"]\n")

    def test_standard_input(self):
        for arguments in ([], ["-"], ["/dev/stdin"]):
            with self.subTest(arguments):
                self.expect(run("parse", "gpus", *arguments, stdin=ROW), 0,
                            b"[" + ROW_JSON + b"]\n")

    def test_standard_input_that_is_a_file(self):
        with open(self.file("a.csv", ROW), "rb") as file:
            self.expect(run("parse", "gpus", stdin=file), 0, b"[" + ROW_JSON + b"]\n")

    def test_a_fifo(self):
        fifo = self.folder / "fifo"
        os.mkfifo(fifo)
        writer = threading.Thread(target=lambda: fifo.write_bytes(ROW * 10000))
        writer.start()
        done = run("parse", "gpus", fifo)
        writer.join()
        self.expect(done, 0, b"[" + b",".join([ROW_JSON] * 10000) + b"]\n")

    def test_a_non_blocking_pipe_that_is_slow(self):
        ours, theirs = os.pipe()
        self.addCleanup(os.close, ours)
        os.set_blocking(ours, False)
        process = subprocess.Popen([PROGRAM, "parse", "gpus"], stdin=ours, stdout=subprocess.PIPE)
        select.select([], [], [], 0.2)
        os.write(theirs, ROW)
        os.close(theirs)
        self.assertEqual(process.communicate(timeout=60)[0], b"[" + ROW_JSON + b"]\n")

    def test_a_file_with_the_name_of_a_verb_or_a_kind(self):
        for name in ("gpus", "parse", "query"):
            with self.subTest(name):
                self.file(name, ROW)
                self.expect(run("parse", "gpus", name, cwd=self.folder), 0,
                            b"[" + ROW_JSON + b"]\n")

    def test_a_file_with_the_name_of_an_option(self):
        self.file("--table", ROW)
        self.expect(run("parse", "gpus", "--", "--table", cwd=self.folder), 0,
                    b"[" + ROW_JSON + b"]\n")

    def test_a_file_after_findings_is_no_value_of_it(self):
        self.expect(run("parse", "gpus", "--findings", self.file("a.csv", ROW)), 0,
                    b"[" + ROW_JSON + b"]\n", b"nothing was lost\n")


class UnreadableInput(ProgramTest):
    def expect_unreadable(self, done, reason):
        self.expect(done, 2, b"", f"tavrine: cannot read {reason}\n".encode())

    def test_a_missing_file(self):
        path = self.folder / "none.csv"
        self.expect_unreadable(run("parse", "gpus", path), f"{path}: No such file or directory")

    def test_a_missing_folder(self):
        path = self.file("a", b"") / "b"
        self.expect_unreadable(run("parse", "gpus", path), f"{path}: Not a directory")

    def test_a_directory(self):
        self.expect_unreadable(run("parse", "gpus", self.folder), f"{self.folder}: Is a directory")

    def test_a_directory_as_standard_input(self):
        folder = os.open(self.folder, os.O_RDONLY)
        self.addCleanup(os.close, folder)
        self.expect_unreadable(run("parse", "gpus", stdin=folder),
                               "standard input: Is a directory")

    def test_a_failing_read(self):
        self.expect_unreadable(run("parse", "gpus", "/proc/self/mem"),
                               "/proc/self/mem: Input/output error")

    def test_a_closed_standard_input(self):
        done = subprocess.run([PROGRAM, "parse", "gpus"], stdout=subprocess.PIPE,
                              stderr=subprocess.PIPE, preexec_fn=lambda: os.close(0))
        self.expect_unreadable(done, "standard input: Bad file descriptor")

    def test_an_empty_name(self):
        self.expect_unreadable(run("parse", "gpus", ""), ": No such file or directory")

    def test_a_file_without_permission(self):
        path = self.file("secret.csv", ROW)
        path.chmod(0)
        self.folder.chmod(0o755)
        identity = {}
        if os.geteuid() == 0:  # whom no permission stops
            nobody = 65534
            identity = {"user": nobody, "group": nobody, "extra_groups": []}
            try:
                run("--version", **identity)
            except PermissionError:
                self.skipTest("root runs this, and nobody else may run the program where it stands")
        self.expect_unreadable(run("parse", "gpus", path, **identity),
                               f"{path}: Permission denied")

    def test_a_hostile_file_name_reaches_no_terminal(self):
        name = "\x1b[2J\u202e\udcff"
        self.expect_unreadable(run("parse", "gpus", name),
                               "\\x1b[2J<U+202E>\\xff: No such file or directory")


class UnwritableOutput(ProgramTest):
    FULL = b"tavrine: cannot write to standard output: No space left on device\n"

    def test_a_full_disk(self):
        for arguments in (["parse", "gpus", H100], ["parse", "gpus", "--table", H100],
                          ["query", "gpus"], ["--help"], ["--version"]):
            with self.subTest(arguments), open("/dev/full", "wb") as full:
                done = run(*arguments, stdout=full)
                self.assertEqual((done.returncode, done.stderr), (2, self.FULL))

    def test_a_closed_standard_output(self):
        done = subprocess.run([PROGRAM, "parse", "gpus", H100], stderr=subprocess.PIPE,
                              preexec_fn=lambda: os.close(1))
        self.assertEqual((done.returncode, done.stderr),
                         (2, b"tavrine: cannot write to standard output: Bad file descriptor\n"))

    def run_into_a_pipe_nobody_reads(self, **options):
        ours, theirs = os.pipe()
        os.close(ours)
        try:
            return run("parse", "gpus", H100, stdout=theirs, **options)
        finally:
            os.close(theirs)

    def test_a_reader_that_went_away_ends_it_silently(self):
        done = self.run_into_a_pipe_nobody_reads()
        self.assertEqual((done.returncode, done.stderr), (-signal.SIGPIPE, b""))

    def test_a_reader_that_went_away_where_the_signal_is_ignored(self):
        done = self.run_into_a_pipe_nobody_reads(restore_signals=False)
        self.assertEqual((done.returncode, done.stderr),
                         (2, b"tavrine: cannot write to standard output: Broken pipe\n"))

    def test_a_reader_that_goes_away_in_the_middle(self):
        big = self.file("big.csv", ROW * 100000)
        process = subprocess.Popen([PROGRAM, "parse", "gpus", big], stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE)
        process.stdout.read(1000)
        process.stdout.close()
        self.assertEqual(process.stderr.read(), b"")
        process.stderr.close()
        self.assertEqual(process.wait(60), -signal.SIGPIPE)

    def test_a_non_blocking_pipe_that_is_read_slowly(self):
        big = self.file("big.csv", ROW * 10000)
        ours, theirs = os.pipe()
        os.set_blocking(theirs, False)
        process = subprocess.Popen([PROGRAM, "parse", "gpus", big], stdout=theirs)
        os.close(theirs)
        select.select([], [], [], 0.2)
        with open(ours, "rb") as pipe:
            self.assertEqual(len(json.loads(pipe.read())), 10000)
        self.assertEqual(process.wait(60), 0)

    def test_a_closed_standard_error_is_no_failure(self):
        done = subprocess.run([PROGRAM, "parse", "gpus", "--findings", H100],
                              stdout=subprocess.PIPE, preexec_fn=lambda: os.close(2))
        self.assertEqual(done.returncode, 1)
        self.assertEqual(len(json.loads(done.stdout)), 1)


class WrongUsage(ProgramTest):
    def test_unknown_words(self):
        self.expect_usage(["prase"], f"unknown verb: prase {KNOWN_VERBS}", "tavrine")
        self.expect_usage(["parse", "cpus"], f"unknown kind: cpus {KNOWN_KINDS}", "tavrine parse")
        self.expect_usage(["query", "cpus"], f"unknown kind: cpus {KNOWN_KINDS}",
                          "tavrine query")
        self.expect_usage(["parse", ""], f"unknown kind:  {KNOWN_KINDS}", "tavrine parse")

    def test_unknown_options(self):
        self.expect_usage(["--tabel"], "unknown option: --tabel", "tavrine")
        self.expect_usage(["-x", "parse", "gpus"], "unknown option: -x", "tavrine parse gpus")
        self.expect_usage(["parse", "--table", "gpus"], "unknown option: --table",
                          "tavrine parse gpus")
        self.expect_usage(["parse", "gpus", "--tabel"], "unknown option: --tabel",
                          "tavrine parse gpus")
        self.expect_usage(["query", "gpus", "--table"], "unknown option: --table",
                          "tavrine query gpus")

    def test_too_many_arguments(self):
        self.expect_usage(["parse", "gpus", H100, "b.csv"], "one argument too many: b.csv",
                          "tavrine parse gpus")
        self.expect_usage(["parse", "gpus", "--", H100, "--b"], "unknown option: --b",
                          "tavrine parse gpus")
        self.expect_usage(["query", "gpus", "b.csv"], "one argument too many: b.csv",
                          "tavrine query gpus")

    def test_options_that_contradict_each_other(self):
        for first, second in (("--table", "--json"), ("--table", "--pretty"),
                              ("--table", "--compact"), ("--pretty", "--compact")):
            with self.subTest(first + " " + second):
                self.expect_usage(["parse", "gpus", second, first, H100],
                                  f"{first} excludes {second}", "tavrine parse gpus")
        self.expect_usage(["parse", "gpus", "--table", "--findings=json", H100],
                          "--findings=json excludes --table", "tavrine parse gpus")

    def test_values_that_do_not_exist(self):
        self.expect_usage(["parse", "gpus", "--findings=xml"],
                          "--findings: xml not in {text,json}", "tavrine parse gpus")
        self.expect_usage(["parse", "gpus", "--color=red"],
                          "--color: must be auto, always or never, not red", "tavrine parse gpus")
        self.expect_usage(["parse", "gpus", "--color"], "--color: 1 required WHEN missing",
                          "tavrine parse gpus")

    def test_values_that_are_no_names_times_or_numbers(self):
        for value in ("", "yesterday", "nan", "inf", "1e300", "2026-11-15", "2026-11-15T17:48:25"):
            self.expect_usage(["parse", "processes", "--captured-at", value],
                              "--captured-at: must be seconds since 1970 or a time such as "
                              f"2026-11-15T17:48:25Z, not {value}", "tavrine parse processes")
        for option in ("--sector-size", "--interval"):
            for value in ("", "x", "0", "-1", "nan", "inf", "1e999", "1 "):
                self.expect_usage(["parse", "disks", option, value],
                                  f"{option}: must be a number above 0, not {value}",
                                  "tavrine parse disks")

    def test_options_of_other_kinds(self):
        for kind, option in (("gpus", "--server=a"), ("load", "--interval=1"),
                             ("processes", "--sector-size=1"), ("disks", "--captured-at=1")):
            self.expect_usage(["parse", kind, option], f"unknown option: {option}",
                              f"tavrine parse {kind}")

    def test_numbers_of_processes_to_show(self):
        for count in ("-1", "ten", "1e3", " 1", "0x1", "1,5"):
            self.expect_usage(["show", "--processes=" + count],
                              "--processes: must be a number, not " + count, "tavrine show")

    def test_hostile_arguments_reach_no_terminal(self):
        self.expect_usage(["\x1b[2J\u202e"],
                          f"unknown verb: \\x1b[2J<U+202E> {KNOWN_VERBS}", "tavrine")

    def test_stopping_too_early_shows_the_help_as_a_complaint(self):
        for arguments in ([], ["parse"], ["query"]):
            with self.subTest(arguments):
                help_text = run(*arguments, "--help").stdout
                self.assertNotEqual(help_text, b"")
                self.expect(run(*arguments), 2, b"", help_text)


class Help(ProgramTest):
    COMMANDS = (["--help"], ["-h"], ["parse", "--help"], ["query", "--help"], ["show", "--help"],
                ["demo", "--help"], ["check", "--help"], ["schema", "--help"],
                ["diagnose", "--help"], ["classify", "--help"],
                *(["parse", kind, "--help"] for kind in KINDS),
                *(["query", kind, "--help"] for kind in KINDS))

    def test_has_an_example_for_every_command(self):
        for arguments in self.COMMANDS:
            with self.subTest(arguments):
                done = run(*arguments)
                self.assertEqual((done.returncode, done.stderr), (0, b""))
                self.assertRegex(done.stdout, rb"Examples?:\n  .*tavrine ")
                self.assertLessEqual(max(map(len, done.stdout.splitlines())), 80)

    def test_its_examples_work(self):
        shutil.copy(H100, self.folder / "gpus.csv")
        for name in ("gpu_processes.csv", "processes.txt", "loadavg.txt", "diskstats.txt",
                     "thermal.txt", "train.log"):
            self.file(name, b"nothing that anyone can read\n")
        log = Diagnose.STALL.read_bytes() + b"nothing that anyone can read\n"
        self.file("recorder.jsonl", log)
        (self.folder / "runs/a").mkdir(parents=True)
        self.file("runs/a/recorder.jsonl", log)
        shutil.copy(Classify.STACKS / "recorded.stacks", self.folder / "dump.txt")
        shutil.copy(LAB, self.folder / "snapshot.json")
        (self.folder / ".tavrine").mkdir()
        shutil.copy(LAB, self.folder / ".tavrine/latest.json")
        for tool, script in (("nvidia-smi", "cat gpus.csv"), ("py-spy", "cat dump.txt"),
                             ("ssh", 'shift; exec sh -c "$*"')):
            self.file(tool, f"#!/bin/sh\n{script}\n".encode()).chmod(0o755)
        path = f"{self.folder}:{pathlib.Path(PROGRAM).parent}:{os.environ['PATH']}"
        count = 0
        for arguments in self.COMMANDS:
            examples = run(*arguments).stdout.decode().partition("Example")[2]
            for example in re.findall(r"^  (.*tavrine .*)", examples, re.MULTILINE):
                with self.subTest(example):
                    example = re.sub(r'(query .*> )\S+$', r"\1other.csv", example)
                    done = subprocess.run(["sh", "-c", example], cwd=self.folder, timeout=60,
                                          capture_output=True,
                                          env=environment(PATH=path, HOME=str(self.folder)))
                    isLost = "--findings" in example and "training-log" not in example
                    self.assertEqual(done.returncode, 1 if isLost else 0, done.stderr)
                    count += 1
        self.assertGreaterEqual(count, 40)

    def test_names_every_option_and_choice(self):
        text = run("parse", "gpus", "--help").stdout.decode()
        for option in ("FILE", "--table", "--json", "--pretty", "--compact",
                       "--findings[=text|json]", "--color=auto|always|never", "-h,--help"):
            self.assertIn(option, text)
        for word in (*VERBS, "--version", "Exit status"):
            self.assertIn(word, run("--help").stdout.decode())

    def test_version(self):
        done = run("--version")
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertRegex(done.stdout, rb"\Atavrine \d+\.\d+\.\d+\n\Z")


class Check(ProgramTest):
    EMPTY = b'{"timestamp":"2026-11-15T17:48:25Z"}'

    BEYOND = EMPTY[:-1] + b',"recorderHealth":[{"lastAlertSentAt":1e300}]}'

    def test_of_what_cannot_be_written_again(self):
        reason = "a time outside the years 0000 to 9999 has no JSON form"
        done = run("check", "-", stdin=self.BEYOND)
        self.assertEqual((done.returncode, done.stderr), (1, b""))
        self.assertTrue(done.stdout.decode().endswith(
            "nothing was lost\nit cannot be written again: "
            f"recorderHealth[0].lastAlertSentAt: {reason}\n"))
        report = json.loads(run("check", "--json", "-", stdin=self.BEYOND).stdout)
        self.assertEqual(report["notWritable"], {"found": "", "reason": reason,
                                                 "path": "recorderHealth[0].lastAlertSentAt"})

    def test_of_a_time_that_no_calendar_holds(self):
        document = b'{"timestamp":"9999-12-31T23:59:59-02:00"}'
        done = run("check", "-", stdin=document)
        self.assertEqual((done.returncode, done.stderr), (1, b""))
        self.assertTrue(done.stdout.startswith(b"a snapshot of a time of no calendar\n"))
        report = json.loads(run("check", "--json", "-", stdin=document).stdout)
        self.assertTrue(report["isSnapshot"])
        self.assertNotIn("timestamp", report)

    def counts(self, done):
        return {row["record"]: row["count"] for row in json.loads(done.stdout)["records"]}

    def test_of_a_whole_snapshot(self):
        done = run("check", "--json", LAB)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        report = json.loads(done.stdout)
        self.assertEqual((report["isSnapshot"], report["lossCount"], report["findings"]),
                         (True, 0, []))
        self.assertEqual(report["timestamp"], "2026-11-15T17:48:25Z")
        counts = self.counts(done)
        self.assertEqual(len(counts), 30)
        self.assertEqual((counts["ServerSummary"], counts["GPUStat"], counts["StackFrame"]),
                         (3, 3, 2))
        self.assertTrue(all(counts.values()))

    def test_of_one_with_losses(self):
        done = run("check", "--json", DAMAGED)
        self.assertEqual((done.returncode, done.stderr), (1, b""))
        report = json.loads(done.stdout)
        self.assertEqual((report["isSnapshot"], report["lossCount"]), (True, 17))
        finding = next(f for f in report["findings"] if f["path"] == "runs[0]")
        self.assertEqual((finding["outcome"], finding["found"]), ("element_dropped", '"paused"'))
        self.assertTrue(finding["reason"].startswith("status: not one of queued, "))
        self.assertEqual(self.counts(done)["TrainingRun"], 1)

    def test_of_one_with_nothing_in_it(self):
        done = run("check", "-", stdin=self.EMPTY)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertTrue(done.stdout.startswith(b"a snapshot of 2026-11-15T17:48:25Z\n\nRecord"))
        self.assertTrue(done.stdout.endswith(b"\nnothing was lost\n"))

    def test_of_what_is_no_snapshot(self):
        for document, words in ((b"", "not JSON: the document ends where a value is due at line 1, column 1"),
                                (b"{}", "timestamp: required key is missing"),
                                (b'{"timestamp":"now\x7f"}',
                                 "timestamp: not a time of the form 2026-11-15T17:48:25Z"
                                 ' ("now\\x7f")'),
                                (b"[1]", "expected an object, found a list ([1])"),
                                (self.EMPTY + b"x", "not JSON: something stands behind the value at"
                                                    " line 1, column 37")):
            with self.subTest(document):
                self.expect(run("check", "-", stdin=document), 2, f"no snapshot: {words}\n".encode())
                report = json.loads(run("check", "--json", "-", stdin=document).stdout)
                self.assertFalse(report["isSnapshot"])
                self.assertIn(report["error"]["reason"], words)

    def test_of_what_cannot_be_read(self):
        self.expect(run("check", self.folder), 2, b"",
                    f"tavrine: cannot read {self.folder}: Is a directory\n".encode())

    def test_needs_to_be_told_of_what(self):
        self.expect_usage(["check"], "FILE is required", "tavrine check")

    def test_of_many_losses(self):
        document = self.EMPTY[:-1] + b',"runs":[' + b",".join([b"7"] * 12345) + b"]}"
        done = run("check", "-", stdin=document)
        self.assertEqual(done.returncode, 1)
        self.assertTrue(done.stdout.endswith(
            b"12345 losses (element dropped: 12345), 10000 of them told above\n"))
        report = json.loads(run("check", "--json", "-", stdin=document).stdout)
        self.assertEqual((report["lossCount"], len(report["findings"]),
                          report["findingsNotListed"]), (12345, 10000, 2345))


class Show(ProgramTest):
    def test_json_is_the_snapshot(self):
        self.expect(run("show", "--pretty", LAB), 0, LAB.read_bytes())
        compact = run("show", "--json", LAB).stdout
        self.assertEqual(compact.count(b"\n"), 1)
        self.assertEqual(json.loads(compact), json.loads(LAB.read_bytes()))

    def test_json_is_without_what_was_lost_and_says_so(self):
        done = run("show", "--json", DAMAGED)
        self.assertEqual((done.returncode, done.stderr),
                         (1, f"tavrine: 17 losses in {DAMAGED}; 'tavrine check' tells of what, and"
                             " why\n".encode()))
        again = run("check", "-", stdin=done.stdout)
        self.assertEqual(again.returncode, 0)
        self.assertTrue(again.stdout.endswith(b"\nnothing was lost\n"))

    def test_the_latest_is_shown_by_default(self):
        (self.folder / ".tavrine").mkdir()
        shutil.copy(LAB, self.folder / ".tavrine/latest.json")
        done = subprocess.run([PROGRAM, "show"], capture_output=True,
                              env=environment(HOME=str(self.folder)))
        self.assertEqual(done.stdout, run("show", LAB).stdout)

    def test_without_a_latest_one(self):
        done = subprocess.run([PROGRAM, "show"], capture_output=True,
                              env=environment(HOME=str(self.folder)))
        self.expect(done, 2, b"", f"tavrine: cannot read {self.folder}/.tavrine/latest.json: No such"
                                  " file or directory\n".encode())

    def test_of_what_is_no_snapshot(self):
        self.expect(run("show", "-", stdin=b"{}"), 2, b"",
                    b"tavrine: no snapshot in standard input: timestamp: required key is missing\n")

    def test_the_number_of_processes(self):
        for count, title in ((0, None), (2, b"Top processes, 2 of 4\n"), (4, b"Processes\n"),
                             ("004", b"Processes\n"), ("9" * 30, b"Processes\n")):
            with self.subTest(count):
                text = run("show", "--processes", count, LAB).stdout
                self.assertEqual(text.count(b"python"), min(int(count), 2))
                self.assertEqual(title in text if title else b"rocesses\n" not in text, True)

    def test_hostile_texts_reach_no_terminal(self):
        hostile = "\x1b]0;owned\x07\u009b2J\u202e\n"

        def poisoned(value):
            if isinstance(value, dict):
                return {key: poisoned(member) for key, member in value.items()}
            if isinstance(value, list):
                return [poisoned(element) for element in value]
            return value + hostile if isinstance(value, str) else value

        def keep(clean, bad):
            """What has a form of its own stays: words of a vocabulary, times, identifiers."""
            if isinstance(clean, dict):
                return {key: clean[key] if key in ("id", "state", "status", "health", "severity",
                                                   "kind") or re.match(r"\d{4}-\d\d-\d\dT",
                                                                       str(clean[key]))
                        else keep(clean[key], bad[key]) for key in clean}
            if isinstance(clean, list):
                return [keep(c, b) for c, b in zip(clean, bad)]
            return bad

        lab = json.loads(LAB.read_bytes())
        document = json.dumps(keep(lab, poisoned(lab))).encode()
        done = run("show", "--processes", 100, "-", stdin=document)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        shown = done.stdout.decode()
        self.assertNotRegex(shown, "[\x00-\x09\x0b-\x1f\x7f\x80-\x9f\u202e]")
        self.assertEqual(len(shown.splitlines()), len(run("show", LAB).stdout.splitlines()))
        self.assertGreater(shown.count(r"\x1b]0;owned"), 40)

    def test_a_narrow_screen(self):
        for columns in (80, 120):
            with self.subTest(columns):
                screen = run_on_terminal("show", LAB, columns=columns, NO_COLOR="1").stdout.decode()
                widths = [len(line) + line.count("\u663e") + line.count("\u5361")
                          for line in screen.splitlines()]
                self.assertLessEqual(max(widths), columns)
                self.assertGreater(max(widths), columns - 12)

    def test_a_clock_that_is_ahead(self):
        document = Check.EMPTY.replace(b"2026", b"9999")
        self.assertRegex(run("show", "-", stdin=document).stdout,
                         rb"\ASnapshot of 9999.* UTC, by a clock that is ahead of this one, in \d+ d\n")

    def test_what_json_cannot_hold(self):
        self.expect(run("show", "--json", "-", stdin=Check.BEYOND), 2, b"",
                    b"tavrine: cannot print standard input as JSON: recorderHealth[0].lastAlertSentAt: "
                    b"a time outside the years 0000 to 9999 has no JSON form\n")

    def test_columns_are_aligned_behind_wide_characters(self):
        lines = run("show", LAB).stdout.decode().splitlines()
        heading = next(line for line in lines if line.startswith("Server   State"))
        wide = next(line for line in lines if line.startswith("\u663e\u5361-02  Degraded"))
        self.assertEqual(wide.index("Degraded") + 2, heading.index("State"))

    def test_colours(self):
        self.assertIn(b"\x1b[31mCritical\x1b[0m", run("show", "--color=always", LAB).stdout)
        self.assertNotIn(b"\x1b", run("show", LAB).stdout)
        self.assertIn(b"\x1b[31mCritical\x1b[0m", run_on_terminal("show", LAB).stdout)
        self.assertNotIn(b"\x1b", run_on_terminal("show", LAB, NO_COLOR="1").stdout)

    def test_an_endless_command_is_cut(self):
        snapshot = json.loads(LAB.read_bytes())
        snapshot["processes"][0]["command"] = "x" * 10_000_000
        done = run("show", "-", stdin=json.dumps(snapshot).encode())
        self.assertLess(len(done.stdout), 10_000)


class Demo(ProgramTest):
    SMALLEST, LARGEST = -461168601842738790, 461168601842738785

    def lab(self, *arguments):
        done = run("demo", "--json", *arguments)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        return json.loads(done.stdout)

    def test_is_of_now(self):
        before = datetime.datetime.now(datetime.timezone.utc).replace(microsecond=0)
        timestamp = datetime.datetime.fromisoformat(self.lab()["timestamp"].replace("Z", "+00:00"))
        self.assertLessEqual(before, timestamp)
        self.assertLessEqual(timestamp, datetime.datetime.now(datetime.timezone.utc))

    def test_shows_a_healthy_lab_by_default(self):
        text = golden_cases.without_clock(run("demo").stdout)
        self.assertEqual(text, golden_cases.without_clock(run("demo", "--tick=60").stdout))
        self.assertIn(b"Running", text)
        self.assertNotIn(b"Stalled", text)
        self.assertIn(b"Stalled", run("demo", "--tick", "63").stdout)

    def test_json_is_a_whole_snapshot(self):
        for tick in (self.SMALLEST, -1, 0, 60, self.LARGEST):
            with self.subTest(tick):
                done = run("check", "-", stdin=run("demo", "--json", "--tick", tick).stdout)
                self.assertEqual(done.returncode, 0)
                self.assertTrue(done.stdout.endswith(b"\nnothing was lost\n"))

    def test_show_shows_the_same(self):
        shown = run("show", "-", stdin=run("demo", "--json").stdout).stdout
        self.assertEqual(golden_cases.without_age(shown).partition(b"\n")[2],
                         run("demo").stdout.partition(b"\n")[2])

    def test_ticks_that_are_none(self):
        for tick in ("x", "1.5", " 1", "1 ", "0x10", "1e3", self.LARGEST + 1, self.SMALLEST - 1,
                     10**30):
            self.expect_usage(["demo", f"--tick={tick}"],
                              f"--tick: must be a whole number from {self.SMALLEST} to"
                              f" {self.LARGEST}, not {tick}", "tavrine demo")
        self.expect_usage(["demo", "--tick", ""],
                          f"--tick: must be a whole number from {self.SMALLEST} to {self.LARGEST},"
                          " not ", "tavrine demo")
        self.expect_usage(["demo", "--tick"], "--tick: 1 required N missing", "tavrine demo")

    def test_ticks_that_are_some(self):
        for arguments in (["--tick", "-21"], ["--tick=-21"], ["--tick=-00021"]):
            self.assertEqual(self.lab(*arguments)["runs"][0]["status"], "stalled")
        self.assertEqual(self.lab("--tick=+1")["runs"][0]["status"], "running")

    def test_takes_no_file(self):
        self.expect_usage(["demo", "lab.json"], "one argument too many: lab.json", "tavrine demo")

    def test_the_number_of_processes(self):
        self.assertIn(b"\nTop processes, 2 of 6\n", run("demo", "--processes=2").stdout)
        self.expect_usage(["demo", "--processes=-1"], "--processes: must be a number, not -1",
                          "tavrine demo")

    def test_fits_screens(self):
        for columns in (80, 120, 200):
            with self.subTest(columns):
                screen = run_on_terminal("demo", columns=columns, NO_COLOR="1").stdout.decode()
                self.assertLessEqual(max(map(len, screen.splitlines())), columns)
                self.assertIn("\u2026" if columns == 80 else "jupyter-lab --no-browser --port 8888",
                              screen)

    def test_colours(self):
        self.assertIn(b"\x1b[32mRunning\x1b[0m", run("demo", "--color=always").stdout)
        self.assertIn(b"\x1b[33mStalled\x1b[0m", run_on_terminal("demo", "--tick=21").stdout)
        self.assertNotIn(b"\x1b", run("demo").stdout)


class RunScript(ProgramTest):
    """What `make run` does when all is built."""

    def run_beside(self, nvidia_smi):
        fake = self.file("nvidia-smi", b"#!/bin/sh\n" + nvidia_smi)
        fake.chmod(0o755)
        script = golden_cases.ROOT.parents[1] / "tools/run.sh"
        return subprocess.run([script, PROGRAM], capture_output=True, timeout=60,
                              env=environment(PATH=f"{self.folder}:{os.environ['PATH']}"))

    def test_without_a_gpu_it_shows_the_demo_lab(self):
        done = self.run_beside(b"exit 9\n")
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        words, _, lab = done.stdout.partition(b"\n\n")
        self.assertIn(b"No GPU answers", words)
        self.assertEqual(golden_cases.without_clock(lab),
                         golden_cases.without_clock(run("demo").stdout))

    def test_with_a_gpu_it_shows_that(self):
        done = self.run_beside(b"[ \"$1\" = -L ] || printf '" + ROW.replace(b"%", b"%%") + b"'\n")
        self.assertEqual((done.returncode, done.stderr), (0, b"nothing was lost\n"))
        self.assertIn(b"\n  0  GPU A    1%  ", done.stdout)
        self.assertNotIn(b"gpu-lab-a", done.stdout)

    def test_what_was_lost_is_told_and_no_failure(self):
        done = self.run_beside(b"[ \"$1\" = -L ] || echo odd\n")
        self.assertEqual(done.returncode, 0)
        self.assertIn(b"1 loss", done.stderr)

    def test_a_query_that_fails_is_told(self):
        done = self.run_beside(b"[ \"$1\" = -L ] || { echo no such column; exit 2; }\n")
        self.assertEqual(done.returncode, 1)
        self.assertEqual(done.stderr, b"That command failed:\nno such column\n")


class Schema(ProgramTest):
    def test_of_an_unknown_record(self):
        done = run("schema", "GPU")
        self.assertEqual((done.returncode, done.stdout), (2, b""))
        self.assertRegex(done.stderr, rb"unknown record: GPU \(known: AppSnapshot, ServerSummary, ")

    def test_an_independent_validator_finds_our_output_valid(self):
        jsonschema = self.validator()
        schema = json.loads(run("schema").stdout)
        jsonschema.Draft202012Validator.check_schema(schema)
        validator = jsonschema.Draft202012Validator(schema)
        corpus = golden_cases.REPOSITORY / "fuzz/corpus"
        outputs = 0
        for file in [LAB, DAMAGED, *corpus.glob("app_snapshot/*"),
                     *corpus.glob("snapshot_disk_store/*")]:
            done = run("show", "--json", file)
            if done.returncode < 2:
                validator.validate(json.loads(done.stdout))
                outputs += 1
        self.assertGreater(outputs, 10)
        gpus = json.loads(run("parse", "gpus", H100).stdout)
        gpu_validator = jsonschema.Draft202012Validator(json.loads(run("schema", "GPUStat").stdout))
        for gpu in gpus:
            gpu_validator.validate(gpu)

    def test_and_finds_every_demo_lab_valid(self):
        schema = golden_cases.SCHEMAS / "AppSnapshot.schema.json"
        validator = self.validator().Draft202012Validator(json.loads(schema.read_bytes()))
        for tick in range(-5, 201):
            lab = json.loads(run("demo", "--json", "--tick", tick).stdout)
            self.assertIsNone(next(validator.iter_errors(lab), None), tick)

    def test_and_finds_what_we_never_write_invalid(self):
        validator = self.validator().Draft202012Validator(json.loads(run("schema").stdout))
        lab = json.loads(LAB.read_bytes())
        for path, value in ((["timestamp"], "2026-11-15T17:48:25+00:00"),
                            (["servers"], None),
                            (["servers", 0, "id"], "0f8fad5b-d9cb-469f-a165-70867728950e"),
                            (["servers", 0, "state"], "Connected"),
                            (["servers", 0, "gpus", 0, "index"], 1.5),
                            (["servers", 0, "gpus", 0, "fanSpeedPercent"], None),
                            (["runs", 0, "hyperparameters", "lr"], 0.1),
                            (["runs", 0, "recorderPoints", 0, "t"], 1700000000),
                            (["runs", 0, "more"], 1),
                            (["modelManagers", 0, "running"], "yes")):
            with self.subTest(path):
                changed = json.loads(json.dumps(lab))
                place = changed
                for key in path[:-1]:
                    place = place[key]
                place[path[-1]] = value
                self.assertFalse(validator.is_valid(changed))
        self.assertTrue(validator.is_valid(lab))

    def validator(self):
        try:
            import jsonschema
        except ImportError:  # another Python than the system's, for which it was installed
            sys.path.append("/usr/lib/python3/dist-packages")
            import jsonschema
        return jsonschema


class OtherReaders(ProgramTest):
    def test_jq_reads_the_snapshot(self):
        done = subprocess.run(["jq", "-c", "[.servers[].gpus[].index]"], capture_output=True,
                              input=run("show", "--json", LAB).stdout, timeout=60)
        self.expect(done, 0, b"[0,1,0]\n")


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


class Terminal(ProgramTest):
    def test_json_is_indented(self):
        done = run_on_terminal("parse", "gpus", stdin=ROW)
        self.expect(done, 0, run("parse", "gpus", "--pretty", stdin=ROW).stdout)
        self.assertTrue(done.stdout.startswith(b'[\n  {\n    "index": 0,\n'))

    def test_compact_can_be_asked_for(self):
        self.expect(run_on_terminal("parse", "gpus", "--compact", stdin=ROW), 0,
                    b"[" + ROW_JSON + b"]\n")

    def test_json_is_compact_elsewhere(self):
        self.expect(run("parse", "gpus", stdin=ROW), 0, b"[" + ROW_JSON + b"]\n")
        self.expect(run("parse", "gpus", "--json", stdin=ROW), 0, b"[" + ROW_JSON + b"]\n")

    def test_words_appear_when_it_waits_for_somebody_to_type(self):
        done = run_on_terminal("parse", "gpus", typed=ROW + b"\x04")
        self.assertEqual(done.returncode, 0)
        self.assertEqual(done.stderr,
                         b"tavrine: reading the GPU query's output from the terminal, up to Ctrl-D;"
                         b" 'tavrine query gpus' prints the command that yields it\n")
        self.assertIn(b'"name": "GPU A"', done.stdout)

    def test_no_words_when_the_terminal_was_asked_for(self):
        done = run_on_terminal("parse", "gpus", "-", typed=ROW + b"\x04")
        self.assertEqual((done.returncode, done.stderr), (0, b""))


class Color(ProgramTest):
    def is_bold_on_terminal(self, *options, **env):
        done = run_on_terminal("parse", "gpus", "--table", *options, stdin=ROW, **env)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertEqual(done.stdout.count(b"\x1b[0m\n"), done.stdout.count(BOLD))
        self.assertNotIn(b"\x1b", done.stdout.splitlines()[1])
        return done.stdout.startswith(BOLD + b"GPU")

    def test_on_a_terminal(self):
        self.assertTrue(self.is_bold_on_terminal())
        self.assertTrue(self.is_bold_on_terminal("--color", "auto"))
        self.assertFalse(self.is_bold_on_terminal("--color=never"))

    def test_no_color(self):
        self.assertFalse(self.is_bold_on_terminal(NO_COLOR="1"))
        self.assertTrue(self.is_bold_on_terminal(NO_COLOR=""))
        self.assertTrue(self.is_bold_on_terminal("--color=always", NO_COLOR="1"))

    def test_dumb_terminal(self):
        self.assertFalse(self.is_bold_on_terminal(TERM="dumb"))
        self.assertTrue(self.is_bold_on_terminal("--color=always", TERM="dumb"))

    def test_elsewhere(self):
        for options, bold in (([], False), (["--color=auto"], False), (["--color=never"], False),
                              (["--color=always"], True)):
            with self.subTest(options):
                done = run("parse", "gpus", "--table", *options, stdin=ROW)
                self.assertEqual(BOLD in done.stdout, bold)

    def test_never_in_json(self):
        self.expect(run("parse", "gpus", "--color=always", stdin=ROW), 0,
                    b"[" + ROW_JSON + b"]\n")


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


class Diagnose(ProgramTest):
    LOGS = golden_cases.ROOT / "diagnosis"
    STALL = LOGS / "dataloader_stall.jsonl"

    def day_of_samples(self):
        """A day of a run that trains by day, waits for data by night, and is starved in the end."""
        for i in range(8640):
            night = 3000 < i < 5000 or i >= 8600
            frame = "torch/utils/data/dataloader.py:__next__:631" if night else "model.py:forward:88"
            point = {"t": 1763142000 + 10 * i, "gpu_util": 4.5 if night else 91.0,
                     "power_w": 120.5 if night else 610.0}
            if i % 6 == 0:
                point["py_spy"] = [{"thread": "MainThread", "frames": [frame, "train.py:main:1"]}]
            yield json.dumps(point)

    def test_a_day(self):
        log = self.file("day.jsonl", "\n".join(self.day_of_samples()).encode())
        done = run("diagnose", log)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        text = done.stdout.decode()
        self.assertTrue(text.startswith("Underutilized \u2014 likely DataLoader stall\n"))
        self.assertIn("8640 points over 23 h 59 min", text)
        self.assertIn("91 recent points (15 min) with 15 stacks", text)
        self.assertIn("GPU utilisation over 23 h 59 min", text)
        whole = json.loads(run("diagnose", "--recent=all", "--json", log).stdout)
        self.assertEqual((whole["points"], whole["stacks"]), (8640, 1440))
        self.assertEqual({p["phase"]: p["stacks"] for p in whole["phases"] if p["stacks"]},
                         {"forward": 1101, "dataloader": 339})
        self.assertEqual((whole["verdict"], whole["decidedBy"]), ("dataloaderStall", "dataloader"))

    def test_recent_is_what_the_user_says(self):
        for span, points in (("all", 60), ("1h", 60), ("100s", 11), ("1m", 7), ("0.5s", 1)):
            with self.subTest(span):
                report = json.loads(run("diagnose", "--json", f"--recent={span}", self.STALL).stdout)
                self.assertEqual((report["points"], report["pointsInLog"]), (points, 60))

    def test_several_logs_give_a_line_each_the_worst_first(self):
        names = ["compute_bound", "mixed_forward", "memory_bound", "dataloader_stall",
                 "communication_bound", "idle"]
        logs = [self.LOGS / f"{name}.jsonl" for name in names]
        done = run("diagnose", *logs)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertEqual([pathlib.Path(line.split()[-1]).stem
                          for line in done.stdout.decode().splitlines()[1:]],
                         ["dataloader_stall", "communication_bound", "memory_bound", "idle",
                          "mixed_forward", "compute_bound"])
        reports = json.loads(run("diagnose", "--json", *logs).stdout)
        self.assertEqual([report["verdict"] for report in reports],
                         ["dataloaderStall", "communicationBound", "memoryBound", "mixed", "mixed",
                          "computeBound"])

    def test_a_log_that_cannot_be_read_costs_no_other(self):
        done = run("diagnose", "nowhere.jsonl", self.STALL, self.STALL)
        self.assertEqual(done.returncode, 2)
        self.assertEqual(len(done.stdout.splitlines()), 3)
        self.assertEqual(done.stderr, b"tavrine: cannot read nowhere.jsonl: "
                                      b"No such file or directory\n")
        done = run("diagnose", "nowhere.jsonl")
        self.assertEqual((done.returncode, done.stdout), (2, b""))

    def test_too_little_data_is_a_negative_answer(self):
        for text in (b"", b"\n", b"no JSON\n", b'{"t":1}\n'):
            with self.subTest(text):
                done = run("diagnose", "-", stdin=text)
                self.assertEqual(done.returncode, 1)
                self.assertTrue(done.stdout.startswith(b"Insufficient data\nstandard input: "))
        self.assertEqual(run("diagnose", self.STALL, self.LOGS / "nothing.jsonl").returncode, 1)

    def test_lines_that_gave_no_point_are_counted(self):
        done = run("diagnose", "-", stdin=b'{"t":1,"gpu_util":1}\n' * 3 + b'{"t":"1"}\nx\n')
        self.assertEqual((done.returncode, done.stderr), (
            0, b"tavrine: 2 lines of standard input gave no point; 'tavrine parse recorder "
               b"--findings' tells why\n"))

    def test_absurd_values_do_no_harm(self):
        for value in (b"1e308", b"-1e308", b"5e-324", b"9223372036854775807"):
            log = b"".join(b'{"t":%s,"gpu_util":%s,"power_w":%s}\n' % (t, value, value)
                           for t in (b"-1e308", b"0", b"1", b"2", b"1e308", value))
            with self.subTest(value):
                done = run("diagnose", "--recent=all", "-", stdin=log)
                self.assertIn(done.returncode, (0, 1))
                self.assertLess(len(done.stdout), 10_000)
                report = json.loads(run("diagnose", "--recent=all", "--json", "-",
                                        stdin=log).stdout)
                self.assertEqual(report["points"], 6)

    def test_nothing_in_a_log_reaches_the_terminal(self):
        name = self.file("x\x1b[31m.jsonl", self.STALL.read_bytes())
        shown = run("diagnose", name, name).stdout + run("diagnose", name).stdout
        self.assertNotIn(b"\x1b", shown)

    def test_charts_are_plain_where_characters_are_not_utf_8(self):
        for locale, plain in (("C", True), ("C.UTF-8", False), ("de_DE.utf8", False)):
            with self.subTest(locale):
                shown = run_on_terminal("diagnose", str(self.STALL), columns=80, LC_ALL=locale,
                                        NO_COLOR="1").stdout.decode()
                self.assertEqual("\u2588" not in shown, plain)
                self.assertEqual("###" in shown, plain)

    def test_charts_keep_to_the_screen(self):
        for columns in (80, 40, 30):
            with self.subTest(columns):
                shown = run_on_terminal("diagnose", str(self.STALL), columns=columns,
                                        NO_COLOR="1").stdout.decode()
                charts = [line for line in shown.splitlines() if "|" in line]
                self.assertEqual(len(charts), 8)
                self.assertLessEqual(max(map(len, charts)), columns)

    def test_wrong_usage(self):
        self.expect_usage(["diagnose"], "LOG is required", "tavrine diagnose")
        for span in ("15", "0s", "-1m", "infd", "1w", "all the rest"):
            self.expect_usage(["diagnose", f"--recent={span}", self.STALL],
                              f"--recent: must be such as 90s, 15m, 2h, 1d or all, not {span}",
                              "tavrine diagnose")


class Classify(ProgramTest):
    STACKS = golden_cases.ROOT / "stacks"

    def test_a_frame_of_the_launcher_alone_is_told(self):
        done = run("classify", self.STACKS / "evaluation_waits_for_data.stacks")
        self.assertEqual(done.returncode, 0)
        self.assertEqual(done.stderr, b'tavrine: 688514 (idle): "MainThread" counts as collective '
                                      b"for a frame of the launcher alone; without it the phase is "
                                      b"dataloader\n")

    def test_no_stacks_is_a_negative_answer(self):
        done = run("classify", stdin=b"Process 1: x\n")
        self.assertEqual((done.returncode, done.stderr), (
            1, b"tavrine: no stacks in standard input; 'py-spy dump --pid PID' prints them\n"))

    def test_json_that_holds_no_stacks_is_trouble(self):
        self.expect(run("classify", stdin=b'[{"thread":1}]'), 2, b"",
                    b"tavrine: no stacks in standard input: [0].thread: expected a text, found a "
                    b"number\n")
        self.expect(run("classify", stdin=b'["a"'), 2, b"",
                    b"tavrine: no stacks in standard input: not JSON: expected ',' or ']' at line 1, "
                    b"column 5\n")

    def test_deep_nesting_and_long_lines_do_no_harm(self):
        for text in (b"[" * 1_000_000, b"Thread 1 (idle)\n" + b" " * 1_000_000 + b"f (a:1)\n",
                     b"Thread " * 200_000, b"f (" * 500_000 + b")"):
            with self.subTest(text[:20]):
                self.assertIn(run("classify", stdin=text).returncode, (0, 1, 2))


@unittest.skipUnless(os.environ.get("TAVRINE_CORPUS"), "TAVRINE_CORPUS names no folder of captures")
class OtherOutputs(ProgramTest):
    """Outputs of other commands and other columns: what is no valid row gives no record."""

    # A row is valid when it has at least eight columns and an integer in the first. Whether its
    # columns are the ones that were meant is beyond what anyone can tell from the row.
    ACCEPTED = {
        # index, two utilisations, four memory figures, fan, temperature; no header, no units: eight
        # columns behind an integer, and so a row, though of another query.
        "rows_not_supported_old.csv": ["0", "1"],
    }

    def test_only_valid_rows_are_accepted(self):
        folder = pathlib.Path(os.environ["TAVRINE_CORPUS"]) / "nvidia_smi_other"
        sources = sorted(folder.iterdir())
        self.assertGreater(len(sources), 0)
        for source in sources:
            with self.subTest(source.name):
                done = run("parse", "gpus", "--findings=json", source)
                self.assertIn(done.returncode, (0, 1))
                self.assertEqual(done.stderr, b"")
                report = json.loads(done.stdout)
                self.assertEqual([str(record["index"]) for record in report["records"]],
                                 self.ACCEPTED.get(source.name, []))
                self.assertEqual(self.valid_rows(source), len(report["records"]))
                self.expect_every_line_accounted_for(source, report)

    @staticmethod
    def lines(source):
        text = source.read_bytes().decode("utf-8", errors="replace")
        return [line for line in re.split("\r\n|[\n\v\f\r\x85\u2028\u2029]", text) if line]

    def valid_rows(self, source):
        rows = [line.split(",") for line in self.lines(source)]
        return sum(len(row) >= 8 and re.fullmatch(r"[+-]?[0-9]+", row[0].strip()) is not None
                   for row in rows)

    def expect_every_line_accounted_for(self, source, report):
        headers = sum(line.split(",")[0].strip() == "index" and line.count(",") >= 7
                      for line in self.lines(source))
        dropped = sum(f["outcome"] == "line_dropped" for f in report["findings"])
        self.assertEqual(len(report["records"]) + dropped + headers, len(self.lines(source)))

    def test_the_other_kinds_account_for_every_line(self):
        count = 0
        for folder, pattern, kind, header in (
                ("compute_apps_csv", "*.csv", "gpu-processes", "pid"),
                ("ps", "**/*.*", "processes", "PID"),
                ("thermal", "*.tsv", "thermal", None)):
            for source in sorted((pathlib.Path(os.environ["TAVRINE_CORPUS"]) / folder).glob(pattern)):
                with self.subTest(source.name):
                    done = run("parse", kind, "--findings=json", source)
                    self.assertIn(done.returncode, (0, 1))
                    report = json.loads(done.stdout)
                    dropped = sum(f["outcome"] == "line_dropped" for f in report["findings"])
                    left = len(self.lines(source)) - len(report["records"]) - dropped
                    first = self.lines(source)[0].replace(",", " ").split()[0]
                    self.assertIn(left, (0, 1) if first == header else (0,))
                    count += 1
        self.assertGreaterEqual(count, 20)

    def test_every_file_gives_the_same_json_in_every_form(self):
        count = 0
        for folder, pattern, kind in (
                ("compute_apps_csv", "*", "gpu-processes"), ("nvidia_smi_csv", "*", "gpus"),
                ("ps", "**/*.*", "processes"), ("proc", "*loadavg*", "load"),
                ("proc", "diskstats*", "disks"), ("proc", "*framed*", "disks"),
                ("thermal", "*", "thermal"), ("training_logs", "*", "training-log")):
            arguments = ["parse", kind]
            if kind in ("processes", "training-log"):
                arguments.append("--captured-at=0")
            for source in sorted((pathlib.Path(os.environ["TAVRINE_CORPUS"]) / folder).glob(pattern)):
                with self.subTest(source.name):
                    plain = run(*arguments, source)
                    told = run(*arguments, "--findings=json", source)
                    self.assertIn(plain.returncode, (0, 1))
                    self.assertIn(told.returncode, (0, 1))
                    report = json.loads(told.stdout)
                    self.assertEqual(report.get("records", report.get("signals")),
                                     json.loads(plain.stdout))
                    if kind == "training-log":
                        self.expect_every_value_located(report)
                    count += 1
        self.assertGreaterEqual(count, 60)

    def expect_every_value_located(self, report):
        signals = report["signals"]
        values = sum(key in signals for key in ("loss", "throughput", "datasetName", "modelName",
                                                "checkpointPath"))
        values += sum(len(signals[key]) for key in ("warnings", "hyperparameters", "valMetrics"))
        self.assertEqual(sum(f["outcome"] == "located" for f in report["findings"]), values)

    def test_framed_disk_samples(self):
        folder = pathlib.Path(os.environ["TAVRINE_CORPUS"]) / "proc"
        for source in sorted(folder.glob("*framed*")):
            with self.subTest(source.name):
                records = json.loads(run("parse", "disks", source).stdout)
                totals = [record["readKBps"] + record["writeKBps"] for record in records]
                self.assertEqual(totals, sorted(totals, reverse=True))
                self.assertTrue(all(totals))

    def test_stacks_of_py_spy(self):
        # Main thread's phase, by the dump.
        phases = {"dump_02.txt": ["collective"], "dump_04.txt": ["unknown"] * 3 + ["collective"],
                  "dump_07.txt": ["unknown"], "dump_09.txt": ["collective"],
                  "dump_12_backward_lightning.txt": ["backward"],
                  "dump_14_barrier_accelerate.txt": ["collective"],
                  "dump_17_jax_compile.txt": ["unknown"], "dump_19_loky_worker.txt": ["unknown"]}
        folder = pathlib.Path(os.environ["TAVRINE_CORPUS"]) / "pyspy"
        found = {source.name: [stack["phase"] for stack in json.loads(run("classify", "--json",
                                                                          source).stdout)]
                 for source in folder.iterdir()}
        self.assertEqual(found, phases)

    def test_captures_are_the_golden_inputs(self):
        folder = pathlib.Path(os.environ["TAVRINE_CORPUS"]) / "nvidia_smi_csv"
        golden = {path.read_bytes() for path in CAPTURES.glob("*.csv")}
        self.assertEqual({path.read_bytes() for path in folder.iterdir()}, golden)


if __name__ == "__main__":
    PROGRAM = str(pathlib.Path(sys.argv.pop(1)).resolve())
    unittest.main()
