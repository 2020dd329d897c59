"""Every expected output under tests/golden and docs/schema."""

import json
import re

from testing import CAPTURES, ProgramTest, golden_cases, run


class GoldenFiles(ProgramTest):
    def test_every_expected_output(self):
        count = 0
        for arguments, expected, stream, settled in golden_cases.cases():
            with self.subTest(expected.name):
                done = run(*arguments, cwd=golden_cases.REPOSITORY)
                output = settled(getattr(done, stream))
                self.assertEqual(output, expected.read_bytes())
                negative = re.search(rb"^ *(tavrine: )?\d+ loss|Insufficient data",
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
