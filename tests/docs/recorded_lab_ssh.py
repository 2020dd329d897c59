"""In the place of ssh, where the examples of the pages run: answers the collector script as if each
server of examples/lab stood behind it, as it was recorded, but now.

    recorded_lab_ssh.py ... [USER@]SERVER[.lab] 'sh -s' < SCRIPT
"""

import datetime
import json
import pathlib
import re
import sys

LAB = pathlib.Path(__file__).resolve().parents[2] / "examples/lab"
FILES = {"gpus": "gpus.csv", "gpu-processes": "gpu_processes.csv", "processes": "processes.txt",
         "load": "loadavg.txt", "disks": "diskstats.txt", "thermal": "thermal.txt",
         "disk-free": "disk_free.txt"}


def main():
    destination = sys.argv[-2]
    script = sys.stdin.read()
    server = LAB / destination.split("@")[-1].removesuffix(".lab")
    word = re.search(r"^word=(\S+)$", script, re.MULTILINE)[1]

    def piece(name, text, status=0):
        print(f"\n{word} begin {name}\n{text}\n{word} end {name} {status}")

    def log(kind, path, age, text):
        if f"begin {kind}-text" in script:
            piece(f"{kind}-path", path)
            piece(f"{kind}-age", age)
            piece(f"{kind}-text", text)

    if not (server / "gpus.csv").exists():
        sys.exit(f"ssh: connect to host {destination} port 22: No route to host")
    info = json.loads((server / "capture.json").read_bytes())
    for result in info["commands"]:
        text = (server / FILES[result["command"]]).read_text(encoding="utf-8")
        piece(result["command"], text, result["status"])
    for run in info["runs"]:
        folder = server / "runs" / run["name"]
        log("training-log", run["logPath"], run["logAgeSeconds"],
            (folder / "train.log").read_text(encoding="utf-8"))
        log("recorder-log", run["recorderPath"], run["logAgeSeconds"],
            moved((folder / "recorder.jsonl").read_text(encoding="utf-8"), info["takenAt"]))
    piece("done", "")


def moved(points, taken_at):
    """A recorder's log, as if it had been taken now."""
    taken = datetime.datetime.fromisoformat(taken_at.replace("Z", "+00:00"))
    shift = int((datetime.datetime.now(datetime.timezone.utc) - taken).total_seconds())
    return re.sub(r'(?m)^\{"t": ?(\d+)', lambda found: f'{{"t":{int(found[1]) + shift}', points)


main()
