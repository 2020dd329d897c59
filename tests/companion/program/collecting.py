"""What the tests of verbs that ask hosts share: hosts behind a stub in the place of ssh."""

import json
import os
import subprocess

from testing import PROGRAM, ProgramTest, environment

GPU = "0, GPU A, 50 %, 500 MiB, 1000 MiB, 60, 100 W, 350 W"
# What a stub in the place of ssh gets before the destination.
OPTIONS = "-T -o BatchMode=yes -o ConnectTimeout=15 --"


class CollectTest(ProgramTest):
    """A home of its own, tools that need no second, and hosts behind a stub."""

    def setUp(self):
        super().setUp()
        self.home = self.folder / "home"
        self.home.mkdir()
        (self.folder / "bin").mkdir()
        self.script("bin/sleep", "exit 0")
        self.script("bin/nvidia-smi", f"case $1 in --query-gpu*) echo '{GPU}';; esac")
        self.ssh = self.script("ssh", self.here())

    def script(self, name, text):
        path = self.file(name, f"#!/bin/sh\n{text}\n".encode())
        path.chmod(0o755)
        return path

    @staticmethod
    def here(before=""):
        """A stub that runs the script on this machine."""
        return f"{before}\nfor last; do :; done\nexec sh -c \"$last\""

    def environment(self):
        return environment(HOME=str(self.home), PATH=f"{self.folder}/bin:{os.environ['PATH']}")

    def start(self, *arguments, **options):
        process = subprocess.Popen([PROGRAM, *map(str, arguments)], stdin=subprocess.DEVNULL,
                                   stdout=subprocess.PIPE, stderr=subprocess.PIPE, cwd=self.folder,
                                   env=self.environment(), **options)
        self.addCleanup(self.end, process)
        return process

    @staticmethod
    def end(process):
        if process.poll() is None:
            process.kill()
            process.communicate()

    def tavrine(self, *arguments, **options):
        process = self.start(*arguments, **options)
        out, words = process.communicate(timeout=120)
        return subprocess.CompletedProcess(arguments, process.returncode, out, words.decode())

    def ask(self, *arguments, stub=None, **options):
        if stub is not None:
            self.script("ssh", stub)
        verb, *others = arguments
        return self.tavrine(verb, f"--ssh={self.ssh}", *others, **options)

    def servers(self, done):
        return {each["name"]: each for each in json.loads(done.stdout)["servers"]}

    def latest(self):
        return json.loads((self.home / ".tavrine/latest.json").read_bytes())
