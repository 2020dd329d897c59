#!/usr/bin/env python3
"""Holds README.md to what it shows: the example is the one that is built and run, the table is what
the program prints, and every folder and file it names exists.

    readme_test.py PROGRAM
"""

import json
import os
import pathlib
import re
import subprocess
import sys
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
README = (ROOT / "README.md").read_text(encoding="utf-8")


class Readme(unittest.TestCase):
    def test_example_is_the_consumer_that_the_install_tests_build(self):
        [block] = re.findall(r"```cpp\n(.*?)```", README, re.DOTALL)
        self.assertEqual(block, (ROOT / "examples/consumer/main.cpp").read_text(encoding="utf-8"))

    def test_table_is_what_the_program_prints(self):
        [shown] = re.findall(r"^    \$ .*parse gpus --table\n((?:    .*\n)+)", README, re.MULTILINE)
        capture = ROOT / "tests/golden/nvidia_smi/l40s_load.csv"
        printed = subprocess.run(
            [PROGRAM, "parse", "gpus", "--table", capture], capture_output=True, check=True, text=True
        ).stdout
        self.assertEqual(re.sub("^    ", "", shown, flags=re.MULTILINE), printed)

    def test_diagnosis_is_what_the_program_prints(self):
        [shown] = re.findall(r"^    \$ tavrine diagnose recorder.jsonl\n((?:    .*\n)+)", README,
                             re.MULTILINE)
        log = ROOT / "tests/golden/diagnosis/dataloader_stall.jsonl"
        printed = subprocess.run(
            [PROGRAM, "diagnose", log], capture_output=True, check=True, text=True,
            encoding="utf-8", env={**os.environ, "LC_ALL": "C.UTF-8"}).stdout
        lines = re.sub("^    ", "", shown, flags=re.MULTILINE).splitlines()
        lines = [line for line in lines if line != "..." and not line.endswith(" ago")]
        self.assertGreater(len(lines), 7)
        for line in lines:
            self.assertIn(line, printed.splitlines())

    def test_demo_is_what_the_program_shows(self):
        [shown] = re.findall(r"^    \$ tavrine demo\n((?:    .*\n)+)", README, re.MULTILINE)
        printed = subprocess.run([PROGRAM, "demo"], capture_output=True, check=True, text=True).stdout
        parts = re.sub("^    ", "", shown, flags=re.MULTILINE).split("...\n")
        self.assertGreater(len("".join(parts)), 100)
        for part in parts:
            self.assertIn(part, printed)

    def test_live_screen_shows_the_demo_lab(self):
        [shown] = re.findall(r"^     tavrine  2 servers.*\n((?:(?:    .*)?\n)+?)(?=\S)", README, re.MULTILINE)
        rows = re.findall(r"^ +(\d) .* ([\d.]+)% .* ([\d.]+) / [\d.]+ GiB +([\d.]+) W .* ([\d.]+) C$", shown,
                          re.MULTILINE)
        self.assertEqual(len(rows), 6)
        first = int(re.search(r"watch --demo --tick (\d+)", README)[1])
        labs = [self.demo_rows(tick) for tick in range(first, first + 20)]
        self.assertIn([tuple(map(float, row)) for row in rows], labs)

    def demo_rows(self, tick):
        lab = json.loads(subprocess.run([PROGRAM, "demo", "--json", f"--tick={tick}"],
                                        capture_output=True, check=True).stdout)
        return [(gpu["index"], round(gpu["utilizationPercent"], 1),
                 round(gpu["memoryUsedMB"] / 1024, 1), round(gpu["powerDrawW"], 1),
                 round(gpu["temperatureC"], 1)) for server in lab["servers"] for gpu in server["gpus"]]

    def test_named_places_exist(self):
        named = re.findall(r"`((?:TavrineShared|companion|tests|benchmarks|fuzz|examples|cmake|tools)[/\w.]*)`", README)
        named += re.findall(r"\]\(([\w./]+)\)", README)
        self.assertGreater(len(named), 8)
        for place in named:
            self.assertTrue((ROOT / place).exists(), place)

    def test_commands_are_those_of_the_makefile(self):
        makefile = (ROOT / "Makefile").read_text(encoding="utf-8")
        commands = set(re.findall(r"\bmake (\w+)\b", README))
        self.assertLessEqual({"run", "test", "bench"}, commands)
        for command in commands:
            self.assertRegex(makefile, rf"(?m)^{command}\b[^:]*:")


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    unittest.main()
