"""What all verbs share: input, output, usage, terminals."""

import json
import os
import pathlib
import re
import select
import shutil
import signal
import subprocess
import threading

import diagnose_tests
from testing import (H100, KINDS, L40S, LAB, PROGRAM, ProgramTest, ROW, ROW_JSON, environment, run,
                     run_on_terminal)

BOLD = b"\x1b[1m"
VERBS = ["parse", "query", "show", "export", "watch", "demo", "check", "schema", "diagnose",
         "classify", "collect", "assemble", "refresh"]
KNOWN_VERBS = f"(known: {', '.join(VERBS)})"
KNOWN_KINDS = f"(known: {', '.join(KINDS)})"


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
        self.expect_usage(["status"], f"unknown verb: status {KNOWN_VERBS}", "tavrine")
        self.expect_usage(["parse", "cores"], f"unknown kind: cores {KNOWN_KINDS}", "tavrine parse")
        self.expect_usage(["query", "cores"], f"unknown kind: cores {KNOWN_KINDS}",
                          "tavrine query")
        self.expect_usage(["parse", ""], f"unknown kind:  {KNOWN_KINDS}", "tavrine parse")

    def test_mistyped_words(self):
        self.expect_usage(["prase"], "unknown verb: prase; did you mean parse?", "tavrine")
        self.expect_usage(["Show", "a.json"], "unknown verb: Show; did you mean show?", "tavrine")
        for verb in ("parse", "query"):
            self.expect_usage([verb, "gpu"], "unknown kind: gpu; did you mean gpus?",
                              f"tavrine {verb}")
            self.expect_usage([verb, "gpu_processes"],
                              "unknown kind: gpu_processes; did you mean gpu-processes?",
                              f"tavrine {verb}")

    def test_words_that_do_not_exist_before_one_that_does(self):
        self.expect_usage(["help", "parse"], f"unknown verb: help {KNOWN_VERBS}", "tavrine")
        self.expect_usage(["parse", "table", "gpus"], f"unknown kind: table {KNOWN_KINDS}",
                          "tavrine parse")

    def test_unknown_options(self):
        self.expect_usage(["--tabel"], "unknown option: --tabel", "tavrine")
        self.expect_usage(["-x", "parse", "gpus"], "unknown option: -x", "tavrine parse gpus")
        self.expect_usage(["query", "gpus", "--table"], "unknown option: --table",
                          "tavrine query gpus")

    def test_mistyped_options(self):
        for arguments, word in ((["parse", "gpus", "--tabel"], "--table"),
                                (["show", "--colour=never"], "--color"),
                                (["demo", "--no-color"], "--color"),
                                (["refresh", "--evry", "30s"], "--every"),
                                (["show", "--process", "5"], "--processes")):
            with self.subTest(arguments):
                verb = " ".join(a for a in arguments[:2] if a.isalpha())
                typed = next(a for a in arguments if a.startswith("--"))
                self.expect_usage(arguments, f"unknown option: {typed}; did you mean {word}?",
                                  f"tavrine {verb}")

    def test_options_in_front_of_their_verb(self):
        self.expect_usage(["parse", "--table", "gpus"],
                          "--table has its place behind 'tavrine parse gpus'", "tavrine parse gpus")
        for options in (["--color=never"], ["--color", "never"]):
            self.expect_usage([*options, "show"],
                              "--color has its place behind 'tavrine show'", "tavrine show")

    def test_options_that_take_no_value(self):
        self.expect_usage(["demo", "--json=x"], "--json takes no value", "tavrine demo")
        self.expect_usage(["show", "--redact=names"], "--redact takes no value", "tavrine show")

    def test_too_many_arguments(self):
        self.expect_usage(["parse", "gpus", H100, "b.csv"], "one argument too many: b.csv",
                          "tavrine parse gpus")
        self.expect_usage(["parse", "gpus", "--", H100, "--table"],
                          "one argument too many: --table", "tavrine parse gpus")
        self.expect_usage(["show", "a.json", "demo"], "one argument too many: demo",
                          "tavrine show")
        self.expect_usage(["parse", "gpus", "a.csv", "parse"], "one argument too many: parse",
                          "tavrine parse gpus")
        self.expect_usage(["show", "--color=never", "--color=always"],
                          "--color stands more than once", "tavrine show")
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
                          "--findings: must be text or json, not xml", "tavrine parse gpus")
        self.expect_usage(["parse", "gpus", "--color=red"],
                          "--color: must be auto, always or never, not red", "tavrine parse gpus")
        self.expect_usage(["parse", "gpus", "--color"], "--color needs a value",
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
                              "--processes: must be a whole number from 0 on, not " + count, "tavrine show")

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
                ["export", "--help"], ["demo", "--help"],
                ["check", "--help"], ["schema", "--help"], ["diagnose", "--help"],
                ["classify", "--help"], ["collect", "--help"], ["assemble", "--help"],
                ["refresh", "--help"],
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
        shutil.copy(L40S, self.folder / "whole.csv")
        for name in ("gpu_processes.csv", "processes.txt", "loadavg.txt", "diskstats.txt",
                     "thermal.txt", "train.log"):
            self.file(name, b"nothing that anyone can read\n")
        log = diagnose_tests.Diagnose.STALL.read_bytes() + b"nothing that anyone can read\n"
        self.file("recorder.jsonl", log)
        (self.folder / "runs/a").mkdir(parents=True)
        self.file("runs/a/recorder.jsonl", log)
        shutil.copy(diagnose_tests.Classify.STACKS / "recorded.stacks", self.folder / "dump.txt")
        shutil.copy(LAB, self.folder / "snapshot.json")
        (self.folder / ".tavrine").mkdir()
        shutil.copy(LAB, self.folder / ".tavrine/latest.json")
        for tool, script in (("nvidia-smi", "case $1 in --query-gpu*) cat whole.csv;; esac"),
                             ("py-spy", "cat dump.txt"), ("less", "cat"),
                             ("sleep", '[ "$1" = 1 ] || exec /bin/sleep "$1"'),
                             # As people call it, and as the program does.
                             ("ssh", 'case $1 in -T) shift 7;; *) shift;; esac; exec sh -c "$*"')):
            self.file(tool, f"#!/bin/sh\n{script}\n".encode()).chmod(0o755)
        path = f"{self.folder}:{pathlib.Path(PROGRAM).parent}:{os.environ['PATH']}"
        count = 0
        for arguments in self.COMMANDS:
            examples = run(*arguments).stdout.decode().partition("Example")[2]
            for example in re.findall(r"^  (.*tavrine .*)", examples, re.MULTILINE):
                with self.subTest(example):
                    example = re.sub(r'(query .*> )\S+$', r"\1other.csv", example)
                    if example.endswith("&"):  # it goes on until somebody stops it
                        example += " sleep 0.1; kill $!; wait $!"
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
