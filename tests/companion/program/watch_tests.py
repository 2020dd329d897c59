"""The live screen, on a terminal of our own and in tmux."""

import errno
import fcntl
import json
import os
import pathlib
import pty
import re
import select
import shutil
import signal
import struct
import subprocess
import termios
import time
import unittest

from testing import LAB, PROGRAM, ProgramTest, environment, no_core_dump, run, run_on_terminal

LONG_ENOUGH = 60  # seconds until something that should happen at once counts as never
ENTER_SCREEN, LEAVE_SCREEN = b"\x1b[?1049h", b"\x1b[?1049l"
KNOWN_LEAKS = pathlib.Path(__file__).resolve().parents[2] / "support/known_leaks.txt"
SANITIZED = {"LSAN_OPTIONS": f"print_suppressions=0:suppressions={KNOWN_LEAKS}"}
SHOW_CURSOR = b"\x1b[?12l\x1b[?25h"


def lab_document(second, **changes):
    """A snapshot of a time that tells it from others."""
    lab = json.loads(LAB.read_bytes())
    lab["timestamp"] = f"2026-11-15T17:48:{second:02}Z"
    return json.dumps({**lab, **changes}).encode()


class Watch:
    """The program on a pseudo-terminal, whose output is kept as it comes."""

    def __init__(self, *arguments, rows=24, columns=80, **env):
        self.ours, self.theirs = pty.openpty()
        self.resize(rows, columns, tell=False)
        self.before = termios.tcgetattr(self.theirs)
        self.output = b""

        def become_the_session_of_the_terminal():
            no_core_dump()
            os.setsid()
            fcntl.ioctl(0, termios.TIOCSCTTY, 0)

        self.process = subprocess.Popen(
            [PROGRAM, "watch", *map(str, arguments)], stdin=self.theirs, stdout=self.theirs,
            stderr=subprocess.PIPE, preexec_fn=become_the_session_of_the_terminal,
            env=environment(LC_ALL="C.UTF-8", **SANITIZED, **env))

    def resize(self, rows, columns, tell=True):
        fcntl.ioctl(self.ours, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))
        if tell:
            self.process.send_signal(signal.SIGWINCH)

    def type(self, keys):
        os.write(self.ours, keys)

    def read(self, seconds):
        """What comes within some time, or until nothing more can come."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            if not select.select([self.ours], [], [], max(0, end - time.monotonic()))[0]:
                break
            try:
                self.output += os.read(self.ours, 65536)
            except OSError as error:
                if error.errno != errno.EIO:
                    raise
                break
        return self.output

    def wait_for(self, words, begin=0):
        end = time.monotonic() + LONG_ENOUGH
        while words not in self.output[begin:]:
            if time.monotonic() > end:
                raise AssertionError(f"{words} never came, but {self.output[begin:]}")
            self.read(0.05)
        return len(self.output)

    def ended(self):
        """The exit status, and what was said on standard error."""
        end = time.monotonic() + LONG_ENOUGH
        while self.process.poll() is None and time.monotonic() < end:
            self.read(0.05)
        self.read(0.2)
        return self.process.wait(1), self.process.stderr.read()

    def close(self):
        if self.process.poll() is None:
            self.process.kill()
            self.process.wait()
        self.process.stderr.close()
        for descriptor in (self.ours, self.theirs):
            if descriptor is not None:
                os.close(descriptor)


class WatchTest(ProgramTest):
    def watch(self, *arguments, **options):
        watch = Watch(*arguments, **options)
        self.addCleanup(watch.close)
        return watch

    def expect_restored(self, watch):
        self.assertEqual(watch.output.count(ENTER_SCREEN), 1)
        self.assertEqual(watch.output.count(LEAVE_SCREEN), 1)
        after = watch.output.rpartition(LEAVE_SCREEN)[2]
        self.assertIn(SHOW_CURSOR, after + watch.output)
        self.assertNotRegex(after, rb"\x1b\[\d+;\d+H.")
        self.assertEqual(termios.tcgetattr(watch.theirs), watch.before)


class Ends(WatchTest):
    def test_by_q(self):
        watch = self.watch("--demo")
        watch.wait_for(b"gpu-lab-a")
        watch.type(b"q")
        self.assertEqual(watch.ended(), (0, b""))
        self.expect_restored(watch)

    def test_by_ctrl_c(self):
        watch = self.watch("--demo")
        watch.wait_for(b"gpu-lab-a")
        self.assertNotEqual(termios.tcgetattr(watch.theirs), watch.before)
        watch.type(b"\x03")
        self.assertEqual(watch.ended(), (0, b""))
        self.expect_restored(watch)

    def test_by_signals_that_ask_for_it(self):
        for ending in (signal.SIGTERM, signal.SIGHUP):
            with self.subTest(ending):
                watch = self.watch("--demo")
                watch.wait_for(b"gpu-lab-a")
                watch.process.send_signal(ending)
                self.assertEqual(watch.ended(), (-ending, b""))
                self.expect_restored(watch)

    def test_by_crashes(self):
        for ending in (signal.SIGSEGV, signal.SIGABRT, signal.SIGBUS, signal.SIGFPE,
                       signal.SIGILL):
            with self.subTest(ending):
                watch = self.watch("--demo")
                watch.wait_for(b"gpu-lab-a")
                watch.process.send_signal(ending)
                status, _ = watch.ended()
                if status == 1:
                    self.skipTest("a sanitizer took the signal for its own")
                self.assertEqual(status, -ending)
                self.expect_restored(watch)

    def test_by_a_terminal_that_went_away(self):
        watch = self.watch("--demo")
        watch.wait_for(b"gpu-lab-a")
        os.close(watch.theirs)
        os.close(watch.ours)
        watch.ours = watch.theirs = None
        self.assertEqual(watch.process.wait(LONG_ENOUGH), -signal.SIGHUP)


class Hosts(WatchTest):
    """Hosts that are asked beside the screen, by a child that must not outlive it."""

    def asked(self):
        config = self.folder / "config"
        config.mkdir()
        watch = self.watch("--every=1s", "--host=.", XDG_CONFIG_HOME=str(config),
                           TMPDIR=str(self.folder))
        watch.wait_for(b"1 server")
        [child] = pathlib.Path(f"/proc/{watch.process.pid}/task/{watch.process.pid}/children"
                               ).read_text().split()
        self.assertEqual(len(list(self.folder.glob("tavrine-watch-*"))), 1)
        return watch, pathlib.Path("/proc") / child

    def wait_until_gone(self, process):
        end = time.monotonic() + LONG_ENOUGH
        while process.exists() and "Z" not in (process / "stat").read_text().rpartition(")")[2]:
            self.assertLess(time.monotonic(), end, "the child outlives the screen")
            time.sleep(0.05)

    def test_end_with_the_screen(self):
        watch, child = self.asked()
        watch.type(b"q")
        self.assertEqual(watch.ended(), (0, b""))
        self.assertFalse(child.exists())
        self.assertEqual(list(self.folder.glob("tavrine-watch-*")), [])

    def test_end_with_a_screen_that_is_killed(self):
        watch, child = self.asked()
        watch.process.kill()
        self.wait_until_gone(child)

    def test_a_child_that_ends_is_told(self):
        watch, child = self.asked()
        os.kill(int(child.name), signal.SIGKILL)
        watch.wait_for(b"has ended")
        watch.type(b"q")
        self.assertEqual(watch.ended(), (0, b""))


class Refuses(WatchTest):
    NO_TERMINAL = (b"tavrine: watch needs a terminal, as standard input and as standard output;"
                   b" 'tavrine show' prints to anything\n")

    def test_what_is_no_terminal(self):
        self.expect(run("watch", "--demo"), 2, b"", self.NO_TERMINAL)
        done = run_on_terminal("watch", "--demo")
        self.assertEqual((done.returncode, done.stdout, done.stderr), (2, b"", self.NO_TERMINAL))

    def test_a_closed_pipe(self):
        ours, theirs = os.pipe()
        os.close(ours)
        self.addCleanup(os.close, theirs)
        done = run("watch", "--demo", stdout=theirs)
        self.assertEqual((done.returncode, done.stderr), (2, self.NO_TERMINAL))

    def test_terminals_that_can_show_no_screen(self):
        for terminal, why in (("dumb", b"the terminal 'dumb' cannot show a screen"),
                              ("no-such-one", b"the terminal 'no-such-one' is unknown here"),
                              ("\x1b[2J", b"the terminal '\\x1b[2J' is unknown here"),
                              ("", b"TERM does not say what terminal this is")):
            with self.subTest(terminal):
                watch = self.watch("--demo", TERM=terminal)
                self.assertEqual(watch.ended(),
                                 (2, b"tavrine: " + why + b"; 'tavrine show' needs no screen\n"))
                self.assertEqual(watch.output, b"")
                self.assertEqual(termios.tcgetattr(watch.theirs), watch.before)

    def test_standard_input_as_a_file(self):
        watch = self.watch("-")
        self.assertEqual(watch.ended(), (2, b"tavrine: watch cannot read standard input, where the"
                                            b" keys come from\n"))

    def test_wrong_usage(self):
        self.expect_usage(["watch", "a", "b"], "one argument too many: b", "tavrine watch")
        for arguments in (["--demo", "a.json"], ["--tick=5"], ["--demo", "--tick=x"]):
            done = run("watch", *arguments)
            self.assertEqual((done.returncode, done.stdout), (2, b""))
            self.assertIn(b"Try 'tavrine watch --help'.", done.stderr)

    def test_help_names_the_keys(self):
        help_text = run("watch", "--help").stdout.decode()
        for words in ("Keys:", "Enter", "q, Ctrl-C", "--demo", "--tick=N", "FILE"):
            self.assertIn(words, help_text)
        self.assertLessEqual(max(map(len, help_text.splitlines())), 80)


class Sleeps(WatchTest):
    def test_while_nothing_happens(self):
        watch = self.watch(LAB)
        watch.wait_for(b"gpu-01")
        began = self.cpu_seconds(watch)
        watch.read(3)
        self.assertLess(self.cpu_seconds(watch) - began, 0.1)

    def cpu_seconds(self, watch):
        with open(f"/proc/{watch.process.pid}/stat", encoding="ascii") as file:
            fields = file.read().rpartition(")")[2].split()
        return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")

    def test_and_draws_only_the_clock(self):
        watch = self.watch(LAB)
        watch.wait_for(b"gpu-01")
        begin = len(watch.read(1))
        drawn = watch.read(2.5)[begin:]
        self.assertLess(len(drawn), 500)
        self.assertGreater(len(drawn), 0)


class Colors(WatchTest):
    def colors(self, *options, **env):
        watch = self.watch("--demo", *options, **env)
        watch.wait_for(b"gpu-lab-b")
        watch.read(0.3)
        watch.type(b"q")
        watch.ended()
        return set(re.findall(rb"\x1b\[(?:[0-9;]*;)?(3[1-7])(?:;[0-9;]*)?m", watch.output))

    def test_on_a_terminal_of_eight(self):
        self.assertLessEqual({b"32", b"36"}, self.colors())

    def test_not_where_nobody_wants_them(self):
        self.assertEqual(self.colors(NO_COLOR="1"), set())
        self.assertEqual(self.colors("--color=never"), set())
        self.assertEqual(self.colors(TERM="vt100"), set())
        self.assertTrue(self.colors("--color=always", NO_COLOR="1"))


@unittest.skipUnless(shutil.which("tmux"), "tmux shows what a terminal makes of the screen")
class OnAScreen(ProgramTest):
    """What a person sees."""

    def setUp(self):
        super().setUp()
        self.server = f"tavrine_{os.getpid()}_{id(self)}"

    def tmux(self, *arguments):
        return subprocess.run(["tmux", "-u", "-L", self.server, "-f", "/dev/null", *map(str, arguments)],
                              check=True, capture_output=True, timeout=60,
                              env=environment(LC_ALL="C.UTF-8", HOME=str(self.folder),
                                              TMUX_TMPDIR=str(self.folder))).stdout.decode()

    def show(self, *arguments, columns=80, rows=24, locale="C.UTF-8"):
        words = " ".join(f"'{argument}'" for argument in arguments)
        self.tmux("new-session", "-d", "-c", self.folder, "-x", columns, "-y", rows,
                  f"stty -a > before; LC_ALL={locale} '{PROGRAM}' watch {words}; echo left $?;"
                  " stty -a > after; sleep 60", ";", "set", "-g", "remain-on-exit", "on")
        self.addCleanup(lambda: self.tmux("kill-server"))

    def screen(self):
        return self.tmux("capture-pane", "-p")

    def wait_for(self, *words):
        end = time.monotonic() + LONG_ENOUGH
        while True:
            screen = self.screen()
            if all(word in screen for word in words):
                return screen
            if time.monotonic() > end:
                self.fail(f"never saw {words} on\n{screen}")
            time.sleep(0.05)

    def keys(self, *keys):
        self.tmux("send-keys", *keys)

    def expect_fitting(self, screen, columns):
        for line in screen.splitlines():
            self.assertLessEqual(len(line), columns)

    def expect_views(self, columns, rows, wide):
        self.show("--demo", columns=columns, rows=rows)
        screen = self.wait_for("gpu-lab-a  Demo  4 GPUs", "q quit")
        self.expect_fitting(screen, columns)
        self.assertEqual("NVIDIA H100" in screen, wide)
        for key, words in (("2", "llama-7b-sft-run-042"), ("3", "Checkpoint saved"),
                           ("4", "GPU memory"), ("5", "Last login" if wide else "pelvane"),
                           ("6", "SSH logins"), ("Tab", "all GPUs")):
            self.keys(key)
            self.expect_fitting(self.wait_for(words), columns)

    def test_views_at_80_by_24(self):
        self.expect_views(80, 24, False)

    def test_views_at_200_by_60(self):
        self.expect_views(200, 60, True)

    def test_the_demo_moves(self):
        self.show("--demo", "--tick", "62")
        self.keys("2")
        self.wait_for("STALLED")
        self.wait_for("RUN ALIVE")

    def test_a_run_is_opened(self):
        self.show("--demo", rows=60)
        self.wait_for("gpu-lab-a")
        self.keys("2", "Enter")
        self.wait_for("Settings", "batch_size", "Log", "Esc back")
        self.keys("Escape")
        self.wait_for("Enter open")

    def test_filter_and_sorting(self):
        self.show(LAB)
        self.wait_for("gpu-01")
        self.keys("4", "/", "x", "y", "z")
        self.wait_for("Nothing here contains xyz", "/xyz")
        self.keys("Escape", "s", "r")
        self.wait_for("by Server, reversed")

    def test_help(self):
        self.show("--demo")
        self.wait_for("gpu-lab-a")
        self.keys("?")
        self.wait_for("q, Ctrl-C", "quit", "Esc back")
        self.keys("h")
        self.wait_for("all GPUs")

    def test_resizing(self):
        self.show("--demo", columns=100, rows=30)
        self.wait_for("gpu-lab-b")
        for columns, rows in ((40, 10), (20, 5), (3, 2), (1, 1), (150, 50)):
            self.tmux("resize-window", "-x", columns, "-y", rows)
            time.sleep(0.4)
            self.expect_fitting(self.screen(), columns)
        self.wait_for("NVIDIA H100", "q quit")
        self.keys("q")
        self.wait_for("left 0")

    def test_20_by_5(self):
        self.show("--demo", columns=20, rows=5)
        screen = self.wait_for("tavrine", "gpu-lab-a", "q quit")
        self.assertEqual(len(screen.rstrip("\n").splitlines()), 5)

    def test_the_terminal_is_as_before(self):
        self.show("--demo")
        self.wait_for("gpu-lab-a")
        self.keys("q")
        self.wait_for("left 0")
        before, after = self.folder / "before", self.folder / "after"
        end = time.monotonic() + LONG_ENOUGH
        while not (after.exists() and after.stat().st_size) and time.monotonic() < end:
            time.sleep(0.05)
        self.assertEqual(before.read_bytes(), after.read_bytes())

    def test_without_utf_8_all_is_ascii(self):
        self.show("--demo", locale="C")
        screen = self.wait_for("gpu-lab-a", "####")
        self.assertTrue(screen.isascii())

    def test_wide_characters_keep_columns_aligned(self):
        self.show(LAB, columns=100, rows=30)
        self.keys("4")
        lines = self.wait_for("\u663e\u5361", "PID").splitlines()
        heading = next(line for line in lines if line.startswith("Server "))
        wide = next(line for line in lines if line.startswith("\u663e\u5361"))
        plain = next(line for line in lines if line.startswith("gpu-01"))
        pid = heading.index("PID") + len("PID")
        self.assertRegex(plain[:pid], r"\d$")
        self.assertRegex(wide[:pid - 2], r"\d$")
        self.assertEqual(plain[pid], wide[pid - 2], " ")

    def test_a_file_that_comes_changes_breaks_and_goes(self):
        latest = self.folder / "latest.json"
        beside = self.folder / "beside"
        self.show(latest)
        self.wait_for("Waiting for a snapshot", "No such file or directory",
                      "'tavrine refresh' makes one", "'--demo' shows a made-up lab.")

        def replace(document):
            beside.write_bytes(document)
            os.replace(beside, latest)

        replace(lab_document(1))
        self.wait_for("gpu-01", "stale")
        replace(lab_document(2, servers=[]))
        self.wait_for("0 servers, 0 GPUs")
        replace(lab_document(3))
        self.wait_for("3 servers")
        replace(b"{")
        self.wait_for("3 servers", "This is the last good one: no snapshot: not JSON")
        replace(lab_document(4, servers=[7]))
        self.wait_for("0 servers", "1 loss in it")
        latest.unlink()
        self.wait_for("0 servers", "cannot be read: No such file or directory")
        replace(lab_document(5))
        self.wait_for("3 servers", "q quit")

    def test_pause(self):
        latest = self.file("latest.json", lab_document(1))
        self.show(latest)
        self.wait_for("3 servers")
        self.keys("p")
        self.wait_for("PAUSED")
        latest.write_bytes(lab_document(2, servers=[]))
        time.sleep(0.8)
        self.assertIn("3 servers", self.screen())
        self.keys("p")
        self.wait_for("0 servers")

    def test_hostile_names(self):
        lab = json.loads(LAB.read_bytes())
        lab["servers"][0]["name"] = "\x1b]0;owned\x07\u009b2J\u202e"
        self.show(self.file("hostile.json", json.dumps(lab).encode()), columns=200)
        self.wait_for(r"\x1b]0;owned")
        self.assertNotIn("owned", self.tmux("display-message", "-p", "#{pane_title}"))

    def test_the_latest_is_watched_by_default(self):
        self.show()
        self.wait_for("Waiting for a snapshot", f"{self.folder}"[:20])
