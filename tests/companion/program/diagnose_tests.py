"""`diagnose` and `classify`."""

import json
import pathlib

from testing import L40S, LAB, ProgramTest, golden_cases, run, run_on_terminal


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

    def test_of_a_long_path_the_end_is_shown(self):
        deep = self.folder / ("a" * 60) / "communication_bound.jsonl"
        deep.parent.mkdir()
        deep.write_bytes((self.LOGS / "communication_bound.jsonl").read_bytes())
        done = run("diagnose", deep, deep)
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        for line in done.stdout.decode().splitlines()[1:]:
            self.assertRegex(line, r" …a+/communication_bound\.jsonl$")

    def test_of_several_each_is_reported_as_alone(self):
        logs = sorted(self.LOGS.glob("*.jsonl"))
        alone = [json.loads(run("diagnose", "--json", log).stdout) for log in logs]
        together = json.loads(run("diagnose", "--json", *logs).stdout)
        self.assertEqual(sorted(together, key=lambda report: report["log"]), alone)

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

    def test_milliseconds_are_told_to_be_no_seconds(self):
        for t, words in ((1763142000000, b"the newest at t = 1.76314e+12, which is no date: t is in "
                                         b"seconds\n"),
                         (253402300799, b"the newest of 9999-12-31 23:59:59 UTC, in "),
                         (253402300800, b"the newest at t = 2.53402e+11, which is no date: ")):
            with self.subTest(t):
                done = run("diagnose", "-", stdin=b'{"t":%d,"gpu_util":5}\n' % t)
                self.assertIn(b"standard input: 1 point, " + words, done.stdout)

    def test_a_log_without_a_sample_says_so(self):
        done = run("diagnose", "-", stdin=b'{"t":1,"phase":"step"}\n{"t":2,"phase":"stack"}\n')
        self.assertEqual(done.returncode, 1)
        self.assertIn(b'\nThere is no sample to judge by: each line has another phase than '
                      b'"snapshot"\n', done.stdout)

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

    def test_bars_show_shares_on_any_screen(self):
        log = self.file("phases.jsonl", b"".join(
            b'{"t":%d,"gpu_util":90,"py_spy":[{"thread":"","frames":["%s"]}]}\n' % (t, frame)
            for t, frame in enumerate([b"a:forward:1"] * 3 + [b"a:backward:1"])))
        for columns, bars in ((80, [23, 8]), (40, [10, 3]), (30, [4, 1])):
            with self.subTest(columns):
                shown = run_on_terminal("diagnose", str(log), columns=columns, LC_ALL="C",
                                        NO_COLOR="1").stdout.decode()
                self.assertEqual([line.count("#") for line in shown.splitlines()
                                  if line.startswith(("forward ", "backward "))], bars)

    def test_of_what_is_something_else_says_what(self):
        crlf = self.file("crlf.jsonl", b'{"t":1,"gpu_util":9}\r\n{"t":2,"gpu_util":9}\r\n')
        for log, words in (
                (LAB, "a snapshot, which 'tavrine show' reads"),
                (crlf, "a recorder's log whose lines end in CR LF, of which \"tr -d '\\r'\" makes"
                       " line feeds")):
            with self.subTest(log):
                done = run("diagnose", log)
                self.assertEqual((done.returncode, done.stderr.decode()),
                                 (1, f"tavrine: no points in {log}; it looks like {words}\n"))
        mixed = run("diagnose", LAB, self.STALL)
        self.assertEqual(mixed.stderr.decode(),
                         f"tavrine: no points in {LAB}; it looks like a snapshot, which "
                         "'tavrine show' reads\n")

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

    def test_of_what_is_something_else_says_what(self):
        done = run("classify", stdin=L40S.read_bytes())
        self.assertEqual((done.returncode, done.stderr), (
            1, b"tavrine: no stacks in standard input; it looks like what the GPU query prints, "
               b"which 'tavrine parse gpus' reads\n"))

    def test_lines_that_gave_no_frame_are_counted(self):
        lost = b"of standard input %s neither a thread nor a frame, which is \"function (file:line)\""
        for more, words in ((b"    g\n", b"1 line " + lost % b"is"),
                            (b"    g\n    h\n", b"2 lines " + lost % b"are")):
            with self.subTest(more):
                done = run("classify", stdin=b"Thread 1 (idle)\n    f (a.py:1)\n" + more)
                self.assertEqual((done.returncode, done.stderr),
                                 (0, b"tavrine: " + words + b"\n"))

    def test_json_that_holds_no_stacks_is_trouble(self):
        self.expect(run("classify", stdin=b'[{"thread":1}]'), 2, b"",
                    b"tavrine: no stacks in standard input: [0].thread: expected a text, found a "
                    b"number\n")
        self.expect(run("classify", stdin=b'{"t":1,"py_spy":[]}'), 2, b"",
                    b"tavrine: no stacks in standard input: thread: required key is missing; it"
                    b" looks like a recorder's log, which 'tavrine diagnose' reads\n")
        self.expect(run("classify", stdin=b'["a"'), 2, b"",
                    b"tavrine: no stacks in standard input: not JSON: expected ',' or ']' at line 1, "
                    b"column 5\n")

    def test_deep_nesting_and_long_lines_do_no_harm(self):
        for text in (b"[" * 1_000_000, b"Thread 1 (idle)\n" + b" " * 1_000_000 + b"f (a:1)\n",
                     b"Thread " * 200_000, b"f (" * 500_000 + b")"):
            with self.subTest(text[:20]):
                self.assertIn(run("classify", stdin=text).returncode, (0, 1, 2))
