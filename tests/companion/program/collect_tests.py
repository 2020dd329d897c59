"""collect, assemble and refresh: asking hosts, keeping captures, making snapshots of them."""

import getpass
import json
import os
import pathlib
import pty
import resource
import shutil
import signal
import socket
import subprocess
import time

from testing import PROGRAM, ProgramTest, environment, run

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


class Collect(CollectTest):
    def test_this_machine(self):
        done = self.tavrine("collect")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        server, = self.servers(done).values()
        self.assertEqual((server["name"], server["state"]), (socket.gethostname(), "connected"))
        self.assertEqual([gpu["name"] for gpu in server["gpus"]], ["GPU A"])
        self.assertGreater(len(json.loads(done.stdout)["processes"]), 0)

    def test_captures_make_the_same_snapshot(self):
        (self.folder / "run a").mkdir()
        self.file("run a/train.log", b"step 100 loss: 2.5\n")
        logs = f"--training-logs={self.folder}/run */train.log"
        done = self.ask("collect", "--captures", "kept", logs, "b", "a=ada@host")
        self.assertEqual((done.returncode, done.stdout, done.stderr),
                         (0, b"kept/b\nkept/a\n", ""))
        self.assertEqual(sorted(os.listdir(self.folder / "kept")), ["a", "b"])
        made = self.tavrine("assemble", "kept/b", "kept/a")
        self.assertEqual((made.returncode, made.stderr), (0, ""))
        snapshot = json.loads(made.stdout)
        self.assertEqual([each["name"] for each in snapshot["servers"]], ["b", "a"])
        self.assertEqual([each["name"] for each in snapshot["runs"]], ["run a", "run a"])
        self.assertEqual(self.tavrine("assemble", "kept").returncode, 0)
        (self.folder / "kept/.tavrine-left").mkdir()
        shutil.copy(self.folder / "kept/a/capture.json", self.folder / "kept/.tavrine-left")
        self.assertEqual(len(self.servers(self.tavrine("assemble", "kept"))), 2)
        shown = run("show", "-", stdin=made.stdout)
        self.assertEqual(shown.returncode, 0)
        self.assertIn(b"run a", shown.stdout)

    def test_assemble_needs_captures(self):
        done = self.tavrine("assemble", "none")
        self.assertEqual((done.returncode, done.stdout), (2, b""))
        self.assertIn("none", done.stderr)
        self.assertEqual(self.tavrine("assemble").returncode, 2)

    def test_assemble_tells_what_was_lost(self):
        (self.folder / "gpu-01").mkdir()
        self.file("gpu-01/gpus.csv", b"nonsense\n")
        done = self.tavrine("assemble", "gpu-01", "--findings")
        self.assertEqual(done.returncode, 1)
        self.assertIn("gpu-01/gpus.csv\n  line 1: ", done.stderr)
        done = self.tavrine("assemble", "gpu-01")
        self.assertIn("--findings tells of what, and why", done.stderr)

    def test_assemble_finds_a_capture_that_lost_its_info_among_others(self):
        for server in ("a", "b"):
            (self.folder / "all" / server).mkdir(parents=True)
            self.file(f"all/{server}/gpus.csv", GPU.encode())
        done = self.tavrine("assemble", "all")
        self.assertEqual([each["name"] for each in json.loads(done.stdout)["servers"]], ["a", "b"])
        self.assertEqual(done.returncode, 1)

    def test_assemble_takes_nothing_else_for_a_capture(self):
        (self.folder / "empty").mkdir()
        done = self.tavrine("assemble", "empty")
        self.assertEqual((done.returncode, done.stdout), (2, b""))
        self.assertEqual(done.stderr, "tavrine: empty: no capture, and no folder of captures\n")
        self.file("packed.tar.gz", b"")
        for name, why in (("packed.tar.gz", "no folder, as captures are; an archive must be unpacked"),
                          ("none", "cannot read: No such file or directory")):
            done = self.tavrine("assemble", name)
            self.assertEqual((done.returncode, done.stderr), (2, f"tavrine: {name}: {why}\n"))

    def test_what_was_lost_is_told_by_all(self):
        self.script("bin/nvidia-smi", "echo nonsense")
        for verb in ("collect", "refresh"):
            done = self.tavrine(verb)
            self.assertEqual(done.returncode, 1)
            self.assertIn("--findings tells of what, and why", done.stderr)
            done = self.tavrine(verb, "--findings")
            self.assertEqual(done.returncode, 1)
            self.assertIn("/gpus.csv\n  line 1: ", done.stderr)

    def test_more_logs_than_it_keeps_are_told(self):
        for i in range(70):
            self.file(f"{i}.log", b"step: 1 loss: 0.5\n")
        pattern = f"--training-logs={self.folder}/*.log"
        done = self.tavrine("collect", pattern, "--findings")
        self.assertEqual(done.returncode, 1)
        self.assertIn(": training-log: 6 files more were left out\n", done.stderr)
        self.assertRegex(done.stderr, r"/training-log\n  ignored: 6 files more were left out\n")
        self.assertEqual(len(json.loads(done.stdout)["runs"]), 64)

    def test_of_equal_captures_the_first_counts(self):
        times = {}
        for name, when in (("a", "2026-11-15T10:00:00Z"), ("b", "2026-11-15T10:00:00Z"),
                           ("old", "1969-07-20T20:17:00Z")):
            (self.folder / name).mkdir()
            self.file(f"{name}/capture.json", json.dumps(
                {"server": "old" if name == "old" else "s", "host": name, "takenAt": when,
                 "commands": [], "runs": []}).encode())
            times[name] = when
        done = self.tavrine("assemble", "a", "b", "--findings")
        self.assertEqual(self.servers(done)["s"]["host"], "a")
        self.assertIn("  ignored: there is another capture of the same server that is no older\n",
                      done.stderr)
        self.assertEqual(self.servers(self.tavrine("assemble", "b", "a"))["s"]["host"], "b")
        self.assertEqual(json.loads(self.tavrine("assemble", "old").stdout)["timestamp"],
                         times["old"])

    def test_only_a_capture_is_replaced(self):
        (self.folder / "kept/a").mkdir(parents=True)
        self.file("kept/a/thesis", b"years of work")
        done = self.ask("collect", "--captures", "kept", "a", "b")
        self.assertEqual(done.returncode, 1)
        self.assertIn("not replaced, since it is no capture", done.stderr)
        self.assertEqual(os.listdir(self.folder / "kept/a"), ["thesis"])
        self.assertTrue((self.folder / "kept/b/capture.json").exists())
        self.assertEqual(done.stdout, b"kept/b\n")

    def test_a_capture_that_cannot_be_kept_costs_its_server_nothing(self):
        self.file("taken", b"")
        done = self.ask("refresh", "--captures", "taken", "a")
        self.assertEqual(done.returncode, 1)
        self.assertIn("tavrine: taken: ", done.stderr)
        self.assertEqual(self.servers(self.tavrine("show", "--json"))["a"]["state"], "connected")

    def test_the_script_runs_by_itself(self):
        script = self.tavrine("collect", "--script").stdout
        done = subprocess.run(["sh", "-s"], input=script, capture_output=True,
                              env=self.environment())
        self.assertEqual((done.returncode, done.stderr), (0, b""))
        self.assertIn(b"begin gpus\n" + GPU.encode(), done.stdout)

    def test_a_progress_line_that_is_gone_in_the_end(self):
        ours, theirs = pty.openpty()
        done = subprocess.run([PROGRAM, "collect"], stdout=subprocess.PIPE, stderr=theirs,
                              env=self.environment())
        os.close(theirs)
        words = b""
        while not words.endswith(b"\x1b[K"):  # a read may give a part; after all of it, it fails
            words += os.read(ours, 65536)
        os.close(ours)
        self.assertEqual(done.returncode, 0)
        self.assertTrue(words.startswith(b"\r0 of 1 hosts") and words.endswith(b"\r\x1b[K"), words)


class Hosts(CollectTest):
    def state(self, stub, *options, problem=None, state="offline", status=1):
        done = self.ask("collect", "h", *options, stub=stub)
        self.assertEqual(self.servers(done)["h"]["state"], state)
        self.assertEqual(done.returncode, status, done.stderr)
        words = "" if problem is None else f"tavrine: h: {problem}\n"
        self.assertEqual(done.stderr, words)
        return done

    def test_asks_in_one_way(self):
        self.state(self.here(f'echo "$@" > {self.folder}/said'), state="connected", status=0)
        self.assertEqual((self.folder / "said").read_text(), f"{OPTIONS} h sh -s\n")

    def test_one_that_never_answers(self):
        started = time.monotonic()
        self.state("exec /bin/sleep 60", "--timeout=1s", problem="no answer within 1 s")
        self.assertLess(time.monotonic() - started, 10)

    def test_one_that_stops_in_the_middle(self):
        self.state(self.here().replace("exec sh", "sh") + " | head -n 5; echo 'gone' >&2; exit 255",
                   problem="it ended too early, with status 255: gone", state="degraded")

    def test_one_that_is_unknown(self):
        self.state("echo 'no such host' >&2; exit 255",
                   problem="no answer, but status 255: no such host")

    def test_one_that_complains_where_others_answer(self):
        self.state("echo 'Welcome'; echo 'This account is not available.'; exit 1",
                   problem="no answer, but status 1: This account is not available.")
        self.state("echo 'Welcome'; echo 'gone' >&2; exit 1",
                   problem="no answer, but status 1: gone")

    def test_one_that_has_no_tool(self):
        (self.folder / "none").mkdir()
        self.state(f"PATH={self.folder}/none exec /bin/sh -s", state="degraded", status=0)

    def test_one_that_is_offline_is_told_why_in_its_alert(self):
        done = self.state("echo 'no such host' >&2; exit 255",
                          problem="no answer, but status 255: no such host")
        self.assertEqual([alert["message"] for alert in json.loads(done.stdout)["alerts"]],
                         ["No answer, but status 255: no such host."])

    def test_one_that_greets(self):
        for greeting in ("echo welcome", "printf 'welcome > '", "printf '\\377\\000\\033[2J'"):
            with self.subTest(greeting):
                self.state(self.here(greeting), state="connected", status=0)

    def test_one_that_speaks_through_a_terminal(self):
        done = self.state(self.here().replace("exec sh", "sh") + " | sed 's/$/\\r/'",
                          state="connected", status=0)
        self.assertEqual(len(self.servers(done)["h"]["gpus"]), 1)

    def test_one_that_speaks_in_bytes(self):
        self.state("cat >/dev/null; head -c 3000000 /dev/urandom",
                   problem="no answer, but status 0")

    def expect_little_memory(self, usage):
        idle = subprocess.Popen([PROGRAM, "--version"], stdout=subprocess.DEVNULL)
        _, status, of_nothing = os.wait4(idle.pid, 0)
        idle.returncode = os.waitstatus_to_exitcode(status)
        # In kilobytes. A sanitizer takes much for itself, before anything has been done.
        is_sanitized = of_nothing.ru_maxrss > 20_000
        self.assertLess(usage.ru_maxrss, 200_000 if is_sanitized else 60_000)

    def test_one_that_babbles(self):
        self.script("ssh", "exec head -c 200000000 /dev/zero")
        process = self.start("collect", "h", "--ssh", self.ssh, "--most-per-host=4")
        words = process.stderr.read().decode()
        self.assertEqual(words, "tavrine: h: it printed more than it may\n")
        process.stdout.read()
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        process.stdout.close()
        process.stderr.close()
        self.assertEqual(process.returncode, 1)
        self.expect_little_memory(usage)

    def test_one_whose_tool_prints_without_end(self):
        self.script("bin/nvidia-smi", "exec yes")
        done = self.ask("collect", "h", "--most-per-file=1", "--most-per-host=2",
                        "--command-timeout=2s", stub=self.here())
        self.assertEqual(done.returncode, 1)
        self.assertIn("printed more than it may", done.stderr)

    def test_one_that_would_stop_the_parser_costs_only_itself(self):
        fatal = "1, B, 1 %, 2 MiB, 4 MiB, 30, 5 W, 6 W, 0, 0, 0, nan, 4, 16, P0"
        self.script("bin/nvidia-smi",
                    f"case $1 in --query-gpu*) echo '{GPU}'; echo '{fatal}';; esac")
        done = self.ask("collect", "h", ".")
        self.assertEqual(done.returncode, 1)
        servers = self.servers(done)
        self.assertEqual([len(each["gpus"]) for each in servers.values()], [1, 1])

    def test_names_that_are_no_hosts_reach_nobody(self):
        self.script("ssh", f"touch {self.folder}/reached")
        for host in ("-oProxyCommand=touch reached", "a=-oX", "a b", "a\nb", "", "a=", "=a",
                     "a\x1b[2J", "ada@-oX"):
            with self.subTest(host):
                done = self.ask("collect", "--", host)
                self.assertEqual((done.returncode, done.stdout), (2, b""))
                self.assertRegex(done.stderr, r"\Atavrine: no host: .*\n\Z")
                self.assertNotIn("\x1b", done.stderr)
        self.assertFalse((self.folder / "reached").exists())

    def test_a_name_that_a_shell_would_run_does_not(self):
        host = f"$(touch${{IFS}}{self.folder}/run);`id`"
        self.ask("collect", host, stub=self.here())
        self.assertFalse((self.folder / "run").exists())

    def test_two_hundred_of_them_some_dead_and_some_slow(self):
        self.script("ssh", r"""
shift $(($# - 2))
case $1 in
  h*7) exec /bin/sleep 60 ;;
  h*3) exit 255 ;;
  h*5) /bin/sleep 0.5 ;;
esac
word=$(head -n 1 | cut -d = -f 2); cat >/dev/null
printf '%s begin load\n0.5\n%s end load 0\n' $word $word
printf '%s begin done\n\n%s end done 0\n' $word $word""")
        started = time.monotonic()
        process = self.start("collect", "--ssh", self.ssh, "--timeout=2s",
                             *(f"h{i}" for i in range(200)))
        out = process.stdout.read()
        words = process.stderr.read().decode()
        _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        process.stdout.close()
        process.stderr.close()
        taken = time.monotonic() - started
        states = [each["state"] for each in json.loads(out)["servers"]]
        self.assertEqual((len(states), states.count("offline")), (200, 40))
        self.assertEqual(words.count("no answer within 2 s"), 20)
        self.assertEqual(words.count("no answer, but status 255"), 20)
        self.assertLess(taken, 15)  # one after the other: 40 s of waiting alone
        self.expect_little_memory(usage)


class Refresh(CollectTest):
    def test_keeps_the_latest(self):
        done = self.ask("refresh", "a", "b")
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertRegex(done.stderr, r"\Atavrine: .*: 2 servers, 2 GPUs, 0 runs, 0 alerts; took "
                                      r"[0-9.]+ s and [0-9.]+ s of CPU\n\Z")
        self.assertEqual(len(self.latest()["servers"]), 2)
        self.assertEqual(self.tavrine("show").returncode, 0)

    def test_remembers_what_was(self):
        self.ask("refresh", "a")
        seen = self.latest()["servers"][0]["lastSeen"]
        gone = []
        for _ in range(2):
            time.sleep(1.1)
            done = self.ask("refresh", "a", stub="exit 255")
            self.assertEqual(done.returncode, 1)
            server, = self.latest()["servers"]
            self.assertEqual((server["state"], server["lastSeen"]), ("offline", seen))
            alert, = self.latest()["alerts"]
            gone.append((alert["id"], alert["timestamp"]))
        self.assertEqual(gone[0], gone[1])
        self.assertNotEqual(gone[0][1], self.latest()["timestamp"])

    def test_goes_on_until_it_is_told_to_stop(self):
        for sign in (signal.SIGINT, signal.SIGTERM):
            with self.subTest(sign):
                process = self.start("refresh", "--every", "0.2s")
                rounds = [process.stderr.readline() for _ in range(2)]
                process.send_signal(sign)
                words = process.communicate(timeout=20)[1]
                self.assertEqual(process.returncode, 0, rounds)
                self.assertTrue(all(b"1 server" in each for each in rounds), rounds)
                self.assertNotIn(b"offline", words)

    def test_stops_while_it_waits_for_a_host(self):
        self.ask("refresh", "a")
        before = self.latest()
        self.script("ssh", f"touch {self.folder}/asked; exec /bin/sleep 60")
        for every, status in ((["--every=60s"], 0), ([], 1)):
            (self.folder / "asked").unlink(missing_ok=True)
            process = self.start("refresh", "a", "--ssh", self.ssh, *every)
            while not (self.folder / "asked").exists():
                time.sleep(0.02)
            process.terminate()
            words = process.communicate(timeout=20)[1]
            self.assertEqual((process.returncode, words), (status, b"tavrine: interrupted\n"))
        self.assertEqual(self.latest(), before)

    def test_an_interruption_keeps_earlier_captures(self):
        self.ask("collect", "--captures=kept", "a")
        before = (self.folder / "kept/a/capture.json").read_bytes()
        self.script("ssh", f"touch {self.folder}/asked; exec /bin/sleep 60")
        process = self.start("collect", "--captures=kept", "a", "--ssh", self.ssh)
        while not (self.folder / "asked").exists():
            time.sleep(0.02)
        process.send_signal(signal.SIGINT)
        out, words = process.communicate(timeout=20)
        self.assertEqual((process.returncode, out, words), (1, b"", b"tavrine: interrupted\n"))
        self.assertEqual((self.folder / "kept/a/capture.json").read_bytes(), before)

    def test_stays_when_its_terminal_goes_and_it_was_told_to(self):
        process = self.start("refresh", "--every", "0.2s",
                             preexec_fn=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        process.stderr.readline()
        process.send_signal(signal.SIGHUP)
        for _ in range(3):
            self.assertIn(b"1 server", process.stderr.readline())
        process.terminate()
        process.communicate(timeout=20)
        self.assertEqual(process.returncode, 0)

    def test_two_at_once(self):
        both = [self.start("refresh", "a", "b", "--ssh", self.ssh, "--captures=kept")
                for _ in range(2)]
        for process in both:
            words = process.communicate(timeout=60)[1]
            self.assertEqual(process.returncode, 0, words)
        self.assertEqual(len(self.latest()["servers"]), 2)
        self.assertEqual(os.listdir(self.home / ".tavrine"), ["latest.json"])
        self.assertEqual(sorted(os.listdir(self.folder / "kept")), ["a", "b"])

    @staticmethod
    def hardly_any_room():
        signal.signal(signal.SIGXFSZ, signal.SIG_DFL)
        resource.setrlimit(resource.RLIMIT_FSIZE, (100, resource.RLIM_INFINITY))

    def test_a_full_disk_keeps_the_old_one(self):
        self.ask("refresh", "a")
        before = self.latest()
        done = self.ask("refresh", "a", preexec_fn=self.hardly_any_room)
        self.assertEqual(done.returncode, 2)
        self.assertIn("File too large", done.stderr)
        self.assertEqual(self.latest(), before)
        self.assertEqual(os.listdir(self.home / ".tavrine"), ["latest.json"])

    def test_what_cannot_be_written_at_first_ends_it(self):
        self.file("file", b"")
        done = self.tavrine("refresh", "--every=1s", "--file", self.folder / "file/latest.json")
        self.assertEqual(done.returncode, 2)

    def test_what_cannot_be_written_later_does_not(self):
        process = self.start("refresh", "--every=0.2s", "--file", "store/latest.json")
        self.assertIn(b"1 server", process.stderr.readline())
        process.send_signal(signal.SIGSTOP)
        shutil.rmtree(self.folder / "store")
        self.file("store", b"")
        process.send_signal(signal.SIGCONT)
        self.wait_for(b"Not a directory", process)
        (self.folder / "store").unlink()
        self.wait_for(b"1 server", process)
        process.terminate()
        process.communicate(timeout=20)
        self.assertEqual(process.returncode, 0)
        self.assertTrue((self.folder / "store/latest.json").exists())

    def wait_for(self, words, process):
        for line in process.stderr:
            if words in line:
                return
        self.fail(f"it never said {words}")

    def test_a_damaged_snapshot_is_no_hindrance(self):
        (self.home / ".tavrine").mkdir()
        (self.home / ".tavrine/latest.json").write_bytes(b"\xff{")
        done = self.ask("refresh", "a")
        self.assertEqual(done.returncode, 0)
        self.assertIn("no snapshot in", done.stderr)
        self.assertIn("latest.json: ", done.stderr)
        self.assertEqual(len(self.latest()["servers"]), 1)

    def test_losses_in_the_snapshot_before_are_told(self):
        self.ask("refresh", "a")
        damaged = self.latest()
        damaged["alerts"] = ["none"]
        before = self.file("before.json", json.dumps(damaged).encode())
        (self.home / ".tavrine/latest.json").write_bytes(before.read_bytes())
        done = self.ask("refresh", "a", "--findings")
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr, r"latest\.json\n  alerts\[0\]: ")
        self.ask("collect", "--captures", "kept", "a")
        done = self.tavrine("assemble", "kept", "--previous", before, "--findings")
        self.assertEqual(done.returncode, 1)
        self.assertRegex(done.stderr, r"before\.json\n  alerts\[0\]: ")
        self.assertEqual(len(self.servers(done)), 1)
        for damage in (b"", b"[]", b"\xff"):
            done = self.tavrine("assemble", "kept", "--previous", self.file("no.json", damage))
            self.assertEqual((done.returncode, done.stdout), (2, b""))
            self.assertIn("no.json: ", done.stderr)

    def test_keeps_a_private_snapshot_private(self):
        self.ask("refresh", "a")
        latest = self.home / ".tavrine/latest.json"
        latest.chmod(0o600)
        self.ask("refresh", "a")
        self.assertEqual(latest.stat().st_mode & 0o777, 0o600)

    def test_a_write_is_finished_before_it_stops(self):
        # So many processes that a write takes its time, and sure to be met.
        self.script("bin/ps", "i=0; while [ $i -lt 50000 ]; do i=$((i + 1)); "
                              "echo \"$i 1 ada R 0.0 0.0 10:00 1 python a command of $i\"; done")
        store = self.folder / "store"
        process = self.start("refresh", "--every=0.01s", "--file", store / "latest.json")
        self.assertIn(b"1 server", process.stderr.readline())
        before = (store / "latest.json").stat().st_ino
        deadline = time.monotonic() + 60
        while time.monotonic() < deadline:
            if any(name.startswith(".tavrine-") for name in os.listdir(store)):
                process.send_signal(signal.SIGTERM)
                break
        else:
            self.fail("no write was seen")
        process.communicate(timeout=60)
        self.assertEqual(process.returncode, 0)
        self.assertEqual(os.listdir(store), ["latest.json"])
        self.assertNotEqual((store / "latest.json").stat().st_ino, before)
        self.assertEqual(len(json.loads((store / "latest.json").read_bytes())["processes"]), 50000)


class Config(CollectTest):
    def config(self, text):
        folder = self.home / ".config/tavrine"
        folder.mkdir(parents=True, exist_ok=True)
        (folder / "config.toml").write_text(text)

    def test_names_hosts_for_both_verbs(self):
        self.config(f'hosts = ["a", "b=ada@c"]\nssh = "{self.ssh}"\n'
                    'every = "1h"\nfile = "x.json"\n')
        self.assertEqual(sorted(self.servers(self.tavrine("collect"))), ["a", "b"])
        process = self.start("refresh")
        self.assertIn(b"2 servers", process.stderr.readline())
        process.terminate()
        process.communicate(timeout=20)
        self.assertEqual(process.returncode, 0)
        self.assertTrue((self.folder / "x.json").exists())

    def test_that_makes_no_sense(self):
        for text, words in (("hostss = 1\n", "config.toml, line 1: there is no setting hostss"),
                            ("\nssh = 1\n", "config.toml, line 2: ssh must be a text in quotes"),
                            ("\n\nssh = \"a", "config.toml, line 3: "),
                            ('timeout = "soon"\n', "must be such as 30s or 5m, not soon")):
            self.config(text)
            done = self.tavrine("collect")
            self.assertEqual((done.returncode, done.stdout), (2, b""))
            self.assertIn("config.toml", done.stderr)
            self.assertIn(words, done.stderr)
        done = self.tavrine("collect", "--config=none.toml")
        self.assertEqual(done.returncode, 2)
        self.assertIn("none.toml", done.stderr)


class OverSSH(CollectTest):
    """The real thing: a daemon of our own, for us alone, on the loopback."""

    def setUp(self):
        super().setUp()
        beyond = os.environ["PATH"] + ":/usr/sbin:/usr/local/sbin"
        self.daemon = shutil.which("sshd", path=beyond)
        if not self.daemon or not shutil.which("ssh") or not shutil.which("ssh-keygen"):
            self.skipTest("needs ssh and sshd: install openssh-client and openssh-server")
        if os.geteuid() == 0 and not pathlib.Path("/run/sshd").is_dir():
            try:
                os.mkdir("/run/sshd", 0o755)  # where a daemon of root goes before it knows its user
            except OSError as error:
                self.skipTest(f"sshd needs /run/sshd: {error}")
            self.addCleanup(os.rmdir, "/run/sshd")
        for key in ("host_key", "key"):
            self.make_key(key)
        shutil.copy(self.folder / "key.pub", self.folder / "authorized_keys")
        with socket.socket() as probe:
            probe.bind(("127.0.0.1", 0))
            self.port = probe.getsockname()[1]
        self.file("sshd_config", f"""\
Port {self.port}
ListenAddress 127.0.0.1
HostKey {self.folder}/host_key
AuthorizedKeysFile {self.folder}/authorized_keys
PidFile none
StrictModes no
UsePAM no
PasswordAuthentication no
PermitRootLogin yes
""".encode())
        daemon = subprocess.Popen([self.daemon, "-D", "-e", "-f", self.folder / "sshd_config"],
                                  stderr=subprocess.PIPE)
        self.addCleanup(daemon.stderr.close)
        self.addCleanup(daemon.wait, 20)
        self.addCleanup(daemon.terminate)
        words = b""
        while b"Server listening" not in words:
            line = daemon.stderr.readline()
            words += line
            if not line:
                self.skipTest(f"sshd does not start here: {words.decode()}")
        public = (self.folder / "host_key.pub").read_text()
        self.file("known_hosts", f"[127.0.0.1]:{self.port} {public}".encode())
        self.ssh = self.ssh_with("key")

    def make_key(self, name):
        subprocess.run(["ssh-keygen", "-q", "-t", "ed25519", "-N", "", "-f", self.folder / name],
                       check=True)

    def ssh_with(self, key):
        """ssh as a user's configuration would have it, which here stands in a file of its own."""
        self.file("ssh_config", f"""\
Host gpu-*
  HostName 127.0.0.1
  Port {self.port}
  User {getpass.getuser()}
  IdentityFile {self.folder}/{key}
  IdentitiesOnly yes
  UserKnownHostsFile {self.folder}/known_hosts
  GlobalKnownHostsFile none
""".encode())
        return self.script("ssh", f'exec {shutil.which("ssh")} -F {self.folder}/ssh_config "$@"')

    def test_asks_a_host(self):
        self.file("train.log", b"step 1 loss: 2.5\n")
        done = self.ask("collect", "gpu-01", "gpu-02",
                        f"--training-logs={self.folder}/train.log")
        self.assertEqual((done.returncode, done.stderr), (0, ""))
        snapshot = json.loads(done.stdout)
        self.assertEqual([each["state"] for each in snapshot["servers"]], ["connected"] * 2)
        self.assertEqual([each["serverName"] for each in snapshot["runs"]], ["gpu-01", "gpu-02"])
        self.assertEqual(len(snapshot["sensors"]), 2)

    def test_never_asks_for_a_password(self):
        self.make_key("other")
        self.ssh_with("other")
        done = self.ask("collect", "gpu-01")
        self.assertEqual(done.returncode, 1)
        self.assertIn("gpu-01: no answer, but status 255: ", done.stderr)
        self.assertIn("Permission denied", done.stderr)

    def test_trusts_no_host_that_it_does_not_know(self):
        self.file("known_hosts", b"")
        done = self.ask("collect", "gpu-01")
        self.assertEqual(done.returncode, 1)
        self.assertIn("Host key verification failed", done.stderr)
