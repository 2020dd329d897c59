"""The pages of docs and README.md: the examples in them, and the folder in which these run.

An example is a line of an indented block that begins with `$ `, and what is shown below it is all
that the command prints, on standard output and standard error. There, a line `...` stands for any
lines, and ` ...` at the end of a line for the rest of it. Nothing else may differ, but for the time
of day and how long ago something was.
"""

import os
import pathlib
import re
import subprocess
import sys
from typing import NamedTuple

ROOT = pathlib.Path(__file__).resolve().parents[2]
README = ROOT / "README.md"
PROGRAM_PAGES = sorted((ROOT / "docs/program").glob("*.md"))
LIBRARY_PAGES = sorted((ROOT / "docs/library").glob("*.md"))
FORMAT_PAGES = sorted((ROOT / "docs/formats").glob("*.md"))
PAGES = [README, ROOT / "docs/README.md", *PROGRAM_PAGES, *LIBRARY_PAGES, *FORMAT_PAGES]
PAGES_THAT_RUN = [README, *PROGRAM_PAGES, *FORMAT_PAGES]

INDENT = "    "
PROMPT = INDENT + "$ "


class Example(NamedTuple):
    command: str
    shown: list      # lines, without the indentation
    first: int       # index of the first of them among the page's lines
    behind: int      # index of the line behind the last


def read(page):
    return page.read_text(encoding="utf-8")


def name_of(page):
    return str(page.relative_to(ROOT))


def without_fences(text):
    """The text with the lines of fenced blocks blank, so that all stand where they stood."""
    return re.sub(r"(?ms)^```.*?^```$", lambda block: "\n" * block[0].count("\n"), text)


def fenced(text, language):
    return re.findall(rf"(?ms)^```{language}\n(.*?)^```$", text)


def examples(text):
    lines = without_fences(text).split("\n")
    found = []
    at = 0
    while at < len(lines):
        if not lines[at].startswith(PROMPT):
            at += 1
            continue
        command = lines[at].removeprefix(PROMPT)
        at += 1
        while command.endswith("\\"):
            command += "\n" + lines[at].strip()
            at += 1
        first = at
        while at < len(lines) and not lines[at].startswith(PROMPT) and (
                not lines[at] or lines[at].startswith(INDENT)):
            at += 1
        behind = at
        while behind > first and not lines[behind - 1]:
            behind -= 1
        shown = [line.removeprefix(INDENT) for line in lines[first:behind]]
        found.append(Example(command, shown, first, behind))
    return found


LIVE = "Snapshot of this moment"
# What each day, or each run, changes: a pattern, and what stands for it.
VARYING = (
    (r"^Snapshot of [-0-9: ]+ UTC, taken (now|\d+ s ago)$", LIVE),
    (r"^(Snapshot of [-0-9: ]+ UTC), taken .* ago$", r"\1"),
    (r"(, the newest of [-0-9: ]+ UTC), .* ago$", r"\1"),
    (r"^(tavrine: )[-0-9: ]+ UTC(: .*); took .* of CPU$", r"\1now\2"),
)
# In the tables of a snapshot that has just been taken, where hosts answer a moment apart.
VARYING_LIVE = ((r"\d+ (s|min) ago", "now"), (" {2,}", "  "))


def without(varying, text):
    for pattern, constant in varying:
        text = re.sub(pattern, constant, text, flags=re.MULTILINE)
    return text


# The newest stand first, so alerts of one severity come in the order in which hosts answered.
SAME_ALERTS = re.compile(r"^(?:(Critical|Warning|Info)  now  .*\n)(?:\1  now  .*\n)*", re.MULTILINE)


def without_live(text):
    return SAME_ALERTS.sub(lambda found: "".join(sorted(found[0].splitlines(keepends=True))),
                           without(VARYING_LIVE, text))


def settled(*texts):
    """The texts without what varies."""
    texts = [without(VARYING, text) for text in texts]
    is_live = any(LIVE in text for text in texts)
    return [without_live(text) for text in texts] if is_live else texts


def agrees(shown, printed):
    """Whether `printed` is what the lines shown stand for."""
    shown, printed = settled("".join(line + "\n" for line in shown), printed)
    pattern = ""
    for line in shown.split("\n")[:-1]:
        if line == "...":
            pattern += r"(?:.*\n)*?"
        elif line.endswith(" ..."):
            pattern += re.escape(line.removesuffix("...")) + r".*\n"
        else:
            pattern += re.escape(line) + r"\n"
    return re.fullmatch(pattern, re.sub(r"(?m) +$", "", printed)) is not None


class Desk:
    """A folder with the files that the examples of a page read, a home, and the program. Here a
    machine has a GPU, and ssh reaches the servers of examples/lab."""

    def __init__(self, folder, program):
        self.folder = pathlib.Path(folder)
        for name in ("examples", "docs"):
            (self.folder / name).symlink_to(ROOT / name)
        golden = ROOT / "tests/golden"
        self._file("snapshot.json", (golden / "snapshot/damaged.json").read_text(encoding="utf-8"))
        self._file("recorder.jsonl",
                   (golden / "diagnosis/dataloader_stall.jsonl").read_text(encoding="utf-8"))
        self._tool("nvidia-smi", f"#!/bin/sh\ncat '{golden}/nvidia_smi/l40s_load.csv'\n")
        self._tool("ssh", f"#!/bin/sh\nexec '{sys.executable}' -B"
                          f" '{ROOT}/tests/docs/recorded_lab_ssh.py' \"$@\"\n")
        (self.folder / "bin/tavrine").symlink_to(pathlib.Path(program).resolve())
        self._last_status = 0

    def _file(self, name, text):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_text(text, encoding="utf-8")
        return path

    def _tool(self, name, text):
        self._file("bin/" + name, text).chmod(0o755)

    def set_up_for(self, text):
        """What a page shows as a configuration file is this user's."""
        for settings in fenced(text, "toml"):
            self._file("home/.config/tavrine/config.toml", settings)

    def run(self, command):
        environment = {key: value for key, value in os.environ.items()
                       if key not in ("NO_COLOR", "COLUMNS", "XDG_CONFIG_HOME")}
        environment.update(LC_ALL="C.UTF-8", TZ="UTC", TERM="xterm", HOME=str(self.folder / "home"),
                           PATH=f"{self.folder}/bin:{os.environ['PATH']}")
        done = subprocess.run(["sh", "-c", f"(exit {self._last_status})\n{command}"],
                              cwd=self.folder, env=environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120,
                              check=False)
        self._last_status = done.returncode
        printed = done.stdout.decode()
        return printed if printed.endswith("\n") or not printed else printed + "\n"
