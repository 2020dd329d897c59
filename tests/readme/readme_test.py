#!/usr/bin/env python3
"""Holds README.md to what it shows: the example is the one that is built and run, the live screen is
that of the made-up lab, and every folder it names exists. (What its commands print, and where its links
lead, tests/docs looks after.)

    readme_test.py PROGRAM
"""

import json
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
