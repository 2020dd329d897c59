"""collect and assemble: asking hosts, keeping captures, making snapshots of them."""

import json
import os
import pty
import shutil
import socket
import subprocess

from collecting import GPU, CollectTest
from testing import PROGRAM, environment, run


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
                          ("none", "cannot read: No such file or directory"),
                          ("x" * 300, "cannot read: File name too long")):
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
