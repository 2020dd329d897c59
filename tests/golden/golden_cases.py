"""The inputs under tests/golden, and which runs of the program make the expected outputs.

Beside an input stand its expected outputs: NAME.json, NAME.table.txt and NAME.findings.txt for
NAME.csv, say. What needs no input has its expected output elsewhere, such as the schemas in docs.
The tests compare, `approve` rewrites; both learn from here what there is.
"""

import datetime
import json
import os
import pathlib
import re
from typing import Callable, NamedTuple

ROOT = pathlib.Path(__file__).resolve().parent
REPOSITORY = ROOT.parents[1]  # where the program runs, for what it prints may name its input
SCHEMAS = REPOSITORY / "docs/schema"


# What the program's output depends on besides its arguments.
ENVIRONMENT = {**os.environ, "LC_ALL": "C.UTF-8"}


class Form(NamedTuple):
    ending: str       # of the expected output's name
    arguments: list   # of the program, in front of the input's name
    stream: str       # where the output comes out


def parse_forms(kind, *options):
    return [Form(".json", ["parse", kind, *options, "--pretty"], "stdout"),
            Form(".table.txt", ["parse", kind, *options, "--table"], "stdout"),
            Form(".findings.txt", ["parse", kind, *options, "--findings"], "stderr")]


PROCESS_FORMS = parse_forms("processes", "--server=gpu-01", "--captured-at=2026-11-15T17:48:25Z")

CSV_KINDS = ("gpus", "runs", "processes", "users", "recorders")
EXPORT_FORMS = [Form(".prom", ["export", "--format=prometheus", "--processes"], "stdout"),
                Form(".openmetrics", ["export", "--format=openmetrics"], "stdout"),
                Form(".html", ["export", "--format=html"], "stdout"),
                *(Form(f".{kind}.csv", ["export", "--format=csv", f"--record={kind}"], "stdout")
                  for kind in CSV_KINDS)]


# Folder of inputs -> their ending, and what is made of each. A new kind is one line here.
FOLDERS = {
    "gpu_processes": (".csv", parse_forms("gpu-processes")),
    "gpu_processes/handmade": (".csv", parse_forms("gpu-processes")),
    "nvidia_smi": (".csv", parse_forms("gpus")),
    "nvidia_smi/handmade": (".csv", parse_forms("gpus")),
    "processes": (".ps", PROCESS_FORMS),
    "processes/handmade": (".ps", PROCESS_FORMS),
    "recorder": (".jsonl", parse_forms("recorder")),
    "sensors/disks": (".diskstats", parse_forms("disks", "--interval=2")),
    "sensors/load": (".loadavg", parse_forms("load")),
    "sensors/thermal": (".tsv", parse_forms("thermal")),
    "training_log": (".log", parse_forms("training-log", "--captured-at=2026-11-15T17:48:25Z")),
    "training_log/handmade": (".log", parse_forms("training-log",
                                                  "--captured-at=2026-11-15T17:48:25Z")),
    "diagnosis": (".jsonl", [Form(".txt", ["diagnose"], "stdout"),
                             Form(".json", ["diagnose", "--pretty"], "stdout")]),
    "stacks": (".stacks", [Form(".txt", ["classify"], "stdout"),
                           Form(".json", ["classify", "--pretty"], "stdout")]),
    "snapshot": (".json", [Form(".check.txt", ["check"], "stdout"),
                           Form(".show.txt", ["show"], "stdout"), *EXPORT_FORMS]),
    "demo": (".json", [Form(".prom", ["export", "--format=prometheus"], "stdout")]),
}

# When all that depends on the time of day is taken to have happened.
TAKEN = datetime.datetime(2026, 11, 15, 17, 48, 25)


def without_age(output):
    """An overview or a diagnosis, without how long ago what it shows was taken."""
    output = re.sub(rb"\A(Snapshot of [-0-9: UTC]+), taken .*", rb"\1, taken some time ago", output)
    return re.sub(rb"(, the newest of [-0-9: UTC]+), .*", rb"\1, some time ago", output)


def without_clock(output):
    """An overview of the present moment, as if that were TAKEN."""
    head = f"Snapshot of {TAKEN} UTC, taken now".encode()
    return re.sub(rb"\ASnapshot of [-0-9: UTC]+, taken (now|\d+ s ago)", head, output)


def at_fixed_time(output):
    """A snapshot of the present moment, moved to TAKEN, within its texts too. Its numbers are cut to
    nine digits, for the last ones depend on the machine's sine."""
    now = datetime.datetime.fromisoformat(json.loads(output)["timestamp"].rstrip("Z"))

    def moved_time(match):
        moved = datetime.datetime.fromisoformat(match[1]) + (TAKEN - now)
        return moved.isoformat() + "Z"

    def moved_day(match):
        moved = datetime.date.fromisoformat(match[1]) + (TAKEN.date() - now.date())
        return f'"{moved}"'

    text = re.sub(r"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d)Z", moved_time, output.decode())
    text = re.sub(r'"(\d{4}-\d\d-\d\d)"', moved_day, text)
    snapshot = json.loads(text, parse_float=lambda number: float(f"{float(number):.9g}"))
    return (json.dumps(snapshot, indent=2, ensure_ascii=False) + "\n").encode()


class Case(NamedTuple):
    arguments: list
    expected: pathlib.Path
    stream: str = "stdout"
    settled: Callable = without_age  # takes what changes with the time of day out of the output


def demo_cases():
    for tick in (0, 1, 60):
        yield Case(["demo", f"--tick={tick}", "--pretty"], ROOT / f"demo/tick_{tick}.json",
                   settled=at_fixed_time)
        yield Case(["demo", f"--tick={tick}"], ROOT / f"demo/tick_{tick}.show.txt",
                   settled=without_clock)


# Runs over what stands elsewhere, or over nothing.
WITHOUT_INPUT = [
    Case(["assemble", "--pretty", "examples/lab"], ROOT / "lab/snapshot.json"),
    Case(["assemble", "--findings", "examples/lab"], ROOT / "lab/findings.txt", "stderr"),
    Case(["show", "tests/golden/lab/snapshot.json"], ROOT / "lab/show.txt"),
    Case(["schema"], SCHEMAS / "AppSnapshot.schema.json"),
    Case(["schema", "GPUProcessStat"], SCHEMAS / "GPUProcessStat.schema.json"),
    *demo_cases(),
]


def cases():
    for folder, (ending, forms) in FOLDERS.items():
        for source in sorted((ROOT / folder).glob("*" + ending)):
            for form in forms:
                yield Case(form.arguments + [str(source.relative_to(REPOSITORY))],
                           source.with_suffix(form.ending), form.stream)
    yield from WITHOUT_INPUT
