"""Further captures, where the environment names a folder of them in TAVRINE_CORPUS."""

import json
import os
import pathlib
import re
import unittest

from testing import CAPTURES, ProgramTest, run


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
