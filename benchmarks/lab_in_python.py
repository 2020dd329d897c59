"""One refresh of a lab from its captures, as a script would do it: the same files are read and taken
apart with what Python brings along, into dictionaries, and written as one JSON document.

    lab_in_python.py FOLDER     prints the CPU seconds of each of three runs
"""

import csv
import json
import pathlib
import re
import sys
import time

FLOAT = r"[-+]?[0-9]*\.?[0-9]+(?:[eE][-+]?[0-9]+)?"
LOSS = re.compile(r"(?i)\bloss\s*[:= ]\s*(" + FLOAT + ")")
THROUGHPUT = re.compile(r"(?i)(" + FLOAT + r")\s*(?:it/s|samples/s|steps/s|tok(?:ens)?/s)")
VALIDATION = re.compile(r"(?i)step\s*[:= ]\s*([0-9]+).*?val_loss\s*[:= ]\s*(" + FLOAT + ")")
HYPERPARAMETER = re.compile(r"(?i)\b(lr|batch_size|epochs|optimizer|seed)\s*[:= ]\s*(\S+)")
FAILURE = re.compile(r"(?i)out of memory|traceback|exception|\bnan\b|nccl error")


def number(cell):
    try:
        return float(re.sub(r"[^-+.0-9eE]", "", cell))
    except ValueError:
        return 0.0


def gpus(text):
    rows = list(csv.reader(text.splitlines()))[1:]
    return [{"index": int(row[0]), "name": row[1].strip(),
             **{str(i): number(cell) for i, cell in enumerate(row[2:14])}} for row in rows]


def processes(text, holders):
    rows = []
    for line in text.splitlines()[1:]:
        cells = line.split(None, 9)
        if len(cells) < 10:
            continue
        rows.append({"pid": int(cells[0]), "parent": int(cells[1]), "owner": cells[2],
                     "cpu": float(cells[4]), "memory": float(cells[5]), "elapsed": cells[6],
                     "rss": int(cells[7]), "executable": cells[8], "command": cells[9],
                     "gpuMemory": holders.get(int(cells[0])),
                     "training": "train" in cells[9].lower()})
    return rows


def holders(text):
    return {int(row[0]): number(row[2]) for row in list(csv.reader(text.splitlines()))[1:]}


def run(folder):
    log = (folder / "train.log").read_text(errors="replace")
    points = [json.loads(line) for line in (folder / "recorder.jsonl").open() if line.startswith("{")]
    losses = LOSS.findall(log)
    speeds = THROUGHPUT.findall(log)
    return {"name": folder.name, "loss": float(losses[-1]) if losses else None,
            "throughput": float(speeds[-1]) if speeds else None,
            "validation": VALIDATION.findall(log)[-64:],
            "hyperparameters": dict(HYPERPARAMETER.findall(log)),
            "failed": FAILURE.search(log) is not None, "tail": log.splitlines()[-20:],
            "points": sorted(points, key=lambda point: point["t"])[-60:]}


def server(folder):
    read = {path.name: path.read_text(errors="replace") for path in folder.iterdir() if path.is_file()}
    return {"info": json.loads(read["capture.json"]), "gpus": gpus(read["gpus.csv"]),
            "processes": processes(read["processes.txt"], holders(read["gpu_processes.csv"])),
            "load": [float(word) for word in read["loadavg.txt"].split()[:3]],
            "thermal": [line.split("\t") for line in read["thermal.txt"].splitlines()],
            "disks": [line.split() for line in read["diskstats.txt"].splitlines()],
            "runs": [run(path) for path in sorted((folder / "runs").iterdir())]}


for _ in range(3):
    start = time.process_time()
    lab = [server(folder) for folder in sorted(pathlib.Path(sys.argv[1]).iterdir())]
    json.dumps(lab, indent=2, sort_keys=True)
    print(time.process_time() - start)
