"""docs/tavrine.1 tells of all that the program has, and of nothing else."""

import pathlib
import re
import shutil
import subprocess

from help_text import all_commands, commands_of, options_of
from testing import ProgramTest, environment, run

PAGE = pathlib.Path(__file__).resolve().parents[3] / "docs/tavrine.1"


def plain(roff):
    """Without escapes: "\\fB\\-\\-every\\fR=\\fISPAN\\fR" is "--every=SPAN"."""
    return re.sub(r"\\f[BIR]", "", roff).replace("\\-", "-")


def sections(text, macro):
    """What stands under each heading that `macro` makes."""
    parts = re.split(rf"^\.{macro} (.*)\n", text, flags=re.MULTILINE)
    return dict(zip(parts[1::2], parts[2::2]))


class ManPage(ProgramTest):
    def setUp(self):
        super().setUp()
        self.sections = sections(plain(PAGE.read_text(encoding="ascii")), "SH")
        self.verbs = sections(self.sections["VERBS"], "SS")

    def test_verbs(self):
        self.assertEqual(sorted(self.verbs), sorted(commands_of()))

    def test_kinds(self):
        text = self.verbs["parse"]
        self.assertEqual(re.findall(r"^\.TP\n\.B (\S+)$", text, re.MULTILINE), commands_of("parse"))
        self.assertEqual(commands_of("query"), commands_of("parse"))

    def test_options_of_each_verb(self):
        seen = 0
        for verb, text in self.verbs.items():
            with self.subTest(verb):
                known = {}
                for command in all_commands():
                    if command[:1] == [verb]:
                        known.update(options_of(*command))
                del known["--help"]
                synopsis = text.split("\n.PP\n")[0].split()
                self.assertEqual(synopsis[:3], [".B", "tavrine", verb])
                told = {}
                for word in synopsis:
                    if word.startswith("[--"):
                        word = word[1:-1]
                    if word.startswith("--"):
                        [(name, value)] = re.findall(r"^(--[\w-]+)(.*)$", word)
                        self.assertNotIn(name, told)
                        told[name] = value
                self.assertEqual(told, known)
                seen += len(told)
        self.assertGreater(seen, 70)

    def test_options_that_are_explained(self):
        known = set()
        for command in all_commands():
            known.update(options_of(*command))
        told = re.findall(r"^\.TP\n(?:-\w, )?(--[\w-]+)", self.sections["OPTIONS"], re.MULTILINE)
        self.assertEqual(sorted(told), sorted(known))

    def test_options_named_elsewhere(self):
        known = set()
        for command in all_commands():
            known.update(options_of(*command))
        for name in re.findall(r"--\w[\w-]*", " ".join(self.sections.values())):
            self.assertIn(name, known)

    def test_kinds_that_know_an_option(self):
        """The text of a kind names just those options that not all kinds have."""
        kinds = commands_of("parse")
        options = {kind: set(options_of("parse", kind)) for kind in kinds}
        common = set.intersection(*options.values())
        texts = re.split(r"^\.TP\n\.B (\S+)\n", self.verbs["parse"], flags=re.MULTILINE)
        for kind, text in zip(texts[1::2], texts[2::2]):
            with self.subTest(kind):
                self.assertEqual(set(re.findall(r"--[\w-]+", text)), options[kind] - common)

    def test_version(self):
        [version] = re.findall(r'^\.TH TAVRINE 1 [\d-]+ "(.*?)"', PAGE.read_text(), re.MULTILINE)
        self.expect(run("--version"), 0, version.encode() + b"\n")

    def test_exit_status(self):
        self.assertEqual(re.findall(r"^\.TP\n\.B (\d)$", self.sections["EXIT STATUS"], re.MULTILINE),
                         ["0", "1", "2"])

    def test_is_set_without_a_warning(self):
        if not shutil.which("groff"):
            self.skipTest("groff is not installed")
        done = subprocess.run(["groff", "-ww", "-mandoc", "-Tutf8", PAGE], capture_output=True,
                              check=True, text=True, encoding="utf-8", env=environment())
        self.assertEqual(done.stderr, "")
        self.assertIn("watch the GPU servers of a lab", done.stdout)
