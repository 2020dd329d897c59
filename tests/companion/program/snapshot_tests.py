"""The verbs that work on a whole snapshot, and the script behind `make run`."""

import datetime
import json
import os
import re
import shutil
import subprocess
import sys

from testing import (H100, LAB, PROGRAM, ProgramTest, ROW, environment, golden_cases, run,
                     run_on_terminal)

DAMAGED = golden_cases.ROOT / "snapshot/damaged.json"


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
        self.assertEqual(done.stdout, b"a snapshot of 2026-11-15T17:48:25Z\n\n"
                                      b"it holds no records\n\nnothing was lost\n")
        self.assertEqual(set(self.counts(run("check", "--json", "-", stdin=self.EMPTY)).values()),
                         {0})

    def test_tables_only_what_there_is(self):
        document = (self.EMPTY[:-1] + b',"sensors":[{"serverName":"a","loadAverage":[],"diskIO":[],'
                                      b'"capturedAt":"2026-11-15T17:48:25Z","cpuTemperatures":[]}]}')
        done = run("check", "-", stdin=document)
        self.assertEqual((done.returncode, done.stdout.decode().split("\n\n")[1]),
                         (0, "Record         Count\nSystemSensors      1"))

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
                    f"tavrine: cannot read {self.folder}: Is a directory; of a folder of captures"
                    " 'tavrine assemble' makes a snapshot\n".encode())

    def test_of_what_is_something_else_says_what(self):
        log = golden_cases.ROOT / "diagnosis/compute_bound.jsonl"
        done = run("check", log)
        self.assertEqual((done.returncode, done.stderr),
                         (2, b"tavrine: it looks like a recorder's log, which 'tavrine diagnose'"
                             b" reads\n"))
        for arguments in (("show",), ("export", "--format=html")):
            with self.subTest(arguments):
                done = run(*arguments, log)
                self.assertEqual((done.returncode, done.stdout), (2, b""))
                self.assertTrue(done.stderr.startswith(f"tavrine: no snapshot in {log}: not JSON: "
                                                       .encode()))
                self.assertTrue(done.stderr.endswith(b"; it looks like a recorder's log, which "
                                                     b"'tavrine diagnose' reads\n"))

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
        self.expect(done, 2, b"",
                    f"tavrine: there is no latest snapshot, {self.folder}/.tavrine/latest.json; "
                    "'tavrine refresh' makes one, and 'tavrine demo' shows a made-up lab\n".encode())

    def test_where_nobody_can_look_for_the_latest(self):
        (self.folder / ".tavrine").symlink_to(".tavrine")
        done = subprocess.run([PROGRAM, "show"], capture_output=True,
                              env=environment(HOME=str(self.folder)))
        self.expect(done, 2, b"", f"tavrine: cannot read {self.folder}/.tavrine/latest.json: "
                                  "Too many levels of symbolic links\n".encode())

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
        self.expect_usage(["demo", "--tick"], "--tick needs a value", "tavrine demo")

    def test_ticks_that_are_some(self):
        for arguments in (["--tick", "-21"], ["--tick=-21"], ["--tick=-00021"]):
            self.assertEqual(self.lab(*arguments)["runs"][0]["status"], "stalled")
        self.assertEqual(self.lab("--tick=+1")["runs"][0]["status"], "running")

    def test_takes_no_file(self):
        self.expect_usage(["demo", "lab.json"], "one argument too many: lab.json", "tavrine demo")

    def test_the_number_of_processes(self):
        self.assertIn(b"\nTop processes, 2 of 6\n", run("demo", "--processes=2").stdout)
        self.expect_usage(["demo", "--processes=-1"], "--processes: must be a whole number from 0 on, not -1",
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
        return subprocess.run([script, os.path.relpath(PROGRAM)], capture_output=True, timeout=60,
                              env=environment(PATH=f"{self.folder}:{os.environ['PATH']}"))

    def test_without_a_gpu_it_shows_the_demo_lab_too(self):
        done = self.run_beside(b"exit 9\n")
        self.assertEqual(done.returncode, 0)
        parts = done.stdout.split(b"\n==== ")[1:]
        self.assertEqual(len(parts), 4)
        self.assertIn(b"Degraded", parts[0])
        lab = parts[1].partition(b"\n\n")[2]
        self.assertEqual(golden_cases.without_clock(lab),
                         golden_cases.without_clock(run("demo").stdout))
        self.assertIn(b"llama-1b-sft", parts[2])
        self.assertIn(b"Memory bound", parts[3])

    def test_with_a_gpu_it_shows_that(self):
        done = self.run_beside(b"case $1 in --query-gpu*) printf '" + ROW.replace(b"%", b"%%") +
                               b"';; esac\n")
        self.assertEqual(done.returncode, 0)
        self.assertRegex(done.stdout, rb"\n\S+ +0 +1%  0.0 / 0.0 GiB +30 C .* GPU A\n")
        self.assertNotIn(b"gpu-lab-a", done.stdout)
        self.assertIn(b"llama-1b-sft", done.stdout)

    def test_what_was_lost_is_told_and_no_failure(self):
        done = self.run_beside(b"[ \"$1\" = -L ] || echo odd\n")
        self.assertEqual(done.returncode, 0)
        self.assertIn(b"tavrine: 2 losses in 2 sources", done.stderr)


class Schema(ProgramTest):
    def test_of_an_unknown_record(self):
        done = run("schema", "Disks")
        self.assertEqual((done.returncode, done.stdout), (2, b""))
        self.assertRegex(done.stderr,
                         rb"unknown record: Disks \(known: AppSnapshot, ServerSummary, ")

    def test_of_a_mistyped_record(self):
        self.expect_usage(["schema", "gpustat"],
                          "RECORD: unknown record: gpustat; did you mean GPUStat?",
                          "tavrine schema")

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
