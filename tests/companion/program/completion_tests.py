"""What may stand next on a command line, asked of the program and through the shells themselves."""

import json
import os
import pathlib
import pty
import re
import shutil
import subprocess
import threading
import time

from help_text import all_commands, commands_of, options_of
from testing import KINDS, PROGRAM, ProgramTest, environment, run

SCRIPTS = pathlib.Path(__file__).resolve().parents[3] / "companion/completion"
ALTERNATIVES = re.compile(r"\[?=([\w-]+(?:\|[\w-]+)+)\]?")


def offered(*words):
    done = run("--complete", *words)
    assert (done.returncode, done.stderr) == (0, b""), done
    return [line.split("\t")[0] for line in done.stdout.decode().splitlines()]


class WhatTheProgramOffers(ProgramTest):
    def test_each_verb_and_kind_of_the_help(self):
        self.assertGreater(len(commands_of()), 10)
        for command in all_commands():
            with self.subTest(command):
                known = commands_of(*command)
                if known:
                    self.assertEqual(offered(*command, ""), known)

    def test_each_option_of_the_help(self):
        for command in all_commands():
            with self.subTest(command):
                options = options_of(*command)
                self.assertIn("--help", options)
                words = offered(*command, "-")
                self.assertEqual([word for word in words if "=" not in word], list(options))

    def test_each_value_that_the_help_lists(self):
        lists = 0
        for command in all_commands():
            for option, value in options_of(*command).items():
                alternatives = ALTERNATIVES.fullmatch(value)
                if not alternatives:
                    continue
                with self.subTest(command, option=option):
                    lists += 1
                    values = alternatives[1].split("|")
                    self.assertEqual(offered(*command, f"{option}="),
                                     [f"{option}={value}" for value in values])
                    if not value.startswith("["):
                        self.assertEqual(offered(*command, option, ""), values)
        self.assertGreater(lists, 10)

    def test_each_value_is_one(self):
        for name in offered("schema", ""):
            with self.subTest(name):
                self.assertEqual(json.loads(run("schema", name).stdout)["title"], name)
        kinds = offered("export", "--record", "")
        self.assertGreater(len(kinds), 20)
        for kind in kinds:
            with self.subTest(kind):
                demo = run("demo", "--json").stdout
                self.expect(run("export", "--format=csv", "--record", kind, "-", stdin=demo,
                                stdout=subprocess.DEVNULL), 0, None)

    def test_only_what_begins_so(self):
        self.assertEqual(offered("sh"), ["show"])
        self.assertEqual(offered("parse", "gpu"), ["gpus", "gpu-processes"])
        self.assertEqual(offered("show", "--co"), ["--compact", "--color"])
        self.assertEqual(offered("export", "--format=open"), ["--format=openmetrics"])
        self.assertEqual(offered("parse", "gpus", "--findings"),
                         ["--findings", "--findings=text", "--findings=json"])

    def test_what_the_shell_looks_up_itself(self):
        for words, place in [
                (("show", ""), ":files"), (("check", "lab"), ":files"), (("diagnose", ""), ":files"),
                (("assemble", ""), ":folders"), (("collect", ""), ":hosts"),
                (("watch", "--host", ""), ":hosts"), (("watch", "--host=gpu"), ":hosts"),
                (("export", "--format", "csv", "--output", ""), ":files"),
                (("refresh", "--captures="), ":folders"), (("show", "--", "-"), ":files")]:
            with self.subTest(words):
                self.assertEqual(offered(*words), [place])

    def test_nothing(self):
        for words in [("fly", ""), ("parse", "cars", ""), ("show", "--colour="), ("demo", ""),
                      ("show", "--processes", ""), ("show", "--processes="), ("export", "--record", "x"),
                      ("query", "gpus", "")]:
            with self.subTest(words):
                self.assertEqual(offered(*words), [])

    def test_no_words(self):
        self.assertEqual(offered(), offered(""))


class ShellTest(ProgramTest):
    SHELL = ""

    def setUp(self):
        if not shutil.which(self.SHELL):
            self.skipTest(f"{self.SHELL} is not installed")
        super().setUp()
        (self.folder / "bin").mkdir()
        (self.folder / "bin/tavrine").symlink_to(PROGRAM)
        self.work = self.folder / "work"
        self.work.mkdir()
        (self.work / "lab one.json").touch()
        (self.work / "lab_folder").mkdir()
        (self.work / "late.txt").touch()

    def shell(self, *arguments):
        return subprocess.run(
            [self.SHELL, *arguments], cwd=self.work, env=self.environment(), capture_output=True,
            check=True, text=True, timeout=60)

    def environment(self):
        return environment(PATH=f"{self.folder}/bin:{os.environ['PATH']}", HOME=str(self.folder))


class Bash(ShellTest):
    SHELL = "bash"

    def completed(self, *words):
        """COMPREPLY for the words as bash would take them apart."""
        done = self.shell(
            "--norc", "-c",
            'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _tavrine tavrine; '
            '[[ ${#COMPREPLY[@]} -eq 0 ]] || printf "%s\\n" "${COMPREPLY[@]}"',
            "bash", str(SCRIPTS / "tavrine.bash"), "tavrine", *words)
        self.assertEqual(done.stderr, "")
        return done.stdout.splitlines()

    def test_lines(self):
        for words, expected in [
                (["exp"], ["export"]),
                (["parse", ""], KINDS),
                (["parse", "gpu"], ["gpus", "gpu-processes"]),
                (["show", "--p"], ["--pretty", "--processes"]),
                (["export", "--format", ""], ["prometheus", "openmetrics", "csv", "html"]),
                (["show", "--color", "=", "al"], ["always"]),
                (["show", "--color", "="], ["auto", "always", "never"]),
                (["show", "--color=al"], ["--color=always"]),
                (["export", "--record", "gp"], ["gpus"]),
                (["schema", "GPU"], ["GPUStat", "GPUProcessStat"]),
                (["show", "la"], ["lab one.json", "lab_folder", "late.txt"]),
                (["assemble", ""], ["lab_folder"]),
                (["export", "--output", "=", "lat"], ["late.txt"]),
                (["fly", ""], [])]:
            with self.subTest(words):
                self.assertCountEqual(self.completed(*words), expected)

    def test_is_bound_to_the_program(self):
        done = self.shell("--norc", "-c", 'source "$1"; complete -p tavrine', "bash",
                          str(SCRIPTS / "tavrine.bash"))
        self.assertEqual(done.stdout, "complete -F _tavrine tavrine\n")


class Zsh(ShellTest):
    SHELL = "zsh"

    def test_syntax(self):
        self.shell("-n", str(SCRIPTS / "_tavrine"))

    def test_lines(self):
        """What Tab makes of a line, typed to a real one."""
        self.start()
        for line, expected in [
                ("tavrine exp", "tavrine export "),
                ("tavrine parse rec", "tavrine parse recorder "),
                ("tavrine export --form", "tavrine export --format "),
                ("tavrine export --format o", "tavrine export --format openmetrics "),
                ("tavrine show --color=al", "tavrine show --color=always "),
                ("tavrine show lab\\ ", "tavrine show lab\\ one.json "),
                ("tavrine assemble la", "tavrine assemble lab_folder/"),
                ("tavrine export --output=lat", "tavrine export --output=late.txt "),
                ("tavrine fly ", "tavrine fly ")]:
            with self.subTest(line):
                self.assertEqual(self.completed(line), expected)

    def start(self):
        self.made = self.folder / "made"
        (self.folder / ".zshrc").write_text(
            f"fpath=({SCRIPTS} $fpath); autoload -U compinit; compinit -u -D\n"
            f"keep() {{ print -rn -- \"$BUFFER\" > {self.made}.part; BUFFER=; "
            f"mv {self.made}.part {self.made} }}\n"
            "zle -N keep; bindkey '^X' keep; bindkey '^I' complete-word\n")
        self.terminal, theirs = pty.openpty()
        process = subprocess.Popen(["zsh", "-i"], stdin=theirs, stdout=theirs, stderr=theirs,
                                   cwd=self.work, env=self.environment(), start_new_session=True)
        os.close(theirs)
        drain = threading.Thread(target=self.drain, args=[self.terminal])
        drain.start()
        for cleanup in (lambda: os.close(self.terminal), drain.join, process.wait, process.kill):
            self.addCleanup(cleanup)

    def completed(self, line):
        self.made.unlink(missing_ok=True)
        os.write(self.terminal, f"{line}\t\x18".encode())
        deadline = time.monotonic() + 60
        while not self.made.exists() and time.monotonic() < deadline:
            time.sleep(0.01)
        return self.made.read_text()

    @staticmethod
    def drain(terminal):
        try:
            while os.read(terminal, 65536):
                pass
        except OSError:  # the other side is closed
            pass


class Fish(ShellTest):
    SHELL = "fish"

    def completed(self, line):
        done = self.shell("--no-config", "-c", f"source {SCRIPTS / 'tavrine.fish'}; complete -C $argv",
                          line)
        self.assertEqual(done.stderr, "")
        return [word.split("\t")[0] for word in done.stdout.splitlines()]

    def test_syntax(self):
        self.shell("--no-execute", str(SCRIPTS / "tavrine.fish"))

    def test_lines(self):
        for line, expected in [
                ("tavrine exp", ["export"]),
                ("tavrine parse ", KINDS),
                ("tavrine show --p", ["--pretty", "--processes"]),
                ("tavrine export --format o", ["openmetrics"]),
                ("tavrine show --color=al", ["--color=always"]),
                ("tavrine assemble la", ["lab_folder/"]),
                ("tavrine show lat", ["late.txt"]),
                ("tavrine export --output=lat", ["--output=late.txt"]),
                ("tavrine fly ", [])]:
            with self.subTest(line):
                self.assertCountEqual(self.completed(line), expected)
