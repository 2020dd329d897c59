"""What all tests of the program share: running it, alone or on a terminal, and expecting."""

import errno
import fcntl
import os
import pathlib
import pty
import resource
import shutil
import struct
import subprocess
import sys
import tempfile
import termios
import threading
import unittest

sys.dont_write_bytecode = True
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "golden"))
import golden_cases  # noqa: E402

PROGRAM = os.environ["TAVRINE_PROGRAM"]
CAPTURES = golden_cases.ROOT / "nvidia_smi"
H100 = CAPTURES / "h100_mig_load.csv"
L40S = CAPTURES / "l40s_idle.csv"
LAB = golden_cases.ROOT / "snapshot/lab.json"
HOST_KINDS = ["gpus", "gpu-processes", "processes", "load", "disks", "thermal"]
KINDS = HOST_KINDS + ["training-log", "recorder"]
ROW = b"0, GPU A, 1 %, 2 MiB, 4 MiB, 30, 5.00 W, 6.00 W\n"
ROW_JSON = (b'{"index":0,"memoryTotalMB":4,"memoryUsedMB":2,"name":"GPU A","powerDrawW":5,'
            b'"powerLimitW":6,"temperatureC":30,"utilizationPercent":1}')


def environment(**changes):
    """Ours without what would colour the output, plus `changes`."""
    plain = {k: v for k, v in golden_cases.ENVIRONMENT.items()
             if k not in ("NO_COLOR", "TERM", "COLUMNS")}
    return {**plain, "TERM": "xterm", **changes}


def no_core_dump():
    resource.setrlimit(resource.RLIMIT_CORE, (0, 0))


def run(*arguments, stdin=b"", **options):
    if isinstance(stdin, bytes):
        options["input"] = stdin
    else:
        options["stdin"] = stdin
    options.setdefault("stdout", subprocess.PIPE)
    return subprocess.run([PROGRAM, *map(str, arguments)], stderr=subprocess.PIPE, timeout=120,
                          env=environment(), **options)


def run_on_terminal(*arguments, stdin=b"", typed=None, columns=0, **env):
    """stdout is a terminal; stderr is a pipe. With `typed`, stdin is the same terminal. Without
    `columns` nobody knows how wide it is."""
    ours, theirs = pty.openpty()
    fcntl.ioctl(theirs, termios.TIOCSWINSZ, struct.pack("HHHH", 24 if columns else 0, columns, 0, 0))
    try:
        process = subprocess.Popen(
            [PROGRAM, *map(str, arguments)], stdin=subprocess.PIPE if typed is None else theirs,
            stdout=theirs, stderr=subprocess.PIPE, env=environment(**env), start_new_session=True)
        os.close(theirs)
        if typed is not None:
            os.write(ours, typed)
        screen = []

        def watch():
            while True:
                try:
                    chunk = os.read(ours, 65536)
                except OSError as error:
                    if error.errno != errno.EIO:  # how Linux says that the other side is closed
                        raise
                    return
                if not chunk:
                    return
                screen.append(chunk)

        watcher = threading.Thread(target=watch)
        watcher.start()
        _, words = process.communicate(stdin if typed is None else None, timeout=60)
        watcher.join(60)
        shown = b"".join(screen).replace(b"\r\n", b"\n")
        return subprocess.CompletedProcess(arguments, process.returncode, shown, words)
    finally:
        os.close(ours)


class ProgramTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="tavrine_test_"))
        self.addCleanup(shutil.rmtree, self.folder)

    def file(self, name, content):
        path = self.folder / name
        path.write_bytes(content)
        return path

    def expect(self, done, status, stdout=b"", stderr=b""):
        self.assertEqual((done.returncode, done.stdout, done.stderr), (status, stdout, stderr))

    def expect_usage(self, arguments, message, help_of):
        done = run(*arguments)
        self.expect(done, 2, b"", f"tavrine: {message}\nTry '{help_of} --help'.\n".encode())
